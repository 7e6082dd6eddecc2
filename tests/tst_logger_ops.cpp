// Logger operations against the emulator: the frames each operation sends and
// what the session makes of the answers.
#include <QSignalSpy>
#include <QtTest>
#include <cerrno>
#include <cstring>
#include <functional>

#include "data/csv.h"
#include "data/formats.h"
#include "link/frame.h"
#include "logger/conversions.h"
#include "logger/session.h"
#include "sim/simtransport.h"
#include "support/data_fixtures.h"
#include "support/data_table.h"
#include "support/emulator_rig.h"
#include "support/fake_clock.h"
#include "support/fake_transport.h"
#include "support/scripted_prompt.h"

using namespace hygro;
using hygro::test::ScriptedPrompt;

namespace {

using Rig = test::EmulatorRig;
using test::kStatusCodes;

// Declares `r`, a rig on the emulator in `state`, connected and idle.
#define CONNECTED_RIG(r, state) \
  Rig r(QStringLiteral(state)); \
  QVERIFY(r.connect())

QString message(const char* key) {
  return test::dataValue(QStringLiteral("logger/messages.tsv"), QString::fromLatin1(key));
}

// The items of `expect` (control=value, split at '|') the view does not show.
QStringList viewMismatches(const StatusView& v, const QString& expect) {
  const QHash<QString, QString> got{
      {"Label16", v.Label16}, {"Command4", v.Command4}, {"Label14", v.Label14},
      {"Label26", v.Label26}, {"Label21", v.Label21},   {"Label6", v.Label6},
      {"Label48", v.Label48}, {"Label29", v.Label29},   {"Label46", v.Label46},
      {"Label7", v.Label7},   {"Label8", v.Label8}};
  QStringList bad;
  for (const QString& pair : expect.split(QLatin1Char('|'))) {
    const QString key = pair.section('=', 0, 0);
    if (key + '=' + got.value(key) != pair)
      bad << pair + QStringLiteral(" (got ") + got.value(key) + ')';
  }
  return bad;
}

// A session on a port that hands out the answers given, one per frame.
struct ScriptedSession {
  ScriptedPrompt prompt;
  test::FakeTransport* port = new test::FakeTransport;
  Session session{std::unique_ptr<Transport>(port), std::make_unique<NoBridge>(), &prompt};
  QTemporaryDir dir;
  explicit ScriptedSession(const QByteArrayList& answers) {
    session.data().open(dir.path(), nullptr);
    port->open();
    port->autoAnswer = true;
    port->script = answers;
  }
  ~ScriptedSession() { session.data().closeAndRemove(); }
  // What was said by the time the exchange `operation` started ended.
  QStringList after(const std::function<void(Session&)>& operation) {
    operation(session);
    if (!QTest::qWaitFor([this] { return !session.busy(); }, 10000)) return {"still busy"};
    return prompt.messages();
  }
};

}  // namespace

class TestLoggerOps : public QObject {
  Q_OBJECT
 private Q_SLOTS:
  void conversions() {
    QCOMPARE(TemperatureFromRaw(0), -39.6f);  // 6400 counts: oneMeasurement
    QVERIFY(qAbs(HumidityFromRaw(1500, 35.0f) - HumidityFromRaw(1500, 25.0f) - 1.3f) < 1e-4f);
    // Every digit of a time the logger keeps, each one a nine where it can be.
    const quint8 bcd[] = {0x29, 0x12, 0x29, 0x19, 0x59, 0x59};
    QCOMPARE(fmt::formatDateTime(LoggerTimeFromBcd(bcd)), QStringLiteral("2029/12/29 19:59:59"));
  }

  void statusOfEachKindOfLogger_data() {
    test::addDataRows(QStringLiteral("status/loggers.tsv"), {"state", "expect"});
  }
  void statusOfEachKindOfLogger() {
    QFETCH(QString, state);
    QFETCH(QString, expect);
    Rig r(state);
    QVERIFY(r.connect());
    QVERIFY2(r.prompt.calls.isEmpty(), qPrintable(r.prompt.messages().join('|')));
    QCOMPARE(r.connectCodes, QList<int>{16} + kStatusCodes);
    const StatusView& v = r.session.view();
    const QStringList bad = viewMismatches(v, expect);
    QVERIFY2(bad.isEmpty(), qPrintable(bad.join(QStringLiteral("; "))));
    QCOMPARE(v.batteryAlarm, state == QLatin1String("lowbattery.json"));
    if (v.batteryAlarm) {  // refuses a recording
      QCOMPARE(r.session.recording().Command4_Click(), RecordButton::Refused);
      QCOMPARE(r.prompt.messages(), QStringList{QStringLiteral("Please change a battery. ")});
    }
  }

