// hygrotab-cli against hygrotab-sim on a pseudo-terminal: the real serial
// port path, each command run as a user would. The values and frames behind
// each command are checked in-process (tst_logger_ops); these cases check
// what the tool adds: its options, its output, its exit status and its files.
#include <signal.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include "support/cli_runner.h"
#include "support/data_fixtures.h"
#include "support/data_table.h"
#include "support/sim_process.h"

using hygro::test::SimLogger;
using hygro::test::words;

namespace {

const QRegularExpression kSampleLine(QStringLiteral(
    "^(\\d{4}/\\d{2}/\\d{2} \\d{2}:\\d{2}:\\d{2})\\t(-?\\d+\\.\\d{2})\\t(-?\\d+\\.\\d{2})$"));

QList<QByteArray> csvLines(const QString& path) {
  QList<QByteArray> lines = hygro::test::readFile(path).split('\n');
  lines.removeLast();  // after the last line end (a missing file: the only, empty one)
  for (QByteArray& l : lines) l.chop(l.endsWith('\r') ? 1 : 0);
  return lines;
}

// The lines of tests/data/cli/status.tsv under `key`.
QStringList statusLines(const QString& key) {
  QStringList lines;
  for (const QStringList& row : hygro::test::dataRows(QStringLiteral("cli/status.tsv")))
    if (row[0] == key) lines << row.value(1);
  return lines;
}

// Fails the test unless `r` printed every line under `key`.
#define CHECK_STATUS(r, key)                                    \
  for (const QString& line_ : statusLines(QStringLiteral(key))) \
  QVERIFY2((r).outLines().contains(line_), qPrintable(line_ + u'\n' + (r).out))

}  // namespace

class TestCliSim : public QObject {
  Q_OBJECT
 private slots:
  void statusAndOneMeasurement();
  void aRecordingLoggerAndItsLog();
  void settingCommands();
  void pluggedInLaterAndPulledOut();
  void signalsEndARunCleanly_data();
  void signalsEndARunCleanly();
  void aSignalWhileConnectingCleansUp();
  void aKilledRunLeavesItsSamples();
  void aReaderThatGoesAwayLosesNothing();
  void anInterruptedDownloadLetsTheStreamEnd();
};

void TestCliSim::statusAndOneMeasurement() {
  // A logger whose clock takes no setting and whose log stream stops after 50
  // points: what it can do is done all the same.
  START_SIM(sim, "idle.json", "--clock-stuck --stall-after 50");
  CLI_RUN(r, 0, sim.run(words("status")));
  QCOMPARE(r.outLines(), statusLines(QStringLiteral("idle")));
  QVERIFY2(r.err.isEmpty(), CLI_DIAG(r));
  // One measurement: the emulated room, 24.4 C (raw 6400) and 50.45 %RH,
  // stamped with the computer's time when it was asked for.
  const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
  CLI_RUN(once, 0, sim.run(words("measure")));
  const auto m = kSampleLine.match(once.out.trimmed());  // one line, no more
  QVERIFY2(m.hasMatch(), CLI_DIAG(once));
  QCOMPARE(m.captured(2), QStringLiteral("24.40"));
  QVERIFY2(qAbs(m.captured(3).toDouble() - 50.45) <= 0.02, CLI_DIAG(once));
  const QDateTime at = QDateTime::fromString(m.captured(1), QStringLiteral("yyyy/MM/dd HH:mm:ss"));
  QVERIFY2(at >= before && at <= QDateTime::currentDateTime().addSecs(1), CLI_DIAG(once));
  // A run to its end: the tool keeps the run itself, so the window's
  // end-of-run question is not left on stderr. (Its interval and CSV:
  // tst_logger_ops, tst_csv_export; a run cut short: the cases below.)
  CLI_RUN(run, 0, sim.run(words("measure --count 2 --interval 2")));
  QCOMPARE(run.outLines().size(), 2);
  QVERIFY2(run.err.isEmpty(), CLI_DIAG(run));

  // A clock that does not take the setting is shown as it is, never as set.
  CLI_RUN(clock, 1, sim.run(words("set-clock")));
  QVERIFY2(clock.err.startsWith(
               QStringLiteral("The clock was not set.\n\nThe logger's clock was not set to ")),
           CLI_DIAG(clock));
  QVERIFY2(clock.field("Clock").startsWith(QStringLiteral("2024/05/02 09:0")), CLI_DIAG(clock));

  // The stream stops after 50 points: the watchdog gives up, nothing saved.
  // (No log at all: settingCommands.)
  QTemporaryDir dir;
  const QString csv = dir.filePath(QStringLiteral("never.csv"));
  CLI_RUN(down, 1, sim.run(words("download --csv") << csv));
  QVERIFY2(down.errLines().contains(QStringLiteral("It failed in download.")), CLI_DIAG(down));
  QVERIFY2(!down.err.contains(QStringLiteral("points downloaded")), CLI_DIAG(down));
  QVERIFY(!QFile::exists(csv));

  // The end line appears only with something to say.
  START_SIM(low, "lowbattery.json", "");
  CLI_RUN(l, 0, low.run(words("status")));
  QCOMPARE(l.field("End"), QStringLiteral("End due to the voltage decrease."));

  // A model without alarm bounds.
  START_SIM(other, "idle.json", "--model QM510-XC");
  CLI_RUN(o, 0, other.run(words("status")));
  QCOMPARE(o.outLines(), statusLines(QStringLiteral("qm510")));
  CLI_RUN(alarm, 1, other.run(words("set-alarm --upper 30:on --lower -5:off")));
  QVERIFY2(alarm.err.contains(QStringLiteral("QM510-XC has no alarm bounds")), CLI_DIAG(alarm));
}

