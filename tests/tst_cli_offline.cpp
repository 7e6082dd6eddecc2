// hygrotab-cli without a logger on a serial line: help, usage errors (which
// must be caught before the tool talks to any port), a missing port, and the
// built-in demo logger.
#include <QDateTime>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include "logger/session.h"
#include "support/cli_runner.h"

using hygro::test::CliResult;
using hygro::test::runCli;

namespace {
// A port that cannot exist: a command that got as far as connecting would
// fail with exit status 1 on it, so exit status 2 proves it stopped before.
const QString kNoPort = QStringLiteral("/nonexistent/hygrotab-tty");

const QStringList kCommands{"status",    "measure",  "download",  "start",   "stop",
                            "set-clock", "set-name", "set-alarm", "set-mode"};

const QRegularExpression kSampleLine(QStringLiteral(
    "^\\d{4}/\\d{2}/\\d{2} \\d{2}:\\d{2}:\\d{2}\\t-?\\d+\\.\\d{2}\\t-?\\d+\\.\\d{2}$"));
}  // namespace

class TestCliOffline : public QObject {
  Q_OBJECT
 private slots:
  void toolHelpListsEveryCommand();
  void commandHelp_data();
  void commandHelp();
  void usageErrors_data();
  void usageErrors();
  void forbiddenNameIsRefusedWithTheWindowsMessage();
  void reservationInThePastIsRefused();
  void missingPort_data();
  void missingPort();
  void demoStatus();
  void demoMeasureOnce();
  void demoDownloadToCsv();
  void demoAlarmAtTheLowestPair();
};

void TestCliOffline::toolHelpListsEveryCommand() {
  const CliResult r = runCli({QStringLiteral("--help")});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  QVERIFY(r.out.startsWith(QStringLiteral("Usage: hygrotab-cli ")));
  for (const QString& c : kCommands) {
    QVERIFY2(r.out.contains(
                 QRegularExpression(QStringLiteral("\\n  %1 ").arg(QRegularExpression::escape(c)))),
             qPrintable(c));
  }
  QVERIFY(r.err.isEmpty());
}

void TestCliOffline::commandHelp_data() {
  QTest::addColumn<QString>("command");
  QTest::addColumn<QString>("mentions");
  QTest::newRow("status") << "status"
                          << "Battery";
  QTest::newRow("measure") << "measure"
                           << "--count N";
  QTest::newRow("download") << "download"
                            << "--csv FILE";
  QTest::newRow("start") << "start"
                         << "--force";
  QTest::newRow("stop") << "stop"
                        << "reserved start";
  QTest::newRow("set-clock") << "set-clock"
                             << "Clock:";
  QTest::newRow("set-name") << "set-name"
                            << "\\ / : * ? \" < > |";
  QTest::newRow("set-alarm") << "set-alarm"
                             << "-19 to 70";
  QTest::newRow("set-mode") << "set-mode"
                            << "one-time|loop";
}

void TestCliOffline::commandHelp() {
  QFETCH(QString, command);
  QFETCH(QString, mentions);
  // --help wins over everything else on the line, and never touches a port.
  const CliResult r =
      runCli({QStringLiteral("--port"), kNoPort, command, QStringLiteral("--help")});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  QVERIFY2(r.out.startsWith(QStringLiteral("Usage: hygrotab-cli [global options] ") + command),
           CLI_DIAG(r));
  QVERIFY2(r.out.contains(mentions), CLI_DIAG(r));
}

