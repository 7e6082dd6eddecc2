// hygrotab-cli against hygrotab-sim on a pseudo-terminal: the real serial
// port path, one logger state per case, each command run as a user would.
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include "support/cli_runner.h"

using hygro::test::CliResult;
using hygro::test::SimLogger;

namespace {

const QRegularExpression kSampleLine(QStringLiteral(
    "^(\\d{4}/\\d{2}/\\d{2} \\d{2}:\\d{2}:\\d{2})\\t(-?\\d+\\.\\d{2})\\t(-?\\d+\\.\\d{2})$"));

QList<QByteArray> csvLines(const QString& path) {
  QFile f(path);
  if (!f.open(QIODevice::ReadOnly)) return {};
  QList<QByteArray> lines = f.readAll().split('\n');
  if (!lines.isEmpty() && lines.last().isEmpty()) lines.removeLast();
  for (QByteArray& l : lines) {
    if (l.endsWith('\r')) l.chop(1);
  }
  return lines;
}

QDateTime sampleTime(const QString& line) {
  return QDateTime::fromString(kSampleLine.match(line).captured(1),
                               QStringLiteral("yyyy/MM/dd HH:mm:ss"));
}

// Starts the emulated logger with a state file and further options.
#define START_SIM(sim, state, extra)                                          \
  do {                                                                        \
    QString simError;                                                         \
    QVERIFY2((sim).start((state), (extra), &simError), qPrintable(simError)); \
  } while (0)

}  // namespace

class TestCliSim : public QObject {
  Q_OBJECT
 private slots:
  void statusOfLoggerStates_data();
  void statusOfLoggerStates();
  void otherModelHasNoBounds();
  void measureOnce();
  void measureContinuousRunToCsv();
  void downloadTwoSegmentsToCsvMarksTheLogDownloaded();
  void downloadWrappedLoopReadsTheWholeMemory();
  void downloadFailures();
  void startStopAndReserve();
  void identificationName();
  void alarmBoundsAndMemoryMode();
  void setClock();
  void silentLogger();
  void loggerPulledOutDuringARun();
  void interruptedRunKeepsItsSamples();
};

void TestCliSim::statusOfLoggerStates_data() {
  QTest::addColumn<QString>("state");
  QTest::addColumn<QStringList>("expected");
  QTest::newRow("idle") << "idle.json"
                        << QStringList{"Model: QM720-XC",
                                       "Firmware: QM720-XC V1.02",
                                       "Name: LAB1",
                                       "State: Record stop",
                                       "Start time: 2024/05/01 09:00:00",
                                       "Points: 144 point",
                                       "Interval: 10 Min",
                                       "Memory mode: One Time",
                                       "Upper bound: 30 C",
                                       "Lower bound: OFF",
                                       "Battery: 3.05 V",
                                       "End: "};
  QTest::newRow("recording") << "recording.json"
                             << QStringList{"Model: QM720-XC",
                                            "Firmware: QM720-XC V1.02",
                                            "Name: REC1",
                                            "State: Recording",
                                            "Start time: 2024/05/02 08:00:00",
                                            "Points: 120 point",
                                            "Interval: 1 Min",
                                            "Memory mode: One Time",
                                            "Upper bound: 35 C",
                                            "Lower bound: 0 C",
                                            "Battery: 3.10 V",
                                            "End: "};
  // Reserved: the start time is the reservation, the interval the one set
  // for the coming recording; the fresh log blanks mode and bounds.
  QTest::newRow("reserved") << "reserved.json"
                            << QStringList{"Model: QM720-XC",
                                           "Firmware: QM720-XC V1.02",
                                           "Name: RSV1",
                                           "State: Reserving",
                                           "Start time: 15Day08:30 Record beginning",
                                           "Points: 0 Point",
                                           "Interval: 5 Min",
                                           "Memory mode: ",
                                           "Upper bound: ",
                                           "Lower bound: ",
                                           "Battery: 3.00 V",
                                           "End: "};
  QTest::newRow("fresh") << "fresh.json"
                         << QStringList{"Model: QM720-XC",
                                        "Firmware: QM720-XC V1.02",
                                        "Name:     ",
                                        "State: Record stop",
                                        "Start time: ----/--/-- --:--:--",
                                        "Points: 0 point",
                                        "Interval: ",
                                        "Memory mode: ",
                                        "Upper bound: ",
                                        "Lower bound: ",
                                        "Battery: 3.20 V",
                                        "End: "};
  QTest::newRow("low battery") << "lowbattery.json"
                               << QStringList{"Model: QM720-XC",
                                              "Firmware: QM720-XC V1.02",
                                              "Name: LOWB",
                                              "State: Record stop",
                                              "Start time: 2024/05/01 12:00:00",
                                              "Points: 100 point",
                                              "Interval: 5 Min",
                                              "Memory mode: One Time",
                                              "Upper bound: OFF",
                                              "Lower bound: OFF",
                                              QStringLiteral("Battery: ＮＧ 2.49 V"),
                                              "End: End due to the voltage decrease."};
  QTest::newRow("wrapped loop") << "wrapped_loop.json"
                                << QStringList{"Model: QM720-XC",
                                               "Firmware: QM720-XC V1.02",
                                               "Name: LOOP",
                                               "State: Record stop",
                                               "Start time: 2024/05/01 00:00:00",
                                               "Points: 15000 Point",
                                               "Interval: 1 Min",
                                               "Memory mode: Loop",
                                               "Upper bound: OFF",
                                               "Lower bound: OFF",
                                               "Battery: 3.00 V",
                                               "End: "};
}