void TestCliSim::aRecordingLoggerAndItsLog() {
  // A logger recording a log nobody downloaded yet.
  START_SIM(sim, "recording.json", "");
  QTemporaryDir dir;
  const QString csv = dir.filePath(QStringLiteral("log.csv"));
  // Left alone, as the window's locked buttons leave it.
  CLI_RUN(measure, 1, sim.run(words("measure")));
  QVERIFY2(measure.out.isEmpty(), CLI_DIAG(measure));
  QVERIFY2(measure.err.contains(QStringLiteral("the logger is recording")), CLI_DIAG(measure));
  CLI_RUN(recording, 1, sim.run(words("start --interval 1m")));  // the record button would stop it
  QVERIFY2(recording.err.contains(QStringLiteral("already recording")), CLI_DIAG(recording));

  // An archive that cannot be opened (here: no room to create it) is refused
  // before the logger is touched: the download would end the recording. (So
  // is a CSV file that cannot be written: tst_cli_offline's port refusals.)
  hygro::test::CliSetup full;
  full.fileSizeLimit = 50 * 80 + 40;
  CLI_RUN(noArchive, 1, sim.run(words("download --csv") << csv, full));
  QVERIFY2(noArchive.err.contains(QStringLiteral("archive.sqlite could not be opened")) &&
               noArchive.err.contains(QStringLiteral("the logger was left alone")),
           CLI_DIAG(noArchive));
  QCOMPARE(sim.run(words("status")).field("State"), QStringLiteral("Recording"));

  CLI_RUN(stop, 0, sim.run(words("stop")));
  QCOMPARE(stop.outLines(), QStringList{QStringLiteral("State: Record stop")});

  // The disk fills up during the download: the scratch file fails (said
  // once, with the reason), the CSV and the spare copy fail, so the points
  // come on stdout, and the logger is not told the log is downloaded.
  CLI_RUN(r, 1, sim.run(words("--no-archive download --csv") << csv, full));
  QCOMPARE(r.outLines().size(), 120);
  for (const QString& line : r.outLines())
    QVERIFY2(kSampleLine.match(line).hasMatch(), CLI_DIAG(r));
  QCOMPARE(r.err.count(QStringLiteral("The scratch file could not be written.")), 1);
  QVERIFY2(r.err.contains(QStringLiteral("log.rand: File too large.")), CLI_DIAG(r));
  QVERIFY2(r.err.contains(QStringLiteral("the 120 points follow on stdout")), CLI_DIAG(r));
  QVERIFY2(r.err.contains(QStringLiteral("the logger keeps its log as never downloaded")),
           CLI_DIAG(r));
  QVERIFY(!QFile::exists(csv));
  // The window would ask; without --force the tool refuses with the question.
  CLI_RUN(asked, 1, sim.run(words("start --interval 1m")));
  QVERIFY2(asked.err.startsWith(QStringLiteral("There is data never downloaded. \n"
                                               "May I begin the data before though it is lost?\n")),
           CLI_DIAG(asked));
  QCOMPARE(sim.run(words("status")).field("State"), QStringLiteral("Record stop"));

  // Saved, then marked. Not a terminal: a progress line a tenth of the way,
  // not a line a point.
  CLI_RUN(saved, 0, sim.run(words("download --csv") << csv));
  QVERIFY2(saved.out.isEmpty(), CLI_DIAG(saved));  // the points went to the file
  QCOMPARE(saved.errLines().first(), QStringLiteral("ダウンロード　(0/120)"));
  QVERIFY2(saved.errLines().contains(QStringLiteral("Download　(120/120)")), CLI_DIAG(saved));
  QCOMPARE(saved.errLines().last(), QStringLiteral("120 points downloaded"));
  QVERIFY2(saved.errLines().size() <= 13, CLI_DIAG(saved));
  QCOMPARE(csvLines(csv).size(), 3 + 120);

  // A new recording asks nothing any more.
  CLI_RUN(started, 0,
          sim.run(words("start --interval 2s --name AB --mode loop --upper 30:on --lower -5:off")));
  QCOMPARE(started.field("State"), QStringLiteral("Recording"));
  QVERIFY2(started.err.isEmpty(), CLI_DIAG(started));  // no "Set completion" boxes
  CLI_RUN(status, 0, sim.run(words("status")));
  CHECK_STATUS(status, "started");
  QCOMPARE(sim.run(words("stop")).field("State"), QStringLiteral("Record stop"));

  // A reserved start for tomorrow (what a start keeps: settingCommands).
  const QDateTime at = QDateTime::currentDateTime().addDays(1);
  const QString when = at.toString(QStringLiteral("yyyy-MM-dd")) + QStringLiteral(" 08:05");
  CLI_RUN(reserved, 0, sim.run(words("start --interval 5m --force --reserve") << when));
  QCOMPARE(reserved.outLines(),
           (QStringList{QStringLiteral("State: Reserving"),
                        QStringLiteral("Start time: %1Day08:05 Record beginning")
                            .arg(at.toString(QStringLiteral("dd")))}));
  // Stop cancels the reservation.
  CLI_RUN(cancelled, 0, sim.run(words("stop")));
  QCOMPARE(cancelled.outLines(), QStringList{QStringLiteral("State: Record stop")});
}

