// The emulated logger answering raw frames. Expected bytes are written out by
// hand from the line format, not produced by the emulator's own encoder.
#include <QDir>
#include <QElapsedTimer>
#include <QtTest>
#include <cmath>

#include "sim/devicemodel.h"
#include "sim/simline.h"
#include "sim/wire.h"

using hygro::sim::DeviceModel;

namespace {

QByteArray hex(const char* h) { return QByteArray::fromHex(h); }

QByteArray frameOf(int code, int a = 0, int b = 0) {
  // P0 = 1, then code, a, b: hundreds byte and BCD byte each, then 0xFF.
  const auto bcd = [](int v) { return char(((v % 100 / 10) << 4) | (v % 10)); };
  QByteArray f;
  for (int v : {1, code, a, b}) {
    f.append(char(v / 100));
    f.append(bcd(v));
  }
  f.append(char(0xFF));
  return f;
}

QByteArray ask(DeviceModel& m, int code, int a = 0, int b = 0) {
  return m.handleFrame(frameOf(code, a, b)).join();
}

// D1 and D2 of an ordinary answer, decoded by hand (hundreds*100 + BCD).
QPair<int, int> data(const QByteArray& answer) {
  const auto v = [&](int i) {
    const auto hb = quint8(answer[i]);
    const auto lb = quint8(answer[i + 1]);
    return hb * 100 + (lb >> 4) * 10 + (lb & 15);
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

}  // namespace

class TestSimModel : public QObject {
  Q_OBJECT
 private slots:
  void frameAndAnswerBytes();
  void refusals();
  void statusAddresses();
  void freshStartTime();
  void clockSetAndRun();
  void measurement();
  void conversionInverts();
  void recordingLive();
  void memoryFullOneTimeAndLoop();
  void reservation();
  void pointStream();
  void settingsReadBack();
  void downloadedFlag();
  void initialiseSequence();
  void jsonStates();
  void jsonErrorsLeaveModel();
};

void TestSimModel::frameAndAnswerBytes() {
  QCOMPARE(hygro::sim::wire::command(22), hex("0001002200000000ff"));
  QCOMPARE(hygro::sim::wire::command(25), hex("0001002500000000ff"));
  QCOMPARE(hygro::sim::wire::frame(1, 44, 123, 255), hex("0001004401230255ff"));
  QCOMPARE(frameOf(44, 123, 255), hygro::sim::wire::command(44, 123, 255));
  QCOMPARE(hygro::sim::wire::answer(1, 22, 102, 34), hex("0001002201020034ff"));
  const auto v = hygro::sim::wire::decodeValues(hex("0001002201020034ff"));
  QVERIFY(v.has_value());
  QCOMPARE((*v)[2], 102);
  QCOMPARE((*v)[3], 34);
  // A value must fit a byte, and every digit must be decimal.
  QVERIFY(!hygro::sim::wire::decodeValues(hex("0001002201020304ff")));
  QVERIFY(!hygro::sim::wire::decodeValues(hex("00010022010200a4ff")));
}

void TestSimModel::refusals() {
  DeviceModel m;
  m.setManualTime();
  QCOMPARE(ask(m, 77), hex("eeff"));
  QCOMPARE(ask(m, 12, 13), hex("eeff"));                                   // stop takes 14 only
  QCOMPARE(ask(m, 11, 0x84, 1), hex("eeff"));                              // no such interval unit
  QCOMPARE(ask(m, 1, 24, 13), hex("eeff"));                                // month 13
  QCOMPARE(m.handleFrame(hex("0002001500000000ff")).join(), hex("eeff"));  // P0 must be 1
  QCOMPARE(m.handleFrame(hex("00010a1500000000ff")).join(), hex("eeff"));  // not BCD
  QCOMPARE(m.handleFrame(hex("0301001500000000ff")).join(), hex("eeff"));  // hundreds > 2
  QCOMPARE(m.handleFrame(hex("0002ff")).join(), hex("eeff"));              // too short
  QCOMPARE(ask(m, 15), hex("0001001500000000ff"));                         // and still answering
}

void TestSimModel::statusAddresses() {
  DeviceModel m;
  loadManual(m, R"({"startTime": "2024-05-01 10:20:30", "interval": 60,
                    "points": [{"rt": 6400, "rh": 1500}, {"rt": 6401, "rh": 1501},
                               {"rt": 6402, "rh": 1502}]})");
  QCOMPARE(ask(m, 23, 16), hex("0001002300000012ff"));
  // 0x82 = 130 seconds unit, value 60
  QCOMPARE(ask(m, 23, 18), hex("0001002301300060ff"));
  // Start time as BCD bytes: 0x24 0x05 / 0x01 0x10 / 0x20 0x30 carried as values 36, 5 ...
  QCOMPARE(ask(m, 23, 20), hex("0001002300360005ff"));
  QCOMPARE(ask(m, 23, 22), hex("0001002300010016ff"));
  QCOMPARE(ask(m, 23, 24), hex("0001002300320048ff"));
  // 38 follows the byte count unless overridden.
  QCOMPARE(data(ask(m, 38)), qMakePair(0, 12));
  loadManual(m, R"({"startTime": "2024-05-01 10:20:30", "recordedBytes": 400, "count38": 40000,
                    "interval": {"unit": "min", "value": 15}})");
  QCOMPARE(data(ask(m, 23, 16)), qMakePair(1, 144));
  QCOMPARE(data(ask(m, 38)), qMakePair(156, 64));
  QCOMPARE(data(ask(m, 23, 18)), qMakePair(0x83, 15));
}

