// The emulated logger's own behaviour, which the program's conversation tests
// do not reach: its bytes against bytes written out by hand from the line
// format (not from the emulator's encoder), its clock and recording over
// emulated time, its serial line and the fault modes the fault matrix relies
// on, and hygrotab-sim on a real pseudo-terminal reached through QSerialPort
// as the program reaches a logger, also after a client was killed holding it.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QSerialPort>
#include <QSignalSpy>
#include <QTemporaryFile>
#include <QThread>
#include <QtTest>
#include <cmath>

#include "sim/devicemodel.h"
#include "sim/simline.h"
#include "sim/simtransport.h"
#include "support/data_table.h"
#include "support/sim_process.h"

using hygro::sim::DeviceModel;
using hygro::sim::SimLine;
using hygro::sim::SimTransport;
using hygro::test::SimProcess;

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

QByteArray frameOf(int code, int a = 0, int b = 0) {
  // P0 = 1, then code, a, b: hundreds byte and BCD byte each, then 0xFF.
  const auto bcd = [](int v) { return char(((v % 100 / 10) << 4) | (v % 10)); };
  QByteArray f;
  for (int v : {1, code, a, b}) f.append(char(v / 100)).append(bcd(v));
  return f.append(char(0xFF));
}

QByteArray ask(DeviceModel& m, int code, int a = 0, int b = 0) {
  return m.handleFrame(frameOf(code, a, b)).join();
}

// D1 and D2 of an ordinary answer, decoded by hand (hundreds*100 + BCD).
QPair<int, int> data(const QByteArray& answer) {
  const auto v = [&](int i) {
    const auto lb = quint8(answer[i + 1]);
    return quint8(answer[i]) * 100 + (lb >> 4) * 10 + (lb & 15);
  };
  return {v(4), v(6)};
}

void loadManual(DeviceModel& m, const QByteArray& json) {
  m.setManualTime();
  QString err;
  QVERIFY2(m.loadJson(json, &err), qPrintable(err));
}

// The sensor's published conversion, written here from the formulas.
double celsiusOf(int raw) { return raw * 0.01 - 39.6; }
double rhOf(int raw, double t) {
  return (t - 25.0) * (0.01 + 0.00008 * raw) + (-0.0000028 * raw * raw + 0.0405 * raw - 4.0);
}

// Writes a frame and collects bytes until a 0xFF terminator arrived.
QByteArray exchange(QSerialPort& port, const QByteArray& frame, int timeoutMs = 3000) {
  port.clear(QSerialPort::Input);
  port.write(frame);
  port.waitForBytesWritten(1000);
  QByteArray got;
  QElapsedTimer t;
  t.start();
  while (!got.contains(char(0xFF)) && t.elapsed() < timeoutMs) {
    if (port.waitForReadyRead(50)) got += port.readAll();
  }
  return got;
}

}  // namespace

class TestSim : public QObject {
  Q_OBJECT
 private slots:
  void handWrittenBytesAndRefusals() {
    DeviceModel m;
    loadManual(m, R"({"startTime": "2024-05-01 10:20:30", "interval": 60,
                    "points": [{"rt": 6400, "rh": 1500}, {"rt": 258, "rh": 4095}]})");
    QCOMPARE(ask(m, 23, 16), hex("0001002300000008ff"));
    QCOMPARE(ask(m, 23, 18), hex("0001002301300060ff"));  // unit 0x82 = 130, value 60
    const QList<QByteArray> s = m.handleFrame(frameOf(44, 0, 8));
    QCOMPARE(s.size(), 2);
    QCOMPARE(s[0], hex("0025000000050220ff"));  // 0x19 0x00 0x05 0xDC
    QCOMPARE(s[1], hex("0001000200150255ff"));  // 0x01 0x02 0x0F 0xFF
    m.setEnvironment(24.4, 50.45);
    QCOMPARE(ask(m, 22), hex("0001002200250000ff"));  // 6400 = 0x19 0x00