void TestCliOffline::usageErrors_data() {
  QTest::addColumn<QStringList>("args");
  QTest::addColumn<QString>("says");
  QTest::newRow("no command") << QStringList{} << "no command given";
  QTest::newRow("unknown command") << QStringList{"frobnicate"} << "unknown command 'frobnicate'";
  QTest::newRow("unknown global option")
      << QStringList{"--speed", "1", "status"} << "unknown option '--speed'";
  QTest::newRow("baud not offered")
      << QStringList{"--baud", "1234", "status"} << "--baud takes one of";
  QTest::newRow("port without value") << QStringList{"--port"} << "--port needs";
  QTest::newRow("port and demo") << QStringList{"--demo", "status"} << "exclude each other";
  QTest::newRow("unknown command option")
      << QStringList{"status", "--verbose"} << "unknown option '--verbose'";
  QTest::newRow("status argument") << QStringList{"status", "now"} << "takes no arguments";
  QTest::newRow("option without value")
      << QStringList{"measure", "--count"} << "'--count' needs a value";
  QTest::newRow("flag with value")
      << QStringList{"start", "--interval", "1m", "--force=yes"} << "takes no value";
  QTest::newRow("count zero") << QStringList{"measure", "--count", "0"} << "--count must be";
  QTest::newRow("count not a number")
      << QStringList{"measure", "--count", "x"} << "--count must be";
  QTest::newRow("run interval 1 s")
      << QStringList{"measure", "--count", "2", "--interval", "1"} << "--interval takes 2 to 60";
  QTest::newRow("run interval 61 s")
      << QStringList{"measure", "--count", "2", "--interval", "61"} << "--interval takes 2 to 60";
  QTest::newRow("run interval 90 s")
      << QStringList{"measure", "--count", "2", "--interval", "90"} << "--interval takes 2 to 60";
  QTest::newRow("csv without name")
      << QStringList{"download", "--csv="} << "--csv needs a file name";
  QTest::newRow("start without interval") << QStringList{"start"} << "start needs --interval";
  QTest::newRow("interval without unit")
      << QStringList{"start", "--interval", "10"} << "a number and a unit";
  QTest::newRow("interval bad unit")
      << QStringList{"start", "--interval", "10h"} << "a number and a unit";
  QTest::newRow("interval 0") << QStringList{"start", "--interval", "0s"} << "from 1 to 255";
  QTest::newRow("interval 256") << QStringList{"start", "--interval", "256m"} << "from 1 to 255";
  QTest::newRow("mode unknown") << QStringList{"start", "--interval", "1m", "--mode", "ring"}
                                << "one-time or loop";
  QTest::newRow("upper too high") << QStringList{"start", "--interval", "1m", "--upper", "71:on"}
                                  << "upper bound must be a whole number from -19 to 70";
  QTest::newRow("upper too low") << QStringList{"start", "--interval", "1m", "--upper", "-20:on"}
                                 << "from -19 to 70";
  QTest::newRow("lower too low") << QStringList{"start", "--interval", "1m", "--lower", "-21:off"}
                                 << "lower bound must be a whole number from -20 to 69";
  QTest::newRow("lower too high") << QStringList{"start", "--interval", "1m", "--lower", "70:off"}
                                  << "from -20 to 69";
  QTest::newRow("bound switch") << QStringList{"start", "--interval", "1m", "--upper", "30:maybe"}
                                << "DEGREES:on or DEGREES:off";
  QTest::newRow("bound fraction") << QStringList{"set-alarm", "--upper", "30.5:on", "--lower",
                                                 "0:on"}
                                  << "DEGREES:on or DEGREES:off";
  QTest::newRow("bounds equal") << QStringList{"start", "--interval", "1m",   "--upper",
                                               "5:on",  "--lower",    "5:off"}
                                << "upper bound must be above the lower";
  QTest::newRow("bounds crossed") << QStringList{"set-alarm", "--upper", "-5:on", "--lower",
                                                 "30:on"}
                                  << "upper bound must be above the lower";
  QTest::newRow("alarm without lower")
      << QStringList{"set-alarm", "--upper", "30:on"} << "needs both --upper and --lower";
  QTest::newRow("reserve not a date")
      << QStringList{"start", "--interval", "1m", "--reserve", "tomorrow"} << "YYYY-MM-DD HH:MM";
  QTest::newRow("reserve month 13")
      << QStringList{"start", "--interval", "1m", "--reserve", "2030-13-01 10:00"}
      << "YYYY-MM-DD HH:MM";
  QTest::newRow("reserve 24 h") << QStringList{"start", "--interval", "1m", "--reserve",
                                               "2030-01-01 24:00"}
                                << "YYYY-MM-DD HH:MM";
  QTest::newRow("set-name nothing") << QStringList{"set-name"} << "takes one name";
  QTest::newRow("set-name two") << QStringList{"set-name", "AB", "CD"} << "takes one name";
  QTest::newRow("set-mode nothing") << QStringList{"set-mode"} << "one-time or loop";
  QTest::newRow("set-mode unknown") << QStringList{"set-mode", "endless"} << "one-time or loop";
}