void TestSimModel::freshStartTime() {
  DeviceModel m;
  loadManual(m, QByteArray(R"({"startTime": "fresh"})"));
  for (int addr : {20, 22, 24}) QCOMPARE(ask(m, 23, addr), hex("0001002302550255ff"));
  loadManual(m, QByteArray(R"({"startTime": null})"));
  QCOMPARE(ask(m, 23, 24), hex("0001002302550255ff"));
  QCOMPARE(data(ask(m, 23, 16)), qMakePair(0, 0));
}

void TestSimModel::clockSetAndRun() {
  DeviceModel m;
  m.setManualTime();
  m.setClock(QDateTime(QDate(2024, 1, 31), QTime(7, 0), Qt::UTC));
  // Plain binary values, three steps; February while the day is still 31.
  QCOMPARE(ask(m, 1, 24, 2), hex("0001000100240002ff"));
  QCOMPARE(ask(m, 2, 29, 23), hex("0001000200290023ff"));
  QCOMPARE(ask(m, 3, 59, 58), hex("0001000300590058ff"));
  QCOMPARE(data(ask(m, 4)), qMakePair(24, 2));
  QCOMPARE(data(ask(m, 5)), qMakePair(29, 23));
  QCOMPARE(data(ask(m, 6)), qMakePair(59, 58));
  m.advance(2500);  // runs on: leap day ends
  QCOMPARE(data(ask(m, 4)), qMakePair(24, 3));
  QCOMPARE(data(ask(m, 5)), qMakePair(1, 0));
  QCOMPARE(data(ask(m, 6)), qMakePair(0, 0));
  QCOMPARE(m.clock(), QDateTime(QDate(2024, 3, 1), QTime(0, 0, 0, 500), Qt::UTC));
  QCOMPARE(ask(m, 2, 32, 0), hex("eeff"));
  QCOMPARE(ask(m, 3, 60, 0), hex("eeff"));
}

