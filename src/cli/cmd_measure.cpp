// measure: one real-time measurement, or a continuous run of N samples.
#include <QDir>
#include <QFile>

#include "cli/cli.h"
#include "data/csv.h"

namespace hygro::cli {

namespace {

// What the window's interval box and its Sec/Min buttons can express.
bool parseRunInterval(const QString& text, int* seconds, QString* error) {
  bool ok = false;
  const int s = text.trimmed().toInt(&ok);
  if (ok && ((s >= 2 && s <= 60) || (s >= 120 && s <= 3600 && s % 60 == 0))) {
    *seconds = s;
    return true;
  }
  *error = QStringLiteral(
               "--interval takes 2 to 60 seconds, or whole minutes from 120 to 3600 seconds, "
               "not '%1'")
               .arg(text);
  return false;
}

// The samples of a run go to the file as they come, so that a tool that is
// killed outright (kill -9, a power cut) still leaves the samples taken, each
// row whole. The header is written with the first sample; its point count
// and the extremes' remarks are right only once saveCsv() has replaced the
// file at the end of the run.
class GrowingCsv {
 public:
  explicit GrowingCsv(QString path) : file_(std::move(path)) {}

  void add(Tool& tool, int n) {
    if (failed_) return;
    Session& s = tool.session();
    QByteArray bytes;
    if (!file_.isOpen()) {
      if (!file_.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered))
        return fail(file_.errorString());
      bytes = Csv_Header(s.data(), RealTimeData, tool.model(), s.status().IdentName);
    }
    bytes += Csv_Row(n, s.data().Get(RealTimeData, n));
    // One write a sample: a row is on disk whole or not at all.
    if (file_.write(bytes) != bytes.size()) fail(file_.errorString());
  }

 private:
  void fail(const QString& why) {
    failed_ = true;
    file_.close();
    err(QStringLiteral("%1: cannot write %2 while measuring (%3); the samples are kept and "
                       "saved at the end")
            .arg(kProgram, QDir::toNativeSeparators(file_.fileName()), why));
  }