  void oneMeasurement() {
    CONNECTED_RIG(r, "idle.json");
    // Readers between the temperature and the humidity answer (a redraw, a
    // save dialog) must not disturb the sample being assembled.
    MeasurementRecord other;
    other.Humidity = 47.26f;
    r.session.data().Put(LogData, 1, other);
    r.session.data().info(LogData).Points = 1;
    int reads = 0;
    QObject::connect(&r.session.exchange(), &Exchange::frameSent, [&](const QByteArray& f) {
      if (f != CommandFrame(1, 21, 0, 0)) return;
      ++reads;
      QCOMPARE(r.session.data().Get(LogData, 1).Humidity, 47.26f);
      QVERIFY(!Csv_Content(r.session.data(), LogData, QString(), QString()).isEmpty());
    });
    QVERIFY(r.run(&RealtimeOperation::Command1_Click));
    QCOMPARE(reads, 1);
    QCOMPARE(r.rec(RealTimeData, 1).Temperature, 24.4f);
    QCOMPARE(r.takeCodes(), (QList<int>{25, 16, 22, 21}));
    const DataSetInfo& rt = r.session.data().info(RealTimeData);
    QCOMPARE(int(rt.Points), 1);
    QVERIFY(rt.Modified);
    QVERIFY(qAbs(r.rec(RealTimeData, 1).Humidity - 50.45f) < 0.05f);
    QCOMPARE(r.rec(RealTimeData, 1).Block, 1.0f);
    QCOMPARE(r.session.shownSet(), int(RealTimeData));
    // The one sample holds every extreme.
    QCOMPARE(r.rec(RealTimeData, 1).remarks().trimmed(),
             QStringLiteral("Maximum temperature Minimum temperature Maximum hu"));

    // A run that follows starts from blank remarks, not from those marks.
    r.session.realtime().Command2_Click();
    QCOMPARE(r.rec(RealTimeData, 1).remarks(), QString(50, QLatin1Char(' ')));
    QVERIFY(r.waitIdle());
    // Disconnecting ends the run and marks its extremes.
    r.session.Port_Set_Command(PortSearch::Once, QStringLiteral("1"));
    QVERIFY(!r.session.connected());
    QVERIFY(!r.session.realtime().running());
    QVERIFY(r.rec(RealTimeData, 1).remarks().startsWith(QStringLiteral("Maximum temperature")));
  }

  void continuousRunsScaleOnlyAtTwoSeconds_data() {
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("minutes");
    QTest::addColumn<int>("fast");
    QTest::newRow("2 Sec") << "2" << false << 1;
    QTest::newRow("2 Min") << "2" << true << 0;
    QTest::newRow("5 Sec") << "5" << false << 0;
  }
  void continuousRunsScaleOnlyAtTwoSeconds() {
    QFETCH(QString, value);
    QFETCH(bool, minutes);
    QFETCH(int, fast);
    CONNECTED_RIG(r, "idle.json");
    r.session.realtime().setContinuousInterval(value, minutes);
    r.session.realtime().Command2_Click();
    QCOMPARE(r.session.status().RecState, RecState::Continuous);
    QVERIFY(r.session.busy());  // the start and the first reads are out
    // Stopped now, the sample lands first; then the run ends: marked, the
    // status read, asked.
    r.prompt.questionAnswers.enqueue(false);
    r.session.realtime().Command2_Click();
    QVERIFY(!r.session.realtime().running());
    QTRY_COMPARE(r.prompt.texts(QStringLiteral("question")),
                 QStringList{QStringLiteral("Is the measurement data preserved?")});
    QVERIFY(r.waitIdle());
    QCOMPARE(r.frames.value(0), CommandFrame(1, 25, fast, fast));
    QCOMPARE(int(r.session.data().info(RealTimeData).Points), 1);
    // Low-resolution readings brought back to scale: the value stays right.
    QVERIFY(qAbs(r.rec(RealTimeData, 1).Temperature - 24.4f) < 0.1f);
    QVERIFY(qAbs(r.rec(RealTimeData, 1).Humidity - 50.45f) < 1.0f);
    QVERIFY(r.rec(RealTimeData, 1).remarks().startsWith(QStringLiteral("Maximum temperature")));
    QCOMPARE(r.session.view().Label16, QStringLiteral("Record stop"));
  }

  void continuousRunStampsFollowTheWallClock() {
    // The night summer time ends: at 03:00 the clocks go back to 02:00.
    test::FakeClock clock(fmt::dateSerial(2026, 10, 25, 2, 59, 55) + 0.4 / 86400);
    CONNECTED_RIG(r, "idle.json");
    r.session.setClock(&clock);
    RealtimeOperation& run = r.session.realtime();
    run.ContinuationIntervalMs = 3600 * 1000;  // ticks come from the test alone
    run.setContinuousInterval(QStringLiteral("2"), false);
    run.Command2_Click();
    QVERIFY(r.waitIdle());
    const auto tickAfter = [&](qint64 ms) {
      clock.advance(ms);
      run.continuation_Timer();
      return r.waitIdle();
    };
    // A tick a little early and one most of a second late each count as
    // their own second.
    QVERIFY(tickAfter(900) && tickAfter(1150));
    QVERIFY(tickAfter(1000) && tickAfter(1000));
    QVERIFY(tickAfter(1000));
    clock.setBy(-3600);
    QVERIFY(tickAfter(1000));
    // A wall clock that strays by less than a jump leaves the steps whole.
    clock.setBy(0.8);
    QVERIFY(tickAfter(1000) && tickAfter(1000));
    // Set forward by hand.
    clock.setBy(300);
    QVERIFY(tickAfter(1000) && tickAfter(1000));
    r.prompt.questionAnswers.enqueue(false);
    run.Command2_Click();
    QVERIFY(r.waitIdle());
    r.session.setClock(nullptr);
    QStringList stamps;
    for (int n = 1; n <= int(r.session.data().info(RealTimeData).Points); ++n)
      stamps << fmt::formatDateTime(r.rec(RealTimeData, n).Time).mid(11);
    QCOMPARE(stamps,
             (QStringList{"02:59:55", "02:59:57", "02:59:59", "02:00:01", "02:00:03", "02:05:06"}));
    // Whole seconds: the rounding of each stamp cannot fall either way.
    for (int n = 1; n <= stamps.size(); ++n) {
      const double seconds = r.rec(RealTimeData, n).Time * 86400;
      QVERIFY2(qAbs(seconds - std::round(seconds)) < 1e-3, qPrintable(stamps[n - 1]));
    }
  }

