#pragma once
// Where the session reads the time. Samples, the logger's clock and
// reservations are in wall-clock time, which the user or a daylight-saving
// change may set back or forward; intervals are counted on a steady clock
// that nobody sets. Tests hand the session a clock of their own.
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

}  // namespace hygro
