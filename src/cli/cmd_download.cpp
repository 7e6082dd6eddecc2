// download: the logger's log into the tool, as the window's download button
// does it, with the progress on stderr.
#include <signal.h>
#include <unistd.h>

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QTimer>

#include "cli/cli.h"
#include "data/csv.h"

namespace hygro::cli {

namespace {

volatile sig_atomic_t g_again = 0;  // Ctrl-C while waiting for the stream to end

// Prints the points; false when stdout failed before the last one.
bool printPoints(const DataSets& data) {
  const int points = data.info(LogData).Points;
  for (int n = 1; n <= points; ++n) {
    if (!out(sampleLine(data.Get(LogData, n)))) return false;
  }
  return !outputLost();
}

// The log could not go where it was asked: a CSV file under the name the
// window would propose, in the data folder when one was named (the private
// one goes with the tool), else in the current folder. Never over an existing
// file. The path, or empty with *why.
QString keepElsewhere(Tool& tool, QString* why) {
  Session& s = tool.session();
  const QString folder =
      tool.options().dataDir.isEmpty() ? QDir::currentPath() : tool.options().dataDir;
  const QString base =
      QDir(folder).filePath(Csv_ProposedName(s.data(), LogData, s.setName(LogData)));
  QString path = base + QStringLiteral(".csv");
  for (int k = 2; QFileInfo::exists(path); ++k)
    path = base + QLatin1Char('-') + QString::number(k) + QStringLiteral(".csv");
  if (!Csv_Write(s.data(), LogData, s.setModel(LogData), s.setName(LogData), path, why)) return {};
  return path;
}

int runDownload(const GlobalOptions& global, const ParsedArgs& args) {
  const QString cmd = QStringLiteral("download");
  if (!args.positional.isEmpty())
    return usageError(QStringLiteral("download takes no arguments"), cmd);
  const QString csv = args.value(QStringLiteral("csv"));
  if (args.has(QStringLiteral("csv")) && csv.isEmpty())
    return usageError(QStringLiteral("--csv needs a file name"), cmd);
  // Before the logger is touched: the download ends its recording.
  QString why;
  if (!csv.isEmpty() && !outputWritable(csv, args.has(kOverwrite), &why)) {
    err(QStringLiteral("%1: cannot write the CSV file %2: %3; the logger was left alone")
            .arg(kProgram, QDir::toNativeSeparators(csv), why));
    return kExitFailure;
  }

  Tool tool(global);
  if (const int rc = tool.open()) return rc;
  if (const int rc = tool.openArchive()) return rc;
  Session& s = tool.session();
  // The logger is told the log is downloaded only once the tool has it safe.
  if (!tool.connectForDownload()) return kExitFailure;
  Progress progress;
  bool finished = false;
  bool ok = false;
  QObject::connect(
      &s.download(), &DownloadOperation::progress,
      [&](int done, int total, const QString& caption) { progress.show(done, total, caption); });
  QObject::connect(&s.download(), &DownloadOperation::finished, [&](bool success) {
    progress.end();
    finished = true;
    ok = success;
  });

  const int messagesBefore = tool.prompt().messages;
  tool.catchInterrupt();
  if (!tool.startDownload()) return kExitFailure;
  tool.runUntilIdle();
  if (tool.interrupted() && !(finished && ok)) {
    // Ends the download as the progress window's cancel does. Nothing was
    // saved, so the logger is not told anything.
    s.download().Download_Cancel();
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
    err(QStringLiteral("%1: download interrupted (%2); the logger keeps its log as never "
                       "downloaded")
            .arg(kProgram, Tool::interruptName()));
    return kExitFailure;
  }
  progress.end();
  const bool lost = tool.failed();
  if (lost || !finished || !ok) {
    if (!lost && tool.prompt().messages == messagesBefore)
      err(QStringLiteral("%1: the download did not complete").arg(kProgram));
    return kExitFailure;
  }

  // The log is in; from here on it is kept whatever else goes wrong.
  const DataSetInfo& log = s.data().info(LogData);
  bool saved = false;
  if (csv == kStdout) {
    saved = outBytes(Csv_Content(s.data(), LogData, s.setModel(LogData), s.setName(LogData)));
    if (!saved)
      err(QStringLiteral("%1: the CSV could not be written to stdout: %2")
              .arg(kProgram, outputError()));
  } else if (!csv.isEmpty()) {
    saved = Csv_Write(s.data(), LogData, s.setModel(LogData), s.setName(LogData), csv, &why);
    if (!saved) err(QStringLiteral("%1: %2").arg(kProgram, why));
  } else {
    saved = printPoints(s.data());
    if (!saved)
      err(QStringLiteral("%1: the points could not all be printed: %2")
              .arg(kProgram, outputError()));
  }
  if (!saved) {
    const QString kept = keepElsewhere(tool, &why);
    if (!kept.isEmpty()) {
      err(QStringLiteral("%1: the %2 points were saved to %3")
              .arg(kProgram)
              .arg(log.Points)
              .arg(QDir::toNativeSeparators(kept)));
    } else {
      err(QStringLiteral("%1: %2").arg(kProgram, why));
      if (!csv.isEmpty() && !outputLost()) {
        err(QStringLiteral("%1: the %2 points follow on stdout").arg(kProgram).arg(log.Points));
        printPoints(s.data());
      }
    }
    err(QStringLiteral("%1: the logger keeps its log as never downloaded").arg(kProgram));
    return kExitFailure;
  }
  // The archive refused it (and said why): saved or printed, but not kept.
  if (tool.archiver() && !tool.archiver()->lastError().isEmpty()) {
    err(QStringLiteral("%1: the log is not in the archive; the logger keeps it as never "
                       "downloaded")
            .arg(kProgram));
    return kExitFailure;
  }

  if (!s.download().Download_Mark()) {
    err(QStringLiteral("%1: the log was saved, but the logger could not be told it is "
                       "downloaded")
            .arg(kProgram));
    return kExitFailure;
  }
  tool.runUntilIdle(false);
  if (tool.failed()) {
    err(QStringLiteral("%1: the log was saved, but the logger may still count it as never "
                       "downloaded")
            .arg(kProgram));
    return kExitFailure;
  }
  tool.noteClockOffset();
  if (tool.archiver() && tool.archiver()->lastKept()) {
    const ArchiveStored& kept = *tool.archiver()->lastKept();
    err(QStringLiteral("Kept in the archive as log %1 (%2 new records): %3")
            .arg(kept.logId)
            .arg(kept.added)
            .arg(tool.archive()->display()));
  }
  err(QStringLiteral("%1 points downloaded").arg(log.Points));
  if (tool.interrupted()) {
    err(QStringLiteral("%1: interrupted (%2) after the log was saved")
            .arg(kProgram, Tool::interruptName()));
    return kExitFailure;
  }
  return kExitOk;
}

}  // namespace

Command downloadCommand() {
  return {QStringLiteral("download"),
          QStringLiteral("read the recorded log out of the logger"),
          QStringLiteral(
              "Usage: hygrotab-cli [global options] download [--csv FILE [--overwrite]]\n"
              "\n"
              "Stops a running recording and reads every recorded point, as the window's\n"
              "download button does. Once the points are kept in the archive (see\n"
              "--archive) and saved (or printed), the logger marks its log as downloaded.\n"
              "Progress goes to stderr.\n"
              "\n"
              "  --csv FILE  save the log in the program's CSV format; without it the points\n"
              "              are printed, one line each:\n"
              "              yyyy/mm/dd hh:nn:ss<TAB>temperature (C)<TAB>humidity (%RH)\n"
              "              --csv - writes the CSV to stdout; a device or a pipe is written\n"
              "              to in place\n"
              "  --overwrite replace FILE when it exists\n"
              "\n"
              "A FILE that cannot be written, or exists without --overwrite, and an archive\n"
              "that cannot be opened stop the tool before it talks to the logger. An archive\n"
              "that cannot take the log leaves it marked as never downloaded (exit status 1).\n"
              "When saving or printing fails after the download (a full disk, a reader that\n"
              "went away), the points go to NAME_yymmdd_hhnnss.csv in the --data-dir folder,\n"
              "or else the current folder (or, failing that, to stdout), the logger's log\n"
              "stays marked as never downloaded, and the exit status is 1.\n"
              "\n"
              "Ctrl-C, SIGTERM or SIGHUP cancels the download (exit status 1); the logger's\n"
              "log stays marked as never downloaded."),
          {{QStringLiteral("csv"), true}, {kOverwrite, false}},
          runDownload};
}

}  // namespace hygro::cli
