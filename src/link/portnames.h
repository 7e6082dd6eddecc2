#pragma once
#include <QList>
#include <QString>

namespace hygro {
// A port is named by a COM-style number (1..255, as the port box offers) or by
// a device path. Number n is COMn on Windows and /dev/ttyUSB(n-1) on Linux.
QString PortPath(const QString& port);
// The number shown for a port: the COM-style number when the path maps back to
// one, otherwise the path itself.
QString PortDisplay(const QString& port);
// 1..255 when `port` is a plain number in range, else 0.
int PortNumber(const QString& port);

// What the system lists of one serial port.
struct ListedPort {
  QString location;  // device path, or COMn
  int vendor = 0;    // USB vendor id, 0 when none
  QString usbSerial;
};
// The port whose FTDI bridge has the USB serial number `usbSerial`; empty
// when none is listed (or `usbSerial` is empty).
QString FindFtdiBySerial(const QList<ListedPort>& ports, const QString& usbSerial);
constexpr int kFtdiVendor = 0x0403;
}  // namespace hygro