void TestSimModel::measurement() {
  DeviceModel m;
  m.setManualTime();
  m.setEnvironment(24.4, 50.45);
  // 24.4 C is raw 6400 = 0x1900; 50.45 %RH at 24.4 C is raw 1500 +- 1.
  QCOMPARE(ask(m, 25), hex("0001002500000000ff"));
  QCOMPARE(ask(m, 22), hex("0001002200250000ff"));
  const auto h = data(ask(m, 21));
  QVERIFY(qAbs(h.first * 256 + h.second - 1500) <= 2);
  m.setEnvironment(25.0, 50.45);                    // exactly the sensor's reference example
  QCOMPARE(ask(m, 22), hex("0001002200250060ff"));  // 6460 = 0x19 0x3C
  m.setEnvironment(24.4, 50.45);
  ask(m, 22);
  // Low resolution: 12-bit temperature (6400 / 4 = 1600 = 0x0640),
  // 8-bit humidity (about 1500 / 16 = 94).
  QCOMPARE(ask(m, 25, 1, 1), hex("0001002500010001ff"));
  QCOMPARE(ask(m, 22), hex("0001002200060064ff"));
  const auto lh = data(ask(m, 21));
  QCOMPARE(lh.first, 0);
  QVERIFY(qAbs(lh.second - 94) <= 1);
  QCOMPARE(ask(m, 25, 0, 0), hex("0001002500000000ff"));
  QCOMPARE(data(ask(m, 22)), qMakePair(25, 0));
}

void TestSimModel::conversionInverts() {
  QCOMPARE(DeviceModel::toRaw(24.4, 50.45).t, 6400);
  QCOMPARE(DeviceModel::toRaw(-39.6, 50).t, 0);
  {
    const auto r = DeviceModel::toRaw(25.0, 50.45);
    QCOMPARE(r.t, 6460);
    QCOMPARE(r.h, 1500);
  }
  {
    // At 35 C the compensation adds 1.3 to the 50.45 of raw 1500.
    const auto r = DeviceModel::toRaw(35.0, 51.75);
    QCOMPARE(r.h, 1500);
  }
  // Over the working range the stored counts read back within half a count.
  for (int tc = -20; tc <= 60; tc += 5) {
    for (int rh = 5; rh <= 95; rh += 5) {
      const auto r = DeviceModel::toRaw(tc, rh);
      const double t = celsiusOf(r.t);
      QVERIFY2(std::abs(t - tc) <= 0.005 + 1e-9, qPrintable(QString::number(tc)));
      const double back = rhOf(r.h, t);
      const double slope = std::abs(rhOf(r.h + 1, t) - back);
      QVERIFY2(std::abs(back - rh) <= slope / 2 + 1e-6,
               qPrintable(QStringLiteral("%1 C %2 %RH -> %3").arg(tc).arg(rh).arg(back)));
    }
  }
}

void TestSimModel::recordingLive() {
  DeviceModel m;
  m.setManualTime();
  m.setClock(QDateTime(QDate(2024, 5, 1), QTime(10, 0, 5), Qt::UTC));
  m.setEnvironment(24.4, 50.45);
  QCOMPARE(ask(m, 11, 0x82, 10), hex("0001001101300010ff"));
  QCOMPARE(data(ask(m, 30)).first & 1, 1);
  QCOMPARE(data(ask(m, 23, 16)), qMakePair(0, 4));  // first point at once
  m.advance(25000);
  QCOMPARE(data(ask(m, 23, 16)), qMakePair(0, 12));  // at 0, 10 and 20 s
  QCOMPARE(data(ask(m, 37)), qMakePair(0x82, 10));
  // The point bytes in memory: 6400 = 0x19 0x00.
  QCOMPARE(ask(m, 8, 0, 0).mid(0, 4), hex("00250000"));
  // The segment table: start 24-05-01 10:00:05 in BCD (0x24 travels as the
  // value 36), then the count 3.
  QCOMPARE(ask(m, 8, 0xF0, 0x00), hex("0036000500010016ff"));
  QCOMPARE(ask(m, 8, 0xF0, 0x04), hex("0000000500000003ff"));
  QCOMPARE(ask(m, 8, 0xF0, 0x08), hex("0255025502550255ff"));
  QCOMPARE(ask(m, 12, 14), hex("0001001200140000ff"));
  QCOMPARE(data(ask(m, 30)).first & 3, 0);
  m.advance(100000);
  QCOMPARE(data(ask(m, 23, 16)), qMakePair(0, 12));
  // A new start begins a new log.
  ask(m, 11, 0x83, 1);
  QCOMPARE(data(ask(m, 23, 16)), qMakePair(0, 4));
  QCOMPARE(data(ask(m, 23, 18)), qMakePair(0x83, 1));
  QCOMPARE(data(ask(m, 23, 24)), qMakePair(0x02, 0x10));  // started 10:02:10
  m.advance(59999);
  QCOMPARE(data(ask(m, 23, 16)), qMakePair(0, 4));
  m.advance(1);
  QCOMPARE(data(ask(m, 23, 16)), qMakePair(0, 8));
}

