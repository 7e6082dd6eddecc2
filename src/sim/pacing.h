#pragma once
// Monotonic microseconds and an exact sleep, for delivering answer bytes at
// their wire time. Timers fire on whole milliseconds; the last fraction of a
// millisecond before an answer is slept off so an exchange is not stretched.
#include <QtGlobal>

namespace hygro::sim {

qint64 monotonicMicros();
void sleepUntilMicros(qint64 us);

// Milliseconds to arm a timer for an event due in deltaUs: rounded down when
// the remainder will be slept off, up when the event can wait for the tick.
int timerMillis(qint64 deltaUs, bool exact);

// Remainders up to this long are slept off instead of waited for on a timer.
inline constexpr qint64 kExactWindowUs = 2000;

}  // namespace hygro::sim