void TestCliSim::statusOfLoggerStates() {
  QFETCH(QString, state);
  QFETCH(QStringList, expected);
  SimLogger sim;
  START_SIM(sim, state, QStringList{});
  const CliResult r = sim.run({QStringLiteral("status")});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  QCOMPARE(r.outLines(), expected);
  QVERIFY2(r.err.isEmpty(), CLI_DIAG(r));
}

void TestCliSim::otherModelHasNoBounds() {
  SimLogger sim;
  START_SIM(sim, QStringLiteral("idle.json"),
            (QStringList{QStringLiteral("--model"), QStringLiteral("QM510-XC")}));
  const CliResult r = sim.run({QStringLiteral("status")});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  QCOMPARE(r.field("Model"), QStringLiteral("QM510-XC"));
  QVERIFY2(!r.hasField("Upper bound") && !r.hasField("Lower bound"), CLI_DIAG(r));
  QCOMPARE(r.outLines().size(), 10);

  const CliResult alarm =
      sim.run({QStringLiteral("set-alarm"), QStringLiteral("--upper"), QStringLiteral("30:on"),
               QStringLiteral("--lower"), QStringLiteral("-5:off")});
  QVERIFY2(alarm.exitCode == 1, CLI_DIAG(alarm));
  QVERIFY2(alarm.err.contains(QStringLiteral("QM510-XC has no alarm bounds")), CLI_DIAG(alarm));
}

void TestCliSim::measureOnce() {
  // The emulated room: 24.4 C (raw 6400) and 50.45 %RH.
  SimLogger sim;
  START_SIM(sim, QStringLiteral("idle.json"), QStringList{});
  const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
  const CliResult r = sim.run({QStringLiteral("measure")});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  QCOMPARE(r.outLines().size(), 1);
  const auto m = kSampleLine.match(r.outLines()[0]);
  QVERIFY2(m.hasMatch(), CLI_DIAG(r));
  QCOMPARE(m.captured(2), QStringLiteral("24.40"));
  QVERIFY2(qAbs(m.captured(3).toDouble() - 50.45) <= 0.02, CLI_DIAG(r));
  // Stamped with the computer's time when the measurement was asked for.
  const QDateTime at = sampleTime(r.outLines()[0]);
  QVERIFY2(at >= before && at <= QDateTime::currentDateTime().addSecs(1), CLI_DIAG(r));

  // A recording logger is left alone, as the window's locked buttons leave it.
  SimLogger recording;
  START_SIM(recording, QStringLiteral("recording.json"), QStringList{});
  const CliResult refused = recording.run({QStringLiteral("measure")});
  QVERIFY2(refused.exitCode == 1, CLI_DIAG(refused));
  QVERIFY2(refused.out.isEmpty(), CLI_DIAG(refused));
  QVERIFY2(refused.err.contains(QStringLiteral("the logger is recording")), CLI_DIAG(refused));
}

