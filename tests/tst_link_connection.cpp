// Finding and identifying the logger, connecting, disconnecting, and the
// bridge's disappearance, on the in-process emulator. Over a real pty the
// same is reached through hygrotab-cli (tst_cli_sim).
#include <QSignalSpy>
#include <QtTest>
#include <functional>

#include "link/bridge.h"
#include "link/connection.h"
#include "link/exchange.h"
#include "link/plugback.h"
#include "link/portnames.h"
#include "link/serialtransport.h"
#include "logger/session.h"
#include "sim/simtransport.h"
#include "support/data_table.h"
#include "support/emulator_rig.h"
#include "support/fake_transport.h"
#include "support/recording_bridge.h"
#include "support/scripted_prompt.h"

#ifdef Q_OS_LINUX
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#endif

using namespace hygro;
using hygro::test::RecordingBridge;
using hygro::test::ScriptedPrompt;

namespace {

struct SimRig {
  ScriptedPrompt prompt;
  sim::SimTransport* sim = new sim::SimTransport;
  RecordingBridge* bridge = new RecordingBridge;
  Session session{std::unique_ptr<Transport>(sim), std::unique_ptr<BridgePins>(bridge), &prompt};
  QTemporaryDir dir;
  SimRig() {
    test::ShortenWaits(session.connection());
    session.data().open(dir.path(), nullptr);
  }
  ~SimRig() { session.data().closeAndRemove(); }
};

// A system with one listed bridge port and nothing that ever answers.
class ListingTransport : public hygro::test::FakeTransport {
 public:
  QStringList listed;
  std::function<void()> onWrite;
  QStringList preferredPorts() const override { return listed; }
  qint64 write(const QByteArray& bytes) override {
    if (onWrite) onWrite();
    return FakeTransport::write(bytes);
  }
};

// A bare connection on silent ports, with every wait short.
struct SilentRig {
  ListingTransport port;
  ScriptedPrompt prompt;
  RecordingBridge bridge;
  Exchange x{&port, &prompt};
  Connection c{&port, &bridge, &x, &prompt};
  QStringList announced;
  bool refusedWhileSearching = false;
  SilentRig() {
    port.listed = QStringList{PortPath(QStringLiteral("5"))};
    bridge.detaches = false;
    test::ShortenWaits(c);
    c.AnswerWaitMs = 1;
    c.QuietMs = 1;
    c.IdentifyAttempts = 1;
    QObject::connect(&c, &Connection::searchingPort,
                     [this](const QString& name) { announced << name; });
  }
  // The user's cancel, arriving from the event loop as a click would.
  void clickCancel() {
    QTimer::singleShot(0, &c, [this] {
      // Connecting again while the search runs is refused, and harmless.
      refusedWhileSearching = !c.Port_Set_Command(QStringLiteral("Search"), QString());
      c.cancelSearch();
      // Were the cancel ignored, the rest of the search would run on at
      // the usual pace and be seen in the ports announced.
      c.AnswerWaitMs = 1;
      c.PulseHighMs = 1;
    });
  }
  // Cancels during the next wake pulse, with the port closed.
  void cancelAtNextPulse() {
    c.PulseHighMs = 15000;
    bridge.onSet = [this](quint8 value) {
      if (value != 0xFF) return;
      bridge.onSet = nullptr;
      clickCancel();
    };
  }
};

}  // namespace