  void aRunAsksBeforeLosingSamplesAndEndsWhenFull() {
    CONNECTED_RIG(r, "idle.json");
    // One sample is replaced by the next without a word.
    QVERIFY(r.run(&RealtimeOperation::Command1_Click));
    QVERIFY(r.run(&RealtimeOperation::Command1_Click));
    QVERIFY(r.prompt.calls.isEmpty());
    // A run of samples is worth a question, at its end and before the next run.
    r.session.realtime().setContinuousInterval(QStringLiteral("0"), false);
    QVERIFY(r.run(&RealtimeOperation::Command2_Click));
    QTRY_VERIFY_WITH_TIMEOUT(r.session.data().info(RealTimeData).Points >= 2, 20000);
    r.session.realtime().Command2_Click();
    QTRY_COMPARE(r.prompt.calls.size(), 1);
    QCOMPARE(r.prompt.calls[0].id, QuestionId::SaveRunAtStop);
    QVERIFY(r.waitIdle());
    const int held = r.session.data().info(RealTimeData).Points;
    r.prompt.calls.clear();
    r.session.realtime().Command1_Click();
    QCOMPARE(r.prompt.calls.size(), 1);
    QCOMPARE(r.prompt.calls[0].id, QuestionId::SaveRealBeforeRun);
    QCOMPARE(r.prompt.calls[0].text, QStringLiteral("Is real-time data preserved?"));
    QCOMPARE(r.prompt.calls[0].title, QStringLiteral("QM720-XC"));
    QVERIFY(r.waitIdle());
    QVERIFY(held >= 2);
    QCOMPARE(int(r.session.data().info(RealTimeData).Points), 1);  // answered No: replaced

    // A run that fills the set ends with a message, the last sample kept.
    QVERIFY(r.run(&RealtimeOperation::Command2_Click));
    DataSetInfo& rt = r.session.data().info(RealTimeData);
    MeasurementRecord last = r.rec(RealTimeData, 1);
    last.Time -= 1;  // a day before any sample this run can take
    r.session.data().Put(RealTimeData, kMaxPoints, last);
    rt.Points = kMaxPoints;
    r.prompt.calls.clear();
    r.prompt.questionAnswers.enqueue(false);
    QTRY_VERIFY(!r.session.realtime().running());
    QVERIFY(r.waitIdle());
    QCOMPARE(r.prompt.messages().value(0), message("real-time full"));
    QCOMPARE(int(rt.Points), int(kMaxPoints));
    QCOMPARE(r.rec(RealTimeData, kMaxPoints).Time, last.Time);  // not overwritten
    QVERIFY(r.session.status().RecState == RecState::Idle);
  }

  void aMessageWaitsUntilTheAnswerIsHandled() {
    // A modal box shown from inside the handling of an answer would run the
    // event loop there and let the next answer in before this one is done.
    struct Watching : ScriptedPrompt {
      Session* session = nullptr;
      int shownWhileHandling = 0;
      void message(const QString& text, const QString& title) override {
        if (session && session->exchange().handlingAnswers()) ++shownWhileHandling;
        ScriptedPrompt::message(text, title);
      }
    } prompt;
    const auto session = test::DemoSession(new sim::SimTransport, &prompt);
    prompt.session = session.get();
    session->Port_Set_Command(PortSearch::Once, QStringLiteral("1"));
    QTRY_VERIFY(session->connected() && !session->busy());
    // "Set completion" is raised by the answer to 46; the status read that
    // follows is still queued behind it.
    session->settings().Alarm_set(30, true, -5, false);
    QTRY_COMPARE(prompt.messages(), QStringList{QStringLiteral("Set completion")});
    QTRY_VERIFY(!session->busy());
    QCOMPARE(prompt.shownWhileHandling, 0);
    QCOMPARE(session->view().Label29, QStringLiteral("30 C"));  // read back after the set
  }

  // The scratch file fills up after 100 and a half records (where file sizes
  // can be limited): the first failure is a short write, said once, and the
  // download goes on with every record held.
  void downloadOfAFullLog() {
    CONNECTED_RIG(r, "download_15000.json");
    bool limited = false;
    {
      test::FileSizeLimit limit(100 * 80 + 40);
      limited = limit.active();
      r.session.download().Command5_Click();
      QVERIFY(r.waitIdle(60000));
    }
    const QList<int> codes = r.takeCodes();
    QCOMPARE(codes.mid(0, 20), QList<int>{12} + kStatusCodes);
    // The segment table is read up to its first erased entry, two reads an
    // entry, then the stream is asked for once.
    const QList<int> table = codes.mid(20, codes.size() - 22);
    QVERIFY(!table.isEmpty() && table.size() % 2 == 0 && table.size() <= 4);
    QCOMPARE(table.count(8), table.size());
    QCOMPARE(codes.mid(codes.size() - 2), (QList<int>{44, 56}));
    // With what the system reports, not "Unknown error".
    const QStringList messages = r.prompt.messages();
    QCOMPARE(messages.size(), limited ? 1 : 0);
    if (limited)
      QVERIFY2(messages[0].contains(QStringLiteral("log.rand: ") +
                                    QString::fromLocal8Bit(std::strerror(EFBIG)) + u'.'),
               qPrintable(messages[0]));
    const DataSetInfo& log = r.session.data().info(LogData);
    QCOMPARE(int(log.Points), 15000);
    QCOMPARE(log.Interval, 60);
    QVERIFY(!r.session.status().NeverDownloaded);  // the logger marked it downloaded
    QCOMPARE(fmt::formatDateTime(r.rec(LogData, 1).Time), QStringLiteral("2024/05/02 00:00:00"));
    QCOMPARE(fmt::formatDateTime(r.rec(LogData, 15000).Time),
             QStringLiteral("2024/05/12 09:59:00"));
    // The extremes are marked in the remarks.
    const int maxT = log.Stats.e[0].RecordNo;
    QVERIFY(r.rec(LogData, maxT).remarks().contains(QStringLiteral("Maximum temperature")));
  }