void TestCliSim::measureContinuousRunToCsv() {
  SimLogger sim;
  START_SIM(sim, QStringLiteral("idle.json"), QStringList{});
  QTemporaryDir dir;
  const QString csv = dir.filePath(QStringLiteral("rt.csv"));
  // Every 2 s: the fast start, whose coarse readings are scaled back.
  const CliResult r =
      sim.run({QStringLiteral("measure"), QStringLiteral("--count"), QStringLiteral("3"),
               QStringLiteral("--interval"), QStringLiteral("2"), QStringLiteral("--csv"), csv});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  const QStringList lines = r.outLines();
  QCOMPARE(lines.size(), 3);
  for (const QString& l : lines) {
    const auto m = kSampleLine.match(l);
    QVERIFY2(m.hasMatch(), qPrintable(l));
    QVERIFY2(qAbs(m.captured(2).toDouble() - 24.4) <= 0.05, qPrintable(l));
    QVERIFY2(qAbs(m.captured(3).toDouble() - 50.45) <= 0.6, qPrintable(l));
  }
  for (int i = 1; i < lines.size(); ++i) {
    const qint64 gap = sampleTime(lines[i - 1]).secsTo(sampleTime(lines[i]));
    QVERIFY2(gap >= 2 && gap <= 3, qPrintable(lines.join(QLatin1Char('\n'))));
  }
  // The run ended: the window's end-of-run question is not left on stderr.
  QVERIFY2(!r.err.contains(QStringLiteral("preserved")), CLI_DIAG(r));

  const QList<QByteArray> rows = csvLines(csv);
  QCOMPARE(rows.size(), 3 + 3);
  QVERIFY2(rows[1].startsWith("\"LAB1\",") && rows[1].contains("\" 3\",\" 2\""),
           rows[1].constData());
  for (int i = 0; i < 3; ++i) {
    const QList<QByteArray> cells = rows[3 + i].split(',');
    QCOMPARE(cells[0], QByteArray::number(i + 1));
    // The same samples as printed.
    QCOMPARE(QString::fromUtf8(cells[1]).remove(QLatin1Char('"')),
             lines[i].section(QLatin1Char('\t'), 0, 0));
    QCOMPARE(QString::fromUtf8(cells[2]).remove(QLatin1Char('"')),
             lines[i].section(QLatin1Char('\t'), 1, 1));
  }
}

