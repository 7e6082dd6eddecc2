#include "data/graphwindow.h"

#include <algorithm>
#include <cmath>

#include "data/datasets.h"
#include "data/formats.h"

namespace hygro {

namespace {

constexpr int kBarLimit = 32767;

BarState bar(int min, int max, int value, int small, int large) {
  BarState b{min, max, value, small, large};
  b.value = b.clamp(value);
  return b;
}

qint64 wholeSeconds(double v) { return static_cast<qint64>(std::llround(v)); }

}  // namespace

int BarState::clamp(int v) const {
  const int lo = std::min(min, max);
  const int hi = std::max(min, max);
  return std::clamp(v, lo, hi);
}

ScrollState InitialScrollState() {
  ScrollState s;
  // Time bars run reversed: the left end is the widest span, the oldest
  // position.
  s.HScroll1 = bar(kBarLimit, 5, kBarLimit, 60, 600);
  s.HScroll2 = bar(0, 0, 0, 60, 600);
  s.HScroll3 = s.HScroll1;
  s.HScroll4 = s.HScroll2;
  // Half-ranges in tenths, 0.5 to 100 units; centres with the higher value
  // at the top.
  s.VScroll1 = bar(5, 1000, 200, 5, 50);
  s.VScroll2 = bar(1000, -400, 200, 5, 50);
  s.VScroll3 = bar(5, 600, 500, 5, 50);
  s.VScroll4 = bar(1000, 0, 500, 5, 50);
  return s;
}

ScrollState Scroll_Set(const DataSets& sets, int set, const ScrollState& current,
                       bool continuousRun) {
  const DataSetInfo& info = sets.info(set);
  const int n = info.Points;
  if (n <= 0) return current;
  ScrollState s = current;
  s.GraphEndTime = sets.Get(set, n).Time;
  s.GraphStartTime = sets.Get(set, 1).Time;
  const qint64 total = wholeSeconds(fmt::secondsBetween(s.GraphStartTime, s.GraphEndTime));

  int spanLimit;
  if (total > kBarLimit) {
    s.ScrollUnit = static_cast<double>(total) / kBarLimit;
    spanLimit = kBarLimit;
  } else {
    s.ScrollUnit = 1;
    spanLimit = total < 50 ? 50 : static_cast<int>(total + 1);
  }
  for (BarState* span : {&s.HScroll1, &s.HScroll3}) {
    span->min = spanLimit;
    span->value = span->clamp(span->value);
    if (continuousRun) span->value = span->min;
  }

  const auto positionLimit = [&](const BarState& span) {
    if (static_cast<double>(total) < span.value * s.ScrollUnit) return 0;
    const double steps = std::floor(static_cast<double>(total) / s.ScrollUnit - span.value + 0.5);
    return static_cast<int>(std::min<double>(steps, kBarLimit));
  };
  s.HScroll2.min = positionLimit(s.HScroll1);
  s.HScroll2.value = s.HScroll2.clamp(s.HScroll2.value);
  s.HScroll4.min = positionLimit(s.HScroll3);
  s.HScroll4.value = s.HScroll4.clamp(s.HScroll4.value);

  // The centre bars cover the sensor's range, widened so that a centre set
  // beyond it is never moved by a change of data.
  s.VScroll2.min = std::max(1000, s.VScroll2.value);
  s.VScroll2.max = std::min(-400, s.VScroll2.value);
  s.VScroll4.min = std::max(1000, s.VScroll4.value);
  s.VScroll4.max = std::min(0, s.VScroll4.value);
  return s;
}

GraphWindow WindowOf(const ScrollState& s, Graph graph) {
  if (graph == Graph::Temperature) return {s.HScroll1, s.HScroll2, s.VScroll1, s.VScroll2};
  return {s.HScroll3, s.HScroll4, s.VScroll3, s.VScroll4};
}

void SetWindow(ScrollState& s, Graph graph, const GraphWindow& w) {
  if (graph == Graph::Temperature) {
    s.HScroll1 = w.span;
    s.HScroll2 = w.position;
    s.VScroll1 = w.halfRange;
    s.VScroll2 = w.centre;
  } else {
    s.HScroll3 = w.span;
    s.HScroll4 = w.position;
    s.VScroll3 = w.halfRange;
    s.VScroll4 = w.centre;
  }
}

GraphView TemperatureView(const ScrollState& bars) {
  GraphView v;
  v.S = static_cast<double>(wholeSeconds(bars.HScroll1.value * bars.ScrollUnit));
  v.P = wholeSeconds(bars.HScroll2.value * bars.ScrollUnit);
  v.halfRangeValue = bars.VScroll1.value;
  v.H = bars.VScroll1.value / 10.0;
  v.C = bars.VScroll2.value / 10.0;
  return v;
}

GraphView HumidityView(const ScrollState& bars) {
  GraphView v;
  v.S = static_cast<double>(wholeSeconds(bars.HScroll3.value * bars.ScrollUnit));
  v.P = wholeSeconds(bars.HScroll4.value * bars.ScrollUnit);
  v.halfRangeValue = std::clamp(bars.VScroll3.value, 5, 600);
  v.H = v.halfRangeValue / 10.0;
  v.C = std::clamp(bars.VScroll4.value, 0, 1000) / 10.0;
  return v;
}

GraphView ViewOf(const ScrollState& bars, Graph graph) {
  return graph == Graph::Temperature ? TemperatureView(bars) : HumidityView(bars);
}

}  // namespace hygro