  // A log at 2 s comes back to scale.
  void downloadAtTwoSeconds() {
    CONNECTED_RIG(fast, "download_2s.json");
    QVERIFY(fast.run(&DownloadOperation::Command5_Click));
    QCOMPARE(int(fast.session.data().info(LogData).Points), 4);
    QVERIFY(qAbs(fast.rec(LogData, 1).Temperature - 24.4f) < 0.05f);
    QVERIFY(qAbs(fast.rec(LogData, 1).Humidity - 50.45f) < 0.8f);
    QCOMPARE(fast.rec(LogData, 3).Temperature, TemperatureFromRaw(1600 * 4));
    QCOMPARE(fmt::formatDateTime(fast.rec(LogData, 2).Time), QStringLiteral("2024/05/02 10:00:02"));
  }

  void aDownloadCutShort_data() {
    test::addDataRows(QStringLiteral("logger/download_cuts.tsv"), {"said", "points"});
  }
  void aDownloadCutShort() {
    const QString cut = QString::fromLatin1(QTest::currentDataTag());
    QFETCH(QString, said);
    QFETCH(QString, points);
    const int kept = points.toInt();
    // 2000 points at 115200 baud: the stream takes about 1.6 s.
    Rig r(QStringLiteral("download_2000.json"));
    r.session.connection().BaudText = QStringLiteral("115200");
    QVERIFY(r.connect());
    const QString firmware = r.session.status().FirmwareVersion;
    r.sim->setBaud(115200);
    if (cut == QLatin1String("stall"))
      r.sim->faults().stallAfterPoints = 50;
    else
      r.sim->setPacing(true);
    QSignalSpy finished(&r.session.download(), &DownloadOperation::finished);
    QObject::connect(&r.session.download(), &DownloadOperation::progress, r.sim,
                     [&r, cut](int done) {
                       if (done != 500) return;
                       if (cut == QLatin1String("unplug")) r.sim->unplug();
                       if (cut == QLatin1String("disconnect"))
                         r.session.Port_Set_Command(PortSearch::Once, QStringLiteral("1"));
                       if (cut == QLatin1String("cancel")) r.session.download().Download_Cancel();
                     });
    r.session.download().Command5_Click();
    QVERIFY(r.waitIdle(20000));
    QCOMPARE(r.prompt.messages().join(u'|'), said == u'-' ? QString() : said);
    QCOMPARE(int(r.session.data().info(LogData).Points), kept);
    QCOMPARE(r.session.data().info(LogData).Modified, kept > 0);
    QCOMPARE(finished.count(), 1);
    QCOMPARE(finished[0][0].toBool(), kept > 0);
    QCOMPARE(r.takeCodes().count(56), kept > 0 ? 1 : 0);
    QCOMPARE(r.session.connected(), cut == QLatin1String("stall") || kept > 0);
    if (!r.session.connected()) {
      QCOMPARE(r.session.view().statusBar, QStringLiteral("Unconnection"));
      r.sim->plugIn();  // and it connects again
      QVERIFY(r.connect());
    }
    // The next exchange reads clean answers, not leftover points; what the
    // logger holds is still known, and a log not downloaded is still so.
    QVERIFY(r.run(&StatusOperation::Command11_Click));
    QCOMPARE(r.session.status().FirmwareVersion, firmware);
    QCOMPARE(r.session.view().Label14, QStringLiteral("CNCL"));
    QCOMPARE(r.session.status().LogInterval, 60);
    QCOMPARE(r.session.status().NeverDownloaded, kept == 0);
  }

