#include "logger/clock.h"

#include <chrono>

#include "data/formats.h"

namespace hygro {

double SessionClock::now() const { return fmt::nowSerial(); }

qint64 SessionClock::steadyMs() const {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

}  // namespace hygro