class TestConnection : public QObject {
  Q_OBJECT
 private Q_SLOTS:
  void portNamesMapToDevices() {
#ifndef Q_OS_WIN
    QCOMPARE(PortPath(QStringLiteral("1")), QStringLiteral("/dev/ttyUSB0"));
    QCOMPARE(PortPath(QStringLiteral("16")), QStringLiteral("/dev/ttyUSB15"));
#endif
    QCOMPARE(PortPath(QStringLiteral("0")), QStringLiteral("0"));
    QCOMPARE(PortDisplay(QStringLiteral("/dev/ttyUSB2")), QStringLiteral("3"));
    QCOMPARE(PortDisplay(QStringLiteral("COM12")), QStringLiteral("12"));
    QCOMPARE(PortDisplay(QStringLiteral("/tmp/logger")), QStringLiteral("/tmp/logger"));
    QCOMPARE(Connection::SettingsText(QStringLiteral("57600")), QStringLiteral("57600,n,8,1"));

    const QList<ListedPort> listed{
        {QStringLiteral("/dev/ttyS0"), 0, QString()},
        {QStringLiteral("/dev/ttyACM0"), 0x2341, QStringLiteral("A1")},
        {QStringLiteral("/dev/ttyUSB3"), kFtdiVendor, QStringLiteral("A1")}};
    QCOMPARE(FindFtdiBySerial(listed, QStringLiteral("A1")), QStringLiteral("/dev/ttyUSB3"));
    QCOMPARE(FindFtdiBySerial(listed, QStringLiteral("B2")), QString());
    QCOMPARE(FindFtdiBySerial(listed, QString()), QString());
  }

  void theBridgeBehindAPortIsFoundInSysfs_data() {
    test::addDataRows(QStringLiteral("link/bridges.tsv"), {"port", "found"});
  }
  void theBridgeBehindAPortIsFoundInSysfs() {
    QFETCH(QString, port);
    QFETCH(QString, found);
    const UsbBridge b = LocateUsbBridge(port, QStringLiteral(HYGROTAB_TEST_DATA "/sysfs"));
    QCOMPARE(b.valid() ? QStringLiteral("%1.%2 %3 %4 %5")
                             .arg(b.bus)
                             .arg(b.address)
                             .arg(b.serial)
                             .arg(b.interfaceNumber)
                             .arg(b.gpioChips.join(QLatin1Char(',')))
                       : QString(),
             found);
    // The way back from a bridge's serial number to its tty, as plug-back
    // finds a bridge that returned. (Its vendor: the pin routes below.)
    if (b.valid())
      QCOMPARE(QStringLiteral("/dev/") +
                   FindTtyBySerial(b.serial, QStringLiteral(HYGROTAB_TEST_DATA "/sysfs")),
               port);
  }

  void aStableNameLeadsToItsBridge() {
    // /dev/serial/by-id names are links to the tty.
    QTemporaryDir dev;
    QFile tty(dev.filePath(QStringLiteral("ttyUSB1")));
    QVERIFY(tty.open(QIODevice::WriteOnly));
    const QString byId = dev.filePath(QStringLiteral("usb-FTDI_FT231X_A10K3XYZ-if00-port0"));
    QVERIFY(QFile::link(tty.fileName(), byId));
    const UsbBridge b = LocateUsbBridge(byId, QStringLiteral(HYGROTAB_TEST_DATA "/sysfs"));
    QCOMPARE(b.tty, QStringLiteral("ttyUSB1"));
    QCOMPARE(b.address, 7);
    QCOMPARE(FindTtyBySerial(QStringLiteral("NOSUCH"), QStringLiteral(HYGROTAB_TEST_DATA "/sysfs")),
             QString());
  }

  void thePinsGoTheWayTheBridgeOffers_data() {
    test::addDataRows(QStringLiteral("link/pin_routes.tsv"),
                      {"port", "label", "haveGpio", "haveLibFtdi", "route"});
  }
  void thePinsGoTheWayTheBridgeOffers() {
    QFETCH(QString, port);
    QFETCH(QString, label);
    QFETCH(QString, haveGpio);
    QFETCH(QString, haveLibFtdi);
    QFETCH(QString, route);
    const UsbBridge b = LocateUsbBridge(port, QStringLiteral(HYGROTAB_TEST_DATA "/sysfs"));
    const PinRoute r = ChoosePinRoute(
        b, [&](const QString&) { return label; }, haveGpio == u'1', haveLibFtdi == u'1');
    const QString got = r.backend == PinBackend::GpioChip  ? QStringLiteral("gpio ") + r.gpioChip
                        : r.backend == PinBackend::LibFtdi ? QStringLiteral("libftdi")
                                                           : QStringLiteral("none");
    QCOMPARE(got, route);
    // Another vendor's chip is never driven.
    UsbBridge other = b;
    other.vendor = 0x067B;
    QCOMPARE(ChoosePinRoute(
                 other, [&](const QString&) { return label; }, true, true)
                 .backend,
             PinBackend::None);
  }

