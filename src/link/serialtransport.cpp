#include "link/serialtransport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSerialPortInfo>

#include "link/portnames.h"

#ifdef Q_OS_LINUX
#include <fcntl.h>
#include <linux/serial.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#endif

namespace hygro {

SerialTransport::SerialTransport(QObject* parent) : Transport(parent) {
  connect(&serial_, &QSerialPort::readyRead, this, &Transport::readyRead);
  connect(&serial_, &QSerialPort::errorOccurred, this, &SerialTransport::onError);
}

SerialTransport::~SerialTransport() { serial_.close(); }

namespace {

QList<ListedPort> listedPorts() {
  QList<ListedPort> ports;
  for (const QSerialPortInfo& info : QSerialPortInfo::availablePorts()) {
    ports.append({info.systemLocation(),
                  info.hasVendorIdentifier() ? int(info.vendorIdentifier()) : 0,
                  info.serialNumber()});
  }
  return ports;
}

// The USB serial number of the FTDI bridge at `path`; empty when there is none.
QString usbSerialAt(const QString& path) {
  const QString canonical = QFileInfo(path).canonicalFilePath();
  if (canonical.isEmpty()) return {};
  for (const ListedPort& p : listedPorts()) {
    if (p.vendor == kFtdiVendor && QFileInfo(p.location).canonicalFilePath() == canonical)
      return p.usbSerial;
  }
  return {};
}

}  // namespace

void SerialTransport::setPort(const QString& port) {
  if (port != requested_) usbSerial_.clear();
  requested_ = port;
  port_ = port;
  serial_.setPortName(PortPath(port));
}

QString SerialTransport::devicePath() const { return PortPath(port_); }

bool SerialTransport::heldByAnother() const {
#ifdef Q_OS_LINUX
  // A program that opened the port exclusively keeps everyone out but root;
  // root must not take a port from under it either.
  const QByteArray path = QFile::encodeName(devicePath());
  const int fd = ::open(path.constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return false;
  int exclusive = 0;
  const bool held = ::ioctl(fd, TIOCGEXCL, &exclusive) == 0 && exclusive != 0;
  ::close(fd);
  return held;
#else
  return false;
#endif
}

PortOpenError SerialTransport::diagnoseOpenFailure() const {
#ifdef Q_OS_LINUX
  const QFileInfo info(devicePath());
  int err = 0;
  bool terminal = false;
  if (info.exists() && !info.isDir()) {
    const QByteArray path = QFile::encodeName(info.filePath());
    const int fd = ::open(path.constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
      err = errno;
    } else {
      terminal = ::isatty(fd) != 0;
      ::close(fd);
    }
  }
  return ClassifyOpenFailure(err, info.exists(), info.isDir(), terminal);
#else
  switch (serial_.error()) {
    case QSerialPort::DeviceNotFoundError:
      return PortOpenError::NoSuchPort;
    case QSerialPort::PermissionError:
      return PortOpenError::InUse;  // Windows denies a port another program has open
    default:
      return PortOpenError::Other;
  }
#endif
}

bool SerialTransport::open() {
  if (serial_.isOpen()) return true;
  openError_ = PortOpenError::None;
  if (heldByAnother()) {
    openError_ = PortOpenError::InUse;
    lastError_ = QStringLiteral("held exclusively by another program");
    return false;
  }
  if (usbSerial_.isEmpty()) usbSerial_ = usbSerialAt(serial_.portName());
  bool opened = serial_.open(QIODevice::ReadWrite);
  if (!opened && !usbSerial_.isEmpty() && !QFileInfo::exists(serial_.portName())) {
    // The bridge came back under another name: follow its serial number.
    const QString moved = FindFtdiBySerial(listedPorts(), usbSerial_);
    if (!moved.isEmpty()) {
      serial_.setPortName(moved);
      opened = serial_.open(QIODevice::ReadWrite);
      if (opened) port_ = moved;
    }
  }
  if (!opened) {
    lastError_ = serial_.errorString();
    openError_ = diagnoseOpenFailure();
    return false;
  }
  serial_.setBaudRate(baud_);
  serial_.setDataBits(QSerialPort::Data8);
  serial_.setParity(QSerialPort::NoParity);
  serial_.setStopBits(QSerialPort::OneStop);
  serial_.setFlowControl(QSerialPort::NoFlowControl);
  serial_.setRequestToSend(true);
  lowerLatency();
  return true;
}

void SerialTransport::close() {
  if (serial_.isOpen()) serial_.close();
}

qint64 SerialTransport::write(const QByteArray& bytes) {
  if (!serial_.isOpen()) return -1;
  return serial_.write(bytes);
}

void SerialTransport::clearInput() {
  if (!serial_.isOpen()) return;
  serial_.clear(QSerialPort::Input);
  serial_.readAll();  // what Qt had already buffered
}

bool SerialTransport::isPresent() const {
#ifdef Q_OS_WIN
  // A COM port is listed as long as its device is there.
  for (const QSerialPortInfo& info : QSerialPortInfo::availablePorts()) {
    if (info.portName().compare(serial_.portName(), Qt::CaseInsensitive) == 0) return true;
  }
  return false;
#else
  // The device node vanishes with the USB device (and a pseudo-terminal's with
  // its master); asking the file system never disturbs the open port.
  // (Qt shortens /dev/... names, and the system's port list leaves out
  // pseudo-terminals: the path itself is asked.)
  return QFileInfo::exists(devicePath());
#endif
}

QStringList SerialTransport::preferredPorts() const {
  QStringList ports;
  for (const ListedPort& p : listedPorts()) {
    if (p.vendor == kFtdiVendor) ports << p.location;
  }
  return ports;
}

namespace {
const QString kBySerial = QStringLiteral("usb-serial:");
const QString kById = QStringLiteral("by-id:");
const QString kByIdDir = QStringLiteral("/dev/serial/by-id");
}  // namespace

QString SerialTransport::bridgeIdentity() const {
#ifdef Q_OS_LINUX
  // From sysfs: the system's port list goes through udev, which may not have
  // caught up yet with a tty that came back a moment ago after a wake pulse.
  if (const QString serial = LocateUsbBridge(devicePath()).serial; !serial.isEmpty())
    return kBySerial + serial;
#else
  if (const QString serial = usbSerialAt(devicePath()); !serial.isEmpty())
    return kBySerial + serial;
#endif
  const QString canonical = QFileInfo(devicePath()).canonicalFilePath();
  if (canonical.isEmpty()) return {};
  for (const QFileInfo& link : QDir(kByIdDir).entryInfoList(QDir::System | QDir::Files)) {
    if (link.canonicalFilePath() == canonical) return kById + link.fileName();
  }
  return {};
}

QString SerialTransport::findBridge(const QString& identity) const {
  if (identity.startsWith(kBySerial)) {
    const QString serial = identity.mid(kBySerial.size());
#ifdef Q_OS_LINUX
    const QString tty = FindTtyBySerial(serial);
    const QString path = QStringLiteral("/dev/") + tty;
    return !tty.isEmpty() && QFileInfo::exists(path) ? path : QString();
#else
    return FindFtdiBySerial(listedPorts(), serial);
#endif
  }
  if (identity.startsWith(kById)) {
    const QString link = kByIdDir + QLatin1Char('/') + identity.mid(kById.size());
    if (QFileInfo::exists(link)) return link;
  }
  return {};
}

void SerialTransport::onError(QSerialPort::SerialPortError error) {
  // No clearError() here: it reports NoError through this same signal.
  switch (error) {
    case QSerialPort::ReadError:
    case QSerialPort::ResourceError:
      // On Linux an unplugged device shows as a flood of read errors: close at
      // once and report one disconnect.
      if (serial_.isOpen()) {
        lastError_ = serial_.errorString();
        serial_.close();
        Q_EMIT disconnected();
      }
      break;
    default:
      // RTS on a pseudo-terminal and the like: not worth a word.
      break;
  }
}

void SerialTransport::lowerLatency() {
#ifdef Q_OS_LINUX
  // The FTDI driver holds received bytes for its latency timer (16 ms by
  // default); low-latency mode cuts that to 1 ms. Other ttys may refuse: fine.
  const int fd = static_cast<int>(serial_.handle());
  serial_struct ss{};
  if (fd >= 0 && ioctl(fd, TIOCGSERIAL, &ss) == 0) {
    ss.flags |= ASYNC_LOW_LATENCY;
    ioctl(fd, TIOCSSERIAL, &ss);
  }
#endif
}

}  // namespace hygro
