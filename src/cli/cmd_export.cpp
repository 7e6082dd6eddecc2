// export: a CSV file or the logger's log as an Excel workbook for
// spreadsheets.
#include <QDir>

#include "analysis/spreadsheet.h"
#include "cli/cli.h"
#include "cli/setsource.h"

namespace hygro::cli {

namespace {

const QString kCmd = QStringLiteral("export");

int runExport(const GlobalOptions& global, const ParsedArgs& args) {
  if (!args.positional.isEmpty())
    return usageError(QStringLiteral("export takes no arguments besides its options"), kCmd);
  const QString xlsx = args.value(QStringLiteral("xlsx"));
  if (xlsx.isEmpty()) return usageError(QStringLiteral("--xlsx needs the workbook to write"), kCmd);
  const QString csv = args.value(QStringLiteral("csv"));
  if (args.has(QStringLiteral("csv")) && csv.isEmpty())
    return usageError(QStringLiteral("--csv needs the file to export"), kCmd);

  // Before anything is read, and above all before the logger is touched.
  if (const int rc = outputIsInput(QStringLiteral("xlsx"), xlsx, {csv}, kCmd)) return rc;
  QString why;
  if (!outputWritable(xlsx, args.has(kOverwrite), &why)) {
    err(QStringLiteral("File error"));
    err(QStringLiteral("%1: cannot write %2: %3")
            .arg(kProgram, QDir::toNativeSeparators(xlsx), why));
    return kExitFailure;
  }

  SetSource source;
  if (const int rc = source.load(global, csv)) return rc;
  analysis::SpreadsheetJob job;
  job.set = source.set();
  job.model = source.model();
  job.recognitionName = source.recognitionName();
  job.options.limits = analysis::SetLimits(source.sets().info(source.set()));
  QByteArray bytes;
  QString error;
  if (!analysis::Xlsx_Content(source.sets(), job, &bytes, &error) ||
      !writeOutput(xlsx, bytes, &error)) {
    err(error);
    err(QStringLiteral("%1: %2 was not written").arg(kProgram, QDir::toNativeSeparators(xlsx)));
    return kExitFailure;
  }
  return kExitOk;
}

}  // namespace

Command exportCommand() {
  return {kCmd,
          QStringLiteral("write a CSV file or the log as an Excel workbook (.xlsx)"),
          QStringLiteral(
              "Usage: hygrotab-cli [global options] export --xlsx OUT.xlsx [--overwrite]\n"
              "                                            [--csv IN.csv]\n"
              "\n"
              "Writes the set as a workbook that spreadsheets open as it is, in degrees\n"
              "Celsius:\n"
              "  Records     record number, date (a date cell), temperature, humidity,\n"
              "              run and remarks of every record\n"
              "  Header      recognition name, model, start time, points, interval, bounds,\n"
              "              and the PC's time and offset from UTC at the export (the\n"
              "              records carry the logger's local time)\n"
              "  Statistics  the figures of hygrotab-cli stats for the set's own bounds,\n"
              "              and its excursions\n"
              "\n"
              "  --xlsx OUT.xlsx     the workbook to write; - writes it to stdout, a device\n"
              "                      or a pipe is written to in place\n"
              "  --overwrite         replace OUT.xlsx when it exists (never the input file)\n"
              "  --csv IN.csv        export a CSV file saved by this program; without it the\n"
              "                      log is downloaded from the logger as print does (the\n"
              "                      logger keeps it marked as never downloaded)\n"
              "\n"
              "Exit status: 0 when the workbook was written; 1 when the input cannot be read\n"
              "or is not a CSV file of this program, the logger fails, or the workbook cannot\n"
              "be written (nothing is left then) or exists without --overwrite; 2 on a wrong\n"
              "command line, including an output that is the input file."),
          {{QStringLiteral("xlsx"), true}, {QStringLiteral("csv"), true}, {kOverwrite, false}},
          runExport};
}

}  // namespace hygro::cli