  // A bridge that refused the pulse: when nobody answers, the message says
  // the logger could not be woken, so a sleeping logger is told from a
  // missing one. When the logger answers anyway, nothing is said.
  void aRefusedPulseIsNamedWhenNoLoggerAnswers_data() {
    QTest::addColumn<bool>("refuse");
    QTest::addColumn<QString>("mode");
    QTest::newRow("refused, one port") << true << "Once";
    QTest::newRow("refused, search") << true << "Search";
    QTest::newRow("driven") << false << "Once";
  }
  void aRefusedPulseIsNamedWhenNoLoggerAnswers() {
    QFETCH(bool, refuse);
    QFETCH(QString, mode);
    SilentRig r;
    r.bridge.refuse = refuse;
    QVERIFY(r.c.Port_Set_Command(mode, QStringLiteral("5")));
    const QString headline = QStringLiteral("Hygrotab not connected.");
    QCOMPARE(r.prompt.messages(),
             QStringList{refuse ? headline + QStringLiteral("\r\r") + Connection::NotWokenText()
                                : headline});
    QVERIFY(Connection::NotWokenText().contains(
        QStringLiteral("could not be woken through the bridge")));

    SimRig answering;
    answering.bridge->refuse = refuse;
    QVERIFY(answering.session.Port_Set_Command(PortSearch::Once, QStringLiteral("1")));
    QVERIFY(answering.session.connected());
    QVERIFY(answering.prompt.messages().isEmpty());
  }

  void theLongerModelNameWins_data() {
    test::addDataRows(QStringLiteral("link/model_answers.tsv"), {"answer", "model"});
  }
  void theLongerModelNameWins() {
    QFETCH(QString, answer);
    QFETCH(QString, model);
    QCOMPARE(Connection::ModelFromAnswer(QByteArray::fromHex(answer.toLatin1())),
             model == u'-' ? QString() : model);
  }

  // Connecting wakes the logger through the bridge of the port in use, under
  // one claim (with the port left open when the bridge's own lines drive the
  // pins, and waited for when driving them took the serial driver away),
  // identifies the model and reads its status.
  void identifiesEachModelAndReadsItsStatus_data() {
    QTest::addColumn<QString>("model");
    QTest::addColumn<bool>("keepOpen");
    QTest::addColumn<bool>("detaches");
    QTest::newRow("QM720-XC") << "QM720-XC" << false << false;
    QTest::newRow("QM720-XCB") << "QM720-XCB" << true << false;
    QTest::newRow("QM510-XC") << "QM510-XC" << false << true;
  }
  void identifiesEachModelAndReadsItsStatus() {
    QFETCH(QString, model);
    QFETCH(bool, keepOpen);
    QFETCH(bool, detaches);
    SimRig r;
    r.sim->model().setModel(model);
    r.sim->setAttachedPort(QStringLiteral("/dev/pts/9"));
    r.bridge->keepOpen = keepOpen;
    QList<bool> openDuringPulse;
    r.bridge->onSet = [&](quint8 value) {
      openDuringPulse << r.sim->isOpen();
      if (!detaches || value != 0) return;
      // The port comes back a little after the pulse.
      r.sim->unplug();
      QTimer::singleShot(300, r.sim, [&r] { r.sim->plugIn(); });
    };
    QSignalSpy ended(&r.session, &Session::exchangeEnded);
    QVERIFY(r.session.Port_Set_Command(PortSearch::Once, QStringLiteral("/dev/pts/9")));
    QTRY_VERIFY(ended.count() >= 1);
    QCOMPARE(r.session.ModelName(), model);  // its caption and status bar: status/display.tsv
    // The wake pulse: all pins high, then all low.
    QCOMPARE(r.bridge->calls, (QStringList{QStringLiteral("port /dev/pts/9"),
                                           QStringLiteral("claim"), QStringLiteral("set FF"),
                                           QStringLiteral("set 0"), QStringLiteral("release")}));
    QCOMPARE(r.bridge->masks, (QList<quint8>{0xFF, 0xF0}));
    QCOMPARE(openDuringPulse, QList<bool>(2, keepOpen));
    // The battery read proves the logger answers; the status read follows.
    const CommandQueue& q = r.session.exchange().queue;
    QCOMPARE(CommModeWord(q.entries[0].CommMode), QStringLiteral("port_open"));
    QCOMPARE((QList<int>{q.entries[0].P1, q.entries[1].P1}), (QList<int>{16, 99}));
    QVERIFY(r.prompt.calls.isEmpty());
  }

