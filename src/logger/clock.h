#pragma once
// Where the session reads the time. Samples, the logger's clock and
// reservations are in wall-clock time, which the user or a daylight-saving
// change may set back or forward; intervals are counted on a steady clock
// that nobody sets. Tests hand the session a clock of their own.
#include <QString>
#include <QtGlobal>

namespace hygro {

class SessionClock {
 public:
  virtual ~SessionClock() = default;
  // The local wall clock as a date serial, with milliseconds.
  virtual double now() const;
  // Milliseconds from an arbitrary origin, never set and never jumping.
  virtual qint64 steadyMs() const;
};

// The logger's clock as its read-back commands give it: 4 the year and month,
// 5 the day and hour, 6 the minute and second. Only the bits each part can
// use are kept; what they make need not be a date.
struct ClockReadBack {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  // Takes the two values of the answer to `code` (4, 5 or 6); false for any
  // other code.
  bool take(int code, int first, int second);
  // The time the parts make as a date serial; false when they make no date.
  bool serial(double* out) const;
  QString text() const;  // yyyy/mm/dd hh:nn:ss, whatever the parts hold
};

}  // namespace hygro
