#pragma once
// Where the graphs put their grid lines and labels, and in which colour,
// without drawing anything.
//
// The time axis counts ages: moment i lies i seconds before GraphEndTime.
// Only the moments a line can fall on are visited: every second for short
// spans, else whole minutes, whole hours or midnights, found by a search from
// the window's right edge.
#include <QString>
#include <QtGlobal>
#include <utility>

#include "data/graphwindow.h"

namespace hygro {
class DataSets;
}

namespace hygro::ticks {

// Graph colour table entries.
enum ColorRole : int {
  kMonthStart = 0,
  kMidnight = 1,
  kNoon = 2,
  kHour = 3,
  kHalfHour = 4,
  kMinute = 5,
  kEverySecond = 6,
  kZeroLine = 7,
  kTens = 8,
  kFives = 9,
  kOnes = 10,
  kHalves = 11,
  kTenths = 12,
  kCurve = 15,
  kNewestDot = 16,
  kTitle = 18,
  kText = 19,
  kUpperBound = 28,
  kLowerBound = 29,
  kFrame = 30,
};
constexpr int kNoLine = -1;

// The date serial of the moment `age` seconds before `graphEndTime`.
double MomentAt(double graphEndTime, qint64 age);

struct TimeVisit {
  qint64 start = 0;  // age of the first moment visited
  qint64 step = 1;   // seconds between visited moments
  qint64 end = 0;    // last age that may be visited (S + P)
};
// The ages to visit for span S and position P. Each search keeps its last hit.
TimeVisit TimeGridVisit(double S, qint64 P, double graphEndTime);

// Colour entry of the vertical line at moment `t` for span S, or kNoLine.
int TimeGridColor(double t, double S);
// The label under moment `t` for span S, or an empty text.
QString TimeLabel(double t, double S);

// The values y = k / 10 the value grid and labels visit: k from Int(B) * 10
// while y <= T.
struct ValueVisit {
  qint64 firstK = 0;
  qint64 lastK = -1;
};
ValueVisit ValueGridVisit(double B, double T);

// Colour entry of the horizontal line at tenth `k`, with the half-range bar
// at `V` tenths, or kNoLine.
int ValueGridColor(qint64 k, int V);
// The label at tenth `k` ("20C", "2.5％"), or an empty text.
QString ValueLabel(qint64 k, int V, const QString& unit);

// The first and last record of `set` whose time lies in the window `graph`
// shows of `bars` (a record is placed by its age before the right edge, half
// a second either way being the rounding of the time stamps); {0, 0} when
// none does.
std::pair<int, int> WindowRecords(const DataSets& sets, int set, const ScrollState& bars,
                                  Graph graph = Graph::Temperature);

}  // namespace hygro::ticks