  void aDownloadNotKeptIsNeverMarked() {
    // The tool marks on its own, once the keeper (the archive) has kept the
    // log; the window, which marks at once: tst_archive.
    CONNECTED_RIG(r, "two_segments.json");
    bool keep = false;
    int asked = 0;
    int pointsSeen = 0;
    r.session.download().setMarkAtOnce(false);
    r.session.download().setKeeper([&] {
      ++asked;
      pointsSeen = r.session.data().info(LogData).Points;
      return keep;
    });
    QVERIFY(r.run(&DownloadOperation::Command5_Click));
    QCOMPARE(asked, 1);
    QCOMPARE(pointsSeen, 200);  // the whole log is in, its two runs kept apart
    QCOMPARE(int(r.session.download().segments().size()), 2);
    QCOMPARE(fmt::formatDateTime(r.rec(LogData, 120).Time), QStringLiteral("2024/05/01 11:59:00"));
    QCOMPARE(fmt::formatDateTime(r.rec(LogData, 121).Time), QStringLiteral("2024/05/01 14:00:00"));
    QCOMPARE(r.rec(LogData, 120).Block, 1.0f);
    QCOMPARE(r.rec(LogData, 121).Block, 2.0f);
    QVERIFY(!r.takeCodes().contains(56));
    QVERIFY(!r.session.download().Download_Mark());
    QVERIFY(r.session.status().NeverDownloaded);
    // A new recording would lose that log: asked, No first.
    QCOMPARE(r.session.recording().Command4_Click(), RecordButton::Declined);
    QCOMPARE(r.prompt.texts(QStringLiteral("question")), QStringList{message("never downloaded")});
    QCOMPARE(r.prompt.calls.last().safe, SafeAnswer::No);

    keep = true;
    QVERIFY(r.run(&DownloadOperation::Command5_Click));
    QCOMPARE(asked, 2);
    // Saved first, marked afterwards: the log ends with the stream.
    QCOMPARE(r.takeCodes().last(), 44);
    QVERIFY(r.session.download().Download_Mark());
    QVERIFY(!r.session.download().Download_Mark());  // one exchange at a time
    QVERIFY(r.waitIdle());
    QCOMPARE(r.takeCodes().count(56), 1);
    QVERIFY(!r.session.status().NeverDownloaded);
    // The logger agrees: a new recording asks nothing.
    QVERIFY(r.run(&StatusOperation::Command11_Click));
    r.prompt.calls.clear();
    QCOMPARE(r.session.recording().Command4_Click(), RecordButton::ShowStartDialog);
    QVERIFY(r.prompt.calls.isEmpty());
  }

  // A logger without a start time holds no log, whatever its other words
  // say; one fresh from the factory starts from defaults that can be chosen
  // (its first log downloads: tst_cli_sim).
  void aLoggerFreshFromTheFactory() {
    Rig fresh(QStringLiteral("fresh.json")), r(QStringLiteral("factory.json"));
    for (Rig* x : {&fresh, &r}) {
      QVERIFY(x->connect());
      x->session.download().Command5_Click();
      QCOMPARE(x->prompt.messages(), QStringList{QStringLiteral("No download data.")});
      QVERIFY(!x->session.busy());
      QVERIFY(x->takeCodes().isEmpty());
    }
    const StartSettings d = r.session.recording().startDefaults();
    QCOMPARE(d.name, QString());
    QCOMPARE(d.intervalValue, 5);
    QVERIFY(!d.minutes && !d.loop && !d.upperOn && !d.lowerOn);
    QCOMPARE(d.upperDegrees, 40);
    QCOMPARE(d.lowerDegrees, 0);
    QCOMPARE(r.session.recording().Command4_Click(), RecordButton::ShowStartDialog);
    QVERIFY(r.run(&RecordingOperation::Log_Start, d));
    QCOMPARE(r.session.view().Label16, QStringLiteral("Recording"));
  }

  // A downloaded log keeps the descriptor it came with; what the logger
  // holds afterwards describes only the next download.
  void aDownloadedLogKeepsItsDescriptor() {
    CONNECTED_RIG(r, "idle.json");
    QVERIFY(r.run(&DownloadOperation::Command5_Click));
    const auto save = [&r](const QString& name) {
      const QString path = r.dir.filePath(name);
      r.prompt.saveAnswers.enqueue({path});
      return r.session.saveSet(LogData) ? test::readFile(path) : QByteArray();
    };
    const QByteArray header =
        test::dataText(QStringLiteral("logger/descriptor_header.csv")).toUtf8();
    QVERIFY(save(QStringLiteral("first.csv")).startsWith(header));
    // A file refused leaves the log on display.
    QVERIFY(!r.session.openFile(QStringLiteral(HYGROTAB_TEST_DATA "/csv/decimal_comma.csv")));
    QCOMPARE(r.session.shownSet(), int(LogData));

    StartSettings s;
    s.name = QStringLiteral("NEW2");
    s.intervalValue = 10;
    s.upperDegrees = 25;
    s.upperOn = true;
    s.lowerDegrees = 5;
    s.lowerOn = true;
    r.sim->model().setManualTime();
    QVERIFY(r.run(&RecordingOperation::Log_Start, s));
    QCOMPARE(r.session.view().Label14, QStringLiteral("NEW2"));
    QCOMPARE(r.session.view().Label29, QStringLiteral("25 C"));
    // Saved again, the old log still carries its own name, interval, bounds.
    r.prompt.calls.clear();
    QVERIFY(save(QStringLiteral("again.csv")).startsWith(header));
    QCOMPARE(r.prompt.calls.value(0).text, QStringLiteral("LAB1_240501_090000"));
    QCOMPARE(r.session.setName(LogData), QStringLiteral("LAB1"));

    // It was saved: the next download asks nothing, and brings the new log
    // with its own header.
    r.sim->model().advance(30000);
    r.prompt.calls.clear();
    QVERIFY(r.run(&DownloadOperation::Command5_Click));
    QVERIFY(r.prompt.calls.isEmpty());
    const QByteArray next = save(QStringLiteral("next.csv"));
    QVERIFY2(next.contains("\r\n\"NEW2\",") && next.contains("\",\" 4\",\" 10\",\"25\",\"5\"\r\n"),
             next.left(300).constData());
  }

