// recover: the data a run that did not end normally left in a data folder,
// listed or written out as CSV.
#include <QDir>
#include <memory>
#include <vector>

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

// A leftover of the data folder goes by its file name, one of a tool's
// temporary folder by its path.
struct Found {
  Leftover leftover;
  bool elsewhere = false;
  QString name() const {
    return elsewhere ? QDir::toNativeSeparators(leftover.path) : leftover.fileName();
  }
};

QString listLine(int index, const Found& f) {
  const Leftover& l = f.leftover;
  return QStringLiteral("%1\t%2\t%3\t%4\t%5\t%6")
      .arg(index)
      .arg(f.name(), LeftoverKindText(l.kind))
      .arg(l.records)
      .arg(timeText(l, l.firstTime), timeText(l, l.lastTime));
}

// The leftover a LEFTOVER argument names: its number in the list, its path,
// or its file name. -1 when none.
int find(const QList<Found>& list, const QString& name) {
  bool isNumber = false;
  const int index = name.toInt(&isNumber);
  if (isNumber) return index >= 1 && index <= list.size() ? index - 1 : -1;
  const QString path = QFileInfo(name).absoluteFilePath();
  for (int i = 0; i < list.size(); ++i)
    if (QFileInfo(list[i].leftover.path).absoluteFilePath() == path) return i;
  const QString fileName = QDir::fromNativeSeparators(name).section(QLatin1Char('/'), -1);
  for (int i = 0; i < list.size(); ++i)
    if (list[i].leftover.fileName() == fileName) return i;
  return -1;
}

