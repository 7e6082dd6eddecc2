#include "link/portnames.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <cerrno>

#include "link/transport.h"

namespace hygro {

int PortNumber(const QString& port) {
  bool ok = false;
  const int n = port.trimmed().toInt(&ok);
  return ok && n >= 1 && n <= 255 ? n : 0;
}

QString PortPath(const QString& port) {
  const int n = PortNumber(port);
  if (n == 0) return port.trimmed();
#ifdef Q_OS_WIN
  return QStringLiteral("COM%1").arg(n);
#else
  return QStringLiteral("/dev/ttyUSB%1").arg(n - 1);
#endif
}

QString FindFtdiBySerial(const QList<ListedPort>& ports, const QString& usbSerial) {
  if (usbSerial.isEmpty()) return {};
  for (const ListedPort& p : ports) {
    if (p.vendor == kFtdiVendor && p.usbSerial == usbSerial) return p.location;
  }
  return {};
}

namespace {
QString readAttribute(const QString& dir, const char* name) {
  QFile f(dir + QLatin1Char('/') + QLatin1String(name));
  if (!f.open(QIODevice::ReadOnly)) return {};
  return QString::fromUtf8(f.readAll()).trimmed();
}
}  // namespace

UsbBridge LocateUsbBridge(const QString& portPath, const QString& sysRoot) {
  UsbBridge b;
  const QString canonical = QFileInfo(portPath).canonicalFilePath();
  b.tty = QFileInfo(canonical.isEmpty() ? portPath : canonical).fileName();
  const QString root = QFileInfo(sysRoot).canonicalFilePath();
  if (b.tty.isEmpty() || root.isEmpty()) return b;
  // The tty's node sits below its USB interface, which sits below the USB
  // device: walk up until both are found.
  QString dir = QFileInfo(sysRoot + QStringLiteral("/class/tty/") + b.tty).canonicalFilePath();
  QString interfaceDir;
  while (dir.startsWith(root + QLatin1Char('/'))) {
    if (interfaceDir.isEmpty() && QFileInfo::exists(dir + QStringLiteral("/bInterfaceNumber")))
      interfaceDir = dir;
    if (QFileInfo::exists(dir + QStringLiteral("/busnum")) &&
        QFileInfo::exists(dir + QStringLiteral("/devnum"))) {
      if (interfaceDir.isEmpty()) break;  // a tty of the device itself: no USB serial port
      b.bus = readAttribute(dir, "busnum").toInt();
      b.address = readAttribute(dir, "devnum").toInt();
      b.serial = readAttribute(dir, "serial");
      b.vendor = readAttribute(dir, "idVendor").toInt(nullptr, 16);
      b.product = readAttribute(dir, "idProduct").toInt(nullptr, 16);
      b.interfaceNumber = readAttribute(interfaceDir, "bInterfaceNumber").toInt(nullptr, 16);
      b.gpioChips = QDir(interfaceDir)
                        .entryList({QStringLiteral("gpiochip*")}, QDir::Dirs | QDir::NoDotAndDotDot,
                                   QDir::Name);
      return b;
    }
    dir = QFileInfo(dir).path();
  }
  return b;
}

QString FindTtyBySerial(const QString& serial, const QString& sysRoot) {
  if (serial.isEmpty()) return {};
  const QDir ttys(sysRoot + QStringLiteral("/class/tty"));
  for (const QString& tty : ttys.entryList({QStringLiteral("ttyUSB*"), QStringLiteral("ttyACM*")},
                                           QDir::AllEntries | QDir::System, QDir::Name)) {
    if (LocateUsbBridge(QStringLiteral("/dev/") + tty, sysRoot).serial == serial) return tty;
  }
  return {};
}

QString PortDisplay(const QString& port) {
  if (const int n = PortNumber(port)) return QString::number(n);
  static const QRegularExpression usb(QStringLiteral("^/dev/ttyUSB(\\d+)$"));
  static const QRegularExpression com(QStringLiteral("^COM(\\d+)$"),
                                      QRegularExpression::CaseInsensitiveOption);
  if (const auto m = usb.match(port); m.hasMatch()) {
    const int n = m.captured(1).toInt() + 1;
    if (n <= 255) return QString::number(n);
  }
  if (const auto m = com.match(port); m.hasMatch()) return m.captured(1);
  return port;
}

namespace {
QString FirstPortHint() {
#ifdef Q_OS_WIN
  return QStringLiteral("1 is COM1");
#else
  return QStringLiteral("1 is /dev/ttyUSB0");
#endif
}

// "3 (/dev/ttyUSB2)" for a number, the path as given otherwise.
QString Named(const QString& port) {
  const QString path = PortPath(port);
  return path == port.trimmed() ? path
                                : port.trimmed() + QStringLiteral(" (") + path + QLatin1Char(')');
}
}  // namespace

QString PortNameProblem(const QString& port) {
  const QString p = port.trimmed();
  if (p.isEmpty()) return QStringLiteral("No port given.");
  bool isNumber = false;
  const qlonglong n = p.toLongLong(&isNumber);
  if (isNumber && (n < 1 || n > 255))
    return QStringLiteral("Port %1 does not exist: port numbers go from 1 to 255 (%2).")
        .arg(p, FirstPortHint());
#ifndef Q_OS_WIN
  static const QRegularExpression com(QStringLiteral("^COM\\d+$"),
                                      QRegularExpression::CaseInsensitiveOption);
  if (com.match(p).hasMatch())
    return QStringLiteral(
               "%1 is a Windows port name: give the port number instead (%2), or the "
               "device path.")
        .arg(p, FirstPortHint());
  if (!isNumber && !p.startsWith(QLatin1Char('/')))
    return QStringLiteral(
               "%1 is not a port: give a port number from 1 to 255 (%2), or a device "
               "path such as /dev/ttyUSB0.")
        .arg(p, FirstPortHint());
#endif
  return {};
}

PortOpenError ClassifyOpenFailure(int errnoValue, bool exists, bool isDirectory, bool isTerminal) {
  if (!exists) return PortOpenError::NoSuchPort;
  if (isDirectory) return PortOpenError::NotASerialPort;
  switch (errnoValue) {
    case 0:
      // It opened for us: either it is no terminal at all, or it is one that
      // a lock of another program kept from us.
      return isTerminal ? PortOpenError::InUse : PortOpenError::NotASerialPort;
    case ENOENT:
    case ENXIO:
    case ENODEV:
      return PortOpenError::NoSuchPort;
    case EBUSY:
      return PortOpenError::InUse;
    case EACCES:
    case EPERM:
      return PortOpenError::PermissionDenied;
    case ENOTTY:
    case EISDIR:
      return PortOpenError::NotASerialPort;
    default:
      return PortOpenError::Other;
  }
}

QString PortOpenErrorText(PortOpenError error, const QString& port, const QString& detail) {
  const QString name = Named(port);
  switch (error) {
    case PortOpenError::NoSuchPort:
      return QStringLiteral("%1: no such port. Plug the logger in, or check the port number (%2).")
          .arg(name, FirstPortHint());
    case PortOpenError::InUse:
      return QStringLiteral(
                 "%1 is in use by another program. Close that program, or choose "
                 "another port.")
          .arg(name);
    case PortOpenError::PermissionDenied:
#ifdef Q_OS_WIN
      return QStringLiteral("%1: permission denied.").arg(name);
#else
      return QStringLiteral(
                 "%1: permission denied. Add your user to the dialout group "
                 "(sudo usermod -aG dialout $USER) and log in again.")
          .arg(name);
#endif
    case PortOpenError::NotASerialPort:
      return QStringLiteral("%1 is not a serial port. Choose the port the logger is on.").arg(name);
    case PortOpenError::Other:
      return detail.isEmpty() ? QStringLiteral("%1 could not be opened.").arg(name)
                              : QStringLiteral("%1 could not be opened: %2.").arg(name, detail);
    case PortOpenError::None:
      break;
  }
  return {};
}

}  // namespace hygro
