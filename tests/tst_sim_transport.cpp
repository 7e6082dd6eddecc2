// The emulator's serial line (framing, faults, wire timing) and the
// in-process transport built on it.
#include <QElapsedTimer>
#include <QEventLoop>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

#include "sim/devicemodel.h"
#include "sim/simline.h"
#include "sim/simtransport.h"

using hygro::sim::DeviceModel;
using hygro::sim::SimLine;
using hygro::sim::SimTransport;

namespace {

QByteArray hex(const char* h) { return QByteArray::fromHex(h); }

// Frames written out by hand: 1, code, a, b.
const QByteArray kAck15 = hex("0001001500000000ff");
const QByteArray kAsk15 = hex("0001001500000000ff");  // 15 answers with its own frame
const QByteArray kAsk30 = hex("0001003000000000ff");
const QByteArray kAnswer30Idle = hex("0001003000000000ff");

QByteArray drain(SimLine& line) { return line.takeDue(std::numeric_limits<qint64>::max() / 2); }

// Waits on the event loop, as the program does, until `done` holds after a
// readyRead; false after timeoutMs.
template <typename Done>
bool waitReady(SimTransport& t, Done done, int timeoutMs = 3000) {
  QEventLoop loop;
  QTimer limit;
  limit.setSingleShot(true);
  QObject::connect(&limit, &QTimer::timeout, &loop, [&] { loop.exit(1); });
  QObject::connect(&t, &hygro::Transport::readyRead, &loop, [&] {
    if (done()) loop.exit(0);
  });
  limit.start(timeoutMs);
  return loop.exec() == 0;
}

// Sends frames one at a time and waits for each answer's terminator, like the
// program; the elapsed time in microseconds, -1 on a lost answer.
qint64 converse(SimTransport& t, const QByteArray& frame, int count) {
  QElapsedTimer clock;
  clock.start();
  for (int i = 0; i < count; ++i) {
    t.clearInput();
    t.write(frame);
    QByteArray got;
    if (!waitReady(t, [&] {
          got += t.readAll();
          return got.endsWith(char(0xFF));
        }))
      return -1;
  }
  return clock.nsecsElapsed() / 1000;
}

}  // namespace

class TestSimTransport : public QObject {
  Q_OBJECT
 private slots:
  void framing();
  void hostileInput();
  void refuseAndSilence();
  void garbageDelayAndStall();
  void wireTiming();
  void transportDelivery();
  void transportPortsAndUnplug();
  void pacedExchangeAndStream();
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
  QCOMPARE(drain(line), kAck15);
  // Two frames in one write: two answers in order.
  line.receive(kAsk30 + kAsk15, 0);
  QCOMPARE(drain(line), kAnswer30Idle + kAck15);
  // Noise in front of a frame: only the last eight bytes count.
  line.receive(hex("1234") + kAsk15, 0);
  QCOMPARE(drain(line), kAck15);
  // Too few bytes for a frame: refused.
  line.receive(hex("0001ff"), 0);
  QCOMPARE(drain(line), hex("eeff"));
  QCOMPARE(line.framesReceived(), 5);
  // The initialise sequence split over writes.
  line.receive("INIT", 0);
  line.receive(QByteArray("ALL\xff", 4), 0);
  QVERIFY(!line.hasPending());
  QCOMPARE(line.initialiseCount(), 1);
}

void TestSimTransport::hostileInput() {
  DeviceModel m;
  m.setManualTime();
  SimLine line(m);
  QRandomGenerator rng(20240501);
  int answers = 0;
  for (int round = 0; round < 200; ++round) {
    QByteArray junk(int(rng.bounded(1, 400)), 0);
    for (auto& c : junk) c = char(rng.bounded(256));
    line.receive(junk, 0);
    answers += drain(line).count(char(0xFF));
  }
  QVERIFY(answers > 0);
  // Whatever came before, a clean frame after a terminator is understood.
  line.receive(QByteArray(1, char(0xFF)), 0);
  drain(line);
  line.receive(hex("0001004200000000ff"), 0);
  const QByteArray name = drain(line);
  QCOMPARE(name.size(), 9);
  QCOMPARE(name.left(4), hex("00010042"));
}

