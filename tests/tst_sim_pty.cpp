// hygrotab-sim on a real pseudo-terminal, reached through QSerialPort as the
// program reaches a logger.
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QSerialPort>
#include <QTemporaryDir>
#include <QtTest>

#include "support/sim_process.h"

using hygro::test::SimProcess;

namespace {

QByteArray hex(const char* h) { return QByteArray::fromHex(h); }

bool openPort(QSerialPort& port, const QString& path) {
  port.setPortName(path);
  port.setBaudRate(57600);
  port.setDataBits(QSerialPort::Data8);
  port.setParity(QSerialPort::NoParity);
  port.setStopBits(QSerialPort::OneStop);
  port.setFlowControl(QSerialPort::NoFlowControl);
  return port.open(QIODevice::ReadWrite);
}

// Writes a frame and collects bytes until `terminators` 0xFF bytes arrived.
QByteArray exchange(QSerialPort& port, const QByteArray& frame, int terminators = 1,
                    int timeoutMs = 3000) {
  port.clear(QSerialPort::Input);
  port.write(frame);
  port.waitForBytesWritten(1000);
  QByteArray got;
  QElapsedTimer t;
  t.start();
  while (got.count(char(0xFF)) < terminators && t.elapsed() < timeoutMs) {
    if (port.waitForReadyRead(50)) got += port.readAll();
  }
  return got;
}

}  // namespace

class TestSimPty : public QObject {
  Q_OBJECT
 private slots:
  void conversationThroughLink();
  void reopenManyTimes();
  void faultOptions();
  void pacedAnswerTakesWireTime();
  void unplug();
  void badStateFile();
};

void TestSimPty::conversationThroughLink() {
  QTemporaryDir dir;
  const QString link = dir.filePath(QStringLiteral("ttyLOGGER"));
  SimProcess sim;
  QString err;
  QVERIFY2(
      sim.start({QStringLiteral("--no-pace"), QStringLiteral("--state"),
                 SimProcess::state(QStringLiteral("idle.json")), QStringLiteral("--link"), link},
                &err),
      qPrintable(err));
  QVERIFY(sim.path().startsWith(QLatin1String("/dev/")));
  QCOMPARE(QFileInfo(link).symLinkTarget(), sim.path());

  QSerialPort port;
  QVERIFY2(openPort(port, link), qPrintable(port.errorString()));
  const QByteArray version = exchange(port, hex("0001009900000000ff"));
  QVERIFY2(version.startsWith("QM720-XC V1"), version.constData());
  QCOMPARE(version.right(2), hex("02ff"));
  QCOMPARE(exchange(port, hex("0001004200000000ff")), hex("0001004200760065ff"));  // "LA"
  QCOMPARE(exchange(port, hex("0001002300160000ff")),
           hex("0001002300020064ff"));  // 576 = 2 * 256 + 64
  // The whole log streams after one request.
  const QByteArray points = exchange(port, hex("0001004400020064ff"), 144);
  QCOMPARE(points.size(), 144 * 9);
  // Setting the name sticks across the conversation.
  exchange(port, hex("0001004000840069ff"));
  QCOMPARE(exchange(port, hex("0001004200000000ff")), hex("0001004200840069ff"));
  port.close();
  QCOMPARE(sim.stop(), 0);
  QVERIFY2(!QFileInfo::exists(link) && !QFileInfo(link).isSymLink(), "the link must go");
}

void TestSimPty::reopenManyTimes() {
  SimProcess sim;
  QString err;
  QVERIFY2(sim.start({QStringLiteral("--no-pace")}, &err), qPrintable(err));
  for (int i = 0; i < 25; ++i) {
    QSerialPort port;
    QVERIFY2(openPort(port, sim.path()), qPrintable(port.errorString()));
    QCOMPARE(exchange(port, hex("0001001500000000ff")), hex("0001001500000000ff"));
    port.close();
  }
  QCOMPARE(sim.process().state(), QProcess::Running);
}

