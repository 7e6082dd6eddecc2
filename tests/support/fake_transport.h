#pragma once
// A transport the test scripts: it records what the exchange writes and
// delivers the bytes the test feeds, as a port would (readyRead later).
#include <QByteArrayList>
#include <QElapsedTimer>
#include <QList>

#include "link/transport.h"

namespace hygro::test {

class FakeTransport : public Transport {
  Q_OBJECT
 public:
  explicit FakeTransport(QObject* parent = nullptr) : Transport(parent) { clock.start(); }

  QByteArrayList writes;
  QList<qint64> writeTimes;  // ms since construction
  QElapsedTimer clock;
  bool present = true;
  bool openOk = true;
  // Answers queued by the test, one handed out per write (empty = silence).
  QByteArrayList script;
  bool autoAnswer = false;

  void setPort(const QString& p) override { port_ = p; }
  QString port() const override { return port_; }
  void setBaud(int b) override { baud_ = b; }
  int baud() const override { return baud_; }
  bool open() override { return open_ = openOk; }
  void close() override { open_ = false; }
  bool isOpen() const override { return open_; }
  qint64 bytesAvailable() const override { return rx_.size(); }
  QByteArray readAll() override { return std::exchange(rx_, QByteArray()); }
  qint64 write(const QByteArray& bytes) override;
  void clearInput() override { rx_.clear(); }
  bool isPresent() const override { return present; }

  // Makes bytes arrive now (readyRead is emitted from the event loop).
  void feed(const QByteArray& bytes);
  void feedNow(const QByteArray& bytes);
  // The device disappears: the port closes and disconnected() is reported.
  void unplug();

 private:
  QString port_;
  int baud_ = 57600;
  bool open_ = false;
  QByteArray rx_;
};

// An answer in the logger's form: four values, hundreds byte + BCD byte each.
QByteArray Answer(int r0, int r1, int r2, int r3);
QByteArray Hex(const char* spaced);

}  // namespace hygro::test