    for (const QStringList& row : hygro::test::dataRows(QStringLiteral("link/refused_frames.tsv")))
      QVERIFY2(m.handleFrame(hex(qPrintable(row[1]))).join() == hex("eeff"), qPrintable(row[0]));
    QCOMPARE(ask(m, 15), hex("0001001500000000ff"));  // and still answering
  }

  void conversionInverts() {
    // Over the working range the stored counts read back within half a count.
    for (int tc = -20; tc <= 60; tc += 5) {
      for (int rh = 5; rh <= 95; rh += 5) {
        const auto raw = DeviceModel::toRaw(tc, rh);
        const double t = celsiusOf(raw.t);
        QVERIFY2(std::abs(t - tc) <= 0.005 + 1e-9, qPrintable(QString::number(tc)));
        const double back = rhOf(raw.h, t);
        QVERIFY2(std::abs(back - rh) <= std::abs(rhOf(raw.h + 1, t) - back) / 2 + 1e-6,
                 qPrintable(QStringLiteral("%1 C %2 %RH -> %3").arg(tc).arg(rh).arg(back)));
      }
    }
  }

  void clockRecordingAndReservationOverTime() {
    DeviceModel m;
    m.setManualTime();
    m.setClock(QDateTime(QDate(2024, 1, 31), QTime(7, 0), Qt::UTC));
    ask(m, 1, 24, 2);  // February while the day is still 31
    ask(m, 2, 29, 23);
    ask(m, 3, 59, 58);
    m.advance(2500);  // runs on: leap day ends
    QCOMPARE(m.clock(), QDateTime(QDate(2024, 3, 1), QTime(0, 0, 0, 500), Qt::UTC));

    m.setClock(QDateTime(QDate(2024, 5, 1), QTime(10, 0, 5), Qt::UTC));
    ask(m, 11, 0x82, 10);
    QCOMPARE(data(ask(m, 23, 16)), qMakePair(0, 4));  // first point at once
    m.advance(25000);
    QCOMPARE(data(ask(m, 23, 16)), qMakePair(0, 12));  // at 0, 10 and 20 s
    // The segment table: start 24-05-01 10:00:05 in BCD, then the count 3.
    QCOMPARE(ask(m, 8, 0xF0, 0x00), hex("0036000500010016ff"));
    QCOMPARE(ask(m, 8, 0xF0, 0x04), hex("0000000500000003ff"));
    ask(m, 12, 14);
    m.advance(100000);
    QCOMPARE(data(ask(m, 23, 16)), qMakePair(0, 12));  // stopped: no more points

    loadManual(m, R"({"state": "recording", "startTime": "2024-05-01 00:00:00", "interval": 5,
                    "points": {"generate": 14999}})");
    m.advance(65000);
    QCOMPARE(data(ask(m, 23, 16)), qMakePair(234, 96));  // 60000 bytes: full, stopped
    QCOMPARE(data(ask(m, 30)).first & 3, 0);
    loadManual(m, R"({"state": "recording", "startTime": "2024-05-01 00:00:00", "interval": 5,
                    "loop": true, "points": {"generate": 14999}})");
    m.advance(10000);  // one point fills the memory, the next starts over at 0
    QCOMPARE(data(ask(m, 50)), qMakePair(1, 1));
    QCOMPARE(data(ask(m, 23, 16)), qMakePair(0, 4));
    m.advance(qint64(5000) * 15000 * 3);  // a long absence skips whole passes, counted
    QCOMPARE(data(ask(m, 50)), qMakePair(1, 4));
    QCOMPARE(data(ask(m, 23, 16)), qMakePair(0, 4));

    // A reservation starts the log at its minute, not a second before.
    const auto reserve = [&](int day, int hour, int minute, int unit, int value) {
      for (auto [c, v] : {std::pair{12, 14}, {31, day}, {32, hour}, {33, minute}}) ask(m, c, v);
      ask(m, 17, unit, value);
    };
    m.setClock(QDateTime(QDate(2024, 5, 1), QTime(10, 0, 0), Qt::UTC));
    reserve(1, 10, 5, 0x83, 1);
    m.advance(299000);
    QCOMPARE(data(ask(m, 30)).first, 0x04);
    m.advance(1000);
    QCOMPARE(data(ask(m, 30)).first, 0x01);
    QCOMPARE(data(ask(m, 23, 24)), qMakePair(0x05, 0x00));
    // Jumping far past the moment: the log starts at the reserved minute and
    // holds only the points since then.
    reserve(2, 10, 5, 0x82, 30);
    m.advance(qint64(24) * 3600 * 1000);  // now 2024-05-02 10:05
    QCOMPARE(data(ask(m, 23, 22)), qMakePair(0x02, 0x10));
    QCOMPARE(data(ask(m, 23, 16)), qMakePair(0, 4));
  }

  void initialiseSequence() {
    DeviceModel m;
    loadManual(m, R"({"name": "ABCD", "state": "recording", "loop": true, "wrapped": 2,
                    "startTime": "2024-05-01 00:00:00", "interval": 60,
                    "upper": {"raw": 6960, "on": true}, "points": {"generate": 50}})");
    hygro::sim::SimLine line(m);
    line.receive("INIT", 0);  // split over writes
    line.receive(QByteArray("ALL\xff", 4), 0);
    QVERIFY(!line.hasPending());  // never answered
    QCOMPARE(line.initialiseCount(), 1);
    QCOMPARE(data(ask(m, 30)).first, 0);
    QCOMPARE(ask(m, 42), hex("0001004200320032ff"));
    QCOMPARE(ask(m, 23, 20), hex("0001002302550255ff"));
    QCOMPARE(data(ask(m, 50)), qMakePair(0, 0));  // and the loop mode, the alarm, the memory
    QCOMPARE(data(ask(m, 47)), qMakePair(0, 0));
    QCOMPARE(ask(m, 8, 0xF0, 0), hex("0255025502550255ff"));
    m.advance(600000);  // nothing recorded, before or after
    QCOMPARE(data(ask(m, 23, 16)), qMakePair(0, 0));
  }

  void badDocumentsLeaveModel() {
    DeviceModel m;
    m.setManualTime();
    m.setName("KEEP");
    for (const char* bad :
         {"{not json", R"({"startTime": "2024-13-01 00:00:00"})", R"({"interval": 100000})",
          R"({"points": {"generate": 15001}})", R"({"state": "asleep"})",
          R"({"points": [{"t": 1}]})", R"({"firmware": 255})"}) {
      QString err;
      QVERIFY2(!m.loadJson(bad, &err), bad);
      QVERIFY2(!err.isEmpty(), bad);
      QCOMPARE(m.name(), QByteArray("KEEP"));
    }
  }

  void framingAndFaultModes() {
    DeviceModel m;
    loadManual(m, R"({"startTime": "2024-05-01 00:00:00", "points": {"generate": 60}})");
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

    // Refusals: ptyFaultOptionsAndBadState. A silenced frame gets no answer but still takes effect;
    // the next is answered.
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

    // What the fault matrix relies on when it says "truncated", "flood", "late".
    SimLine shaped(m);
    shaped.faults().truncateNext = 1;
    shaped.receive(kAsk30 + kAsk30, 0);
    QCOMPARE(drain(shaped), kAsk30.left(9 - hygro::sim::kTruncatedBytes) + kAsk30);
    shaped.faults().floodNext = 1;
    shaped.receive(kAsk30, 0);
    const QByteArray flood = drain(shaped);
    QVERIFY(flood.size() > 100 && !flood.contains(char(0xFF)));
    // A late answer holds up the one behind it: answers keep their order.
    SimLine late(m);
    late.faults().lateNext = 1;
    late.faults().lateMs = 900;
    late.receive(kAsk30 + kAsk30, 0);
    QVERIFY(late.takeDue(899'000).isEmpty());
    QCOMPARE(late.takeDue(900'000), kAsk30 + kAsk30);
    // Pulled out as a frame with the chosen code arrives: no answer, and
    // nothing that was still on its way.
    late.faults().delayMs = 10;
    late.receive(frameOf(16), 1'000'000);
    late.faults().unplugOnCode = 42;
    late.receive(frameOf(42), 1'000'000);
    QVERIFY(!late.hasPending() && late.unplugDue());
    late.receive(kAsk30, 1'000'000);
    QVERIFY(!late.hasPending());
    // A stream pulled out after K points hands over exactly K, then the line goes.
    SimLine stream(m);
    stream.faults().unplugAfterPoints = 5;
    stream.receive(frameOf(44, 2, 40), 0);  // up to 240: 60 points
    QVERIFY(stream.unplugRequested() && !stream.unplugDue());
    QCOMPARE(stream.takeDue(0).count(char(0xFF)), 5);
    QVERIFY(stream.unplugDue());
  }

  void pacedTransport() {
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
    // Never early; how little pacing adds on top is a figure for the
    // benchmarks, which a busy test machine cannot give reliably.
    QVERIFY2(took >= wire, "answers must not arrive before their wire time");
    // A 1000-point stream: the frame, then 1000 answers back to back.
    QVERIFY(t.model().loadJson(R"({"startTime": "2024-05-01 00:00:00",
                                 "points": {"generate": 1000}})"));
    got.clear();
    clock.restart();
    t.write(hex("0001004400150160ff"));  // up to 4000 = 15 * 256 + 160
    QVERIFY(collect(t, got, [&] { return got.size() >= 9000; }));
    const qint64 streamTook = clock.nsecsElapsed() / 1000, streamWire = 1564062;  // 9009 bytes
    QVERIFY(streamTook >= streamWire - 1000);
  }

  void ptyFaultOptionsAndBadState() {
    SimProcess sim;
    QString err;
    QVERIFY2(sim.start({"--no-pace", "--refuse", "2", "--silence", "1", "--garbage"}, &err),
             qPrintable(err));
    QSerialPort port(sim.path());
    QVERIFY2(port.open(QIODevice::ReadWrite), qPrintable(port.errorString()));
    // Two refusals, a silence, then answers again.
    QCOMPARE(exchange(port, kAsk15), hex("eeff"));
    QCOMPARE(exchange(port, kAsk15), hex("eeff"));
    QVERIFY(exchange(port, kAsk15, 300).isEmpty());
    // Junk in front of the answer (and maybe behind it), never inside it.
    const QByteArray noisy = exchange(port, kAsk15);
    QVERIFY2(noisy.indexOf(kAsk15) > 0, noisy.toHex().constData());

    // A state document the emulator refuses: exit status 2, the reason on stderr.
    QTemporaryFile bad;
    QVERIFY(bad.open());
    bad.write(R"({"points": {"generate": 20000}})");
    bad.flush();
    QProcess p;
    p.start(SimProcess::executable(), {QStringLiteral("--state"), bad.fileName()});
    QVERIFY(p.waitForFinished(3000));
    QCOMPARE(p.exitCode(), 2);
    QVERIFY(p.readAllStandardError().contains("generate"));
    QVERIFY(p.readAllStandardOutput().isEmpty());
  }

  void aKilledClientLeavesThePortFree() {
    SimProcess sim;
    QString err;
    QVERIFY2(sim.start({"--no-pace"}, &err), qPrintable(err));
    const QByteArray path = QFile::encodeName(sim.path());
    // A client takes the terminal for itself, as a serial port library does,
    // and goes without giving it back: a killed one has its descriptor closed
    // by the kernel and nothing more.
    const int client = ::open(path.constData(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    QVERIFY(client >= 0);
    QCOMPARE(::ioctl(client, TIOCEXCL), 0);
    ::close(client);
    // The next client finds the terminal free, as after a real port's last
    // close. (Exclusive mode does not stop root, so it is asked for.)
    int exclusive = -1;
    const QDeadlineTimer deadline(5000);
    while (!deadline.hasExpired()) {
      const int fd = ::open(path.constData(), O_RDWR | O_NOCTTY | O_NONBLOCK);
      if (fd >= 0) {
        if (::ioctl(fd, TIOCGEXCL, &exclusive) != 0) exclusive = -1;
        ::close(fd);
        if (exclusive == 0) break;
      }
      QThread::msleep(20);
    }
    QCOMPARE(exclusive, 0);
    QSerialPort port(sim.path());
    QVERIFY2(port.open(QIODevice::ReadWrite), qPrintable(port.errorString()));
    QVERIFY(!exchange(port, kAsk15).isEmpty());
  }
};

QTEST_GUILESS_MAIN(TestSim)
#include "tst_sim.moc"
