#include "cli/porttransport.h"

#include <QFileInfo>
#include <QSerialPortInfo>

#include "link/portnames.h"

namespace hygro::cli {

PortTransport::PortTransport(QObject* parent) : Transport(parent) {
  connect(&serial_, &QSerialPort::readyRead, this, &Transport::readyRead);
  connect(&serial_, &QSerialPort::errorOccurred, this, &PortTransport::onError);
}

PortTransport::~PortTransport() { serial_.close(); }

void PortTransport::setPort(const QString& port) {
  port_ = port;
  serial_.setPortName(PortPath(port));
}

bool PortTransport::open() {
  if (serial_.isOpen()) return true;
  if (!serial_.open(QIODevice::ReadWrite)) return false;
  serial_.setBaudRate(baud_);
  serial_.setDataBits(QSerialPort::Data8);
  serial_.setParity(QSerialPort::NoParity);
  serial_.setStopBits(QSerialPort::OneStop);
  serial_.setFlowControl(QSerialPort::NoFlowControl);
  serial_.setRequestToSend(true);
  return true;
}

void PortTransport::close() {
  if (serial_.isOpen()) serial_.close();
}

qint64 PortTransport::write(const QByteArray& bytes) {
  if (!serial_.isOpen()) return -1;
  return serial_.write(bytes);
}

void PortTransport::clearInput() {
  if (!serial_.isOpen()) return;
  serial_.clear(QSerialPort::Input);
  serial_.readAll();
}

bool PortTransport::isPresent() const {
  const QString name = serial_.portName();
  return QFileInfo::exists(name.startsWith(QLatin1Char('/')) ? name
                                                             : QSerialPortInfo(serial_).systemLocation());
}

QStringList PortTransport::preferredPorts() const {
  QStringList ports;
  for (const QSerialPortInfo& info : QSerialPortInfo::availablePorts()) {
    if (info.hasVendorIdentifier() && info.vendorIdentifier() == 0x0403)
      ports << info.systemLocation();
  }
  return ports;
}

void PortTransport::onError(QSerialPort::SerialPortError error) {
  if (error != QSerialPort::ReadError && error != QSerialPort::ResourceError) return;
  // An unplugged device shows as a flood of read errors: close once.
  if (serial_.isOpen()) {
    serial_.close();
    Q_EMIT disconnected();
  }
}

}  // namespace hygro::cli