  void aMissingPortIsNotConnected() {
    SimRig r;
    QVERIFY(r.session.Port_Set_Command(PortSearch::Once, QStringLiteral("7")));
    QVERIFY(!r.session.connected());
    QCOMPARE(r.prompt.messages(), QStringList{QStringLiteral("Hygrotab not connected.")});
    QCOMPARE(r.session.view().statusBar, QStringLiteral("Unconnection"));
    QVERIFY(r.bridge->values.isEmpty());  // the port never opened: no pulse
  }

  // A port that will not open says why, and what to do; a port that cannot
  // be named is not tried.
  void aPortThatWillNotOpenSaysWhy() {
    auto attempt = [](const QString& port) {
      ScriptedPrompt prompt;
      Session session{std::make_unique<SerialTransport>(), std::make_unique<NoBridge>(), &prompt};
      QTemporaryDir dir;
      session.data().open(dir.path(), nullptr);
      session.Port_Set_Command(PortSearch::Once, port);
      const bool connected = session.connected();
      session.data().closeAndRemove();
      return connected ? QStringLiteral("connected") : prompt.messages().join(QLatin1Char('|'));
    };
    const QString headline = QStringLiteral("Hygrotab not connected.\r\r");
    const auto why = [](const char* key, const QString& port) {
      return test::dataValue(QStringLiteral("link/open_errors.tsv"), QLatin1String(key)).arg(port);
    };
    QTemporaryDir dir;
    const QString missing = dir.filePath(QStringLiteral("ttyNothing"));
    QCOMPARE(attempt(missing), headline + why("missing", missing));
    QCOMPARE(attempt(dir.path()), headline + why("not serial", dir.path()));
    QCOMPARE(attempt(QStringLiteral("/dev/null")), headline + why("not serial", "/dev/null"));
    QVERIFY(attempt(QStringLiteral("256"))
                .startsWith(headline + QStringLiteral("Port 256 does not exist")));
    QVERIFY(
        attempt(QStringLiteral("COM3")).contains(QStringLiteral("COM3 is a Windows port name")));

#ifdef Q_OS_LINUX
    // A terminal another program holds exclusively.
    const int master = ::posix_openpt(O_RDWR | O_NOCTTY);
    QVERIFY(master >= 0);
    QVERIFY(::grantpt(master) == 0 && ::unlockpt(master) == 0);
    const QString slavePath = QString::fromLocal8Bit(::ptsname(master));
    const int holder = ::open(::ptsname(master), O_RDWR | O_NOCTTY);
    QVERIFY(holder >= 0);
    QVERIFY(::ioctl(holder, TIOCEXCL) == 0);
    QCOMPARE(attempt(slavePath), headline + why("in use", slavePath));
    ::close(holder);
    ::close(master);

    // Permission is asked of the system as the user would meet it; run as
    // root, only the mapping can be checked (the other errors are met above).
    QCOMPARE(ClassifyOpenFailure(EACCES, true, false, false), PortOpenError::PermissionDenied);
    QCOMPARE(PortOpenErrorText(PortOpenError::PermissionDenied, QStringLiteral("1"), QString()),
             why("permission", QStringLiteral("1")));
#endif
  }