void TestSimModel::memoryFullOneTimeAndLoop() {
  DeviceModel m;
  loadManual(m, R"({"state": "recording", "startTime": "2024-05-01 00:00:00", "interval": 5,
                    "points": {"generate": 14999}})");
  QCOMPARE(data(ask(m, 23, 16)), qMakePair(234, 92));  // 59996
  m.advance(5000);
  QCOMPARE(data(ask(m, 23, 16)), qMakePair(234, 96));  // 60000: full, stopped
  QCOMPARE(data(ask(m, 30)).first & 3, 0);
  m.advance(60000);
  QCOMPARE(data(ask(m, 23, 16)), qMakePair(234, 96));

  loadManual(m, R"({"state": "recording", "startTime": "2024-05-01 00:00:00", "interval": 5,
                    "loop": true, "points": {"generate": 14999}})");
  QCOMPARE(data(ask(m, 50)), qMakePair(1, 0));
  m.advance(10000);  // one point fills the memory, the next starts over at 0
  QCOMPARE(data(ask(m, 50)), qMakePair(1, 1));
  QCOMPARE(data(ask(m, 23, 16)), qMakePair(0, 4));
  QCOMPARE(data(ask(m, 30)).first & 1, 1);
  // A long absence in loop mode skips whole passes but keeps counting them.
  m.advance(qint64(5000) * 15000 * 3);
  QCOMPARE(data(ask(m, 50)), qMakePair(1, 4));
  QCOMPARE(data(ask(m, 23, 16)), qMakePair(0, 4));
}

