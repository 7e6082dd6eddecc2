// print: the graph page or the dump pages of a CSV file or of the logger's
// log, written as a PDF file as the window's "Save as PDF" does.
#include <QBuffer>
#include <QDir>

#include "cli/cli.h"
#include "data/csv.h"
#include "data/dataview.h"
#include "print/render_print.h"

namespace hygro::cli {

namespace {

const QString kCmd = QStringLiteral("print");

// "FIRST-LAST", 1-based and inclusive.
bool parseRange(const QString& text, int* first, int* last, QString* error) {
  const QStringList parts = text.split(QLatin1Char('-'));
  bool okF = false, okL = false;
  *first = parts.size() == 2 ? parts[0].trimmed().toInt(&okF) : 0;
  *last = parts.size() == 2 ? parts[1].trimmed().toInt(&okL) : 0;
  if (!okF || !okL || *first < 1 || *last < 1) {
    *error =
        QStringLiteral("--range takes FIRST-LAST, two record numbers from 1 (\"%1\")").arg(text);
    return false;
  }
  if (*first > *last) {
    *error = QStringLiteral("--range %1: the first record comes after the last").arg(text);
    return false;
  }
  return true;
}

// Writes the PDF of the job; the exit status.
int writeReport(const DataSets& sets, const PrintJob& job, const SummaryOptions& summary,
                const QString& pdf) {
  const int points = sets.info(job.set).Points;
  if (points <= 0) {
    err(QStringLiteral("%1: there are no records to print").arg(kProgram));
    return kExitFailure;
  }
  if (job.last > points) {
    return usageError(QStringLiteral("--range %1-%2 reaches past the last record (%3)")
                          .arg(job.first)
                          .arg(job.last)
                          .arg(points),
                      kCmd);
  }
  // Nothing on display here: the set is printed whole, in record order.
  const DataView nothingShown;
  QString error;
  const auto draw = [&](PageOutput& out) {
    return PrintReport(out, sets, nothingShown, job, summary);
  };
  bool ok = false;
  if (pdf == kStdout) {
    // Whole or not at all: a reader never gets half a PDF.
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    ok = WritePdf(buffer, draw, &error) && writeOutput(pdf, buffer.data(), &error);
  } else {
    ok = WritePdf(pdf, draw, &error);
  }
  if (!ok) {
    if (!error.isEmpty()) err(error);
    err(QStringLiteral("%1: %2 was not written").arg(kProgram, QDir::toNativeSeparators(pdf)));
    return kExitFailure;
  }
  return kExitOk;
}

int runPrint(const GlobalOptions& global, const ParsedArgs& args) {
  if (!args.positional.isEmpty())
    return usageError(QStringLiteral("print takes no arguments besides its options"), kCmd);
  const QString pdf = args.value(QStringLiteral("pdf"));
  if (pdf.isEmpty()) return usageError(QStringLiteral("--pdf needs the PDF file to write"), kCmd);
  const QString csv = args.value(QStringLiteral("csv"));
  if (args.has(QStringLiteral("csv")) && csv.isEmpty())
    return usageError(QStringLiteral("--csv needs the file to print"), kCmd);
  PrintJob job;
  if (args.has(QStringLiteral("range"))) {
    QString error;
    if (!parseRange(args.value(QStringLiteral("range")), &job.first, &job.last, &error))
      return usageError(error, kCmd);
  }
  job.dump = args.has(QStringLiteral("dump"));
  SummaryOptions summary;
  summary.on = args.has(QStringLiteral("summary"));
  if (args.has(QStringLiteral("company"))) {
    if (!summary.on) return usageError(QStringLiteral("--company goes with --summary"), kCmd);
    summary.company = args.value(QStringLiteral("company"));
  }

  // Before anything is read, and above all before the logger is touched.
  if (const int rc = outputIsInput(QStringLiteral("pdf"), pdf, {csv}, kCmd)) return rc;
  QString why;
  if (!outputWritable(pdf, args.has(kOverwrite), &why)) {
    err(QStringLiteral("File error"));
    err(QStringLiteral("%1: cannot write %2: %3")
            .arg(kProgram, QDir::toNativeSeparators(pdf), why));
    return kExitFailure;
  }

  if (!csv.isEmpty()) {
    // The file set, in memory only: nothing here is ever saved.
    CliPrompt prompt;
    DataSets sets(&prompt);
    if (Csv_Read(sets, csv, prompt, QString()) != CsvOpenResult::Opened) return kExitFailure;
    job.set = FileData;
    job.recognitionName = sets.info(FileData).Name;
    return writeReport(sets, job, summary, pdf);
  }

  Tool tool(global);
  if (const int rc = tool.open()) return rc;
  Session& s = tool.session();
  // Nothing is saved here, so the logger keeps its log as never downloaded.
  if (!tool.connectForDownload()) return kExitFailure;
  bool finished = false, ok = false;
  QObject::connect(&s.download(), &DownloadOperation::finished, [&](bool success) {
    finished = true;
    ok = success;
  });
  const int messagesBefore = tool.prompt().messages;
  if (!tool.startDownload()) return kExitFailure;
  tool.runUntilIdle();
  if (tool.failed() || !finished || !ok) {
    if (tool.prompt().messages == messagesBefore)
      err(QStringLiteral("%1: the download did not complete").arg(kProgram));
    return kExitFailure;
  }
  job.set = LogData;
  job.recognitionName = s.setName(LogData);
  return writeReport(s.data(), job, summary, pdf);
}

}  // namespace

Command printCommand() {
  return {kCmd,
          QStringLiteral("write the graph or dump print of a CSV file or the log as a PDF"),
          QStringLiteral(
              "Usage: hygrotab-cli [global options] print --pdf OUT.pdf [--overwrite] [--dump]\n"
              "                                           [--csv IN.csv] [--range FIRST-LAST]\n"
              "                                           [--summary [--company NAME]]\n"
              "\n"
              "Prints as the window's print dialogs do, into a PDF file (A4): the report\n"
              "header with the statistics of all records and of the range of selection,\n"
              "then the temperature and humidity graphs of the whole set (0 to 40 C and\n"
              "0 to 100 %), or with --dump the list of every record.\n"
              "\n"
              "  --pdf OUT.pdf       the PDF file to write; - writes it to stdout, a device\n"
              "                      or a pipe is written to in place\n"
              "  --overwrite         replace OUT.pdf when it exists (never the input file)\n"
              "  --dump              print the dump list instead of the graphs\n"
              "  --csv IN.csv        print a CSV file, read as the window's File open does;\n"
              "                      without it the log is downloaded from the logger as\n"
              "                      download does (the logger keeps it marked as never\n"
              "                      downloaded) and printed\n"
              "  --range FIRST-LAST  the records (1-based, inclusive) of the \"Range of\n"
              "                      selection\" block; the whole set by default\n"
              "  --summary           add a summary after the report: the statistics of the\n"
              "                      range (as stats gives them, in C, limits from the set's\n"
              "                      bounds), the excursions, the company and lines to sign,\n"
              "                      each summary page numbered \"Page k of n\" in the whole\n"
              "                      document\n"
              "  --company NAME      the company named on the summary\n"
              "\n"
              "Exit status: 0 when the PDF was written; 1 when the input cannot be read\n"
              "(\"File error\" and why), holds no records, the logger fails, or the PDF cannot\n"
              "be written (no PDF is left then) or exists without --overwrite; 2 on a wrong\n"
              "command line, including an output that is the input file, a\n"
              "--range that is not FIRST-LAST with 1 <= FIRST <= LAST and one that reaches\n"
              "past the last record of the set (known once the set is read)."),
          {{QStringLiteral("pdf"), true},
           {QStringLiteral("dump"), false},
           {QStringLiteral("csv"), true},
           {QStringLiteral("range"), true},
           {QStringLiteral("summary"), false},
           {QStringLiteral("company"), true},
           {kOverwrite, false}},
          runPrint};
}

}  // namespace hygro::cli
