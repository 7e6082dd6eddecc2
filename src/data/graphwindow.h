#pragma once
// What the two graphs show of the set on display, as the eight scroll bars
// hold it (span, position, half-range and centre for each graph), and the
// arithmetic that keeps the bars inside the data: plain values and functions,
// so the view, the graphs, printing and the command-line tool share them.
#include <QtGlobal>
#include <optional>
#include <utility>

namespace hygro {

class DataSets;

// One scroll bar. `min` is the value at the left (top) end and `max` the
// value at the right (bottom) end; the time bars run reversed, so their `min`
// is the larger number. `value` always lies between the two.
struct BarState {
  int min = 0, max = 0, value = 0, smallStep = 1, largeStep = 1;
  // `v` brought between the two ends, whichever is larger.
  int clamp(int v) const;
  bool operator==(const BarState&) const = default;
};

struct ScrollState {  // the eight bars and what Scroll_Set computed
  double GraphEndTime = 0, GraphStartTime = 0, ScrollUnit = 1;
  BarState HScroll1, HScroll2, HScroll3, HScroll4, VScroll1, VScroll2, VScroll3, VScroll4;
  bool operator==(const ScrollState&) const = default;
};

// The bars as the window shows them before any data: the widest span, the
// newest position, 0..40 C and 0..100 %.
ScrollState InitialScrollState();

// New limits for the set on display, with every value brought inside its
// bar. Nothing changes when the set has no records. With `continuousRun` the
// span bars are set to take in the whole set, so the newest sample stays at
// the right edge.
ScrollState Scroll_Set(const DataSets& sets, int set, const ScrollState& current,
                       bool continuousRun);

// The two graphs, and the four bars of each.
enum class Graph { Temperature, Humidity };
struct GraphWindow {
  BarState span, position, halfRange, centre;
};
GraphWindow WindowOf(const ScrollState& bars, Graph graph);
void SetWindow(ScrollState& bars, Graph graph, const GraphWindow& window);

// The window a graph reads from its bars: span and position in whole
// seconds, half-range and centre in units.
struct GraphView {
  double S = 0;
  qint64 P = 0;
  double H = 0, C = 0;
  int halfRangeValue = 0;  // the half-range bar's value, in tenths
  double B() const { return C - H; }
  double T() const { return C + H; }
};
GraphView TemperatureView(const ScrollState& bars);
// The humidity axis is kept to a half-range of 0.5 to 60 % and a centre of
// 0 to 100 %.
GraphView HumidityView(const ScrollState& bars);
GraphView ViewOf(const ScrollState& bars, Graph graph);

// Where the pointer is on a graph picture `width` x `height` pixels: the
// plot takes the left twenty-one parts of x (the value labels the last one)
// and the top ten of eleven parts of y (the time labels the rest). AgeAt is
// the seconds before the window's right edge of column `x` (a fraction of a
// pixel allowed); XOfAge the inverse; ValueAt the axis value of row `y`.
double AgeAt(double x, int width, double S);
double XOfAge(double age, int width, double S);
double ValueAt(double y, int height, double B, double T);

// The largest position `span` (in bar steps) leaves on the time axis of the
// set Scroll_Set last measured: 0 when the span takes in all of it.
int PositionLimit(const ScrollState& bars, int span);

// Navigation of one graph's time window. Each takes bars whose limits
// Scroll_Set has just computed and returns them with a new span and position
// inside those limits, in whole bar steps: values the bars can hold as they
// stand. Ages are seconds before the window's right edge, as AgeAt gives.
//
// The whole set: the widest span the bar offers, at the newest data.
ScrollState FitTime(const ScrollState& bars, Graph graph);
// The span times `factor` (below 1 narrows), the moment at `pointerAge`
// staying where it is on the picture as nearly as the steps allow; at least
// one step when the factor asks for any change.
ScrollState ZoomTime(const ScrollState& bars, Graph graph, double factor, double pointerAge);
// The stretch between two ages; one narrower than the narrowest span the
// bar offers gets that span, centred on it.
ScrollState ZoomToStretch(const ScrollState& bars, Graph graph, double age1, double age2);
// The other graph's span and position made those of `graph`.
ScrollState LinkTime(const ScrollState& bars, Graph graph);

// The lowest and highest value of `graph`'s quantity in `set`; nothing for a
// set without records.
std::optional<std::pair<double, double>> ValueExtent(const DataSets& sets, int set, Graph graph);
// The value band of `graph` taking in `lo` to `hi` with a margin, in whole
// half-unit steps, inside the half-range and centre bars' limits.
ScrollState FitValues(const ScrollState& bars, Graph graph, double lo, double hi);

}  // namespace hygro
