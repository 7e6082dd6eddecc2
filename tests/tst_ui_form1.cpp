// The main window on the emulated logger: it connects, shows what the session
// read, and follows the state in its captions and enabled controls.
#include <signal.h>

#include <QComboBox>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QtTest>

#include "app/form1.h"
#include "app/qtprompt.h"
#include "data/datafolder.h"
#include "data/formats.h"
#include "logger/session.h"
#include "sim/demostate.h"
#include "sim/simtransport.h"
#include "support/data_fixtures.h"

using namespace hygro;

namespace {

// The window's prompt with scripted answers: Yes/No from a queue (No when
// empty), every question and message recorded.
class AnsweringPrompt : public QtPrompt {
 public:
  QQueue<bool> answers;
  QStringList questions;
  QStringList messages;
  void message(const QString& text, const QString&) override { messages << text; }
  bool question(QuestionId, const QString& text, const QString&) override {
    questions << text;
    return !answers.isEmpty() && answers.dequeue();
  }
  std::optional<QString> saveFileName(const QString&, const QString&, bool* failed) override {
    if (failed) *failed = false;
    return std::nullopt;
  }
};

std::unique_ptr<Session> demoSession(UserPrompt* prompt) {
  auto sim = std::make_unique<sim::SimTransport>();
  sim::LoadDemoState(sim->model());
  return std::make_unique<Session>(std::move(sim), std::make_unique<NoBridge>(), prompt);
}

QStringList scratchAndLock(const QString& folder) {
  return QDir(folder).entryList({QStringLiteral("*.rand"), DataFolder::kLockName}, QDir::Files,
                                QDir::Name);
}

QString windowExecutable() {
  QString dir = qEnvironmentVariable("HYGROTAB_BIN_DIR");
  if (dir.isEmpty()) dir = QStringLiteral(HYGROTAB_BIN_DIR);
  return QDir(dir).filePath(QStringLiteral("hygrotab"));
}

}  // namespace

class TestForm1 : public QObject {
  Q_OBJECT
 private Q_SLOTS:
  void connectsAndShowsTheLogger() {
    QTemporaryDir dir;
    QtPrompt prompt;
    auto* sim = new sim::SimTransport;
    sim::LoadDemoState(sim->model());
    Session session(std::unique_ptr<Transport>(sim), std::make_unique<NoBridge>(), &prompt);
    session.connection().CloseWaitMs = 1;
    session.connection().PulseHighMs = 1;
    session.connection().PulseLowMs = 1;
    QVERIFY(session.data().open(dir.path(), nullptr));
    Form1 w(&session, &prompt);
    w.show();

    const auto label = [&w](const char* name) {
      return w.findChild<QLabel*>(QString::fromLatin1(name))->text();
    };
    auto* panel = w.findChild<QLabel*>(QStringLiteral("StatusBar1_Panel1"));
    auto* connectButton = w.findChild<QPushButton*>(QStringLiteral("Command20"));
    auto* baud = w.findChild<QComboBox*>(QStringLiteral("Combo1"));
    auto* interval = w.findChild<QComboBox*>(QStringLiteral("Combo5"));
    QVERIFY(panel && connectButton && baud && interval);
    QCOMPARE(panel->text(), QStringLiteral("Unconnection"));
    QCOMPARE(w.windowTitle(), QStringLiteral("[Hygrotab] Temperature and Humidity Logger"));
    QCOMPARE(baud->currentText(), QStringLiteral("57600"));
    QCOMPARE(baud->count(), 6);
    QCOMPARE(interval->currentText(), QStringLiteral("5"));

    w.findChild<QComboBox*>(QStringLiteral("Combo4"))->setCurrentText(QStringLiteral("1"));
    QTest::mouseClick(connectButton, Qt::LeftButton);
    QTRY_VERIFY(!session.busy());
    QCOMPARE(panel->text(), QStringLiteral("Communicating\u3000Port1"));
    QCOMPARE(w.windowTitle(),
             QStringLiteral("[Hygrotab] Temperature and Humidity Logger QM720-XC"));
    QCOMPARE(label("Label14"), QStringLiteral("DEMO"));
    QCOMPARE(label("Label16"), QStringLiteral("Record stop"));
    QCOMPARE(connectButton->text(), QStringLiteral("Disconnect"));
    QVERIFY(!baud->isEnabled());

    // One measurement fills the three real-time labels.
    auto* once = w.findChild<QPushButton*>(QStringLiteral("Command1"));
    QVERIFY(once->isEnabled());
    QTest::mouseClick(once, Qt::LeftButton);
    QTRY_VERIFY(!session.busy());
    QVERIFY(label("Label2").endsWith(QStringLiteral(" C")));
    QVERIFY(label("Label4").endsWith(QStringLiteral(" %RH")));
    QCOMPARE(label("Label10").size(), 19);

    // A recording logger locks them.
    sim->model().setStateBits(sim::DeviceModel::Recording);
    QTest::mouseClick(w.findChild<QPushButton*>(QStringLiteral("Command11")), Qt::LeftButton);
    QTRY_VERIFY(!session.busy());
    QCOMPARE(label("Label16"), QStringLiteral("Recording"));
    QVERIFY(!once->isEnabled());

    QTest::mouseClick(connectButton, Qt::LeftButton);
    QCOMPARE(panel->text(), QStringLiteral("Unconnection"));
    QCOMPARE(label("Label2"), QString());
    QCOMPARE(label("Label7"), QStringLiteral("----"));
    QVERIFY(baud->isEnabled());
    session.data().closeAndRemove();
  }