void TestCliOffline::usageErrors() {
  QFETCH(QStringList, args);
  QFETCH(QString, says);
  // Every row but the one about --port itself gets a port that does not
  // exist (the port-and-demo row thereby names both).
  const CliResult r = runCli(args.value(0) == QStringLiteral("--port")
                                 ? args
                                 : QStringList{QStringLiteral("--port"), kNoPort} + args);
  QVERIFY2(r.exitCode == 2, CLI_DIAG(r));
  QVERIFY2(r.err.contains(says), CLI_DIAG(r));
  QVERIFY2(r.err.contains(QStringLiteral("--help")), CLI_DIAG(r));  // where to look
  QVERIFY2(r.out.isEmpty(), CLI_DIAG(r));
}

void TestCliOffline::forbiddenNameIsRefusedWithTheWindowsMessage() {
  const QString message =
      QStringLiteral("認識名称には次の文字は使えません\n\n           \\ / : * ? \" < > |\n");
  for (const QString& name : {QStringLiteral("A/B"), QStringLiteral("|"), QStringLiteral("a\\b"),
                              QStringLiteral("x:y")}) {
    for (const QStringList& cmd :
         {QStringList{QStringLiteral("set-name"), name},
          QStringList{QStringLiteral("start"), QStringLiteral("--interval"), QStringLiteral("1m"),
                      QStringLiteral("--name"), name}}) {
      const CliResult r = runCli(QStringList{QStringLiteral("--port"), kNoPort} + cmd);
      QVERIFY2(r.exitCode == 2, CLI_DIAG(r));
      QCOMPARE(r.err, message);
      QVERIFY(r.out.isEmpty());
    }
  }
  // A character the logger cannot hold gets the core's message too.
  const CliResult r =
      runCli({QStringLiteral("--port"), kNoPort, QStringLiteral("set-name"), QStringLiteral("Ä1")});
  QVERIFY2(r.exitCode == 2, CLI_DIAG(r));
  QCOMPARE(r.err, hygro::Session::SingleByteNameMessage() + QLatin1Char('\n'));
}

void TestCliOffline::reservationInThePastIsRefused() {
  const QString past =
      QDateTime::currentDateTime().addSecs(-120).toString(QStringLiteral("yyyy-MM-dd HH:mm"));
  const CliResult r = runCli({QStringLiteral("--port"), kNoPort, QStringLiteral("start"),
                              QStringLiteral("--interval"), QStringLiteral("5m"),
                              QStringLiteral("--reserve"), past});
  QVERIFY2(r.exitCode == 2, CLI_DIAG(r));
  QCOMPARE(r.err, QStringLiteral("The mistake is found at the reservation time.\n"));
}

void TestCliOffline::missingPort_data() {
  QTest::addColumn<QStringList>("args");
  QTest::newRow("status on a missing path") << QStringList{"--port", kNoPort, "status"};
  QTest::newRow("download on a missing path")
      << QStringList{"--port", kNoPort, "download", "--csv", "x.csv"};
  QTest::newRow("set-name on COM 200") << QStringList{"--port", "200", "set-name", "AB"};
  QTest::newRow("a regular file") << QStringList{
      "--port", QStringLiteral(HYGROTAB_TEST_DATA "/sim/idle.json"), "status"};
}

