#pragma once
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
}  // namespace hygro
