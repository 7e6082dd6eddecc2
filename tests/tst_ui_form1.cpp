// The main window on the emulated logger: it connects, shows what the session
// read, and follows the state in its captions and enabled controls.
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QtTest>

#include "app/form1.h"
#include "app/qtprompt.h"
#include "logger/session.h"
#include "sim/demostate.h"
#include "sim/simtransport.h"

using namespace hygro;

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
};

QTEST_MAIN(TestForm1)
#include "tst_ui_form1.moc"