void TestSimPty::faultOptions() {
  SimProcess sim;
  QString err;
  QVERIFY2(
      sim.start({QStringLiteral("--no-pace"), QStringLiteral("--refuse"), QStringLiteral("1"),
                 QStringLiteral("--silence"), QStringLiteral("1"), QStringLiteral("--garbage")},
                &err),
      qPrintable(err));
  QSerialPort port;
  QVERIFY(openPort(port, sim.path()));
  QCOMPARE(exchange(port, hex("0001001500000000ff")), hex("eeff"));
  QVERIFY(exchange(port, hex("0001001500000000ff"), 1, 300).isEmpty());
  const QByteArray noisy = exchange(port, hex("0001001500000000ff"));
  // Junk in front of the answer (and maybe behind it), never inside it.
  QVERIFY2(noisy.indexOf(hex("0001001500000000ff")) > 0, noisy.toHex().constData());
}

void TestSimPty::pacedAnswerTakesWireTime() {
  // At 9600 baud a frame and its answer take 18 ms; 200 points take 1.9 s at
  // 9600 and 0.3 s at 57600, which tells pacing from no pacing.
  SimProcess sim;
  QString err;
  QVERIFY2(sim.start({QStringLiteral("--baud"), QStringLiteral("57600"), QStringLiteral("--state"),
                      SimProcess::state(QStringLiteral("two_segments.json"))},
                     &err),
           qPrintable(err));
  QSerialPort port;
  QVERIFY(openPort(port, sim.path()));
  exchange(port, hex("0001001500000000ff"));  // first contact
  QElapsedTimer t;
  t.start();
  const QByteArray points = exchange(port, hex("0001004400030032ff"), 200);  // 800 = 3 * 256 + 32
  const qint64 took = t.elapsed();
  QCOMPARE(points.size(), 200 * 9);
  const double wireMs = (9 + 200 * 9) * 10 * 1000.0 / 57600;  // 314 ms
  qInfo("200 points over the pty: %lld ms, wire %.1f ms", took, wireMs);
  QVERIFY(took >= wireMs - 2);
  QVERIFY(took < wireMs * 1.25);
}

void TestSimPty::unplug() {
  QTemporaryDir dir;
  const QString link = dir.filePath(QStringLiteral("ttyGONE"));
  SimProcess sim;
  QString err;
  QVERIFY2(sim.start({QStringLiteral("--no-pace"), QStringLiteral("--unplug-after-ms"),
                      QStringLiteral("400"), QStringLiteral("--link"), link},
                     &err),
           qPrintable(err));
  QSerialPort port;
  QVERIFY(openPort(port, link));
  QCOMPARE(exchange(port, hex("0001001500000000ff")), hex("0001001500000000ff"));
  QSignalSpy errors(&port, &QSerialPort::errorOccurred);
  QVERIFY(sim.process().waitForFinished(3000));
  QCOMPARE(sim.process().exitCode(), 0);
  QVERIFY(!QFileInfo(link).isSymLink());
  // The open port notices: a read error (or resource error) instead of data.
  port.write(hex("0001001500000000ff"));
  QVERIFY(QTest::qWaitFor(
      [&] {
        return port.error() == QSerialPort::ReadError ||
               port.error() == QSerialPort::ResourceError ||
               port.error() == QSerialPort::WriteError;
      },
      2000));
  QVERIFY(errors.count() > 0);
}

void TestSimPty::badStateFile() {
  QTemporaryDir dir;
  const QString bad = dir.filePath(QStringLiteral("bad.json"));
  QFile f(bad);
  QVERIFY(f.open(QIODevice::WriteOnly));
  f.write(R"({"points": {"generate": 20000}})");
  f.close();
  QProcess p;
  p.start(SimProcess::executable(), {QStringLiteral("--state"), bad});
  QVERIFY(p.waitForFinished(3000));
  QCOMPARE(p.exitCode(), 2);
  QVERIFY(p.readAllStandardError().contains("generate"));
  QVERIFY(p.readAllStandardOutput().isEmpty());
}

QTEST_GUILESS_MAIN(TestSimPty)
#include "tst_sim_pty.moc"
