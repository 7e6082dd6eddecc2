#include "logger/conversions.h"

#include "data/formats.h"

namespace hygro {

float TemperatureFromRaw(qint32 raw) { return static_cast<float>(fmt::celsiusFromCount(raw)); }

float HumidityFromRaw(qint32 raw, float temperature) {
  const double r = raw;
  const double linear = -0.0000028 * r * r + 0.0405 * r - 4.0;
  return static_cast<float>((static_cast<double>(temperature) - 25.0) * (0.01 + 0.00008 * r) +
                            linear);
}

namespace {
constexpr char16_t kHalfWidthFirst = 0xFF61;  // U+FF61..U+FF9F <-> 0xA1..0xDF
constexpr char16_t kHalfWidthLast = 0xFF9F;
constexpr int kKatakanaByteOffset = kHalfWidthFirst - 0xA1;
}  // namespace

QChar LoggerCharFromByte(quint8 b) {
  if (b >= 0xA1 && b <= 0xDF) return QChar(char16_t(b + kKatakanaByteOffset));
  return QChar(char16_t(b));
}

int LoggerByteFromChar(QChar c) {
  const char16_t u = c.unicode();
  if (u >= kHalfWidthFirst && u <= kHalfWidthLast) return u - kKatakanaByteOffset;
  if (u <= 0xFF && !(u >= 0xA1 && u <= 0xDF)) return u;
  return -1;
}

bool LoggerCanHoldTyped(QChar c) {
  const char16_t u = c.unicode();
  return (u >= 0x20 && u <= 0x7E) || (u >= kHalfWidthFirst && u <= kHalfWidthLast);
}

BoundBytes BoundToBytes(int degrees, bool alarmOn) {
  const qint32 raw = fmt::degreesToRaw(degrees);
  auto high = static_cast<quint8>((raw / 256) & 0xFF);
  if (alarmOn) high |= 0x80;
  return {high, static_cast<quint8>(raw % 256)};
}

bool TemperatureCountPlausible(qint32 raw, bool lowResolution) {
  return raw >= 0 && raw < (lowResolution ? 1 << 12 : 1 << 14);
}

bool HumidityCountPlausible(qint32 raw, bool lowResolution) {
  return raw >= 0 && raw < (lowResolution ? 1 << 8 : 1 << 12);
}

int LoggerClockYear(int readBack) {
  const int yy = readBack & 31;
  return yy < 30 ? 2000 + yy : 1900 + yy;
}

bool LoggerClockKeepsYear(int year) { return year >= 0 && LoggerClockYear(year % 100) == year; }

namespace {
// A BCD byte's two hex digits read as a decimal number; digits above 9 end the
// number as Val would (0xFF reads as 0, so an erased time is no date).
int BcdDigits(quint8 b) {
  return static_cast<int>(fmt::val(QStringLiteral("%1").arg(b, 2, 16, QLatin1Char('0')).toUpper()));
}
}  // namespace

double LoggerTimeFromBcd(const quint8* b) {
  const int yy = BcdDigits(b[0]);
  const int year = yy < 30 ? 2000 + yy : 1900 + yy;
  double serial = 0;
  if (!fmt::makeDateSerial(year, BcdDigits(b[1]), BcdDigits(b[2]), BcdDigits(b[3]), BcdDigits(b[4]),
                           BcdDigits(b[5]), &serial))
    return 0;
  return serial;
}

bool BatteryRawPlausible(int raw) { return raw >= 0 && raw <= 1023; }

QString ImplausibleAnswerText(const QString& what) {
  return QStringLiteral("The logger sent an impossible value: ") + what +
         QStringLiteral("\r\rThe communication is ended.");
}

}  // namespace hygro
