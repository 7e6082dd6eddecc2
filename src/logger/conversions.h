#pragma once
// Sensor counts to physical values, as the logger's sensor publishes them
// (14-bit temperature and 12-bit humidity; offset -39.6 for a 3 V supply).
// Computed in single precision, as the values are kept.
#include <QChar>
#include <QString>
#include <QtGlobal>

namespace hygro {

float TemperatureFromRaw(qint32 raw);
float HumidityFromRaw(qint32 raw, float temperature);

// Low-resolution readings (12-bit temperature, 8-bit humidity) brought to the
// full-resolution scale.
constexpr qint32 kLowResTemperatureFactor = 4;
constexpr qint32 kLowResHumidityFactor = 16;

// A bound on the wire: the count (degrees + 39.6) * 100, high byte with bit 7
// as the alarm flag, then low byte.
struct BoundBytes {
  quint8 high;
  quint8 low;
};
BoundBytes BoundToBytes(int degrees, bool alarmOn);

// The logger keeps its name as single bytes in the character set of the
// systems it was made for: ASCII, and half-width katakana from 0xA1 to 0xDF.
QChar LoggerCharFromByte(quint8 b);
// The byte for a character of a name; -1 for one the logger cannot hold.
// Other bytes read from a logger come back as the characters they were read
// as, so a name read can always be written back.
int LoggerByteFromChar(QChar c);
// Whether a typed name can go to the logger as it stands: ASCII letters,
// digits, signs and blanks, and half-width katakana.
bool LoggerCanHoldTyped(QChar c);

// The logger's clock is set with a two-digit year and reads it back in five
// bits; two digits 0-29 are the years 2000-2029, 30-99 are 1930-1999.
int LoggerClockYear(int readBack);
// Whether the logger's clock, set to `year`, reads that year back: 2000 to
// 2029, and 1930 and 1931.
bool LoggerClockKeepsYear(int year);

// A logger time from its six BCD bytes yy mm dd hh nn ss; 0 when they make no
// valid date (an erased time reads as all 0xFF).
double LoggerTimeFromBcd(const quint8* bytes);

// The logger's memory: 15000 points of 4 bytes.
constexpr int kLoggerCapacityPoints = 15000;
constexpr int kBytesPerPoint = 4;

// Readings no logger can give. The sensor reports 14-bit temperature and
// 12-bit humidity counts (12 and 8 bits at low resolution): a wider count is
// not a reading (an answer to another command, or noise) and ends the
// exchange with a message. Every count within those widths is a reading, even
// where the published conversion leaves 0..100 %RH, as it does near
// saturation and in very dry air.
bool TemperatureCountPlausible(qint32 raw, bool lowResolution);
bool HumidityCountPlausible(qint32 raw, bool lowResolution);
bool BatteryRawPlausible(int raw);  // a 10-bit converter: 0..1023
// "The logger sent an impossible value: <what>" and the end of the exchange.
QString ImplausibleAnswerText(const QString& what);

// What erased memory reads as: a byte, and a bound word (0xFF 0xFF: the
// alarm bit and the largest count).
constexpr quint8 kErasedByte = 0xFF;
constexpr qint32 kErasedBound = 0x7FFF;

// Interval unit bytes.
// The alarm bounds a user may set, in whole degrees Celsius.
constexpr int kUpperMin = -19, kUpperMax = 70;
constexpr int kLowerMin = -20, kLowerMax = 69;

constexpr quint8 kUnitSeconds = 0x82;
constexpr quint8 kUnitMinutes = 0x83;

}  // namespace hygro