void TestCliSim::downloadTwoSegmentsToCsvMarksTheLogDownloaded() {
  SimLogger sim;
  START_SIM(sim, QStringLiteral("two_segments.json"), QStringList{});
  QTemporaryDir dir;
  const QString csv = dir.filePath(QStringLiteral("log.csv"));
  const CliResult r = sim.run({QStringLiteral("download"), QStringLiteral("--csv"), csv});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  QVERIFY2(r.out.isEmpty(), CLI_DIAG(r));
  const QStringList progress = r.errLines();
  QCOMPARE(progress.first(), QStringLiteral("ダウンロード　(0/200)"));
  QVERIFY2(progress.contains(QStringLiteral("Download　(200/200)")), CLI_DIAG(r));
  QCOMPARE(progress.last(), QStringLiteral("200 points downloaded"));

  const QList<QByteArray> rows = csvLines(csv);
  QCOMPARE(rows.size(), 3 + 200);
  QCOMPARE(
      rows[0],
      QByteArray("\"Recognition name\",\"Start time\",\"Recording points\",\"Record interval\","
                 "\"Upper bound temperature setting\",\"Lower bound temperature setting\""));
  QVERIFY2(rows[1].startsWith("\"SEG2\",\"2024/05/01 10:00:00\",\" 200\",\" 60\""),
           rows[1].constData());
  QCOMPARE(rows[2],
           QByteArray("\"Record number\",\"Date\",\"Temperature\",\"Humidity \",\"Remarks \""));
  // 120 points from 10:00 a minute apart, then the second segment from 14:00.
  auto timeOf = [&](int n) { return rows[2 + n].split(',').value(1); };
  QCOMPARE(timeOf(1), QByteArray("\"2024/05/01 10:00:00\""));
  QCOMPARE(timeOf(120), QByteArray("\"2024/05/01 11:59:00\""));
  QCOMPARE(timeOf(121), QByteArray("\"2024/05/01 14:00:00\""));
  QCOMPARE(timeOf(200), QByteArray("\"2024/05/01 15:19:00\""));
  QCOMPARE(rows[3].split(',').value(2), QByteArray("\"22.00\""));

  // The logger now counts its log as downloaded: a new start asks nothing.
  const CliResult start =
      sim.run({QStringLiteral("start"), QStringLiteral("--interval"), QStringLiteral("1m")});
  QVERIFY2(start.exitCode == 0, CLI_DIAG(start));
  QCOMPARE(start.field("State"), QStringLiteral("Recording"));
}

void TestCliSim::downloadWrappedLoopReadsTheWholeMemory() {
  SimLogger sim;
  START_SIM(sim, QStringLiteral("wrapped_loop.json"), QStringList{});
  QTemporaryDir dir;
  const QString csv = dir.filePath(QStringLiteral("loop.csv"));
  const CliResult r = sim.run({QStringLiteral("download"), QStringLiteral("--csv"), csv});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  QCOMPARE(r.errLines().first(), QStringLiteral("ダウンロード　(0/15000)"));
  QCOMPARE(r.errLines().last(), QStringLiteral("15000 points downloaded"));
  QVERIFY2(r.errLines().size() <= 13, CLI_DIAG(r));  // a line a tenth, not a line a point
  const QList<QByteArray> rows = csvLines(csv);
  QCOMPARE(rows.size(), 3 + 15000);
  // The general date form leaves out a midnight time.
  QVERIFY2(rows[1].startsWith("\"LOOP\",\"2024/05/01\",\" 15000\",\" 60\""), rows[1].constData());
  QVERIFY(rows.last().startsWith("15000,"));
}

void TestCliSim::downloadFailures() {
  QTemporaryDir dir;
  const QString csv = dir.filePath(QStringLiteral("never.csv"));
  {
    // The stream stops after 50 points: the watchdog gives up, nothing saved.
    SimLogger sim;
    START_SIM(sim, QStringLiteral("idle.json"),
              (QStringList{QStringLiteral("--stall-after"), QStringLiteral("50")}));
    const CliResult r = sim.run({QStringLiteral("download"), QStringLiteral("--csv"), csv});
    QVERIFY2(r.exitCode == 1, CLI_DIAG(r));
    QVERIFY2(r.errLines().contains(QStringLiteral("It failed in download.")), CLI_DIAG(r));
    QVERIFY2(!r.err.contains(QStringLiteral("points downloaded")), CLI_DIAG(r));
    QVERIFY(!QFile::exists(csv));
  }
  {
    SimLogger sim;
    START_SIM(sim, QStringLiteral("fresh.json"), QStringList{});
    const CliResult r = sim.run({QStringLiteral("download"), QStringLiteral("--csv"), csv});
    QVERIFY2(r.exitCode == 1, CLI_DIAG(r));
    QCOMPARE(r.err, QStringLiteral("No download data.\n"));
    QVERIFY(!QFile::exists(csv));
  }
}

