#pragma once
#include <QList>
#include <QString>
#include <QStringList>

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

// The USB device behind a serial port, as the kernel's device tree (sysfs)
// describes it: what is needed to address exactly that bridge, never another.
struct UsbBridge {
  QString tty;      // "ttyUSB0"
  int bus = 0;      // USB bus number
  int address = 0;  // the device's address on that bus
  QString serial;   // USB serial number; empty when the device has none
  int vendor = 0;
  int product = 0;
  int interfaceNumber = 0;  // the port of a chip with several
  // GPIO chips the serial driver made for the port's interface ("gpiochip3").
  QStringList gpioChips;
  bool valid() const { return bus > 0 && address > 0; }
};
// The bridge behind the serial port `portPath` (symbolic links such as
// /dev/serial/by-id/... are followed), looked up in the tree under `sysRoot`.
// Not valid when the port is no USB device (or the tree says nothing of it).
UsbBridge LocateUsbBridge(const QString& portPath, const QString& sysRoot = QStringLiteral("/sys"));
// The USB serial tty ("ttyUSB1") whose bridge has the USB serial number
// `serial`, from the same tree; empty when none has.
QString FindTtyBySerial(const QString& serial, const QString& sysRoot = QStringLiteral("/sys"));
}  // namespace hygro