void TestSimTransport::refuseAndSilence() {
  DeviceModel m;
  m.setManualTime();
  SimLine line(m);
  line.faults().refuseNext = 2;
  for (int i = 0; i < 3; ++i) line.receive(kAsk15, 0);
  QCOMPARE(drain(line), hex("eeff") + hex("eeff") + kAck15);
  line.faults().silenceNext = 1;
  line.receive(kAsk15, 0);
  QVERIFY(!line.hasPending());
  line.receive(kAsk15, 0);
  QCOMPARE(drain(line), kAck15);
  line.faults().silenceNext = -1;
  for (int i = 0; i < 5; ++i) line.receive(kAsk15, 0);
  QVERIFY(!line.hasPending());
  QCOMPARE(line.faults().silenceNext, -1);
  // A silenced set-command still takes effect: only the answer is lost.
  line.receive(hex("0001004000650066ff"), 0);
  QCOMPARE(m.name().left(2), QByteArray("AB"));
}

void TestSimTransport::garbageDelayAndStall() {
  DeviceModel m;
  m.setManualTime();
  QString err;
  QVERIFY2(m.loadJson(R"({"startTime": "2024-05-01 00:00:00", "interval": 60,
                          "points": {"generate": 10}})",
                      &err),
           qPrintable(err));
  SimLine line(m);
  line.faults().garbageBefore = hex("1357");
  line.faults().garbageAfter = hex("42");
  line.receive(kAsk15, 0);
  QCOMPARE(drain(line), hex("1357") + kAck15 + hex("42"));
  line.faults().garbageBefore.clear();
  line.faults().garbageAfter.clear();

  line.faults().delayMs = 40;
  line.receive(kAsk15, 1000);
  QCOMPARE(line.headAnswerDue(), 41000);
  QVERIFY(line.takeDue(40999).isEmpty());
  QCOMPARE(line.takeDue(41000), kAck15);
  line.faults().delayMs = 0;

  line.faults().stallAfterPoints = 3;
  line.receive(hex("0001004400000040ff"), 0);  // 44 up to address 40: 10 points
  const QByteArray s = drain(line);
  QCOMPARE(s.size(), 27);
  QCOMPARE(s.count(char(0xFF)), 3);
  line.faults().stallAfterPoints = -1;
  line.receive(hex("0001004400000040ff"), 0);
  QCOMPARE(drain(line).count(char(0xFF)), 10);
}

void TestSimTransport::wireTiming() {
  DeviceModel m;
  m.setManualTime();
  SimLine line(m);
  line.setBaud(57600);  // 173.6 us a byte
  line.receive(kAsk15, 0);
  // The frame arrives at 1562 us; the answer's last byte at 3125 us.
  QCOMPARE(line.headAnswerDue(), 3125);
  QCOMPARE(line.nextByteDue(), 1736);
  QCOMPARE(line.takeDue(1735).size(), 0);
  QCOMPARE(line.takeDue(3000).size(), 8);
  QCOMPARE(line.takeDue(3124).size(), 0);
  QCOMPARE(line.takeDue(3125).size(), 1);
  // Frames written together cross the line one after the other, and the
  // second answer waits for the line to be free.
  line.receive(kAsk15 + kAsk15, 10000);
  QCOMPARE(line.headAnswerDue(), 10000 + 3125);
  QVERIFY(!line.headIsLast());
  line.takeDue(10000 + 3125);
  QCOMPARE(line.headAnswerDue(), 10000 + 4688);
  QVERIFY(line.headIsLast());
  QCOMPARE(line.takeDue(10000 + 4688).size(), 9);
  // A point stream is back to back: 100 answers take 100 answer times.
  QVERIFY(m.loadJson(R"({"startTime": "2024-05-01 00:00:00", "points": {"generate": 100}})"));
  line.receive(hex("0001004400010144ff"), 20000);  // up to 400 = 1 * 256 + 144
  QByteArray all;
  qint64 last = 0;
  while (line.hasPending()) {
    last = line.headAnswerDue();
    all += line.takeDue(last);
  }
  QCOMPARE(all.size(), 900);
  QCOMPARE(last, 20000 + 1563 + 156250);
}