void TestSimModel::reservation() {
  DeviceModel m;
  m.setManualTime();
  m.setClock(QDateTime(QDate(2024, 5, 1), QTime(10, 0, 0), Qt::UTC));
  ask(m, 31, 1, 0);
  ask(m, 32, 10, 0);
  ask(m, 33, 5, 0);
  QCOMPARE(ask(m, 17, 0x83, 1), hex("0001001701310001ff"));
  QCOMPARE(data(ask(m, 30)).first, 0x04);
  QCOMPARE(data(ask(m, 34)).first, 1);
  QCOMPARE(data(ask(m, 35)).first, 10);
  QCOMPARE(data(ask(m, 36)).first, 5);
  QCOMPARE(data(ask(m, 37)), qMakePair(0x83, 1));
  m.advance(299000);
  QCOMPARE(data(ask(m, 30)).first, 0x04);
  m.advance(1000);
  QCOMPARE(data(ask(m, 30)).first, 0x01);
  QCOMPARE(data(ask(m, 23, 20)), qMakePair(0x24, 0x05));
  QCOMPARE(data(ask(m, 23, 22)), qMakePair(0x01, 0x10));
  QCOMPARE(data(ask(m, 23, 24)), qMakePair(0x05, 0x00));
  QCOMPARE(data(ask(m, 23, 16)), qMakePair(0, 4));
  // Jumping far past the moment: the log starts at the reserved minute and
  // holds the points since then.
  ask(m, 12, 14);
  ask(m, 31, 2, 0);
  ask(m, 17, 0x82, 30);
  m.advance(qint64(24) * 3600 * 1000);  // now 2024-05-02 10:05
  QCOMPARE(data(ask(m, 23, 22)), qMakePair(0x02, 0x10));
  QCOMPARE(data(ask(m, 23, 24)), qMakePair(0x05, 0x00));
  QCOMPARE(data(ask(m, 23, 16)), qMakePair(0, 4));
  // A day that May lacks... June has no 31st: the start waits for July.
  m.setClock(QDateTime(QDate(2024, 6, 2), QTime(0, 0), Qt::UTC));
  ask(m, 12, 14);
  ask(m, 31, 31, 0);
  ask(m, 32, 0, 0);
  ask(m, 33, 0, 0);
  ask(m, 17, 0x83, 1);
  m.advance(qint64(29) * 24 * 3600 * 1000);  // 2024-07-01
  QCOMPARE(data(ask(m, 30)).first, 0x04);
  m.advance(qint64(30) * 24 * 3600 * 1000);  // 2024-07-31
  QCOMPARE(data(ask(m, 30)).first, 0x01);
  // A reservation for the present minute starts at once; 12 cancels one.
  m.setClock(QDateTime(QDate(2024, 8, 3), QTime(9, 15, 40), Qt::UTC));
  ask(m, 12, 14);
  ask(m, 31, 3, 0);
  ask(m, 32, 9, 0);
  ask(m, 33, 15, 0);
  ask(m, 17, 0x82, 10);
  QCOMPARE(data(ask(m, 30)).first, 0x01);
  ask(m, 33, 59, 0);
  ask(m, 17, 0x82, 10);
  QCOMPARE(data(ask(m, 30)).first, 0x04);
  ask(m, 12, 14);
  QCOMPARE(data(ask(m, 30)).first, 0x00);
  m.advance(3600 * 1000);
  QCOMPARE(data(ask(m, 30)).first, 0x00);
}

void TestSimModel::pointStream() {
  DeviceModel m;
  loadManual(m, R"({"startTime": "2024-05-01 00:00:00", "interval": 60,
                    "points": [{"rt": 6400, "rh": 1500}, {"rt": 258, "rh": 4095},
                               {"t": 24.4, "h": 50.45}]})");
  const QList<QByteArray> s = m.handleFrame(frameOf(44, 0, 12));
  QCOMPARE(s.size(), 3);
  QCOMPARE(s[0], hex("0025000000050220ff"));  // 0x19 0x00 0x05 0xDC
  QCOMPARE(s[1], hex("0001000200150255ff"));  // 0x01 0x02 0x0F 0xFF
  QCOMPARE(s[2].left(4), hex("00250000"));
  // The end address is exclusive and counted in bytes.
  QCOMPARE(m.handleFrame(frameOf(44, 0, 8)).size(), 2);
  QCOMPARE(m.handleFrame(frameOf(44, 234, 96)).size(), 15000);
}