void TestCliSim::settingCommands() {
  // Every word of memory erased: a logger like any other, holding no log.
  START_SIM(sim, "factory.json", "");
  CLI_RUN(status, 0, sim.run(words("status")));
  QVERIFY2(status.err.isEmpty(), CLI_DIAG(status));
  CHECK_STATUS(status, "factory");  // (its download: tst_logger_ops, aLoggerFreshFromTheFactory)

  // The window's confirmation, with the clock read back on the lines below.
  CLI_RUN(clock, 0, sim.run(words("set-clock")));
  QVERIFY2(clock.err.startsWith(QStringLiteral("Set completion\n\n") + clock.field("Clock")),
           CLI_DIAG(clock));

  // Of a longer name the logger keeps the first four, and the tool says so.
  CLI_RUN(longName, 0, sim.run(words("set-name ABCDEF")));
  QCOMPARE(longName.outLines(), QStringList{QStringLiteral("Name: ABCD")});
  QVERIFY2(longName.err.contains(QStringLiteral("four characters")), CLI_DIAG(longName));

  // A fresh logger's status area blanks the bounds and the mode (there is no
  // log yet): what it took shows once a recording has started.
  CLI_RUN(alarm, 0, sim.run(words("set-alarm --upper 30:on --lower -5:off")));
  CLI_RUN(loop, 0, sim.run(words("set-mode loop")));
  // A start keeps what the logger holds when no option says otherwise.
  CLI_RUN(start, 0, sim.run(words("start --interval 10m")));
  CLI_RUN(r, 0, sim.run(words("status")));
  CHECK_STATUS(r, "set");
  CLI_RUN(oneTime, 0, sim.run(words("set-mode one-time")));
  QCOMPARE(oneTime.outLines(), QStringList{QStringLiteral("Memory mode: One Time")});
}

