#pragma once
// A session clock the test moves by hand. Time passing moves the wall clock
// and the steady count together; setting the wall clock (the end of summer
// time, a user) moves it alone.
#include "logger/clock.h"

namespace hygro::test {

class FakeClock : public SessionClock {
 public:
  explicit FakeClock(double wall) : wall_(wall) {}
  double now() const override { return wall_; }
  qint64 steadyMs() const override { return steady_; }
  void advance(qint64 ms) {
    steady_ += ms;
    wall_ += static_cast<double>(ms) / 86400000.0;
  }
  void setBy(double seconds) { wall_ += seconds / 86400.0; }

 private:
  double wall_;
  qint64 steady_ = 0;
};

}  // namespace hygro::test