void TestSimModel::settingsReadBack() {
  DeviceModel m;
  m.setManualTime();
  QCOMPARE(ask(m, 40, 65, 66), hex("0001004000650066ff"));
  ask(m, 41, 32, 32);
  QCOMPARE(ask(m, 42), hex("0001004200650066ff"));
  QCOMPARE(ask(m, 43), hex("0001004300320032ff"));
  // 30 C alarm on: 6960 = 27*256+48, high byte with bit 7 = 155; -5 C off: 13, 132.
  ask(m, 45, 155, 48);
  ask(m, 46, 13, 132);
  QCOMPARE(ask(m, 47), hex("0001004701550048ff"));
  QCOMPARE(ask(m, 48), hex("0001004800130132ff"));
  QVERIFY(m.upper().on);
  QCOMPARE(m.upper().raw, 6960);
  QVERIFY(!m.lower().on);
  QCOMPARE(m.lower().raw, 3460);
  ask(m, 49, 1, 1);
  QCOMPARE(data(ask(m, 50)), qMakePair(1, 0));
  ask(m, 49, 0, 0);
  QCOMPARE(data(ask(m, 50)), qMakePair(0, 0));
  // Battery: raw = volts * 1023 / 3.3; 2.49 V is low, 2.50 V is not.
  m.setBattery(2.49);
  QCOMPARE(ask(m, 16), hex("0001001600000001ff"));
  QCOMPARE(data(ask(m, 51)), qMakePair(3, 4));  // 772
  m.setBattery(2.5);
  QCOMPARE(ask(m, 16), hex("0001001600000000ff"));
  QCOMPARE(data(ask(m, 51)), qMakePair(3, 7));  // 775
  QCOMPARE(ask(m, 87, 14, 3), hex("0001008700140003ff"));
  QCOMPARE(ask(m, 15), hex("0001001500000000ff"));
  // 99: the text, one version byte, the terminator.
  m.setModel(QStringLiteral("QM720-XCB"));
  m.setVersionText("QM720-XCB V1\xff");
  m.setFirmware(3);
  QCOMPARE(ask(m, 99), QByteArray("QM720-XCB V1\x03\xff"));
}

void TestSimModel::downloadedFlag() {
  DeviceModel m;
  loadManual(m, R"({"startTime": "2024-05-01 00:00:00", "interval": 60,
                    "points": {"generate": 10}})");
  QCOMPARE(ask(m, 57), hex("0001005700000000ff"));
  QCOMPARE(ask(m, 56), hex("0001005600000000ff"));
  QCOMPARE(ask(m, 57), hex("0001005700010001ff"));
  ask(m, 11, 0x82, 10);  // a new log has never been downloaded
  QCOMPARE(data(ask(m, 57)), qMakePair(0, 0));
  ask(m, 56);
  m.advance(10000);  // nor has a point recorded since
  QCOMPARE(data(ask(m, 57)), qMakePair(0, 0));
  loadManual(m, R"({"startTime": "fresh"})");  // nothing held
  QCOMPARE(data(ask(m, 57)), qMakePair(1, 1));
}

void TestSimModel::initialiseSequence() {
  DeviceModel m;
  loadManual(m, R"({"name": "ABCD", "state": "recording", "loop": true, "wrapped": 2,
                    "startTime": "2024-05-01 00:00:00", "interval": 60,
                    "upper": {"raw": 6960, "on": true}, "points": {"generate": 50}})");
  hygro::sim::SimLine line(m);
  line.receive(QByteArray("INITALL\xff", 8), 0);
  QVERIFY(!line.hasPending());  // never answered
  QCOMPARE(line.initialiseCount(), 1);
  QCOMPARE(data(ask(m, 30)).first, 0);
  QCOMPARE(ask(m, 42), hex("0001004200320032ff"));
  QCOMPARE(ask(m, 43), hex("0001004300320032ff"));
  QCOMPARE(ask(m, 23, 20), hex("0001002302550255ff"));
  QCOMPARE(data(ask(m, 23, 16)), qMakePair(0, 0));
  QCOMPARE(data(ask(m, 50)), qMakePair(0, 0));
  QCOMPARE(data(ask(m, 47)), qMakePair(0, 0));
  QCOMPARE(ask(m, 8, 0xF0, 0), hex("0255025502550255ff"));
  QCOMPARE(ask(m, 8, 0, 0), hex("0255025502550255ff"));
  m.advance(600000);
  QCOMPARE(data(ask(m, 23, 16)), qMakePair(0, 0));
}