void TestCliSim::pluggedInLaterAndPulledOut() {
  // The script starts first; the logger is plugged in while it waits, and
  // pulled out during the run.
  QTemporaryDir dir;
  const QString link = dir.filePath(QStringLiteral("logger"));
  const QString csv = dir.filePath(QStringLiteral("part.csv"));
  QProcess cli;
  const QStringList args = words("--wait-for-logger 60 measure --count 10 --interval 2 --csv");
  hygro::test::prepareCli(cli, QStringList{"--port", link} + args << csv, {});
  cli.start();
  QVERIFY(cli.waitForStarted());
  QVERIFY(!cli.waitForFinished(1500));  // waiting, not failing
  hygro::test::SimProcess sim;
  QString error;
  QVERIFY2(sim.start({"--state", hygro::test::SimProcess::state("idle.json"), "--link", link,
                      "--unplug-after-ms", "8000"},
                     &error),
           qPrintable(error));
  QVERIFY(cli.waitForFinished(60000));
  const QString out = QString::fromUtf8(cli.readAllStandardOutput());
  const QString err = QString::fromUtf8(cli.readAllStandardError());
  QCOMPARE(cli.exitCode(), 1);
  // One line for it, and no message box besides.
  QCOMPARE(err, QStringLiteral("hygrotab-cli: the connection to the logger was lost\n"));
  const int taken = int(out.count(u'\n'));
  QVERIFY2(taken >= 1 && taken < 10, qPrintable(out));
  // What was measured before is kept, under the model that was connected.
  const QList<QByteArray> rows = csvLines(csv);
  QCOMPARE(rows.size(), 3 + taken);
  QVERIFY2(rows[1].startsWith("\"LAB1\","), rows[1].constData());
  // (Nobody plugs one in: tst_cli_offline, stoppedAtOrBeforeThePort.)
}

namespace {

// The tool without --data-dir: it makes its private data folder under `tmp`.
hygro::test::CliSetup inTemp(const QString& tmp) {
  hygro::test::CliSetup setup;
  setup.dataDir = false;
  setup.tempDir = tmp;
  return setup;
}

// A continuous run of the tool on `sim`, its private data folder made under
// `tmp` (no --data-dir), saving to `csv`; returns once `samples` lines came.
bool startRun(QProcess& cli, const SimLogger& sim, const QString& tmp, const QString& csv,
              int samples, QByteArray* out) {
  hygro::test::prepareCli(
      cli, sim.portArgs() + words("measure --count 100 --interval 2 --csv") << csv, inTemp(tmp));
  cli.start();
  if (!cli.waitForStarted()) return false;
  while (out->count('\n') < samples && cli.waitForReadyRead(10000))
    *out += cli.readAllStandardOutput();
  return out->count('\n') == samples;
}

// Runs the tool with `args` into `head -1`: `out` is what head printed.
hygro::test::CliResult intoHead(const QStringList& args, const hygro::test::CliSetup& setup) {
  QProcess cli, head;
  hygro::test::prepareCli(cli, args, setup);
  cli.setStandardOutputProcess(&head);
  head.start(QStringLiteral("head"), {QStringLiteral("-1")});
  cli.start();
  hygro::test::CliResult r;
  const bool ended = cli.waitForFinished(60000) && cli.exitStatus() == QProcess::NormalExit;
  head.waitForFinished(10000);
  r.exitCode = ended ? cli.exitCode() : -1;
  r.err = QString::fromUtf8(cli.readAllStandardError());
  r.out = QString::fromUtf8(head.readAllStandardOutput());
  return r;
}

const QRegularExpression kCsvRow(
    QStringLiteral("^\\d+,\"\\d{4}/\\d{2}/\\d{2}( \\d{2}:\\d{2}:\\d{2})?\",\"-?\\d*\\.\\d{2}\","
                   "\"-?\\d*\\.\\d{2}\",\"[^\"]{50}\"$"));

}  // namespace

void TestCliSim::signalsEndARunCleanly_data() {
  QTest::addColumn<int>("sig");
  QTest::addColumn<QString>("name");
  QTest::newRow("Ctrl-C") << int(SIGINT) << "SIGINT";
  QTest::newRow("service manager") << int(SIGTERM) << "SIGTERM";
  QTest::newRow("terminal closed") << int(SIGHUP) << "SIGHUP";
}

