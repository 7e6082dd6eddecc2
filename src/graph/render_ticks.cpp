#include "graph/render_ticks.h"

#include <cmath>

#include "data/datasets.h"
#include "data/formats.h"

namespace hygro::ticks {

namespace {

constexpr double kSecond = 1.0 / fmt::kSecondsPerDay;
constexpr qint64 kDay = static_cast<qint64>(fmt::kSecondsPerDay);

// One search of the start: the last moment in [from, from + range] (visited
// every `step`) that passes `hit` becomes the start, and `newStep` the step.
template <typename Hit>
void search(TimeVisit& v, double graphEndTime, qint64 range, qint64 newStep, Hit hit) {
  const qint64 from = v.start;
  const qint64 step = v.step;
  for (qint64 i = from; i <= from + range; i += step) {
    if (hit(fmt::dateParts(MomentAt(graphEndTime, i)))) {
      v.start = i;
      v.step = newStep;
    }
  }
}

}  // namespace

double MomentAt(double graphEndTime, qint64 age) {
  return graphEndTime - static_cast<double>(age) * kSecond;
}

TimeVisit TimeGridVisit(double S, qint64 P, double graphEndTime) {
  TimeVisit v;
  v.start = P;
  v.step = 1;
  v.end = static_cast<qint64>(std::floor(S + static_cast<double>(P)));
  if (S >= 400)
    search(v, graphEndTime, 60, 60, [](const fmt::DateParts& d) { return d.second == 0; });
  if (S >= 12000)
    search(v, graphEndTime, 3600, 3600, [](const fmt::DateParts& d) { return d.minute == 0; });
  if (S >= 720000)
    search(v, graphEndTime, kDay, kDay, [](const fmt::DateParts& d) { return d.hour == 0; });
  return v;
}

int TimeGridColor(double t, double S) {
  const fmt::DateParts d = fmt::dateParts(t);
  const bool onMinute = d.second == 0;
  const bool onHour = onMinute && d.minute == 0;
  if (onHour && d.hour == 0 && d.day == 1) return kMonthStart;
  if (onHour && d.hour == 0) return kMidnight;
  if (onHour && d.hour == 12 && S < 720000) return kNoon;
  if (onHour && S < 720000) return kHour;
  if (onMinute && d.minute == 30 && S < 12000) return kHalfHour;
  if (onMinute && S < 12000) return kMinute;
  if (S < 400) return kEverySecond;
  return kNoLine;
}

QString TimeLabel(double t, double S) {
  const fmt::DateParts d = fmt::dateParts(t);
  const bool onMinute = d.second == 0;
  const bool onHour = onMinute && d.minute == 0;
  if (onHour && d.hour == 0 && d.day == 1) return fmt::formatMonthDay(t);
  if (onHour && d.hour == 0 && S < 2268000) return fmt::formatMonthDay(t);
  bool clock = false;
  if (onHour && d.hour == 12 && S < 129600)
    clock = true;
  else if (onHour && S < 43200)
    clock = true;
  else if (onMinute && d.minute == 30 && S < 3600)
    clock = true;
  else if (onMinute && d.minute % 10 == 0 && S < 1800)
    clock = true;
  else if (onMinute && S < 600)
    clock = true;
  else if (d.second % 10 == 0 && S < 60)
    clock = true;
  else if (S < 10)
    clock = true;
  return clock ? fmt::formatTime(t) : QString();
}

ValueVisit ValueGridVisit(double B, double T) {
  ValueVisit v;
  if (!std::isfinite(B) || !std::isfinite(T)) return v;
  v.firstK = static_cast<qint64>(std::floor(B)) * 10;
  // The tenth that equals T counts, whatever rounding T carries.
  v.lastK = static_cast<qint64>(std::floor(T * 10 + 1e-6));
  return v;
}

int ValueGridColor(qint64 k, int V) {
  if (k == 0) return kZeroLine;
  if (k % 100 == 0) return kTens;
  if (k % 50 == 0 && V <= 200) return kFives;
  if (k % 10 == 0 && V <= 100) return kOnes;
  if (k % 5 == 0 && V <= 50) return kHalves;
  if (V <= 10) return kTenths;
  return kNoLine;
}

QString ValueLabel(qint64 k, int V, const QString& unit) {
  const bool shown = k % 200 == 0 || (k % 100 == 0 && V < 500) || (k % 50 == 0 && V < 250) ||
                     (k % 10 == 0 && V < 50) || (k % 5 == 0 && V < 10) || V < 5;
  if (!shown) return {};
  return QString::number(static_cast<double>(k) / 10.0, 'g', 15) + unit;
}

std::pair<int, int> WindowRecords(const DataSets& sets, int set, const ScrollState& bars,
                                  Graph graph) {
  const GraphView view = ViewOf(bars, graph);
  const double nearest = static_cast<double>(view.P) - 0.5;
  const double farthest = static_cast<double>(view.P) + view.S + 0.5;
  int first = 0, last = 0;
  const int points = sets.info(set).Points;
  for (int n = 1; n <= points; ++n) {
    const MeasurementRecord* rec = sets.at(set, n);
    if (!rec) continue;
    const double age = fmt::secondsBetween(rec->Time, bars.GraphEndTime);
    if (age < nearest || age > farthest) continue;
    if (first == 0) first = n;
    last = n;
  }
  return {first, last};
}

}  // namespace hygro::ticks
