#include "logger/clock.h"

#include <chrono>

#include "data/formats.h"
#include "logger/conversions.h"

namespace hygro {

double SessionClock::now() const { return fmt::nowSerial(); }

qint64 SessionClock::steadyMs() const {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

bool ClockReadBack::take(int code, int first, int second) {
  switch (code) {
    case 4:
      year = LoggerClockYear(first);
      month = second & 31;
      return true;
    case 5:
      day = first & 0x3F;
      hour = second & 0x3F;
      return true;
    case 6:
      minute = first & 0x7F;
      this->second = second & 0x7F;
      return true;
    default:
      return false;
  }
}

bool ClockReadBack::serial(double* out) const {
  return fmt::makeDateSerial(year, month, day, hour, minute, second, out);
}

QString ClockReadBack::text() const {
  return QStringLiteral("%1/%2/%3 %4:%5:%6")
      .arg(year, 4, 10, QLatin1Char('0'))
      .arg(month, 2, 10, QLatin1Char('0'))
      .arg(day, 2, 10, QLatin1Char('0'))
      .arg(hour, 2, 10, QLatin1Char('0'))
      .arg(minute, 2, 10, QLatin1Char('0'))
      .arg(second, 2, 10, QLatin1Char('0'));
}

}  // namespace hygro