  // Initialise erases the logger's memory: asked first, with what is lost.
  void initialiseAsksFirst() {
    CONNECTED_RIG(r, "recording.json");
    r.session.settings().Command27_Click();  // No
    QCOMPARE(r.prompt.texts(QStringLiteral("question")), QStringList{message("initialise")});
    QCOMPARE(r.prompt.calls.value(0).safe, SafeAnswer::No);
    QVERIFY(r.run(&StatusOperation::Command11_Click));
    QCOMPARE(r.session.view().Label16, QStringLiteral("Recording"));
    r.prompt.questionAnswers.enqueue(true);
    r.session.settings().Command27_Click();
    QVERIFY(r.run(&StatusOperation::Command11_Click));
    QCOMPARE(r.session.view().Label16, QStringLiteral("Record stop"));
    QCOMPARE(r.session.view().Label26, QStringLiteral("----/--/-- --:--:--"));
  }

  void identificationNames() {
    CONNECTED_RIG(r, "idle.json");
    for (const QStringList& row : test::dataRows(QStringLiteral("logger/names.tsv"))) {
      const QString name = row[0] == u'-' ? QString() : row[0];
      r.frames.clear();
      QVERIFY(r.session.settings().IdentNameCheck(name));
      QVERIFY(r.run(&SettingsOperation::Set_HGName, name));
      QCOMPARE(QString::fromLatin1((r.frames.value(0) + r.frames.value(1)).toHex(' ')), row[1]);
      QCOMPARE(r.session.view().Label14, SettingsOperation::PaddedName(name));  // read back
    }
    r.frames.clear();
    for (const QChar c : QStringLiteral("\\/:*?\"<>|"))
      QVERIFY2(!r.session.settings().IdentNameCheck(QStringLiteral("A") + c),
               qPrintable(QString(c)));
    QCOMPARE(r.prompt.calls.size(), 9);  // its text and title: tst_ui_dialogs_settings
    // A character the logger cannot hold never turns into another one.
    QVERIFY(!r.session.settings().IdentNameCheck(QStringLiteral(u"K\u00FC")));
    QCOMPARE(r.prompt.calls.last().text, SettingsOperation::SingleByteNameMessage());
    QCOMPARE(r.prompt.calls.last().title, QStringLiteral("QM720-XC"));
    QVERIFY(r.frames.isEmpty());
  }

  void startAndStopARecording_data() {
    test::addDataRows(QStringLiteral("logger/start_frames.tsv"), {"minutes", "sent"});
  }
  void startAndStopARecording() {
    const QString model = QString::fromLatin1(QTest::currentDataTag());
    QFETCH(QString, minutes);
    QFETCH(QString, sent);
    Rig r(QStringLiteral("idle.json"));
    r.sim->model().setModel(model);
    QVERIFY(r.connect());
    QCOMPARE(r.session.recording().Command4_Click(), RecordButton::ShowStartDialog);
    StartSettings s;
    s.name = QStringLiteral("T1");
    s.intervalValue = 2;
    s.minutes = minutes == u'1';
    s.upperDegrees = 30;
    s.upperOn = true;
    s.lowerDegrees = -5;
    QVERIFY(r.run(&RecordingOperation::Log_Start, s));
    const QList<QByteArray> frames = r.frames;
    QCOMPARE(r.takeCodes(),
             QList<int>({40, 41, 45, 46, 49, 1, 2, 3, 4, 5, 6, 25, 11}) + kStatusCodes);
    QStringList wire;
    for (const int i : {2, 3, 11, 12}) wire << QString::fromLatin1(frames.value(i).toHex(' '));
    QCOMPARE(wire.join(u'|'), sent);
    QVERIFY2(r.prompt.calls.isEmpty(), "a start shows no confirmation");
    QCOMPARE(r.session.view().boundsVisible, model == QLatin1String("QM720-XC"));
    QCOMPARE(r.session.view().Label16, QStringLiteral("Recording"));
    QCOMPARE(r.session.view().Label14, QStringLiteral("T1  "));

    QCOMPARE(r.session.recording().Command4_Click(), RecordButton::Stopping);
    QVERIFY(r.waitIdle());
    QCOMPARE(r.frames.value(0), CommandFrame(1, 12, 14, 0));
    QCOMPARE(r.session.view().Label16, QStringLiteral("Record stop"));
  }

  void reservationSequenceCancelAndChecks() {
    CONNECTED_RIG(r, "idle.json");
    ReservationSettings s;
    s.at = fmt::dateSerial(2030, 1, 15, 8, 30, 0);
    s.intervalValue = 5;
    s.minutes = true;
    QVERIFY(r.session.recording().Yoyaku_Set(s));
    QVERIFY(r.waitIdle());
    QCOMPARE(r.frames.mid(7, 4),
             (QByteArrayList{CommandFrame(1, 31, 15, 0), CommandFrame(1, 32, 8, 0),
                             CommandFrame(1, 33, 30, 0), CommandFrame(1, 17, 0x83, 5)}));
    QCOMPARE(r.takeCodes(), QList<int>({1, 2, 3, 4, 5, 6, 25, 31, 32, 33, 17}) + kStatusCodes);
    QCOMPARE(r.session.view().Label16, QStringLiteral("Reserving"));
    QCOMPARE(r.session.view().Label26, QStringLiteral("15Day08:30 Record beginning"));
    QCOMPARE(r.session.recording().Command4_Click(), RecordButton::Stopping);
    QVERIFY(r.waitIdle());
    QCOMPARE(r.session.view().Label16, QStringLiteral("Record stop"));

    const double now = fmt::dateSerial(2024, 5, 2, 10, 30, 25);
    QVERIFY(RecordingOperation::ReservationTimeValid(fmt::dateSerial(2024, 5, 2, 10, 30, 0), now));

    // The dialog's checks send nothing. A time past says so under that one
    // model's name.
    r.takeCodes();
    QVERIFY(!r.session.recording().Reservation_Check(fmt::nowSerial() - 2.0 / 1440));
    QCOMPARE(r.prompt.calls.last().text,
             QStringLiteral("The mistake is found at the reservation time."));
    QCOMPARE(r.prompt.calls.last().title, QStringLiteral("QM510-XC"));
    QVERIFY(r.session.recording().Reservation_Check(fmt::nowSerial()));
    // A time further ahead than the logger can tell, under the logger's name.
    test::FakeClock clock(fmt::dateSerial(2026, 11, 24, 9, 59, 10));
    r.session.setClock(&clock);
    r.prompt.calls.clear();
    QVERIFY(!r.session.recording().Reservation_Check(fmt::dateSerial(2026, 12, 24, 10, 0, 0)));
    QCOMPARE(r.prompt.calls.last().text, message("too far ahead"));
    QCOMPARE(r.prompt.calls.last().title, QStringLiteral("QM720-XC"));
    QVERIFY(!r.session.recording().Reservation_Check(fmt::dateSerial(2100, 1, 1, 10, 0, 0)));
    QVERIFY(r.session.recording().Reservation_Check(fmt::dateSerial(2026, 12, 24, 9, 58, 0)));
    QCOMPARE(r.prompt.calls.size(), 2);
    QVERIFY(r.takeCodes().isEmpty());
    r.session.setClock(nullptr);
  }

