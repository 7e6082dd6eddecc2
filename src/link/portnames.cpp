#include "link/portnames.h"

#include <QRegularExpression>

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

}  // namespace hygro
