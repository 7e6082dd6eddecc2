#pragma once
// The real serial port behind the transport interface.
#include <QSerialPort>

#include "link/transport.h"

namespace hygro {

class SerialTransport : public Transport {
  Q_OBJECT
 public:
  explicit SerialTransport(QObject* parent = nullptr);
  ~SerialTransport() override;

  void setPort(const QString& port) override;
  QString port() const override { return port_; }
  void setBaud(int baud) override { baud_ = baud; }
  int baud() const override { return baud_; }
  bool open() override;
  void close() override;
  bool isOpen() const override { return serial_.isOpen(); }
  qint64 bytesAvailable() const override { return serial_.bytesAvailable(); }
  QByteArray readAll() override { return serial_.readAll(); }
  qint64 write(const QByteArray& bytes) override;
  void clearInput() override;
  bool isPresent() const override;
  QStringList preferredPorts() const override;
  QString bridgeIdentity() const override;
  QString findBridge(const QString& identity) const override;

  QString lastError() const { return lastError_; }
  PortOpenError openError() const override { return openError_; }
  QString openErrorText() const override { return lastError_; }

 private:
  void onError(QSerialPort::SerialPortError error);
  void lowerLatency();
  QString devicePath() const;
  // Why the port would not open, asked of the system itself: Qt folds a busy
  // port and a forbidden one into one error.
  PortOpenError diagnoseOpenFailure() const;
  bool heldByAnother() const;

  QSerialPort serial_;
  QString port_;
  // The port as the caller named it, and the USB serial number of the bridge
  // last seen there: a bridge whose driver was detached for the wake pulse
  // may come back under another device name.
  QString requested_;
  QString usbSerial_;
  int baud_ = 57600;
  QString lastError_;
  PortOpenError openError_ = PortOpenError::None;
};

}  // namespace hygro
