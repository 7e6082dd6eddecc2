// hygrotab-sim on a real pseudo-terminal, reached through QSerialPort as the
// program reaches a logger: what the conversation tests leave out. (Opening
// the terminal again and again is what tst_cli_sim does, a tool run each.)
#include <QElapsedTimer>
#include <QSerialPort>
#include <QTemporaryFile>
#include <QtTest>

#include "support/sim_process.h"

using hygro::test::SimProcess;

namespace {

QByteArray hex(const char* h) { return QByteArray::fromHex(h); }
const QByteArray kAsk15 = hex("0001001500000000ff");  // answered with its own frame

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

class TestSimPty : public QObject {
  Q_OBJECT
 private slots:
  void faultOptionsAndBadState();
};

void TestSimPty::faultOptionsAndBadState() {
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

QTEST_GUILESS_MAIN(TestSimPty)
#include "tst_sim_pty.moc"