  QFile file_;
  bool failed_ = false;
};

bool saveCsv(Tool& tool, const QString& path) {
  Session& s = tool.session();
  QString error;
  if (path == kStdout) {
    if (outBytes(Csv_Content(s.data(), RealTimeData, tool.model(), s.status().IdentName)))
      return true;
    err(QStringLiteral("%1: the CSV could not be written to stdout: %2")
            .arg(kProgram, outputError()));
    return false;
  }
  if (!Csv_Write(s.data(), RealTimeData, tool.model(), s.status().IdentName, path, &error)) {
    err(QStringLiteral("%1: cannot write %2: %3").arg(kProgram, path, error));
    return false;
  }
  return true;
}

int runMeasure(const GlobalOptions& global, const ParsedArgs& args) {
  const QString cmd = QStringLiteral("measure");
  if (!args.positional.isEmpty())
    return usageError(QStringLiteral("measure takes no arguments"), cmd);
  QString error;
  int count = 1;
  if (args.has(QStringLiteral("count")) &&
      !parseInt(args.value(QStringLiteral("count")), QStringLiteral("--count"), 1, kMaxPoints,
                &count, &error))
    return usageError(error, cmd);
  int interval = 5;  // the window's default
  if (args.has(QStringLiteral("interval")) &&
      !parseRunInterval(args.value(QStringLiteral("interval")), &interval, &error))
    return usageError(error, cmd);
  const QString csv = args.value(QStringLiteral("csv"));
  if (args.has(QStringLiteral("csv")) && csv.isEmpty())
    return usageError(QStringLiteral("--csv needs a file name"), cmd);
  if (!csv.isEmpty() && !outputWritable(csv, args.has(kOverwrite), &error)) {
    err(QStringLiteral("%1: cannot write the CSV file %2: %3")
            .arg(kProgram, QDir::toNativeSeparators(csv), error));
    return kExitFailure;
  }

  Tool tool(global);
  if (const int rc = tool.open()) return rc;
  if (!tool.connect()) return kExitFailure;
  Session& s = tool.session();
  const DataSetInfo& rt = s.data().info(RealTimeData);
  // The window locks its measurement buttons while the logger records or
  // waits for a reserved start; a measurement start could change the
  // resolution the log is taken at.
  if (s.view().state == DisplayState::Recording || s.view().state == DisplayState::Reserving) {
    err(QStringLiteral("%1: the logger is %2; real-time measurement is not available until it "
                       "is stopped ('%1 stop')")
            .arg(kProgram, s.view().state == DisplayState::Recording
                               ? QStringLiteral("recording")
                               : QStringLiteral("waiting for a reserved start")));
    return kExitFailure;
  }

  if (count == 1) {
    s.realtime().Command1_Click();
    tool.runUntilIdle();
    if (tool.failed()) return kExitFailure;
    if (rt.Points < 1) {
      err(QStringLiteral("%1: the logger sent no measurement").arg(kProgram));
      return kExitFailure;
    }
    // With --csv - stdout carries the CSV alone.
    if (csv != kStdout && !out(sampleLine(s.data().Get(RealTimeData, 1)))) {
      err(QStringLiteral("%1: the sample could not be printed: %2").arg(kProgram, outputError()));
      if (!csv.isEmpty()) saveCsv(tool, csv);
      return kExitFailure;
    }
  } else {
    // The window's interval box holds the number, its buttons the unit.
    const bool minutes = interval > 60;
    s.realtime().setContinuousInterval(QString::number(minutes ? interval / 60 : interval),
                                       minutes);
    // A stream (stdout, a device, a pipe) gets the CSV once, at the end: a
    // file rewritten whole at the end would come twice down a pipe.
    std::optional<GrowingCsv> growing;
    if (!csv.isEmpty() && !outputIsStream(csv)) growing.emplace(csv);
    QObject::connect(&s.realtime(), &RealtimeOperation::sample, [&](int n) {
      if (growing) growing->add(tool, n);
      if (csv != kStdout) out(sampleLine(s.data().Get(RealTimeData, n)));
    });
    // The tool keeps the run itself and saves it below, so the window's
    // question at the end of a run is answered No.
    tool.prompt().answerer = [](QuestionId q) -> std::optional<bool> {
      if (q == QuestionId::SaveRunAtStop) return false;
      return std::nullopt;
    };
    tool.catchInterrupt();
    s.realtime().Command2_Click();
    // A reader of stdout that went away ends the run like an interrupt.
    tool.runUntil([&] { return (rt.Points >= count && !s.busy()) || outputLost(); });
    const bool interrupted = tool.interrupted();
    const bool readerGone = outputLost();
    const bool lost = !interrupted && !readerGone && tool.failed();
    if (s.status().RecState == RecState::Continuous) {
      s.realtime().Command2_Click();  // stop the run; the status is read once more
      tool.runUntilIdle(false);
    }
    if (lost || interrupted || readerGone || tool.failed()) {
      // What was measured before is still worth keeping.
      if (!csv.isEmpty() && rt.Points > 0) saveCsv(tool, csv);
      if (interrupted)
        err(QStringLiteral("%1: interrupted (%4) after %2 of %3 samples")
                .arg(kProgram)
                .arg(rt.Points)
                .arg(count)
                .arg(Tool::interruptName()));
      else if (readerGone)
        err(QStringLiteral("%1: stdout was closed (%4) after %2 of %3 samples")
                .arg(kProgram)
                .arg(rt.Points)
                .arg(count)
                .arg(outputError()));
      return kExitFailure;
    }
  }
  if (!csv.isEmpty() && !saveCsv(tool, csv)) return kExitFailure;
  return kExitOk;
}

}  // namespace

Command measureCommand() {
  return {QStringLiteral("measure"),
          QStringLiteral("measure now, once or continuously"),
          QStringLiteral(
              "Usage: hygrotab-cli [global options] measure [--count N] [--interval SECONDS] "
              "[--csv FILE [--overwrite]]\n"
              "\n"
              "Has the logger measure now and prints one line per sample:\n"
              "  yyyy/mm/dd hh:nn:ss<TAB>temperature (C)<TAB>humidity (%RH)\n"
              "\n"
              "  --count N           1 (default) takes one measurement; more runs a continuous\n"
              "                      measurement of N samples\n"
              "  --interval SECONDS  time between samples of a continuous run: 2 to 60 seconds,\n"
              "                      or whole minutes up to 3600 seconds (default 5); at 2\n"
              "                      seconds the logger measures at its fast, coarser resolution\n"
              "  --csv FILE          save the samples in the program's CSV format; a run\n"
              "                      adds each sample to FILE as it comes and rewrites it\n"
              "                      whole at the end, when the header's point count is known;\n"
              "                      - writes the CSV to stdout at the end (instead of the\n"
              "                      sample lines), as it does to a device or a pipe\n"
              "  --overwrite         replace FILE when it exists\n"
              "\n"
              "Ctrl-C, SIGTERM, SIGHUP or a closed stdout (a pipe whose reader went away) ends\n"
              "a continuous run early: the samples taken so far are saved, and the exit status\n"
              "is 1."),
          {{QStringLiteral("count"), true},
           {QStringLiteral("interval"), true},
           {QStringLiteral("csv"), true},
           {kOverwrite, false}},
          runMeasure};
}

}  // namespace hygro::cli