void TestCliSim::startStopAndReserve() {
  // A logger recording a log nobody downloaded yet.
  SimLogger sim;
  START_SIM(sim, QStringLiteral("recording.json"), QStringList{});
  const QStringList start1m{QStringLiteral("start"), QStringLiteral("--interval"),
                            QStringLiteral("1m")};

  CliResult r = sim.run(start1m);
  QVERIFY2(r.exitCode == 1, CLI_DIAG(r));  // the record button would stop it
  QVERIFY2(r.err.contains(QStringLiteral("already recording")), CLI_DIAG(r));

  r = sim.run({QStringLiteral("stop")});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  QCOMPARE(r.outLines(), QStringList{QStringLiteral("State: Record stop")});

  // Stopping what is stopped changes nothing and is no error.
  r = sim.run({QStringLiteral("stop")});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  QCOMPARE(r.outLines(), QStringList{QStringLiteral("State: Record stop")});

  // The window would ask; without --force the tool refuses with the question.
  r = sim.run(start1m);
  QVERIFY2(r.exitCode == 1, CLI_DIAG(r));
  QVERIFY2(r.err.startsWith(QStringLiteral("There is data never downloaded. \n"
                                           "May I begin the data before though it is lost?\n")),
           CLI_DIAG(r));
  QCOMPARE(sim.run({QStringLiteral("status")}).field("State"), QStringLiteral("Record stop"));

  r = sim.run({QStringLiteral("start"), QStringLiteral("--interval"), QStringLiteral("2s"),
               QStringLiteral("--name"), QStringLiteral("AB"), QStringLiteral("--mode"),
               QStringLiteral("loop"), QStringLiteral("--upper"), QStringLiteral("30:on"),
               QStringLiteral("--lower"), QStringLiteral("-5:off"), QStringLiteral("--force")});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  QCOMPARE(r.field("State"), QStringLiteral("Recording"));
  // A start shows no "Set completion" boxes.
  QVERIFY2(r.err.isEmpty(), CLI_DIAG(r));
  r = sim.run({QStringLiteral("status")});
  QCOMPARE(r.field("State"), QStringLiteral("Recording"));
  QCOMPARE(r.field("Name"), QStringLiteral("AB  "));
  QCOMPARE(r.field("Interval"), QStringLiteral("2 Sec"));
  QCOMPARE(r.field("Memory mode"), QStringLiteral("Loop"));
  QCOMPARE(r.field("Upper bound"), QStringLiteral("30 C"));
  QCOMPARE(r.field("Lower bound"), QStringLiteral("OFF"));
  const QDateTime started =
      QDateTime::fromString(r.field("Start time"), QStringLiteral("yyyy/MM/dd HH:mm:ss"));
  QVERIFY2(qAbs(started.secsTo(QDateTime::currentDateTime())) < 30, CLI_DIAG(r));

  QCOMPARE(sim.run({QStringLiteral("stop")}).field("State"), QStringLiteral("Record stop"));

  // A reserved start for tomorrow; the settings not given stay as they were.
  const QDateTime at = QDateTime::currentDateTime().addDays(1);
  const QString when = at.toString(QStringLiteral("yyyy-MM-dd")) + QStringLiteral(" 08:05");
  r = sim.run({QStringLiteral("start"), QStringLiteral("--interval"), QStringLiteral("5m"),
               QStringLiteral("--reserve"), when, QStringLiteral("--force")});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  const QString beginning =
      at.toString(QStringLiteral("dd")) + QStringLiteral("Day08:05 Record beginning");
  QCOMPARE(r.outLines(), (QStringList{QStringLiteral("State: Reserving"),
                                      QStringLiteral("Start time: ") + beginning}));
  r = sim.run({QStringLiteral("status")});
  QCOMPARE(r.field("State"), QStringLiteral("Reserving"));
  QCOMPARE(r.field("Interval"), QStringLiteral("5 Min"));
  QCOMPARE(r.field("Name"), QStringLiteral("AB  "));

  // Stop cancels the reservation.
  r = sim.run({QStringLiteral("stop")});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  QCOMPARE(r.outLines(), QStringList{QStringLiteral("State: Record stop")});
}

