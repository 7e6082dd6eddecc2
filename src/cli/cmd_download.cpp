// download: the logger's log into the tool, as the window's download button
// does it, with the progress on stderr.
#include <signal.h>
#include <unistd.h>

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

#include "cli/cli.h"
#include "data/csv.h"

namespace hygro::cli {

namespace {

volatile sig_atomic_t g_again = 0;  // Ctrl-C while waiting for the stream to end

// A bar redrawn in place on a terminal; on a pipe or file a line at each tenth
// of the way, so a log stays readable.
class Progress {
 public:
  Progress() : tty_(::isatty(STDERR_FILENO) == 1) {}

  void show(int done, int total, const QString& caption) {
    if (tty_) {
      constexpr int kWidth = 40;
      const int filled = total > 0 ? static_cast<int>(qint64(done) * kWidth / total) : 0;
      const QString bar =
          QString(filled, QLatin1Char('#')) + QString(kWidth - filled, QLatin1Char('.'));
      const QByteArray line = (QStringLiteral("\r[%1] %2").arg(bar, caption)).toUtf8();
      std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stderr);
      std::fflush(stderr);
      open_ = true;
      return;
    }
    const int tenth = total > 0 ? static_cast<int>(qint64(done) * 10 / total) : 10;
    if (done == 0 || tenth > lastTenth_ || done == total) {
      if (done == 0 && shownStart_) return;
      shownStart_ = shownStart_ || done == 0;
      lastTenth_ = tenth;
      err(caption);
    }
  }
  // Ends the bar's line before anything else is written.
  void end() {
    if (open_) std::fputc('\n', stderr);
    open_ = false;
  }

 private:
  bool tty_;
  bool open_ = false;
  bool shownStart_ = false;
  int lastTenth_ = -1;
};

int runDownload(const GlobalOptions& global, const ParsedArgs& args) {
  const QString cmd = QStringLiteral("download");
  if (!args.positional.isEmpty())
    return usageError(QStringLiteral("download takes no arguments"), cmd);
  const QString csv = args.value(QStringLiteral("csv"));
  if (args.has(QStringLiteral("csv")) && csv.isEmpty())
    return usageError(QStringLiteral("--csv needs a file name"), cmd);

  Tool tool(global);
  if (const int rc = tool.open()) return rc;
  if (!tool.connect()) return kExitFailure;
  Session& s = tool.session();

  // The tool holds no earlier download that could be kept.
  tool.prompt().answerer = [](const QString& q) -> std::optional<bool> {
    if (q.startsWith(QLatin1String("The data previously downloaded is not preserved.")))
      return false;
    return std::nullopt;
  };
  Progress progress;
  bool finished = false;
  bool ok = false;
  QObject::connect(
      &s, &Session::downloadProgress,
      [&](int done, int total, const QString& caption) { progress.show(done, total, caption); });
  QObject::connect(&s, &Session::downloadFinished, [&](bool success) {
    progress.end();
    finished = true;
    ok = success;
  });

  const int messagesBefore = tool.prompt().messages;
  tool.catchInterrupt();
  s.Command5_Click();
  if (!s.downloading() && !s.busy()) {
    // Refused before anything was sent ("No download data.").
    if (tool.prompt().messages == messagesBefore)
      err(QStringLiteral("%1: the download did not start").arg(kProgram));
    return kExitFailure;
  }
  tool.runUntilIdle();
  if (tool.interrupted()) {
    // Ends the download as the progress window's cancel does; the logger
    // keeps its log marked as never downloaded.
    s.Download_Cancel();
    progress.end();
    if (s.busy()) {
      // The logger streams its memory to the end whatever is done here; a
      // command started meanwhile would find the line full. A second Ctrl-C
      // leaves at once.
      err(QStringLiteral("%1: waiting for the logger to finish sending… (Ctrl-C again to quit "
                         "at once)")
              .arg(kProgram));
      g_again = 0;
      struct sigaction sa {};
      sa.sa_handler = [](int) { g_again = 1; };
      ::sigaction(SIGINT, &sa, nullptr);
      // Nothing more is sent (the log stays marked as never downloaded); the
      // stream is over once the line has been quiet for a moment.
      s.exchange().Pro_End();
      QElapsedTimer quiet;
      quiet.start();
      QElapsedTimer total;
      total.start();
      Transport* line = s.transport();
      const auto drained = QObject::connect(line, &Transport::readyRead, [&] {
        quiet.restart();
        line->readAll();
      });
      QEventLoop loop;
      QTimer tick;
      QObject::connect(&tick, &QTimer::timeout, &loop, &QEventLoop::quit);
      tick.start(50);
      while (quiet.elapsed() < 300 && total.elapsed() < 30000 && line->isOpen() && !g_again)
        loop.exec();
      QObject::disconnect(drained);
    }
    err(QStringLiteral("%1: download interrupted").arg(kProgram));
    return kExitFailure;
  }
  progress.end();
  const bool lost = tool.failed();
  if (lost || !finished || !ok) {
    if (!lost && tool.prompt().messages == messagesBefore)
      err(QStringLiteral("%1: the download did not complete").arg(kProgram));
    return kExitFailure;
  }

  const DataSetInfo& log = s.data().info(LogData);
  if (!csv.isEmpty()) {
    QString error;
    if (!Csv_Write(s.data(), LogData, tool.model(), s.status().IdentName, csv, &error)) {
      err(QStringLiteral("%1: cannot write %2: %3").arg(kProgram, csv, error));
      return kExitFailure;
    }
  } else {
    for (int n = 1; n <= log.Points; ++n) {
      if (const MeasurementRecord* rec = s.data().at(LogData, n)) out(sampleLine(*rec));
    }
  }
  err(QStringLiteral("%1 points downloaded").arg(log.Points));
  return kExitOk;
}

}  // namespace

Command downloadCommand() {
  return {QStringLiteral("download"),
          QStringLiteral("read the recorded log out of the logger"),
          QStringLiteral(
              "Usage: hygrotab-cli [global options] download [--csv FILE]\n"
              "\n"
              "Stops a running recording and reads every recorded point, as the window's\n"
              "download button does; the logger then marks its log as downloaded. Progress\n"
              "goes to stderr.\n"
              "\n"
              "  --csv FILE  save the log in the program's CSV format; without it the points\n"
              "              are printed, one line each:\n"
              "              yyyy/mm/dd hh:nn:ss<TAB>temperature (C)<TAB>humidity (%RH)\n"
              "\n"
              "Ctrl-C cancels the download (exit status 1); the logger's log stays marked as\n"
              "never downloaded."),
          {{QStringLiteral("csv"), true}},
          runDownload};
}

}  // namespace hygro::cli
