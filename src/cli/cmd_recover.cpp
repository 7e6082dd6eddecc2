// recover: the data a run that did not end normally left in a data folder,
// listed or written out as CSV.
#include <QDir>

#include "cli/cli.h"
#include "data/csv.h"
#include "data/datafolder.h"
#include "data/formats.h"
#include "data/recovery.h"

namespace hygro::cli {

namespace {

QString timeText(const Leftover& l, double serial) {
  return l.records > 0 ? fmt::formatDateTime(serial) : QStringLiteral("-");
}

QString listLine(int index, const Leftover& l) {
  return QStringLiteral("%1\t%2\t%3\t%4\t%5\t%6")
      .arg(index)
      .arg(l.fileName(), LeftoverKindText(l.kind))
      .arg(l.records)
      .arg(timeText(l, l.firstTime), timeText(l, l.lastTime));
}

// The leftover a LEFTOVER argument names: its file name (or path) or its
// number in the list. -1 when none.
int find(const QList<Leftover>& list, const QString& name) {
  bool isNumber = false;
  const int index = name.toInt(&isNumber);
  if (isNumber) return index >= 1 && index <= list.size() ? index - 1 : -1;
  const QString fileName = QDir::fromNativeSeparators(name).section(QLatin1Char('/'), -1);
  for (int i = 0; i < list.size(); ++i)
    if (list[i].fileName() == fileName) return i;
  return -1;
}

int runRecover(const GlobalOptions& global, const ParsedArgs& args) {
  const QString cmd = QStringLiteral("recover");
  if (args.positional.size() > 1)
    return usageError(QStringLiteral("recover takes at most one LEFTOVER"), cmd);
  const QString csv = args.value(QStringLiteral("csv"));
  if (args.has(QStringLiteral("csv")) && csv.isEmpty())
    return usageError(QStringLiteral("--csv needs a file name"), cmd);
  const QString wanted = args.positional.value(0);

  const QString folder = global.dataDir.isEmpty() ? DefaultDataDir() : global.dataDir;
  const QString shown = QDir::toNativeSeparators(folder);
  if (!QFileInfo(folder).isDir()) {
    err(QStringLiteral("%1: no data folder %2").arg(kProgram, shown));
    return csv.isEmpty() && wanted.isEmpty() ? kExitOk : kExitFailure;
  }

  // While a program works in the folder its scratch files are live and its
  // leftovers may be just being moved aside; wait for it instead.
  DataFolder lock;
  QString error;
  switch (lock.lock(folder, &error)) {
    case DataFolder::Lock::Locked:
      break;
    case DataFolder::Lock::InUse:
      err(QStringLiteral("%1: %2 Recover its leftovers once it has ended.")
              .arg(kProgram, terminalText(error)));
      return kExitFailure;
    case DataFolder::Lock::Failed:
      err(QStringLiteral("%1: %2").arg(kProgram, terminalText(error)));
      return kExitFailure;
  }
  // Scratch files of a program that was killed are leftovers now that the
  // folder is ours.
  if (!MoveLeftoversAside(folder, nullptr, &error)) {
    err(QStringLiteral("%1: %2").arg(kProgram, terminalText(error)));
    return kExitFailure;
  }

  const QList<Leftover> list = FindLeftovers(folder);
  if (list.isEmpty()) {
    err(QStringLiteral("%1: no leftovers in %2").arg(kProgram, shown));
    return csv.isEmpty() && wanted.isEmpty() ? kExitOk : kExitFailure;
  }
  int index = -1;
  if (!wanted.isEmpty()) {
    index = find(list, wanted);
    if (index < 0)
      return usageError(QStringLiteral("no leftover '%1' in %2").arg(wanted, shown), cmd);
  }
  if (csv.isEmpty()) {
    if (index >= 0) {
      out(listLine(index + 1, list[index]));
    } else {
      for (int i = 0; i < list.size(); ++i) out(listLine(i + 1, list[i]));
    }
    return kExitOk;
  }

  if (index < 0) {
    if (list.size() > 1)
      return usageError(QStringLiteral("%1 leftovers in %2: name the one to write (its name or its "
                                       "number in the list)")
                            .arg(list.size())
                            .arg(shown),
                        cmd);
    index = 0;
  }
  const Leftover& l = list[index];
  DataSets sets;  // in memory only: this folder is not ours to fill
  if (!LoadLeftover(l, sets, &error)) {
    err(QStringLiteral("%1: %2").arg(kProgram, error));
    return kExitFailure;
  }
  // The model is not recorded in a scratch file.
  if (!Csv_Write(sets, l.dataSet(), QString(), QString(), csv, &error)) {
    err(QStringLiteral("%1: cannot write %2: %3").arg(kProgram, csv, error));
    return kExitFailure;
  }
  err(QStringLiteral("%1 records of %2 written to %3").arg(l.records).arg(l.fileName(), csv));
  return kExitOk;
}

}  // namespace

Command recoverCommand() {
  return {QStringLiteral("recover"),
          QStringLiteral("list or save the data of a run that did not end normally"),
          QStringLiteral(
              "Usage: hygrotab-cli [global options] recover [--csv FILE] [LEFTOVER]\n"
              "\n"
              "Of the global options only --data-dir counts here: no logger is needed.\n"
              "A window or tool that was killed or crashed leaves its scratch files in its\n"
              "data folder; the next program moves them aside as <name>.rand.crash-<time>.\n"
              "They are never deleted. Without --data-dir the window's data folder is used\n"
              "(its application folder when writable, else the per-user data folder).\n"
              "\n"
              "Without --csv the leftovers are listed, one line each, separated by tabs:\n"
              "  number, file name, kind (real-time samples, log, opened CSV file, no data\n"
              "  set), records, first and last time (yyyy/mm/dd hh:nn:ss, '-' for none)\n"
              "Only whole, completed records count: a record cut short by the crash or a\n"
              "sample still waiting for its values is left out.\n"
              "\n"
              "  --csv FILE  write the real-time samples or the log of LEFTOVER in the\n"
              "              program's CSV format (no model, recognition name or bounds are\n"
              "              known; the interval is the most frequent step between records)\n"
              "  LEFTOVER    the file name or number of a leftover in the list; may be left\n"
              "              out when there is only one\n"
              "\n"
              "The folder must not be in use: while a window or tool works in it, recover\n"
              "refuses (exit status 1)."),
          {{QStringLiteral("csv"), true}},
          runRecover};
}

}  // namespace hygro::cli