  void theSearchNamesEachPortItTries() {
    SilentRig r;
    QSignalSpy status(&r.c, &Connection::statusTextChanged);
    QVERIFY(r.c.Port_Set_Command(QStringLiteral("Search"), QString()));
    // The listed bridge first, then 16 down to 1 without trying it twice.
    QStringList expected{QStringLiteral("5")};
    for (int n = 16; n >= 1; --n)
      if (n != 5) expected << QString::number(n);
    QCOMPARE(r.announced, expected);
    QCOMPARE(r.port.writes.size(), expected.size());  // one identification each
    QVERIFY(!r.port.isOpen());
    QVERIFY(!r.c.searching());
    QCOMPARE(r.prompt.messages(), QStringList{QStringLiteral("Hygrotab not connected.")});
    QCOMPARE(status.last().at(0).toString(), QStringLiteral("Unconnection"));

    // A single port is announced too.
    r.announced.clear();
    QVERIFY(r.c.Port_Set_Command(QStringLiteral("Once"), QStringLiteral("7")));
    QCOMPARE(r.announced, QStringList{QStringLiteral("7")});
  }

  void aCancelledSearchStopsWithThePortClosed() {
    {
      // Cancelled after the first port, while the second is woken.
      SilentRig r;
      QObject::connect(&r.c, &Connection::searchingPort, [&r](const QString& name) {
        if (name == QLatin1String("16")) r.cancelAtNextPulse();
      });
      QVERIFY(r.c.Port_Set_Command(QStringLiteral("Search"), QString()));
      QCOMPARE(r.announced, (QStringList{QStringLiteral("5"), QStringLiteral("16")}));
      QCOMPARE(r.port.writes.size(), 1);  // only the first port was asked
      QVERIFY(r.refusedWhileSearching);
      QCOMPARE(r.bridge.values, (QList<quint8>{0xFF, 0, 0xFF, 0}));  // pins left low
      QVERIFY(!r.port.isOpen());
      QVERIFY(r.prompt.calls.isEmpty());
    }
    {
      // A logger on the port being tried when the cancel comes is not
      // connected; the next search (a stray cancel before it changes
      // nothing) finds it.
      SimRig r;
      r.sim->setAttachedPort(QStringLiteral("14"));
      Connection& c = r.session.connection();
      c.AnswerWaitMs = 15000;
      r.bridge->onSet = [&](quint8 value) {
        if (value != 0) return;
        r.bridge->onSet = nullptr;
        QTimer::singleShot(0, &c, [&c] { c.cancelSearch(); });
      };
      QVERIFY(r.session.Port_Set_Command(PortSearch::Search, QString()));
      QVERIFY(!r.session.connected());
      QVERIFY(!r.sim->isOpen());
      QVERIFY(r.prompt.calls.isEmpty());
      QCOMPARE(r.session.view().statusBar, QStringLiteral("Unconnection"));

      c.AnswerWaitMs = 500;
      c.cancelSearch();
      QVERIFY(r.session.Port_Set_Command(PortSearch::Search, QString()));
      QTRY_VERIFY_WITH_TIMEOUT(!r.session.busy(), 15000);
      QVERIFY(r.session.connected());
      QCOMPARE(r.session.view().statusBar, QStringLiteral("Communicating\u3000Port14"));
      QVERIFY(r.prompt.calls.isEmpty());
    }
  }

