// archive: what the archive holds, without a logger: list, export, import,
// delete.
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <cstdio>

#include "analysis/spreadsheet.h"
#include "archive/archivecsv.h"
#include "cli/cli.h"

namespace hygro::cli {

namespace {

const QString kCmd = QStringLiteral("archive");

QString jsonString(const QString& s) {
  const QByteArray a = QJsonDocument(QJsonArray{s}).toJson(QJsonDocument::Compact);
  return QString::fromUtf8(a.mid(1, a.size() - 2));
}

QString jsonTime(const std::optional<qint64>& t) {
  return t ? jsonString(ArchiveTimeText(*t)) : QStringLiteral("null");
}

QString utcText(const std::optional<QDateTime>& at) {
  return at ? at->toUTC().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")) + QLatin1Char('Z')
            : QString();
}

QString jsonLine(const ArchiveLogSummary& l) {
  return QStringLiteral(
             "{\"id\": %1, \"name\": %2, \"model\": %3, \"bridge_serial\": %4, \"start\": %5, "
             "\"interval_s\": %6, \"records\": %7, \"first\": %8, \"last\": %9, "
             "\"downloaded_at\": %10}")
      .arg(l.id)
      .arg(jsonString(l.name), jsonString(l.model),
           l.bridgeSerial.isEmpty() ? QStringLiteral("null") : jsonString(l.bridgeSerial),
           jsonString(ArchiveTimeText(l.start)))
      .arg(l.interval)
      .arg(l.records)
      .arg(jsonTime(l.first), jsonTime(l.last),
           l.downloadedAt ? jsonString(utcText(l.downloadedAt)) : QStringLiteral("null"));
}

QString textLine(const ArchiveLogSummary& l) {
  const auto time = [](const std::optional<qint64>& t) {
    return t ? ArchiveTimeText(*t) : QStringLiteral("-");
  };
  return QStringList{QString::number(l.id),
                     l.name,
                     l.model,
                     l.bridgeSerial.isEmpty() ? QStringLiteral("-") : l.bridgeSerial,
                     ArchiveTimeText(l.start),
                     QString::number(l.interval),
                     QString::number(l.records),
                     time(l.first),
                     time(l.last),
                     l.downloadedAt ? utcText(l.downloadedAt) : QStringLiteral("-")}
      .join(QLatin1Char('\t'));
}

bool parseId(const QString& text, qint64* id) {
  bool ok = false;
  *id = text.toLongLong(&ok);
  return ok && *id > 0;
}

// The user's answer on stdin; anything but y or yes is No, and so is nothing.
bool askYes(const QString& question) {
  std::fputs((question + QStringLiteral(" [y/N] ")).toUtf8().constData(), stderr);
  std::fflush(stderr);
  char line[64] = {};
  if (!std::fgets(line, sizeof line, stdin)) {
    std::fputc('\n', stderr);
    return false;
  }
  const QString answer = QString::fromLocal8Bit(line).trimmed().toLower();
  return answer == QLatin1String("y") || answer == QLatin1String("yes");
}

int runList(Archive& archive, const ParsedArgs& args) {
  std::vector<ArchiveLogSummary> logs;
  QString why;
  if (!archive.list(args.value(QStringLiteral("logger")), &logs, &why)) {
    err(kProgram + QStringLiteral(": ") + why);
    return kExitFailure;
  }
  if (args.has(QStringLiteral("json"))) {
    QStringList lines;
    for (const ArchiveLogSummary& l : logs) lines << jsonLine(l);
    out(lines.isEmpty()
            ? QStringLiteral("[]")
            : QStringLiteral("[\n") + lines.join(QStringLiteral(",\n")) + QStringLiteral("\n]"));
  } else {
    for (const ArchiveLogSummary& l : logs) out(textLine(l));
  }
  return outputLost() ? kExitFailure : kExitOk;
}

// The log as the workbook export --xlsx writes of its CSV file.
bool xlsxOf(const ArchiveLog& log, QByteArray* bytes, QString* why) {
  DataSets sets;  // in memory only
  analysis::SpreadsheetJob job;
  return ArchiveWorkbook(log, &sets, &job, why) && analysis::Xlsx_Content(sets, job, bytes, why);
}

int runExport(Archive& archive, const ParsedArgs& args, qint64 id) {
  const QString csv = args.value(QStringLiteral("csv"));
  const QString xlsx = args.value(QStringLiteral("xlsx"));
  QString why;
  ArchiveLog log;
  if (!archive.read(id, &log, &why)) {
    err(kProgram + QStringLiteral(": ") + why);
    return kExitFailure;
  }
  if (!csv.isEmpty() && !writeOutput(csv, ArchiveCsv(log), &why)) {
    err(kProgram + QStringLiteral(": ") + why);
    return kExitFailure;
  }
  if (!xlsx.isEmpty()) {
    QByteArray bytes;
    if (!xlsxOf(log, &bytes, &why) || !writeOutput(xlsx, bytes, &why)) {
      err(kProgram + QStringLiteral(": ") + why);
      err(QStringLiteral("%1: %2 was not written").arg(kProgram, QDir::toNativeSeparators(xlsx)));
      return kExitFailure;
    }
  }
  return kExitOk;
}

int runImport(Archive& archive, const ParsedArgs& args) {
  int rc = kExitOk;
  for (const QString& path : args.positional.mid(1)) {
    CsvImport file;
    QString why;
    const CsvOpenResult result = Csv_Parse(path, &file, &why);
    if (result != CsvOpenResult::Opened) {
      err(terminalText(Csv_RefusalText(result, why)));
      rc = kExitFailure;
      continue;
    }
    ArchiveArrival arrival = ArrivalFromCsv(file, QFileInfo(path).absoluteFilePath());
    const QDateTime now = QDateTime::currentDateTime();
    arrival.atUtc = now.toUTC();
    arrival.utcOffset = now.offsetFromUtc();
    ArchiveStored stored;
    if (!archive.store(arrival, &stored, &why)) {
      err(kProgram + QStringLiteral(": ") + QDir::toNativeSeparators(path) + QStringLiteral(": ") +
          why);
      rc = kExitFailure;
      continue;
    }
    out(QStringLiteral("%1: log %2, %3 records (%4 new)")
            .arg(QDir::toNativeSeparators(path))
            .arg(stored.logId)
            .arg(stored.given)
            .arg(stored.added));
  }
  return rc;
}

int runDelete(Archive& archive, const ParsedArgs& args, qint64 id) {
  std::vector<ArchiveLogSummary> logs;
  QString why;
  if (!archive.list(QString(), &logs, &why)) {
    err(kProgram + QStringLiteral(": ") + why);
    return kExitFailure;
  }
  const auto it = std::find_if(logs.begin(), logs.end(),
                               [id](const ArchiveLogSummary& l) { return l.id == id; });
  if (it == logs.end()) {
    err(QStringLiteral("%1: the archive %2 holds no log %3")
            .arg(kProgram, archive.display())
            .arg(id));
    return kExitFailure;
  }
  const QString what = QStringLiteral("log %1 of %2 (%3), %4 records from %5 to %6")
                           .arg(id)
                           .arg(it->name.trimmed(), it->model)
                           .arg(it->records)
                           .arg(it->first ? ArchiveTimeText(*it->first) : QStringLiteral("-"),
                                it->last ? ArchiveTimeText(*it->last) : QStringLiteral("-"));
  if (!args.has(QStringLiteral("yes")) &&
      !askYes(QStringLiteral("Delete %1 from the archive %2?").arg(what, archive.display()))) {
    err(QStringLiteral("%1: log %2 was not deleted").arg(kProgram).arg(id));
    return kExitFailure;
  }
  if (!archive.remove(id, &why)) {
    err(kProgram + QStringLiteral(": ") + why);
    return kExitFailure;
  }
  out(QStringLiteral("Deleted %1").arg(what));
  return kExitOk;
}

int runArchive(const GlobalOptions& global, const ParsedArgs& args) {
  const QString sub = args.positional.value(0);
  const QStringList subs{QStringLiteral("list"), QStringLiteral("export"), QStringLiteral("import"),
                         QStringLiteral("delete")};
  if (!subs.contains(sub))
    return usageError(sub.isEmpty() ? QStringLiteral("archive needs list, export, import or delete")
                                    : QStringLiteral("unknown archive command '%1'").arg(sub),
                      kCmd);
  // Each option belongs to one of them.
  const QHash<QString, QString> owner{{QStringLiteral("logger"), QStringLiteral("list")},
                                      {QStringLiteral("json"), QStringLiteral("list")},
                                      {QStringLiteral("csv"), QStringLiteral("export")},
                                      {QStringLiteral("xlsx"), QStringLiteral("export")},
                                      {kOverwrite, QStringLiteral("export")},
                                      {QStringLiteral("yes"), QStringLiteral("delete")}};
  for (auto it = owner.begin(); it != owner.end(); ++it) {
    if (args.has(it.key()) && it.value() != sub)
      return usageError(QStringLiteral("--%1 belongs to archive %2").arg(it.key(), it.value()),
                        kCmd);
  }
  if (global.noArchive)
    return usageError(QStringLiteral("archive works on an archive; --no-archive names none"), kCmd);

  qint64 id = 0;
  const qsizetype wanted =
      sub == QLatin1String("import") ? -1 : (sub == QLatin1String("list") ? 1 : 2);
  if (wanted > 0 && args.positional.size() != wanted)
    return usageError(wanted == 1 ? QStringLiteral("archive list takes no arguments")
                                  : QStringLiteral("archive %1 takes one log ID").arg(sub),
                      kCmd);
  if (sub == QLatin1String("import") && args.positional.size() < 2)
    return usageError(QStringLiteral("archive import needs one or more CSV files"), kCmd);
  if (wanted == 2 && !parseId(args.positional[1], &id))
    return usageError(
        QStringLiteral("'%1' is no log ID (archive list shows them)").arg(args.positional[1]),
        kCmd);
  if (sub == QLatin1String("export")) {
    const QString csv = args.value(QStringLiteral("csv"));
    const QString xlsx = args.value(QStringLiteral("xlsx"));
    if (csv.isEmpty() && xlsx.isEmpty())
      return usageError(QStringLiteral("archive export needs --csv FILE or --xlsx FILE"), kCmd);
    if (!csv.isEmpty() && !xlsx.isEmpty()) {
      if (csv == QLatin1String("-") && xlsx == csv)
        return usageError(QStringLiteral("--csv and --xlsx cannot both go to stdout"), kCmd);
      if (const int rc = outputIsInput(QStringLiteral("xlsx"), xlsx, {csv}, kCmd)) return rc;
    }
    const std::pair<QString, QString> outputs[] = {{QStringLiteral("CSV file"), csv},
                                                   {QStringLiteral("workbook"), xlsx}};
    for (const auto& [what, path] : outputs) {
      QString why;
      if (!path.isEmpty() && !outputWritable(path, args.has(kOverwrite), &why)) {
        err(QStringLiteral("%1: cannot write the %2 %3: %4")
                .arg(kProgram, what, QDir::toNativeSeparators(path), why));
        return kExitFailure;
      }
    }
  }

  ArchiveTarget target;
  QString why;
  if (!ArchiveTargetOf(global, &target, &why))
    return usageError(QStringLiteral("--archive: ") + why);
  Archive archive(target);
  if (!archive.open(&why)) {
    err(kProgram + QStringLiteral(": ") + why);
    return kExitFailure;
  }
  if (sub == QLatin1String("list")) return runList(archive, args);
  if (sub == QLatin1String("export")) return runExport(archive, args, id);
  if (sub == QLatin1String("import")) return runImport(archive, args);
  return runDelete(archive, args, id);
}

}  // namespace

Command archiveCommand() {
  return {kCmd,
          QStringLiteral("what the archive holds: list, export, import, delete"),
          QStringLiteral(
              "Usage: hygrotab-cli [global options] archive list [--logger NAME] [--json]\n"
              "       hygrotab-cli [global options] archive export ID [--csv FILE]\n"
              "                                     [--xlsx FILE] [--overwrite]\n"
              "       hygrotab-cli [global options] archive import FILE...\n"
              "       hygrotab-cli [global options] archive delete ID [--yes]\n"
              "\n"
              "The archive keeps every download, every real-time run of the window and every\n"
              "file imported, each record once: a log downloaded twice, or downloaded and then\n"
              "imported, is one log. --archive names it (default: the window's).\n"
              "\n"
              "  list          one line per log: ID, name, model, the USB serial of the logger's\n"
              "                bridge (- where unknown), start, interval in seconds, records,\n"
              "                first and last record (the logger's local time), when it was\n"
              "                last downloaded (UTC), separated by tabs\n"
              "    --logger NAME  only the logs of loggers of that identification name\n"
              "    --json      one JSON array, an object per log with the keys id, name, model,\n"
              "                bridge_serial, start, interval_s, records, first, last,\n"
              "                downloaded_at\n"
              "  export ID     the log in the program's CSV format, as saving its download\n"
              "                writes it\n"
              "    --csv FILE  where (- for stdout); --overwrite replaces an existing FILE\n"
              "    --xlsx FILE the log as the workbook export --xlsx writes of its CSV file\n"
              "                (- for stdout, a device or a pipe written in place)\n"
              "  import FILE...  CSV files the program wrote, each into the log it belongs to\n"
              "  delete ID     removes a log after a question on the terminal (default No)\n"
              "    --yes       without the question"),
          {{QStringLiteral("logger"), true},
           {QStringLiteral("json"), false},
           {QStringLiteral("csv"), true},
           {QStringLiteral("xlsx"), true},
           {kOverwrite, false},
           {QStringLiteral("yes"), false}},
          runArchive};
}

}  // namespace hygro::cli