  void aReservationReachesNoFurtherThanTheLoggerCanTell_data() {
    test::addDataRows(QStringLiteral("logger/reservable.tsv"), {"now", "last"});
  }
  void aReservationReachesNoFurtherThanTheLoggerCanTell() {
    QFETCH(QString, now);
    QFETCH(QString, last);
    double n = 0;
    QVERIFY(fmt::parseGeneralDate(now, &n));
    const double l = RecordingOperation::LastReservable(n);
    QCOMPARE(fmt::formatDateTime(l), last);
    // Every minute up to there is the first time its day, hour and minute
    // come round; the minute after has come round before.
    const double minute = 1.0 / 1440;
    for (const double t : {n, n + 7.3, l - minute, l}) {
      QVERIFY2(RecordingOperation::ReservationTimeValid(t, n), qPrintable(fmt::formatDateTime(t)));
      QCOMPARE(fmt::formatDateTime(RecordingOperation::ReservedStartFor(t, n)).left(16),
               fmt::formatDateTime(t).left(16));
    }
    QVERIFY(!RecordingOperation::ReservationTimeValid(l + minute, n));
    QVERIFY(RecordingOperation::ReservedStartFor(l + minute, n) < l);
  }

  // The logger's clock is set with a two-digit year and reads it back in
  // five bits; what it reads back is compared with what was sent.
  void theClockIsConfirmedOnlyAsSent() {
    for (const QStringList& row : test::dataRows(QStringLiteral("logger/clock_years.tsv")))
      QVERIFY2(LoggerClockKeepsYear(row[0].toInt()) == (row[1] == u'1'), qPrintable(row[0]));

    CONNECTED_RIG(r, "idle.json");
    RecordingOperation& rec = r.session.recording();
    // A year the logger cannot keep: refused before anything is sent.
    test::FakeClock in2035(fmt::dateSerial(2035, 3, 1, 12, 0, 0));
    r.session.setClock(&in2035);
    ReservationSettings reservation;
    reservation.at = fmt::dateSerial(2035, 3, 2, 8, 0, 0);
    QVERIFY(!rec.Now_Time_set());
    QVERIFY(!rec.Log_Start(rec.startDefaults()));
    QVERIFY(!rec.Yoyaku_Set(reservation));
    QCOMPARE(r.prompt.messages().join('|'), message("year 2035 refused"));
    QVERIFY(r.frames.isEmpty());
    QVERIFY(!r.session.busy());

    // The last year it keeps: confirmed with the time read back.
    r.prompt.calls.clear();
    test::FakeClock in2029(fmt::dateSerial(2029, 12, 31, 12, 0, 0));
    r.session.setClock(&in2029);
    QVERIFY(r.run(&RecordingOperation::Now_Time_set));
    QCOMPARE(r.prompt.messages().size(), 1);
    QVERIFY2(r.prompt.messages()[0].startsWith("Set completion\r\r2029/12/31 12:00:0"),
             qPrintable(r.prompt.messages()[0]));
    QVERIFY(rec.clockSet());

    // A clock that does not take the setting: shown as it is, never
    // confirmed, and no recording starts on it.
    r.prompt.calls.clear();
    r.frames.clear();
    r.sim->model().setClockStuck(true);
    r.sim->model().setClock(QDateTime(QDate(2024, 5, 2), QTime(9, 0, 0), Qt::UTC));
    const QString notSet = message("clock not taken");
    QVERIFY(r.run(&RecordingOperation::Now_Time_set));
    QVERIFY(!rec.clockSet());
    QVERIFY(rec.Log_Start(rec.startDefaults()));
    QVERIFY(r.waitIdle());
    QCOMPARE(r.takeCodes(), (QList<int>{1, 2, 3, 4, 5, 6, 40, 41, 45, 46, 49, 1, 2, 3, 4, 5, 6}));
    QCOMPARE(r.prompt.messages().size(), 2);
    QVERIFY2(r.prompt.messages()[0].startsWith("The clock was not set." + notSet),
             qPrintable(r.prompt.messages()[0]));
    QVERIFY2(r.prompt.messages()[1].startsWith("The recording was not started." + notSet),
             qPrintable(r.prompt.messages()[1]));
    QVERIFY(!r.sim->model().isRecording());
    r.session.setClock(nullptr);
  }