  void offersLeftoversAtStart() {
    QTemporaryDir dir;
    const double t0 = fmt::dateSerial(2026, 11, 23, 10, 0, 0);
    QList<MeasurementRecord> recs;
    for (int n = 0; n < 25; ++n) recs << test::makeRecord(20 + n * 0.1f, 50, t0 + n * 5 / 86400.0);
    // Left by a window that was killed: its samples and an unused log file.
    QVERIFY(test::writeScratchFile(dir.filePath("real.rand"), recs, QByteArray(7, 'x')));
    QVERIFY(test::writeScratchFile(dir.filePath("log.rand"), {}));

    AnsweringPrompt prompt;
    auto session = demoSession(&prompt);
    session->data().announceLeftovers = false;
    QCOMPARE(OpenDataFolder(session->data(), dir.path(), &prompt), FolderOpen::Opened);
    QCOMPARE(session->data().recoveredFiles().size(), 1);
    const QString aside = session->data().recoveredFiles().first();
    Form1 w(session.get(), &prompt);
    w.show();
    QVERIFY(prompt.messages.isEmpty());

    prompt.answers << true;
    QCOMPARE(w.offerRecovery(), 1);
    QCOMPARE(prompt.questions,
             QStringList{QStringLiteral("Data of an earlier run that did not end normally was "
                                        "found: 25 real-time samples from 2026/11/23 10:00:00 to "
                                        "10:02:00.\r\rShow them now? They stay in %1 either way.")
                             .arg(QDir::toNativeSeparators(aside))});
    const DataSetInfo& rt = session->data().info(RealTimeData);
    QCOMPARE(rt.Points, qint16(25));
    QCOMPARE(rt.Interval, 5);
    QCOMPARE(session->data().Get(RealTimeData, 25).Time, recs.last().Time);
    QCOMPARE(session->data().DataSetIndex, quint8(RealTimeData));
    // The recovered samples are in the new scratch file too, and the
    // leftover stays as it was.
    QCOMPARE(QFileInfo(dir.filePath("real.rand")).size(), 25 * 80);
    QCOMPARE(QFileInfo(aside).size(), 25 * 80 + 7);

    // Unsaved: closing offers them for saving (declined here).
    prompt.questions.clear();
    w.close();
    QCOMPARE(prompt.questions, QStringList{QStringLiteral("Is real-time data preserved?")});
    session->data().closeAndRemove();
    QVERIFY(QFile::exists(aside));

    // Declining leaves the set empty; the file is offered no more once it
    // has been moved aside.
    AnsweringPrompt again;
    auto second = demoSession(&again);
    second->data().announceLeftovers = false;
    QVERIFY(test::writeScratchFile(dir.filePath("log.rand"), recs));
    QCOMPARE(OpenDataFolder(second->data(), dir.path(), &again), FolderOpen::Opened);
    Form1 w2(second.get(), &again);
    QCOMPARE(w2.offerRecovery(), 0);
    QCOMPARE(again.questions.size(), 1);
    QVERIFY(again.questions.first().contains(QStringLiteral("a log of 25 points")));
    QCOMPARE(second->data().info(LogData).Points, qint16(0));
    second->data().closeAndRemove();
  }