void TestCliSim::identificationName() {
  SimLogger sim;
  START_SIM(sim, QStringLiteral("idle.json"), QStringList{});
  CliResult r = sim.run({QStringLiteral("set-name"), QStringLiteral("AB")});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  QCOMPARE(r.outLines(), QStringList{QStringLiteral("Name: AB  ")});  // padded with blanks

  r = sim.run({QStringLiteral("set-name"), QStringLiteral("ABCDEF")});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  QCOMPARE(r.outLines(), QStringList{QStringLiteral("Name: ABCD")});  // the first four
  QVERIFY2(r.err.contains(QStringLiteral("four characters")), CLI_DIAG(r));

  r = sim.run({QStringLiteral("set-name"), QStringLiteral("A/B")});
  QVERIFY2(r.exitCode == 2, CLI_DIAG(r));
  QCOMPARE(r.err,
           QStringLiteral("認識名称には次の文字は使えません\n\n           \\ / : * ? \" < > |\n"));
  // Nothing was sent: the logger keeps the previous name.
  QCOMPARE(sim.run({QStringLiteral("status")}).field("Name"), QStringLiteral("ABCD"));

  r = sim.run({QStringLiteral("set-name"), QString()});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  QCOMPARE(r.outLines(), QStringList{QStringLiteral("Name:     ")});
}

void TestCliSim::alarmBoundsAndMemoryMode() {
  SimLogger sim;
  START_SIM(sim, QStringLiteral("fresh.json"), QStringList{});
  CliResult r =
      sim.run({QStringLiteral("set-alarm"), QStringLiteral("--upper"), QStringLiteral("30:on"),
               QStringLiteral("--lower"), QStringLiteral("-5:off")});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  // A fresh logger's status area blanks the bounds (there is no log yet):
  // what it took shows once a recording has started, below.
  QCOMPARE(r.err, QStringLiteral("Set completion\n"));

  r = sim.run({QStringLiteral("set-mode"), QStringLiteral("loop")});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  QCOMPARE(r.err, QStringLiteral("Set completion\n"));

  // A start keeps what the logger holds when no option says otherwise.
  r = sim.run({QStringLiteral("start"), QStringLiteral("--interval"), QStringLiteral("10m")});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  r = sim.run({QStringLiteral("status")});
  QCOMPARE(r.field("Upper bound"), QStringLiteral("30 C"));
  QCOMPARE(r.field("Lower bound"), QStringLiteral("OFF"));
  QCOMPARE(r.field("Memory mode"), QStringLiteral("Loop"));

  r = sim.run({QStringLiteral("set-alarm"), QStringLiteral("--upper"), QStringLiteral("-19:off"),
               QStringLiteral("--lower"), QStringLiteral("-20:on")});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  QCOMPARE(r.outLines(),
           (QStringList{QStringLiteral("Upper bound: OFF"), QStringLiteral("Lower bound: -20 C")}));
  r = sim.run({QStringLiteral("set-mode"), QStringLiteral("one-time")});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  QCOMPARE(r.outLines(), QStringList{QStringLiteral("Memory mode: One Time")});
}

void TestCliSim::setClock() {
  SimLogger sim;
  START_SIM(sim, QStringLiteral("idle.json"), QStringList{});  // its clock is in 2024
  const CliResult r = sim.run({QStringLiteral("set-clock")});
  QVERIFY2(r.exitCode == 0, CLI_DIAG(r));
  const QDateTime clock =
      QDateTime::fromString(r.field("Clock"), QStringLiteral("yyyy/MM/dd HH:mm:ss"));
  QVERIFY2(clock.isValid() && qAbs(clock.secsTo(QDateTime::currentDateTime())) <= 5, CLI_DIAG(r));
  // The window's confirmation, with the clock on the lines below it.
  QVERIFY2(r.err.startsWith(QStringLiteral("Set completion\n\n") + r.field("Clock")), CLI_DIAG(r));
}

