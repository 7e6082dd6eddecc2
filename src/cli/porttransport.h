#pragma once
// A real serial port for the tool.
//
// The core's SerialTransport calls QSerialPort::clearError() from its error
// handler, and clearError() reports NoError through the same signal, so the
// first open() recurses until the stack runs out. Until that is mended the
// tool opens real ports through this class, which behaves the same otherwise:
// COM-style numbers or paths, a read or resource error is an unplug, RTS/DTR
// refusals of a pseudo-terminal are ignored, presence is the device node.
#include <QSerialPort>

#include "link/transport.h"

namespace hygro::cli {

class PortTransport : public Transport {
  Q_OBJECT
 public:
  explicit PortTransport(QObject* parent = nullptr);
  ~PortTransport() override;

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

 private:
  void onError(QSerialPort::SerialPortError error);

  QSerialPort serial_;
  QString port_;
  int baud_ = 57600;
};

}  // namespace hygro::cli
