#pragma once
// The program's number, date and text formats, implemented once.
//
// Times are date serials: days since 1899-12-30 00:00 as a double, the
// fraction being the time of day. They hold naive local wall-clock time, as
// the logger's clock keeps it, and are never converted through a time zone, so
// a sample taken in a daylight-saving gap keeps the time it was given.
// Before 1899-12-30 the serial is sign-magnitude: -1.25 is 1899-12-29 06:00.
// Every text form rounds to the nearest second.
#include <QDateTime>
#include <QString>
#include <QtGlobal>

namespace hygro::fmt {

// A date serial counts days; the one conversion factor to seconds.
constexpr double kSecondsPerDay = 86400.0;
// The seconds from serial `from` to serial `to`.
constexpr double secondsBetween(double from, double to) { return (to - from) * kSecondsPerDay; }
// Whole seconds counted from serial 0 and back, for times that must be
// compared, stored or moved by seconds. Unlike serials, the count is plain
// signed. A serial that is not finite or lies far outside any date counts 0.
qint64 serialToSeconds(double serial);
double secondsToSerial(qint64 seconds);

// Serials from 0100-01-01 to 9999-12-31 23:59:59 are valid.
bool isValidSerial(double serial);

double dateSerial(int y, int mo, int d, int h, int mi, int s);
// False (and *out untouched) for a date or time that does not exist or lies
// outside the years 100 to 9999.
bool makeDateSerial(int y, int mo, int d, int h, int mi, int s, double* out);
// The local wall clock now, with milliseconds.
double nowSerial();
// Takes the date and time fields of `dt` as they read, whatever its timeSpec().
double fromDateTime(const QDateTime& dt);
// The wall-clock fields (to the millisecond) in a QDateTime whose timeSpec() is
// UTC, only so that no zone rule can shift or reject them: read date() and
// time(), never convert it. Invalid QDateTime for an invalid serial.
QDateTime toDateTime(double serial);

struct DateParts {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
};
// Rounded to the nearest second; all zero for an invalid serial.
DateParts dateParts(double serial);

// The text forms below give "" for an invalid serial.
QString formatDateTime(double serial);     // yyyy/mm/dd hh:nn:ss
QString formatFileStamp(double serial);    // yymmdd_hhnnss
QString formatGeneralDate(double serial);  // "c": yyyy/mm/dd hh:nn:ss, the date alone at midnight
QString formatMonthDay(double serial);     // m/d
QString formatTime(double serial);         // hh:nn:ss
// Which of day and month comes first in a date written with the year last
// (05/01/2010): the system's short date format decides, as it did for the
// program that wrote the file.
enum class DayMonthOrder { MonthFirst, DayFirst };
DayMonthOrder systemDayMonthOrder();
// Reads what formatGeneralDate writes, and the usual variants: "-" or "." as
// the date separator, one-digit fields, two-digit years (00-29 are 2000s),
// the year last (in `order`), no seconds, fractional seconds, AM/PM, a time
// alone (date serial 0).
bool parseGeneralDate(const QString& text, double* out,
                      DayMonthOrder order = systemDayMonthOrder());

// "##.00": no digit before the point when the whole part is zero
// (23.456 -> 23.46, 0.5 -> .50, -0.25 -> -.25). Rounding is half away from
// zero on the value's 15 significant decimal digits.
QString formatHashDot00(double v);
QString format0_00(double v);  // "0.00": 0.5 -> 0.50
QString format00000(int v);    // five digits with leading zeros
QString format00(int v);       // two digits with leading zeros
// Up to 7 significant digits, no trailing zeros, "E" exponent (24.4 -> 24.4).
QString singleToString(float v);
// A blank before a non-negative number: 100 -> " 100", -5 -> "-5".
QString strWithBlank(qint64 v);
// The leading number of a text: blanks, tabs and line feeds are skipped
// anywhere, "D" works as "E", "&H"/"&O" prefix hex and octal; no number gives
// 0. A number too large for a double gives +-infinity.
double val(const QString& text);
// 90 -> "1 Min30 Sec", 60 -> "1 Min", 59 -> "59 Sec", 0 -> "".
QString intervalText(qint64 seconds);

// The sensor's temperature count in degrees Celsius, count * 0.01 - 39.6, and
// back, unrounded: the one rule for readings and alarm bounds alike.
constexpr double celsiusFromCount(double count) { return count * 0.01 - 39.6; }
constexpr double countFromCelsius(double degrees) { return (degrees + 39.6) * 100.0; }

// Temperature bounds in sensor counts <-> whole degrees.
int boundDegrees(qint32 raw);            // Int(raw * 0.01 - 39.6 + 0.5), toward minus infinity
QString boundText(qint32 raw, bool on);  // "30", "-5" or "OFF"
qint32 degreesToRaw(double deg);         // (deg + 39.6) * 100, half to even; saturates
// As degreesToRaw, but false when the result does not fit in 32 bits.
bool degreesToRawChecked(double deg, qint32* out);

}  // namespace hygro::fmt