void TestCliSim::signalsEndARunCleanly() {
  QFETCH(int, sig);
  QFETCH(QString, name);
  START_SIM(sim, "idle.json", "");
  QTemporaryDir dir, tmp;
  const QString csv = dir.filePath(QStringLiteral("run.csv"));
  QProcess cli;
  QByteArray out;
  QVERIFY(startRun(cli, sim, tmp.path(), csv, 2, &out));
  // The private scratch folder is there while the tool runs.
  QCOMPARE(QDir(tmp.path()).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size(), 1);
  ::kill(pid_t(cli.processId()), sig);
  QVERIFY(cli.waitForFinished(10000));
  out += cli.readAllStandardOutput();
  const QString err = QString::fromUtf8(cli.readAllStandardError());
  QCOMPARE(cli.exitStatus(), QProcess::NormalExit);
  QCOMPARE(cli.exitCode(), 1);
  const int taken = int(out.count('\n'));
  QVERIFY2(
      err.contains(QStringLiteral("interrupted (%1) after %2 of 100 samples").arg(name).arg(taken)),
      qPrintable(err));
  // The file was rewritten whole: its header counts every sample.
  const QList<QByteArray> rows = csvLines(csv);
  QCOMPARE(rows.size(), 3 + taken);
  QVERIFY2(rows[1].contains(QByteArray("\" ") + QByteArray::number(taken) + "\""),
           rows[1].constData());
  // The scratch folder went with the tool.
  QCOMPARE(QDir(tmp.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
           QStringList());
  // The run was ended properly: the logger answers the next command at once.
  QCOMPARE(sim.run(words("status")).exitCode, 0);
}

void TestCliSim::aSignalWhileConnectingCleansUp() {
  // A slow logger: connecting and the first status read take seconds.
  START_SIM(sim, "idle.json", "--delay 100");
  QTemporaryDir tmp;
  QProcess cli;
  hygro::test::prepareCli(cli, sim.portArgs() << QStringLiteral("status"), inTemp(tmp.path()));
  cli.start();
  QVERIFY(cli.waitForStarted());
  // The scratch folder is made before connecting.
  QTRY_VERIFY_WITH_TIMEOUT(!QDir(tmp.path()).isEmpty(QDir::Dirs | QDir::NoDotAndDotDot), 10000);
  ::kill(pid_t(cli.processId()), SIGHUP);
  QVERIFY(cli.waitForFinished(30000));
  const QString err = QString::fromUtf8(cli.readAllStandardError());
  QCOMPARE(cli.exitStatus(), QProcess::NormalExit);
  QVERIFY2(cli.exitCode() == 1, qPrintable(err));
  QVERIFY2(err.contains(QStringLiteral("hygrotab-cli: interrupted (SIGHUP)")), qPrintable(err));
  QVERIFY(cli.readAllStandardOutput().isEmpty());  // no half-read status
  QVERIFY(QDir(tmp.path()).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden));
}

void TestCliSim::aKilledRunLeavesItsSamples() {
  START_SIM(sim, "idle.json", "");
  QTemporaryDir dir, tmp;
  const QString csv = dir.filePath(QStringLiteral("run.csv"));
  QProcess cli;
  QByteArray out;
  QVERIFY(startRun(cli, sim, tmp.path(), csv, 3, &out));
  cli.kill();  // SIGKILL: nothing of the tool runs any more
  QVERIFY(cli.waitForFinished(10000));
  out += cli.readAllStandardOutput();
  const int printed = int(out.count('\n'));
  // Each sample reaches the file before it is printed; every row is whole.
  const QByteArray bytes = hygro::test::readFile(csv);
  QVERIFY(bytes.endsWith("\r\n"));
  const QList<QByteArray> rows = csvLines(csv);
  QVERIFY2(rows.size() == 3 + printed || rows.size() == 4 + printed, bytes.constData());
  for (int i = 3; i < rows.size(); ++i) {
    QVERIFY2(kCsvRow.match(QString::fromLatin1(rows[i])).hasMatch(), rows[i].constData());
    QVERIFY(rows[i].startsWith(QByteArray::number(i - 2) + ','));
  }

  // The tool's private folder stays in the temporary folder, and recover
  // finds the samples there (with a global option after the command).
  const QStringList folders = QDir(tmp.path()).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
  QCOMPARE(folders.size(), 1);
  CLI_RUN(list, 0, hygro::test::runCli(words("recover --baud 9600"), inTemp(tmp.path())));
  const QString line = list.outLines().filter(tmp.path()).value(0);
  QVERIFY2(line.contains(QStringLiteral("\t%1/%2/real.rand.crash-").arg(tmp.path(), folders[0])),
           CLI_DIAG(list));
  // Every sample in the CSV, and maybe one that was kept before it got there
  // (the listing's other fields: tst_cli_offline, recoverWritesLeftovers).
  QVERIFY2(line.section(u'\t', 3, 3).toInt() >= rows.size() - 3, CLI_DIAG(list));
}

