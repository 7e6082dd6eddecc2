// The emulator's serial line (framing, fault modes) and the pacing
// of the in-process transport built on it.
#include <QElapsedTimer>
#include <QEventLoop>
#include <QSignalSpy>
#include <QtTest>

#include "sim/devicemodel.h"
#include "sim/simline.h"
#include "sim/simtransport.h"

using hygro::sim::DeviceModel;
using hygro::sim::SimLine;
using hygro::sim::SimTransport;

namespace {

QByteArray hex(const char* h) { return QByteArray::fromHex(h); }

// Frames written out by hand: 1, code, a, b. 15 answers with its own frame.
const QByteArray kAsk15 = hex("0001001500000000ff");
const QByteArray kAsk30 = hex("0001003000000000ff");

QByteArray drain(SimLine& line) { return line.takeDue(std::numeric_limits<qint64>::max() / 2); }

// Collects what arrives, waiting on the event loop as the program does, until
// `done` holds for it; false after three seconds.
template <typename Done>
bool collect(SimTransport& t, QByteArray& got, Done done) {
  QEventLoop loop;
  QTimer::singleShot(3000, &loop, [&] { loop.exit(1); });
  QObject::connect(&t, &hygro::Transport::readyRead, &loop, [&] {
    got += t.readAll();
    if (done()) loop.exit(0);
  });
  return loop.exec() == 0;
}

}  // namespace

class TestSimTransport : public QObject {
  Q_OBJECT
 private slots:
  void framing();
  void faultModes();
  void pacedTransport();
};

void TestSimTransport::framing() {
  DeviceModel m;
  m.setManualTime();
  SimLine line(m);
  // A frame in pieces is answered once, when its terminator arrives.
  line.receive(kAsk15.left(3), 0);
  line.receive(kAsk15.mid(3, 5), 0);
  QVERIFY(!line.hasPending());
  line.receive(kAsk15.mid(8), 0);
  QCOMPARE(drain(line), kAsk15);
  line.receive(kAsk30 + kAsk15, 0);  // two frames in one write: two answers in order
  QCOMPARE(drain(line), kAsk30 + kAsk15);
  line.receive(hex("1234") + kAsk15, 0);  // noise in front: only the last eight bytes count
  QCOMPARE(drain(line), kAsk15);
  QCOMPARE(line.framesReceived(), 4);
}

void TestSimTransport::faultModes() {
  DeviceModel m;
  m.setManualTime();
  SimLine line(m);
  // Refusals: tst_sim_pty. A silenced frame gets no answer but still takes effect; the next is
  // answered.
  line.faults().silenceNext = 1;
  line.receive(hex("0001004000650066ff"), 0);
  QVERIFY(!line.hasPending());
  QCOMPARE(m.name().left(2), QByteArray("AB"));
  line.receive(kAsk15, 0);
  QCOMPARE(drain(line), kAsk15);
  line.faults().garbageBefore = hex("1357");
  line.faults().garbageAfter = hex("42");
  line.receive(kAsk15, 0);
  QCOMPARE(drain(line), hex("1357") + kAsk15 + hex("42"));
  line.faults() = {};
  line.faults().delayMs = 40;
  line.receive(kAsk15, 1000);
  QVERIFY(line.takeDue(40999).isEmpty());
  QCOMPARE(line.takeDue(41000), kAsk15);
}

void TestSimTransport::pacedTransport() {
  SimTransport t;
  t.setPort(QStringLiteral("1"));
  t.setBaud(57600);
  t.setPacing(true);
  QVERIFY(t.open());
  // Never inside write(): the answer comes from the event loop.
  QSignalSpy ready(&t, &hygro::Transport::readyRead);
  QCOMPARE(t.write(kAsk15), 9);
  QCOMPARE(ready.count(), 0);
  QByteArray got;
  QVERIFY(collect(t, got, [&] { return got.endsWith(char(0xFF)); }));
  QCOMPARE(got, kAsk15);
  // 19 exchanges of 9 + 9 bytes, one at a time: 19 * 3125 us on the wire.
  QElapsedTimer clock;
  clock.start();
  for (int i = 0; i < 19; ++i) {
    t.write(kAsk30);
    got.clear();
    QVERIFY(collect(t, got, [&] { return got.endsWith(char(0xFF)); }));
  }
  const qint64 took = clock.nsecsElapsed() / 1000, wire = 19 * 3125;
  qInfo("19 exchanges: %lld us, wire %lld us, ratio %.3f", took, wire, double(took) / wire);
  QVERIFY2(took >= wire, "answers must not arrive before their wire time");
  QVERIFY2(took < wire * 13 / 10, "pacing adds too much");
  // A 1000-point stream: the frame, then 1000 answers back to back.
  QVERIFY(t.model().loadJson(R"({"startTime": "2024-05-01 00:00:00",
                                 "points": {"generate": 1000}})"));
  got.clear();
  clock.restart();
  t.write(hex("0001004400150160ff"));  // up to 4000 = 15 * 256 + 160
  QVERIFY(collect(t, got, [&] { return got.size() >= 9000; }));
  const qint64 streamTook = clock.nsecsElapsed() / 1000, streamWire = 1564062;  // 9009 bytes
  qInfo("1000-point stream: %lld us, wire %lld us, ratio %.3f", streamTook, streamWire,
        double(streamTook) / streamWire);
  QVERIFY(streamTook >= streamWire - 1000);
  QVERIFY(streamTook < streamWire * 105 / 100);
}

QTEST_GUILESS_MAIN(TestSimTransport)
#include "tst_sim_transport.moc"