void TestCliOffline::missingPort() {
  QFETCH(QStringList, args);
  const CliResult r = runCli(args);
  QVERIFY2(!r.crashed && r.exitCode == 1, CLI_DIAG(r));
  QVERIFY2(r.errLines().value(0) == QStringLiteral("Hygrotab not connected."), CLI_DIAG(r));
  QVERIFY(r.out.isEmpty());
  QVERIFY(!QFile::exists(QStringLiteral("x.csv")));
}

void TestCliOffline::demoStatus() {
  const CliResult r = runCli({QStringLiteral("--demo"), QStringLiteral("status")});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  const QStringList captions{"Model",       "Firmware",    "Name",     "State",
                             "Start time",  "Points",      "Interval", "Memory mode",
                             "Upper bound", "Lower bound", "Battery",  "End"};
  QCOMPARE(r.outLines().size(), captions.size());
  for (int i = 0; i < captions.size(); ++i)
    QVERIFY2(r.outLines()[i].startsWith(captions[i] + QStringLiteral(": ")), CLI_DIAG(r));
  QCOMPARE(r.field("Model"), QStringLiteral("QM720-XC"));
  QCOMPARE(r.field("Name"), QStringLiteral("DEMO"));
  QCOMPARE(r.field("State"), QStringLiteral("Record stop"));
  QCOMPARE(r.field("Points"), QStringLiteral("216 point"));
  QCOMPARE(r.field("Interval"), QStringLiteral("10 Min"));
  QCOMPARE(r.field("Battery"), QStringLiteral("3.05 V"));
  QVERIFY(r.err.isEmpty());
}

void TestCliOffline::demoMeasureOnce() {
  const CliResult r = runCli({QStringLiteral("--demo"), QStringLiteral("measure")});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  QCOMPARE(r.outLines().size(), 1);
  QVERIFY2(kSampleLine.match(r.outLines()[0]).hasMatch(), CLI_DIAG(r));
  // The demo room sits near 23.5 C and 48 %RH.
  const QStringList f = r.outLines()[0].split(QLatin1Char('\t'));
  QVERIFY2(qAbs(f[1].toDouble() - 23.5) < 5 && qAbs(f[2].toDouble() - 48) < 15, CLI_DIAG(r));
}

void TestCliOffline::demoDownloadToCsv() {
  QTemporaryDir dir;
  const QString csv = dir.filePath(QStringLiteral("log.csv"));
  const CliResult r =
      runCli({QStringLiteral("--demo"), QStringLiteral("download"), QStringLiteral("--csv"), csv});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  QVERIFY2(r.out.isEmpty(), CLI_DIAG(r));  // the points went to the file
  // Not a terminal: plain progress lines, the first and the last as the
  // progress window shows them.
  QVERIFY2(r.errLines().contains(QStringLiteral("ダウンロード　(0/216)")), CLI_DIAG(r));
  QVERIFY2(r.errLines().contains(QStringLiteral("Download　(216/216)")), CLI_DIAG(r));
  QVERIFY2(r.errLines().size() < 20, CLI_DIAG(r));
  QFile f(csv);
  QVERIFY(f.open(QIODevice::ReadOnly));
  const QList<QByteArray> lines = f.readAll().split('\n');
  QCOMPARE(lines.size(), 3 + 216 + 1);  // header lines, rows, after the last CR LF
  QVERIFY(lines[1].startsWith("\"DEMO\","));
  QVERIFY(lines[1].contains("\" 216\",\" 600\",\"30\",\"OFF\""));
}

void TestCliOffline::demoAlarmAtTheLowestPair() {
  const CliResult r =
      runCli({QStringLiteral("--demo"), QStringLiteral("set-alarm"), QStringLiteral("--upper"),
              QStringLiteral("-19:on"), QStringLiteral("--lower=-20:off")});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  QCOMPARE(r.outLines(),
           (QStringList{QStringLiteral("Upper bound: -19 C"), QStringLiteral("Lower bound: OFF")}));
  QCOMPARE(r.err, QStringLiteral("Set completion\n"));
}

QTEST_GUILESS_MAIN(TestCliOffline)
#include "tst_cli_offline.moc"
