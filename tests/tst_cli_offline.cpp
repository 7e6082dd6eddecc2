// hygrotab-cli without a logger on a serial line: help, usage errors (which
// must be caught before the tool talks to any port), a missing port, and the
// built-in demo logger.
#include <QDateTime>
#include <QFile>
#include <QRegularExpression>
#include <QtTest>

#include "logger/session.h"
#include "support/cli_runner.h"

using hygro::test::runCli;
using hygro::test::words;

namespace {
// A port that cannot exist: a command that got as far as connecting would
// fail with exit status 1 on it, so exit status 2 proves it stopped before.
const QString kNoPort = QStringLiteral("/nonexistent/hygrotab-tty");

// Each command, and something its --help text mentions.
const char* const kCommands[][2] = {{"status", "Battery"},
                                    {"measure", "--count N"},
                                    {"download", "--csv FILE"},
                                    {"start", "--force"},
                                    {"stop", "reserved start"},
                                    {"set-clock", "Clock:"},
                                    {"set-name", "\\ / : * ? \" < > |"},
                                    {"set-alarm", "-19 to 70"},
                                    {"set-mode", "one-time|loop"}};
}  // namespace

class TestCliOffline : public QObject {
  Q_OBJECT
 private slots:
  void toolHelpListsEveryCommand();
  void commandHelp_data();
  void commandHelp();
  void usageErrors_data();
  void usageErrors();
  void refusedWithTheWindowsMessage_data();
  void refusedWithTheWindowsMessage();
  void missingPort_data();
  void missingPort();
  void demoLogger();
};

void TestCliOffline::toolHelpListsEveryCommand() {
  CLI_RUN(r, 0, runCli(words("--help")));
  QVERIFY(r.out.startsWith(QStringLiteral("Usage: hygrotab-cli ")));
  for (const auto& [command, mentions] : kCommands) {
    QVERIFY2(r.out.contains(QRegularExpression(
                 QStringLiteral("\\n  %1 ").arg(QRegularExpression::escape(command)))),
             command);
  }
  QVERIFY(r.err.isEmpty());
}

void TestCliOffline::commandHelp_data() {
  QTest::addColumn<QString>("command");
  QTest::addColumn<QString>("mentions");
  for (const auto& [command, mentions] : kCommands)
    QTest::newRow(command) << QString::fromUtf8(command) << QString::fromUtf8(mentions);
}

void TestCliOffline::commandHelp() {
  QFETCH(QString, command);
  QFETCH(QString, mentions);
  // --help wins over everything else on the line, and never touches a port.
  CLI_RUN(r, 0, runCli({QStringLiteral("--port"), kNoPort, command, QStringLiteral("--help")}));
  QVERIFY2(r.out.startsWith(QStringLiteral("Usage: hygrotab-cli [global options] ") + command),
           CLI_DIAG(r));
  QVERIFY2(r.out.contains(mentions), CLI_DIAG(r));
}

void TestCliOffline::usageErrors_data() {
  QTest::addColumn<QStringList>("args");
  QTest::addColumn<QString>("says");
  // The command line, and what the message says.
  const char* const rows[][2] = {
      {"", "no command given"},
      {"frobnicate", "unknown command 'frobnicate'"},
      {"--speed 1 status", "unknown option '--speed'"},
      {"--baud 1234 status", "--baud takes one of"},
      {"--port", "--port needs"},
      {"--port 0 status", "Port 0 does not exist: port numbers go from 1 to 255"},
      {"--port 256 status", "Port 256 does not exist"},
      {"--port COM3 status", "COM3 is a Windows port name"},
      {"--port ttyUSB0 status", "ttyUSB0 is not a port"},
      {"--demo status", "exclude each other"},  // with the port every row gets
      {"status --verbose", "unknown option '--verbose'"},
      {"status now", "takes no arguments"},
      {"measure --count", "'--count' needs a value"},
      {"start --interval 1m --force=yes", "takes no value"},
      {"measure --count 0", "--count must be"},
      {"measure --count x", "--count must be"},
      {"measure --count 2 --interval 1", "--interval takes 2 to 60"},
      {"measure --count 2 --interval 61", "--interval takes 2 to 60"},
      {"measure --count 2 --interval 90", "--interval takes 2 to 60"},
      {"download --csv=", "--csv needs a file name"},
      {"start", "start needs --interval"},
      {"start --interval 10", "a number and a unit"},
      {"start --interval 10h", "a number and a unit"},
      {"start --interval 0s", "from 1 to 255"},
      {"start --interval 256m", "from 1 to 255"},
      {"start --interval 1m --mode ring", "one-time or loop"},
      {"start --interval 1m --upper 71:on", "upper bound must be a whole number from -19 to 70"},
      {"start --interval 1m --upper -20:on", "from -19 to 70"},
      {"start --interval 1m --lower -21:off", "lower bound must be a whole number from -20 to 69"},
      {"start --interval 1m --lower 70:off", "from -20 to 69"},
      {"start --interval 1m --upper 30:maybe", "DEGREES:on or DEGREES:off"},
      {"set-alarm --upper 30.5:on --lower 0:on", "DEGREES:on or DEGREES:off"},
      {"start --interval 1m --upper 5:on --lower 5:off", "upper bound must be above the lower"},
      {"set-alarm --upper -5:on --lower 30:on", "upper bound must be above the lower"},
      {"set-alarm --upper 30:on", "needs both --upper and --lower"},
      {"start --interval 1m --reserve tomorrow", "YYYY-MM-DD HH:MM"},
      {"start --interval 1m --reserve \"2030-13-01 10:00\"", "YYYY-MM-DD HH:MM"},
      {"set-name", "takes one name"},
      {"set-name AB CD", "takes one name"},
      {"set-mode", "one-time or loop"},
      {"set-mode endless", "one-time or loop"}};
  for (const auto& [line, says] : rows)
    QTest::newRow(*line ? line : "(nothing)") << words(line) << QString::fromUtf8(says);
}

