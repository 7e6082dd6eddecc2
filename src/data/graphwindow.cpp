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

qint64 totalSeconds(const ScrollState& s) {
  return wholeSeconds(fmt::secondsBetween(s.GraphStartTime, s.GraphEndTime));
}

// A step count brought into int range before a bar clamps it.
int steps(double v) { return static_cast<int>(std::llround(std::clamp(v, -1e9, 1e9))); }

// `span` steps with the window's right edge `rightAge` seconds before the
// newest data, the position limit following the span as Scroll_Set sets it.
ScrollState place(const ScrollState& bars, Graph graph, int span, double rightAge) {
  ScrollState s = bars;
  GraphWindow w = WindowOf(s, graph);
  w.span.value = w.span.clamp(span);
  w.position.min = PositionLimit(s, w.span.value);
  w.position.value = w.position.clamp(steps(rightAge / s.ScrollUnit));
  SetWindow(s, graph, w);
  return s;
}

// The span in whole seconds, as the graph reads it from the bar.
double spanSeconds(const ScrollState& s, int span) {
  return static_cast<double>(wholeSeconds(span * s.ScrollUnit));
}

}  // namespace

int PositionLimit(const ScrollState& s, int span) {
  const qint64 total = totalSeconds(s);
  if (static_cast<double>(total) < span * s.ScrollUnit) return 0;
  const double steps = std::floor(static_cast<double>(total) / s.ScrollUnit - span + 0.5);
  return static_cast<int>(std::min<double>(steps, kBarLimit));
}

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
  const qint64 total = totalSeconds(s);

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

  s.HScroll2.min = PositionLimit(s, s.HScroll1.value);
  s.HScroll2.value = s.HScroll2.clamp(s.HScroll2.value);
  s.HScroll4.min = PositionLimit(s, s.HScroll3.value);
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

double AgeAt(double x, int width, double S) {
  if (width <= 0) return 0;
  // The picture's x runs from S at the left edge to -S/20 at the right; the
  // pointer stands for the middle of its pixel.
  return S - (x + 0.5) * (S * 21.0 / 20.0) / width;
}

double XOfAge(double age, int width, double S) {
  if (S <= 0) return 0;
  return (S - age) * width / (S * 21.0 / 20.0) - 0.5;
}

double ValueAt(double y, int height, double B, double T) {
  if (height <= 0) return T;
  // y runs from T at the top to B - (T - B)/10 at the bottom.
  return T - (y + 0.5) * ((T - B) * 11.0 / 10.0) / height;
}

ScrollState FitTime(const ScrollState& bars, Graph graph) {
  const BarState span = WindowOf(bars, graph).span;
  return place(bars, graph, std::max(span.min, span.max), 0);
}

ScrollState ZoomTime(const ScrollState& bars, Graph graph, double factor, double pointerAge) {
  const BarState span = WindowOf(bars, graph).span;
  const GraphView v = ViewOf(bars, graph);
  int want = steps(span.value * factor);
  // A narrow span would otherwise round back to itself and never move.
  if (want == span.value && factor < 1) --want;
  if (want == span.value && factor > 1) ++want;
  want = span.clamp(want);
  const double age = std::clamp(pointerAge, 0.0, v.S);
  const double share = v.S > 0 ? age / v.S : 0;
  const double moment = age + static_cast<double>(v.P);
  return place(bars, graph, want, moment - share * spanSeconds(bars, want));
}

ScrollState ZoomToStretch(const ScrollState& bars, Graph graph, double age1, double age2) {
  const BarState span = WindowOf(bars, graph).span;
  const GraphView v = ViewOf(bars, graph);
  const double lo = std::clamp(std::min(age1, age2), 0.0, v.S);
  const double hi = std::clamp(std::max(age1, age2), 0.0, v.S);
  const int want = span.clamp(steps((hi - lo) / bars.ScrollUnit));
  const double middle = (lo + hi) / 2 + static_cast<double>(v.P);
  return place(bars, graph, want, middle - spanSeconds(bars, want) / 2);
}

ScrollState LinkTime(const ScrollState& bars, Graph graph) {
  ScrollState s = bars;
  const GraphWindow from = WindowOf(s, graph);
  const Graph other = graph == Graph::Temperature ? Graph::Humidity : Graph::Temperature;
  GraphWindow to = WindowOf(s, other);
  to.span = from.span;
  to.position = from.position;
  SetWindow(s, other, to);
  return s;
}

std::optional<std::pair<double, double>> ValueExtent(const DataSets& sets, int set, Graph graph) {
  std::optional<std::pair<double, double>> extent;
  const int n = sets.info(set).Points;
  for (int i = 1; i <= n; ++i) {
    const MeasurementRecord* rec = sets.at(set, i);
    if (!rec) continue;
    const double v = graph == Graph::Temperature ? rec->Temperature : rec->Humidity;
    if (!extent)
      extent.emplace(v, v);
    else
      extent = std::pair{std::min(extent->first, v), std::max(extent->second, v)};
  }
  return extent;
}

ScrollState FitValues(const ScrollState& bars, Graph graph, double lo, double hi) {
  ScrollState s = bars;
  GraphWindow w = WindowOf(s, graph);
  if (lo > hi) std::swap(lo, hi);
  // A tenth of the band above and below, and half a unit more, so a flat
  // curve does not lie on the frame; the rounding of the centre to half a
  // unit stays inside that margin.
  const double half = (hi - lo) / 2 * 1.1 + 0.5;
  w.halfRange.value = w.halfRange.clamp(steps(std::ceil(half * 2 - 1e-9)) * 5);
  w.centre.value = w.centre.clamp(steps((lo + hi)) * 5);
  SetWindow(s, graph, w);
  return s;
}

}  // namespace hygro
