// measure: one real-time measurement, or a continuous run of N samples.
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

bool saveCsv(Tool& tool, const QString& path) {
  Session& s = tool.session();
  QString error;
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
    s.Command1_Click();
    tool.runUntilIdle();
    if (tool.failed()) return kExitFailure;
    if (rt.Points < 1) {
      err(QStringLiteral("%1: the logger sent no measurement").arg(kProgram));
      return kExitFailure;
    }
    out(sampleLine(*s.data().at(RealTimeData, 1)));
  } else {
    // The window's interval box holds the number, its buttons the unit.
    s.Option4Minutes = interval > 60;
    s.Combo5Text = QString::number(s.Option4Minutes ? interval / 60 : interval);
    QObject::connect(&s, &Session::realtimeSample, [&s](int n) {
      if (const MeasurementRecord* rec = s.data().at(RealTimeData, n)) out(sampleLine(*rec));
    });
    // The tool keeps the run itself and saves it below, so the window's
    // question at the end of a run is answered No.
    tool.prompt().answerer = [](const QString& q) -> std::optional<bool> {
      if (q == QLatin1String("Is the measurement data preserved?")) return false;
      return std::nullopt;
    };
    tool.catchInterrupt();
    s.Command2_Click();
    tool.runUntil([&] { return rt.Points >= count && !s.busy(); });
    const bool interrupted = tool.interrupted();
    const bool lost = !interrupted && tool.failed();
    if (s.status().RecState == QLatin1String("renzoku")) {
      s.Command2_Click();  // stop the run; the status is read once more
      tool.runUntilIdle(false);
    }
    if (lost || interrupted || tool.failed()) {
      // What was measured before is still worth keeping.
      if (!csv.isEmpty() && rt.Points > 0) saveCsv(tool, csv);
      if (interrupted)
        err(QStringLiteral("%1: interrupted after %2 of %3 samples")
                .arg(kProgram)
                .arg(rt.Points)
                .arg(count));
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
              "[--csv FILE]\n"
              "\n"
              "Has the logger measure now and prints one line per sample:\n"
              "  yyyy/mm/dd hh:nn:ss<TAB>temperature (C)<TAB>humidity (%RH)\n"
              "\n"
              "  --count N           1 (default) takes one measurement; more runs a continuous\n"
              "                      measurement of N samples\n"
              "  --interval SECONDS  time between samples of a continuous run: 2 to 60 seconds,\n"
              "                      or whole minutes up to 3600 seconds (default 5); at 2\n"
              "                      seconds the logger measures at its fast, coarser resolution\n"
              "  --csv FILE          save the samples in the program's CSV format\n"
              "\n"
              "Ctrl-C ends a continuous run early: the samples taken so far are saved, and\n"
              "the exit status is 1."),
          {{QStringLiteral("count"), true},
           {QStringLiteral("interval"), true},
           {QStringLiteral("csv"), true}},
          runMeasure};
}

}  // namespace hygro::cli