void TestCliOffline::usageErrors() {
  QFETCH(QStringList, args);
  QFETCH(QString, says);
  // Every row but those about --port itself gets a port that does not exist.
  const QStringList port{QStringLiteral("--port"), kNoPort};
  CLI_RUN(r, 2, runCli(args.value(0) == QStringLiteral("--port") ? args : port + args));
  QVERIFY2(r.err.contains(says), CLI_DIAG(r));
  QVERIFY2(r.err.contains(QStringLiteral("--help")), CLI_DIAG(r));  // where to look
  QVERIFY2(r.out.isEmpty(), CLI_DIAG(r));
}

void TestCliOffline::refusedWithTheWindowsMessage_data() {
  // What the window's checks refuse, before anything is sent (each forbidden
  // character: tst_logger_ops).
  QTest::addColumn<QStringList>("args");
  QTest::addColumn<QString>("message");
  const QString forbidden =
      QStringLiteral("認識名称には次の文字は使えません\n\n           \\ / : * ? \" < > |\n");
  QTest::newRow("set-name A/B") << words("set-name A/B") << forbidden;
  QTest::newRow("start --name x:y") << words("start --interval 1m --name x:y") << forbidden;
  // A character the logger cannot hold gets the core's message too.
  QTest::newRow("set-name Ä1") << words("set-name Ä1")
                               << hygro::Session::SingleByteNameMessage() + QLatin1Char('\n');
  const QString past =
      QDateTime::currentDateTime().addSecs(-120).toString(QStringLiteral("yyyy-MM-dd HH:mm"));
  QTest::newRow("reservation in the past")
      << (words("start --interval 5m --reserve") << past)
      << QStringLiteral("The mistake is found at the reservation time.\n");
}

void TestCliOffline::refusedWithTheWindowsMessage() {
  QFETCH(QStringList, args);
  QFETCH(QString, message);
  CLI_RUN(r, 2, runCli(QStringList{QStringLiteral("--port"), kNoPort} + args));
  QCOMPARE(r.err, message);
  QVERIFY(r.out.isEmpty());
}

void TestCliOffline::missingPort_data() {
  QTest::addColumn<QStringList>("args");
  QTest::newRow("download on a missing path")
      << QStringList{"--port", kNoPort, "download", "--csv", "x.csv"};
  QTest::newRow("set-name on COM 200") << words("--port 200 set-name AB");
  QTest::newRow("a regular file") << QStringList{
      "--port", QStringLiteral(HYGROTAB_TEST_DATA "/sim/idle.json"), "status"};
}

void TestCliOffline::missingPort() {
  QFETCH(QStringList, args);
  CLI_RUN(r, 1, runCli(args));
  QVERIFY2(r.errLines().value(0) == QStringLiteral("Hygrotab not connected."), CLI_DIAG(r));
  QVERIFY(r.out.isEmpty());
  QVERIFY(!QFile::exists(QStringLiteral("x.csv")));
}

void TestCliOffline::demoLogger() {
  // --demo: the built-in logger, in place of a port.
  CLI_RUN(status, 0, runCli(words("--demo status")));
  QCOMPARE(status.outLines().size(), 12);
  QCOMPARE(status.field("Name"), QStringLiteral("DEMO"));
  QCOMPARE(status.field("Points"), QStringLiteral("216 point"));
  QVERIFY(status.err.isEmpty());

  // The lowest pair of bounds, the second option in its --name=value form.
  CLI_RUN(alarm, 0, runCli(words("--demo set-alarm --upper -19:on --lower=-20:off")));
  QCOMPARE(alarm.outLines(),
           (QStringList{QStringLiteral("Upper bound: -19 C"), QStringLiteral("Lower bound: OFF")}));
  QCOMPARE(alarm.err, QStringLiteral("Set completion\n"));
}

QTEST_GUILESS_MAIN(TestCliOffline)
#include "tst_cli_offline.moc"