// The private folders of tools that were killed before they could remove
// them ("hygrotab-cli-XXXXXX" in the temporary folder). Those of tools
// still running are left alone; one that holds nothing worth keeping is
// removed. The leftovers found are added to *list, and the folders stay
// locked in *locks while they are looked at.
void scanToolFolders(QList<Found>* list, std::vector<std::unique_ptr<DataFolder>>* locks) {
  const QDir temp(QDir::tempPath());
  const QStringList names = temp.entryList({QStringLiteral("hygrotab-cli-*")},
                                           QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
  for (const QString& name : names) {
    const QString folder = temp.filePath(name);
    auto lock = std::make_unique<DataFolder>();
    QString error;
    if (!QFileInfo::exists(QDir(folder).filePath(DataFolder::kLockName)) ||
        lock->lock(folder, &error) != DataFolder::Lock::Locked)
      continue;  // not one of ours, or a tool still at work in it
    if (!MoveLeftoversAside(folder, nullptr, &error)) {
      err(QStringLiteral("%1: %2").arg(kProgram, terminalText(error)));
      continue;
    }
    const QList<Leftover> found = FindLeftovers(folder);
    if (found.isEmpty()) {
      // Only the empty scratch files of a tool that had nothing yet.
      for (const char* scratch : DataSets::kOpenOrder) {
        const QFileInfo fi(QDir(folder).filePath(QLatin1String(scratch)));
        if (fi.isFile() && fi.size() == 0) QFile::remove(fi.filePath());
      }
      lock->unlock();
      temp.rmdir(name);  // fails, harmlessly, when anything else is in it
      continue;
    }
    for (const Leftover& l : found) *list << Found{l, true};
    locks->push_back(std::move(lock));
  }
}

int runRecover(const GlobalOptions& global, const ParsedArgs& args) {
  const QString cmd = QStringLiteral("recover");
  if (args.positional.size() > 1)
    return usageError(QStringLiteral("recover takes at most one LEFTOVER"), cmd);
  const QString csv = args.value(QStringLiteral("csv"));
  if (args.has(QStringLiteral("csv")) && csv.isEmpty())
    return usageError(QStringLiteral("--csv needs a file name"), cmd);
  const QString wanted = args.positional.value(0);
  QString error;

  const QString folder = global.dataDir.isEmpty() ? DefaultDataDir() : global.dataDir;
  const QString shown = QDir::toNativeSeparators(folder);
  // Without --data-dir the tool works in a private temporary folder, and a
  // tool that was killed leaves it behind with its data.
  const bool toolFolders = global.dataDir.isEmpty();
  QList<Found> list;
  std::vector<std::unique_ptr<DataFolder>> locks;
  if (!QFileInfo(folder).isDir()) {
    err(QStringLiteral("%1: no data folder %2").arg(kProgram, shown));
    if (!toolFolders) return csv.isEmpty() && wanted.isEmpty() ? kExitOk : kExitFailure;
  } else {
    // While a program works in the folder its scratch files are live and its
    // leftovers may be just being moved aside; wait for it instead.
    auto lock = std::make_unique<DataFolder>();
    switch (lock->lock(folder, &error)) {
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
    for (const Leftover& l : FindLeftovers(folder)) list << Found{l, false};
    locks.push_back(std::move(lock));
  }
  if (toolFolders) scanToolFolders(&list, &locks);

  if (list.isEmpty()) {
    err(toolFolders ? QStringLiteral("%1: no leftovers in %2 or in %3/hygrotab-cli-*")
                          .arg(kProgram, shown, QDir::toNativeSeparators(QDir::tempPath()))
                    : QStringLiteral("%1: no leftovers in %2").arg(kProgram, shown));
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
  const Leftover& l = list[index].leftover;
  if (const int rc = outputIsInput(QStringLiteral("csv"), csv, {l.path}, cmd)) return rc;
  if (!outputWritable(csv, args.has(kOverwrite), &error)) {
    err(QStringLiteral("%1: cannot write %2: %3")
            .arg(kProgram, QDir::toNativeSeparators(csv), error));
    return kExitFailure;
  }
  DataSets sets;  // in memory only: this folder is not ours to fill
  if (!LoadLeftover(l, sets, &error)) {
    err(QStringLiteral("%1: %2").arg(kProgram, error));
    return kExitFailure;
  }
  // The model is not recorded in a scratch file.
  const bool written =
      csv == kStdout
          ? writeOutput(csv, Csv_Content(sets, l.dataSet(), QString(), QString()), &error)
          : Csv_Write(sets, l.dataSet(), QString(), QString(), csv, &error);
  if (!written) {
    err(QStringLiteral("%1: cannot write %2: %3").arg(kProgram, csv, error));
    return kExitFailure;
  }
  err(QStringLiteral("%1 records of %2 written to %3").arg(l.records).arg(list[index].name(), csv));
  return kExitOk;
}

}  // namespace

Command recoverCommand() {
  return {QStringLiteral("recover"),
          QStringLiteral("list or save the data of a run that did not end normally"),
          QStringLiteral(
              "Usage: hygrotab-cli [global options] recover [--csv FILE [--overwrite]] [LEFTOVER]\n"
              "\n"
              "Of the global options only --data-dir counts here: no logger is needed.\n"
              "A window or tool that was killed or crashed leaves its scratch files in its\n"
              "data folder; the next program moves them aside as <name>.rand.crash-<time>.\n"
              "They are never deleted. Without --data-dir the window's data folder is used\n"
              "(its application folder when writable, else the per-user data folder), and\n"
              "the private folders that killed tools left in the temporary folder\n"
              "(hygrotab-cli-XXXXXX; listed by path, removed once they hold nothing).\n"
              "\n"
              "Without --csv the leftovers are listed, one line each, separated by tabs:\n"
              "  number, file name (a path outside the data folder), kind (real-time\n"
              "  samples, log, opened CSV file, no data set), records, first and last time\n"
              "  (yyyy/mm/dd hh:nn:ss, '-' for none)\n"
              "Only whole, completed records count: a record cut short by the crash or a\n"
              "sample still waiting for its values is left out.\n"
              "\n"
              "  --csv FILE  write the real-time samples or the log of LEFTOVER in the\n"
              "              program's CSV format (no model, recognition name or bounds are\n"
              "              known; the interval is the most frequent step between records);\n"
              "              - writes it to stdout\n"
              "  --overwrite replace FILE when it exists (never the leftover itself)\n"
              "  LEFTOVER    the number, file name or path of a leftover in the list; may be\n"
              "              left out when there is only one\n"
              "\n"
              "The folder must not be in use: while a window or tool works in it, recover\n"
              "refuses (exit status 1)."),
          {{QStringLiteral("csv"), true}, {kOverwrite, false}},
          runRecover};
}

}  // namespace hygro::cli