void TestSimModel::jsonStates() {
  // Every ready-made state loads, and says what its name promises.
  const QDir dir(QStringLiteral(HYGROTAB_TEST_DATA "/sim"));
  const QStringList files = dir.entryList({QStringLiteral("*.json")});
  QVERIFY(files.size() >= 9);
  for (const QString& f : files) {
    DeviceModel m;
    m.setManualTime();
    QString err;
    QVERIFY2(m.loadFile(dir.filePath(f), &err), qPrintable(f + ": " + err));
  }
  const auto load = [&](const char* name, DeviceModel& m) {
    m.setManualTime();
    QVERIFY(m.loadFile(dir.filePath(QLatin1String(name))));
  };
  {
    DeviceModel m;
    QElapsedTimer t;
    t.start();
    load("download_15000.json", m);
    QVERIFY2(t.elapsed() < 1000, "a full log must load quickly");
    QCOMPARE(data(ask(m, 23, 16)), qMakePair(234, 96));
  }
  {
    DeviceModel m;
    load("wrapped_loop.json", m);
    QCOMPARE(data(ask(m, 50)), qMakePair(1, 1));
    QCOMPARE(data(ask(m, 23, 16)), qMakePair(46, 224));  // 12000
  }
  {
    DeviceModel m;
    load("two_segments.json", m);
    QCOMPARE(ask(m, 8, 0xF0, 0), hex("0036000500010016ff"));
    QCOMPARE(ask(m, 8, 0xF0, 4), hex("0000000000000120ff"));
    QCOMPARE(ask(m, 8, 0xF0, 8), hex("0036000500010020ff"));
    QCOMPARE(ask(m, 8, 0xF0, 12), hex("0000000000000080ff"));
    QCOMPARE(ask(m, 8, 0xF0, 16), hex("0255025502550255ff"));
  }
  {
    DeviceModel m;
    load("download_2s.json", m);
    // Physical values of a 2 s log are stored at the low resolution.
    QCOMPARE(ask(m, 44, 0, 4), hex("0006006400000094ff"));  // 1600, 94
    QCOMPARE(data(ask(m, 23, 18)), qMakePair(0x82, 2));
  }
  {
    DeviceModel m;
    load("lowbattery.json", m);
    QCOMPARE(data(ask(m, 16)), qMakePair(0, 1));
    QCOMPARE(data(ask(m, 30)).first, 0x10);
  }
  {
    DeviceModel m;
    load("reserved.json", m);
    QCOMPARE(data(ask(m, 30)).first, 0x04);
    m.advance(qint64(20) * 3600 * 1000 + 29 * 60 * 1000);  // 2024-05-15 08:29
    QCOMPARE(data(ask(m, 30)).first, 0x04);
    m.advance(60 * 1000);
    QCOMPARE(data(ask(m, 30)).first, 0x01);
  }
  {
    DeviceModel m;
    load("recording.json", m);
    QCOMPARE(data(ask(m, 23, 16)), qMakePair(1, 224));  // 120 points
    m.advance(60000);
    QCOMPARE(data(ask(m, 23, 16)), qMakePair(1, 228));
    QCOMPARE(data(ask(m, 4)), qMakePair(24, 5));
    QCOMPARE(data(ask(m, 6)), qMakePair(1, 0));  // 10:01:00
  }
}

void TestSimModel::jsonErrorsLeaveModel() {
  DeviceModel m;
  m.setManualTime();
  m.setName("KEEP");
  QString err;
  QVERIFY(!m.loadJson("{not json", &err));
  QVERIFY(!err.isEmpty());
  for (const char* bad : {R"({"startTime": "2024-13-01 00:00:00"})", R"({"interval": 100000})",
                          R"({"points": {"generate": 15001}})", R"({"state": "asleep"})",
                          R"({"points": [{"t": 1}]})", R"({"firmware": 255})"}) {
    err.clear();
    QVERIFY2(!m.loadJson(bad, &err), bad);
    QVERIFY2(!err.isEmpty(), bad);
    QCOMPARE(m.name(), QByteArray("KEEP"));
  }
}

QTEST_GUILESS_MAIN(TestSimModel)
#include "tst_sim_model.moc"