void TestCliSim::aReaderThatGoesAwayLosesNothing() {
  START_SIM(sim, "download_15000.json", "");
  QTemporaryDir work, tmp;
  hygro::test::CliSetup setup = inTemp(tmp.path());
  setup.workingDir = work.path();
  // download | head -1: far more than a pipe holds, so the tool's writes fail
  // once head has gone. Not killed by SIGPIPE. Without --data-dir the default
  // archive would be the window's.
  CLI_RUN(down, 1, intoHead(sim.portArgs() << words("--no-archive download"), setup));
  QVERIFY2(kSampleLine.match(down.out.trimmed()).hasMatch(), CLI_DIAG(down));
  QVERIFY2(down.err.contains(QStringLiteral("Broken pipe")), CLI_DIAG(down));
  // The log was kept in the current folder under the window's name.
  const QString kept = QDir(work.path()).filePath(QStringLiteral("FULL_240502_000000.csv"));
  QVERIFY2(down.err.contains(QStringLiteral("the 15000 points were saved to ") + kept),
           CLI_DIAG(down));
  QCOMPARE(csvLines(kept).size(), 3 + 15000);
  // Not marked: the log is still the logger's, never downloaded.
  CLI_RUN(asked, 1, sim.run(words("start --interval 1m")));
  QVERIFY2(asked.err.startsWith(QStringLiteral("There is data never downloaded.")),
           CLI_DIAG(asked));

  // measure | head -1: the run ends at the next sample, and is saved.
  const QString csv = work.filePath(QStringLiteral("run.csv"));
  CLI_RUN(run, 1,
          intoHead(sim.portArgs() + words("measure --count 100 --interval 2 --csv") << csv, setup));
  const auto m =
      QRegularExpression(QStringLiteral("stdout was closed \\(Broken pipe\\) after (\\d+) of 100"))
          .match(run.err);
  QVERIFY2(m.hasMatch() && m.captured(1).toInt() >= 2, CLI_DIAG(run));
  QCOMPARE(csvLines(csv).size(), 3 + m.captured(1).toInt());
  QVERIFY(QDir(tmp.path()).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden));
}

void TestCliSim::anInterruptedDownloadLetsTheStreamEnd() {
  QTemporaryDir dir;
  for (const bool twice : {false, true}) {
    // Paced at the wire speed: 5000 points, about 4 s at 115200 baud, which
    // the first tool waits out. After a second Ctrl-C the stream must still be
    // running when the next command starts, even on a loaded machine: 15000
    // points, 23 s at 57600, within the identification's 30 s wait.
    hygro::test::SimProcess sim;
    QString simError;
    QVERIFY2(sim.start({"--state",
                        hygro::test::SimProcess::state(twice ? "download_15000.json"
                                                             : "download_5000.json"),
                        "--baud", twice ? "57600" : "115200"},
                       &simError),
             qPrintable(simError));
    QProcess cli;
    cli.start(hygro::test::cliExecutable(),
              QStringList{"--data-dir", dir.filePath(QStringLiteral("data")), "--port", sim.path(),
                          "download"});
    cli.setReadChannel(QProcess::StandardError);
    QVERIFY(cli.waitForStarted());
    QString err;
    auto waitFor = [&](const QString& text) {
      while (!err.contains(text) && cli.waitForReadyRead(20000))
        err += QString::fromUtf8(cli.readAllStandardError());
      return err.contains(text);
    };
    QVERIFY2(waitFor(QStringLiteral("Download\u3000(")), qPrintable(err));
    ::kill(static_cast<pid_t>(cli.processId()), SIGINT);
    QVERIFY2(waitFor(QStringLiteral("waiting for the logger to finish sending")), qPrintable(err));
    if (twice) ::kill(static_cast<pid_t>(cli.processId()), SIGINT);
    QVERIFY(cli.waitForFinished(40000));
    err += QString::fromUtf8(cli.readAllStandardError());
    QCOMPARE(cli.exitCode(), 1);
    QVERIFY2(err.contains(QStringLiteral("download interrupted")), qPrintable(err));
    // The next command works: after a second Ctrl-C the stream may still be
    // running, and the identification lets it pass.
    CLI_RUN(status, 0, hygro::test::runCli(QStringList{"--port", sim.path(), "status"}, 60000));
    QCOMPARE(status.field("Points"), QStringLiteral("%1 point").arg(twice ? 15000 : 5000));
  }
}

QTEST_GUILESS_MAIN(TestCliSim)
#include "tst_cli_sim.moc"
