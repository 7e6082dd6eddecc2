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

// Why `port` cannot name a port here (a number outside 1..255, or a Windows
// name on another system); empty when it can.
QString PortNameProblem(const QString& port);

// Why a port would not open, from what the system said when it was opened
// (errno; 0 when it opened) and what the path is.
enum class PortOpenError;
PortOpenError ClassifyOpenFailure(int errnoValue, bool exists, bool isDirectory, bool isTerminal);
// What to tell the user about a port that would not open.
QString PortOpenErrorText(PortOpenError error, const QString& port, const QString& detail);

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