void TestSimTransport::transportDelivery() {
  SimTransport t;
  t.model().setManualTime();
  t.setPort(QStringLiteral("1"));
  QVERIFY(t.open());
  QSignalSpy ready(&t, &hygro::Transport::readyRead);
  // Never inside write(): the answer comes from the event loop.
  QCOMPARE(t.write(kAsk15), 9);
  QCOMPARE(ready.count(), 0);
  QCOMPARE(t.bytesAvailable(), 0);
  QVERIFY(ready.wait(1000));
  QCOMPARE(t.readAll(), kAck15);
  QCOMPARE(t.bytesAvailable(), 0);
  // clearInput drops what was received and not read.
  t.write(kAsk30);
  QVERIFY(ready.wait(1000));
  t.clearInput();
  QCOMPARE(t.bytesAvailable(), 0);
  // A stream of 15000 points arrives complete and in order.
  QVERIFY(t.model().loadJson(R"({"startTime": "2024-05-01 00:00:00",
                                 "points": {"generate": 15000}})"));
  t.write(hex("0001004402340096ff"));
  QByteArray got;
  QVERIFY(QTest::qWaitFor(
      [&] {
        got += t.readAll();
        return got.size() >= 15000 * 9;
      },
      5000));
  QCOMPARE(got.size(), 15000 * 9);
  QCOMPARE(got.count(char(0xFF)), 15000);
  // The initialise sequence through the transport is never answered.
  t.write(QByteArray("INITALL\xff", 8));
  QTest::qWait(20);
  QCOMPARE(t.bytesAvailable(), 0);
  QCOMPARE(t.model().recordedBytes(), 0);
}

void TestSimTransport::transportPortsAndUnplug() {
  SimTransport t;
  t.setAttachedPort(QStringLiteral("3"));
  t.setPort(QStringLiteral("1"));
  QVERIFY(!t.open());
  QVERIFY(!t.isPresent());
  QCOMPARE(t.preferredPorts(), QStringList{QStringLiteral("3")});
  t.setPort(QStringLiteral("3"));
  QVERIFY(t.isPresent());
  QVERIFY(t.open());
  QVERIFY(!t.open());  // busy
  QSignalSpy gone(&t, &hygro::Transport::disconnected);
  QSignalSpy ready(&t, &hygro::Transport::readyRead);
  t.write(kAsk15);
  t.unplug();
  QCOMPARE(gone.count(), 1);
  QVERIFY(!t.isOpen());
  QVERIFY(!t.isPresent());
  QCOMPARE(t.write(kAsk15), -1);
  QTest::qWait(20);
  QCOMPARE(ready.count(), 0);  // the answer in flight is lost with the device
  QVERIFY(!t.open());
  t.unplug();  // already out: no second report
  QCOMPARE(gone.count(), 1);
  t.plugIn();
  QVERIFY(t.open());
  t.write(kAsk15);
  QVERIFY(ready.wait(1000));
  QCOMPARE(t.readAll(), kAck15);
}

void TestSimTransport::pacedExchangeAndStream() {
  SimTransport t;
  t.setPort(QStringLiteral("1"));
  t.setBaud(57600);
  t.setPacing(true);
  QVERIFY(t.open());
  // 19 exchanges of 9 + 9 bytes: 19 * 3125 us on the wire.
  const qint64 wire = 19 * 3125;
  const qint64 took = converse(t, kAsk30, 19);
  QVERIFY(took > 0);
  qInfo("19 exchanges: %lld us, wire %lld us, ratio %.3f", took, wire, double(took) / wire);
  QVERIFY2(took >= wire, "answers must not arrive before their wire time");
  QVERIFY2(took < wire * 13 / 10, "pacing adds too much");
  // A 1000-point stream: the frame, then 1000 answers back to back.
  QVERIFY(t.model().loadJson(R"({"startTime": "2024-05-01 00:00:00",
                                 "points": {"generate": 1000}})"));
  QElapsedTimer clock;
  clock.start();
  t.clearInput();
  t.write(hex("0001004400150160ff"));  // up to 4000 = 15 * 256 + 160
  QByteArray got;
  QVERIFY(waitReady(t, [&] {
    got += t.readAll();
    return got.size() >= 9000;
  }));
  const qint64 streamTook = clock.nsecsElapsed() / 1000;
  QTest::qWait(10);
  QCOMPARE(got.size() + t.bytesAvailable(), 9000);  // and nothing beyond the end address
  const qint64 streamWire = (9 + 9000) * 10 * 1000000LL / 57600;  // 1564062 us
  qInfo("1000-point stream: %lld us, wire %lld us, ratio %.3f", streamTook, streamWire,
        double(streamTook) / streamWire);
  QVERIFY(streamTook >= streamWire - 1000);
  QVERIFY(streamTook < streamWire * 105 / 100);
}

QTEST_GUILESS_MAIN(TestSimTransport)
#include "tst_sim_transport.moc"