  void signalKeepsUnsavedScratchFiles() {
    QTemporaryDir dir;
    AnsweringPrompt prompt;
    auto session = demoSession(&prompt);
    QVERIFY(session->data().open(dir.path(), nullptr));
    Form1 w(session.get(), &prompt);
    w.show();
    for (int n = 0; n < 3; ++n) QVERIFY(test::addSample(session->data(), RealTimeData, 20, 50));
    session->data().info(RealTimeData).Modified = true;
    QVERIFY(test::addSample(session->data(), LogData, 20, 50));  // saved: no flag

    const QStringList kept = w.endBySignal();
    // Nobody is asked; the unsaved samples wait for the next start.
    QVERIFY(prompt.questions.isEmpty());
    QCOMPARE(kept, QStringList{dir.filePath("real.rand")});
    QCOMPARE(scratchAndLock(dir.path()), QStringList{"real.rand"});
    QCOMPARE(QFileInfo(dir.filePath("real.rand")).size(), 3 * 80);
    QVERIFY(!w.isVisible());
  }

  void signalsEndTheWindowProgram_data() {
    QTest::addColumn<int>("sig");
    QTest::addColumn<bool>("leftover");
    QTest::newRow("SIGTERM") << int(SIGTERM) << false;
    QTest::newRow("SIGHUP") << int(SIGHUP) << false;
    // With a leftover the recovery question may be open when it comes.
    QTest::newRow("SIGINT, leftover offered") << int(SIGINT) << true;
  }

  void signalsEndTheWindowProgram() {
    QFETCH(int, sig);
    QFETCH(bool, leftover);
    if (!QFile::exists(windowExecutable())) QSKIP("the window program is not built");
    QTemporaryDir dir;
    if (leftover)
      QVERIFY(test::writeScratchFile(dir.filePath("real.rand"), {test::makeRecord(1, 2, 46000)}));
    QProcess p;
    p.setProgram(windowExecutable());
    p.setArguments({QStringLiteral("--demo"), QStringLiteral("--data-dir"), dir.path()});
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    p.setProcessEnvironment(env);
    p.start();
    QVERIFY(p.waitForStarted(10000));
    // Started: the folder is locked and the scratch files are open.
    QTRY_COMPARE_WITH_TIMEOUT(
        scratchAndLock(dir.path()),
        (QStringList{"disp.rand", "hygrotab.lock", "log.rand", "read.rand", "real.rand"}), 30000);
    QVERIFY(::kill(static_cast<pid_t>(p.processId()), sig) == 0);
    QVERIFY(p.waitForFinished(30000));
    const QString err = QString::fromLocal8Bit(p.readAllStandardError());
    QCOMPARE(p.exitStatus(), QProcess::NormalExit);
    QVERIFY2(p.exitCode() == 128 + sig, qPrintable(err));
    QVERIFY2(err.contains(QStringLiteral("ended by signal %1").arg(sig)), qPrintable(err));
    // Nothing unsaved: every scratch file and the lock are gone; a
    // leftover stays where it was moved.
    QCOMPARE(scratchAndLock(dir.path()), QStringList());
    QCOMPARE(QDir(dir.path()).entryList({QStringLiteral("real.rand.crash-*")}).size(),
             leftover ? 1 : 0);
  }
};

QTEST_MAIN(TestForm1)
#include "tst_ui_form1.moc"
