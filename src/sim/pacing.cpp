#include "sim/pacing.h"

#include <chrono>
#include <thread>

namespace hygro::sim {

qint64 monotonicMicros() {
  using namespace std::chrono;
  return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

void sleepUntilMicros(qint64 us) {
  using namespace std::chrono;
  std::this_thread::sleep_until(steady_clock::time_point(microseconds(us)));
}

int timerMillis(qint64 deltaUs, bool exact) {
  if (deltaUs <= 0) return 0;
  const qint64 ms = exact ? deltaUs / 1000 : (deltaUs + 999) / 1000;
  return int(qMin<qint64>(ms, 24 * 3600 * 1000));
}

}  // namespace hygro::sim