  // A pulled-out logger comes back by itself and the session says so; a
  // user who turned this off, or who disconnected, is left disconnected.
  void aPulledOutBridgeReconnectsWhenItComesBack_data() {
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<bool>("userDisconnects");
    QTest::addColumn<bool>("reconnects");
    QTest::addColumn<bool>("silent");  // comes back without answering
    QTest::newRow("on") << true << false << true << false;
    QTest::newRow("off") << false << false << false << false;
    QTest::newRow("user disconnected") << true << true << false << false;
    QTest::newRow("silent") << true << false << false << true;
  }
  void aPulledOutBridgeReconnectsWhenItComesBack() {
    QFETCH(bool, enabled);
    QFETCH(bool, userDisconnects);
    QFETCH(bool, reconnects);
    QFETCH(bool, silent);
    SimRig r;
    r.session.plugBack().setEnabled(enabled);
    r.session.plugBack().timer_.setInterval(10);
    QSignalSpy notices(&r.session, &Session::notice);
    QVERIFY(r.session.Port_Set_Command(PortSearch::Once, QStringLiteral("1")));
    QTRY_VERIFY(!r.session.busy());
    QSignalSpy ended(&r.session, &Session::exchangeEnded);
    if (userDisconnects) {
      QVERIFY(r.session.Port_Set_Command(PortSearch::Once, QStringLiteral("1")));
    } else {
      r.session.statusOp().Command11_Click();  // pulled out in the middle of an exchange
      QVERIFY(r.session.busy());
    }
    const int endedBefore = int(ended.count());
    r.sim->unplug();
    QVERIFY(!r.session.connected());
    QVERIFY(!r.session.busy());
    // The bridge stays away a while: nothing to find, and no presence check
    // or stray timer ends the exchange again.
    QTest::qWait(600);
    QVERIFY(!r.session.connected());
    QCOMPARE(ended.count(), endedBefore + (userDisconnects ? 0 : 1));
    QVERIFY(r.prompt.calls.isEmpty());
    QCOMPARE(r.session.view().statusBar, QStringLiteral("Unconnection"));
    if (silent) {
      r.sim->faults().silenceNext = -1;
      r.session.connection().AnswerWaitMs = 20;
    }
    r.sim->plugIn();
    if (reconnects) {
      QTRY_VERIFY(r.session.connected());
      QTRY_VERIFY(!r.session.busy());
      QCOMPARE(notices.count(), 1);
      QCOMPARE(notices.at(0).at(0).toString(), PlugBack::ReconnectedText(QStringLiteral("1")));
      QCOMPARE(r.session.view().statusBar, QStringLiteral("Communicating\u3000Port1"));
    } else {
      // A silent one is tried three times on its return, each without a
      // word, then left alone; one given up is never woken.
      const int pulses = 1 + (silent ? 3 * r.session.connection().IdentifyAttempts : 0);
      QTRY_COMPARE_WITH_TIMEOUT(r.bridge->values.size(), 2 * pulses, 10000);
      QTest::qWait(300);
      QCOMPARE(r.bridge->values.size(), 2 * pulses);
      QVERIFY(!r.session.connected());
      QVERIFY(notices.isEmpty());
    }
    QVERIFY(r.prompt.messages().isEmpty());
  }

  void thePresenceCheckWaitsForIdle() {
    SilentRig r;
    r.c.D_CHECK.setInterval(10);
    r.port.open();
    r.x.Queue_Reset();
    r.x.Command_Add(1, 16, 0, 0, CommMode::None);
    r.x.TimeOutMs = 100000;
    r.x.Command_Send();
    r.port.present = false;
    QTest::qWait(60);
    QVERIFY(r.port.isOpen());  // an exchange runs: no check
    r.x.Pro_End();
    QTRY_VERIFY(!r.port.isOpen());
    QVERIFY(r.prompt.calls.isEmpty());
  }
};

QTEST_MAIN(TestConnection)
#include "tst_link_connection.moc"