void TestCliSim::silentLogger() {
  SimLogger sim;
  START_SIM(sim, QStringLiteral("idle.json"),
            (QStringList{QStringLiteral("--silence"), QStringLiteral("all")}));
  const CliResult r = sim.run({QStringLiteral("status")});
  QVERIFY2(r.exitCode == 1, CLI_DIAG(r));
  QCOMPARE(r.errLines().value(0), QStringLiteral("Hygrotab not connected."));
  QVERIFY(r.out.isEmpty());
}

void TestCliSim::loggerPulledOutDuringARun() {
  SimLogger sim;
  START_SIM(sim, QStringLiteral("idle.json"),
            (QStringList{QStringLiteral("--unplug-after-ms"), QStringLiteral("3000")}));
  QTemporaryDir dir;
  const QString csv = dir.filePath(QStringLiteral("part.csv"));
  const CliResult r =
      sim.run({QStringLiteral("measure"), QStringLiteral("--count"), QStringLiteral("10"),
               QStringLiteral("--interval"), QStringLiteral("2"), QStringLiteral("--csv"), csv},
              15000);
  QVERIFY2(!r.crashed && r.exitCode == 1, CLI_DIAG(r));
  QVERIFY2(r.err.contains(QStringLiteral("connection to the logger was lost")), CLI_DIAG(r));
  const int taken = int(r.outLines().size());
  QVERIFY2(taken >= 1 && taken < 10, CLI_DIAG(r));
  // What was measured before is kept, under the model that was connected.
  const QList<QByteArray> rows = csvLines(csv);
  QCOMPARE(rows.size(), 3 + taken);
  QVERIFY2(rows[1].startsWith("\"LAB1\","), rows[1].constData());
}

void TestCliSim::interruptedRunKeepsItsSamples() {
  SimLogger sim;
  START_SIM(sim, QStringLiteral("idle.json"), QStringList{});
  QTemporaryDir dir;
  const QString csv = dir.filePath(QStringLiteral("run.csv"));
  QProcess cli;
  cli.start(
      hygro::test::cliExecutable(),
      {QStringLiteral("--data-dir"), dir.filePath(QStringLiteral("data")), QStringLiteral("--port"),
       sim.port(), QStringLiteral("measure"), QStringLiteral("--count"), QStringLiteral("1000"),
       QStringLiteral("--interval"), QStringLiteral("2"), QStringLiteral("--csv"), csv});
  QVERIFY(cli.waitForStarted());
  // Two samples, then SIGTERM as a service manager (or Ctrl-C) would send.
  QByteArray out;
  while (out.count('\n') < 2 && cli.waitForReadyRead(8000)) out += cli.readAllStandardOutput();
  QCOMPARE(out.count('\n'), 2);
  cli.terminate();
  QVERIFY(cli.waitForFinished(5000));
  out += cli.readAllStandardOutput();
  const QString err = QString::fromUtf8(cli.readAllStandardError());
  QCOMPARE(cli.exitStatus(), QProcess::NormalExit);
  QCOMPARE(cli.exitCode(), 1);
  const int taken = int(out.count('\n'));
  QVERIFY2(err.contains(QStringLiteral("interrupted after %1 of 1000 samples").arg(taken)),
           qPrintable(err));
  QCOMPARE(csvLines(csv).size(), 3 + taken);
  // The scratch files are gone with the tool.
  QVERIFY(QDir(dir.filePath(QStringLiteral("data"))).entryList(QDir::Files).isEmpty());
  // The run was ended properly: the logger answers the next command at once.
  QCOMPARE(sim.run({QStringLiteral("status")}).exitCode, 0);
}

QTEST_GUILESS_MAIN(TestCliSim)
#include "tst_cli_sim.moc"
