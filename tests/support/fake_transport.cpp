#include "support/fake_transport.h"

#include <QTimer>

namespace hygro::test {

qint64 FakeTransport::write(const QByteArray& bytes) {
  if (!open_) return -1;
  writes << bytes;
  writeTimes << clock.elapsed();
  if (autoAnswer && !script.isEmpty()) {
    const QByteArray answer = script.takeFirst();
    if (!answer.isEmpty()) feed(answer);
  }
  return bytes.size();
}

void FakeTransport::feed(const QByteArray& bytes) {
  QTimer::singleShot(0, this, [this, bytes] { feedNow(bytes); });
}

void FakeTransport::feedNow(const QByteArray& bytes) {
  if (!open_) return;
  rx_ += bytes;
  Q_EMIT readyRead();
}

void FakeTransport::unplug() {
  present = false;
  if (open_) {
    open_ = false;
    Q_EMIT disconnected();
  }
}

QByteArray Answer(int r0, int r1, int r2, int r3) {
  QByteArray a;
  for (int v : {r0, r1, r2, r3}) {
    a += static_cast<char>(v / 100);
    a += static_cast<char>((((v % 100) / 10) << 4) | (v % 10));
  }
  a += static_cast<char>(0xFF);
  return a;
}

QByteArray Hex(const char* spaced) {
  return QByteArray::fromHex(QByteArray(spaced).replace(' ', ""));
}

}  // namespace hygro::test