  // A count wider than the sensor's resolution ends the measurement with a
  // message and is neither shown nor kept; every count it can give is data.
  void anImpossibleValueIsNotData_data() {
    test::addDataRows(QStringLiteral("logger/impossible.tsv"),
                      {"temperature", "humidity", "said", "shown"});
  }
  void anImpossibleValueIsNotData() {
    QFETCH(QString, temperature);
    QFETCH(QString, humidity);
    QFETCH(QString, said);
    QFETCH(QString, shown);
    QVERIFY(TemperatureCountPlausible(16383, false) && !TemperatureCountPlausible(16384, false));
    QVERIFY(TemperatureCountPlausible(4095, true) && !TemperatureCountPlausible(4096, true));
    QVERIFY(HumidityCountPlausible(4095, false) && !HumidityCountPlausible(4096, false));
    QVERIFY(HumidityCountPlausible(255, true) && !HumidityCountPlausible(256, true));
    QByteArrayList answers{test::Answer(1, 25, 0, 0), test::Answer(1, 16, 0, 0)};
    for (const auto& [code, bytes] : {std::pair{22, temperature}, {21, humidity}})
      if (bytes != QLatin1String("-"))
        answers << test::Answer(1, code, bytes.section(' ', 0, 0).toInt(),
                                bytes.section(' ', 1, 1).toInt());
    ScriptedSession s(answers);
    QCOMPARE(s.after([](Session& x) { x.realtime().Command1_Click(); }).join('|'),
             said == QLatin1String("-") ? QString() : said);
    QCOMPARE(int(s.session.data().info(RealTimeData).Points), said == QLatin1String("-") ? 1 : 0);
    const RealtimeOperation::Labels& l = s.session.realtime().labels();
    QCOMPARE(l.Label2 + '|' + l.Label4, shown);
    QVERIFY(s.session.connected());
  }

  // 155 * 256 + 46 = 39726 counts: 128.15 V.
  void anImpossibleBatteryIsNotData() {
    QVERIFY(!BatteryRawPlausible(39726) && BatteryRawPlausible(1023));
    QByteArrayList status{QByteArray("QM720-XC V1\x02\xFF")};
    for (int code : {42, 43, 30}) status << test::Answer(1, code, 0, 0);
    for (int i = 0; i < 5; ++i) status << test::Answer(1, 23, 0, 0);
    for (int code : {38, 34, 35, 36, 37, 47, 48, 50}) status << test::Answer(1, code, 0, 0);
    status << test::Answer(1, 51, 155, 46);
    ScriptedSession s(status);
    QCOMPARE(s.after([](Session& x) { x.statusOp().Command11_Click(); }),
             QStringList{QStringLiteral("The logger sent an impossible value: battery 128.15 V"
                                        "\r\rThe communication is ended.")});
  }

  void theClockOffsetIsReadAgainWhenAnHourTurnsOver_data() {
    QTest::addColumn<QList<int>>("dayHour");  // the five answers to 5, per round
    QTest::addColumn<int>("frames");
    QTest::addColumn<qint64>("offset");  // -1: nothing read
    QTest::newRow("steady") << QList<int>{13, 13, 13} << 5 << qint64(59);
    QTest::newRow("turned over once") << QList<int>{13, 13, 14, 14, 14, 14} << 10 << qint64(119);
    QTest::newRow("turning over twice") << QList<int>{13, 13, 14, 14, 14, 15} << 10 << qint64(-1);
  }
  void theClockOffsetIsReadAgainWhenAnHourTurnsOver() {
    // Each round answers 5, 4, 5, 6, 5 in turn; the minute and second read
    // 59:59 while the hour is 13 and 00:59 after that.
    QFETCH(QList<int>, dayHour);
    QFETCH(int, frames);
    QFETCH(qint64, offset);
    QByteArrayList answers;
    for (int round = 0; round < dayHour.size() / 3; ++round) {
      const int first = dayHour[round * 3], mid = dayHour[round * 3 + 1];
      const int last = dayHour[round * 3 + 2];
      answers << test::Answer(1, 5, 26, first) << test::Answer(1, 4, 26, 3)
              << test::Answer(1, 5, 26, mid) << test::Answer(1, 6, mid != 13 ? 0 : 59, 59)
              << test::Answer(1, 5, 26, last);
    }
    ScriptedSession s(answers);
    test::FakeClock pc(fmt::dateSerial(2026, 3, 26, 13, 59, 0));
    s.session.setClock(&pc);
    QSignalSpy read(&s.session.clockOffset(), &ClockOffsetOperation::offsetRead);
    QVERIFY(s.after([](Session& x) { QVERIFY(x.clockOffset().Clock_Read()); }).isEmpty());
    s.session.setClock(nullptr);
    QCOMPARE(read.count(), 1);
    QCOMPARE(read[0][0].value<std::optional<qint64>>().value_or(-1), offset);
    QCOMPARE(s.port->writes.size(), frames);
    // Each round asks 5, 4, 5, 6, 5 with nothing else in the frames.
    QByteArray wire;
    for (const QByteArray& frame : s.port->writes.mid(0, 5)) wire += frame.toHex(' ') + '\n';
    QCOMPARE(QString::fromLatin1(wire), test::dataText(QStringLiteral("clock/offset_read.hex")));
  }
};

QTEST_MAIN(TestLoggerOps)
#include "tst_logger_ops.moc"
