#pragma once
// The figures a logger's records are bought to prove: extremes, mean, mean
// kinetic temperature, dew point, absolute humidity, time outside limits and
// the excursions. One implementation for the window, the printed summary,
// hygrotab-cli stats and the spreadsheet export, so they can never disagree.
//
// Every record of a set is weighed equally and stands for one record interval
// of its set. Runs (the record's Block) split at gaps, and a gap counts for
// nothing. Everything here is in degrees Celsius; Fahrenheit is only a way of
// showing a value (ToUnit).
#include <QString>
#include <QtGlobal>
#include <optional>
#include <span>
#include <vector>

#include "data/datasets.h"
#include "data/record.h"

namespace hygro::analysis {

// ΔH/R of the mean kinetic temperature in kelvin: ΔH = 83.144 kJ/mol, the
// activation energy the pharmacopoeias assume when nothing better is known.
constexpr double kDefaultDhR = 10000.0;
constexpr double kZeroCelsius = 273.15;  // K
// Magnus formula over water (Sonntag 1990).
constexpr double kMagnusA = 17.62;
constexpr double kMagnusB = 243.12;     // degrees Celsius
constexpr double kMagnusE0 = 6.112;     // hPa, saturation pressure at 0 C
constexpr double kWaterVapour = 216.7;  // g K / (m3 hPa): 1 / R of water vapour

// The mean kinetic temperature of temperatures fed one by one, each weighed
// equally:
//   MKT = (ΔH/R) / -ln( (1/n) Σ exp(-(ΔH/R) / Ti) ) - 273.15,  Ti = ti + 273.15
// The sum is kept relative to its largest term, so no ΔH/R underflows it.
class MktSum {
 public:
  explicit MktSum(double dhR = kDefaultDhR) : dhR_(dhR) {}
  void add(double celsius);
  // No value (NaN) without temperatures, or when one lies at or below
  // absolute zero (no logger reads that, but a file can say it).
  double value() const;
  qint64 count() const { return n_; }

 private:
  double dhR_;
  double top_ = 0;  // the largest exponent so far
  double sum_ = 0;  // Σ exp(exponent - top_)
  qint64 n_ = 0;
  bool invalid_ = false;
};

// MKT of a list of temperatures (degrees Celsius); NaN when there is none.
double MeanKineticTemperature(std::span<const double> celsius, double dhR = kDefaultDhR);

// Dew point in degrees Celsius of air at `celsius` and `rh` %RH; none for
// rh <= 0 (no vapour, no dew point) or where the formula has no value.
std::optional<double> DewPoint(double celsius, double rh);
// Water vapour in g/m3; none for rh <= 0.
std::optional<double> AbsoluteHumidity(double celsius, double rh);

enum class Unit { Celsius, Fahrenheit };
double ToFahrenheit(double celsius);
double FromFahrenheit(double fahrenheit);
// A temperature in degrees Celsius shown in `unit`, and back.
double ToUnit(double celsius, Unit unit);
double FromUnit(double value, Unit unit);
// "C" or "F", as the program writes degrees ("30 C").
QString UnitSymbol(Unit unit);

// The decimal a stored float was made from (23.46f gives 23.46, not
// 23.459999084...): what a reader of the figures expects to see.
double RecordValue(float v);

// Limits in degrees Celsius. Above means temperature > upper, below means
// temperature < lower: a value equal to a limit is inside.
struct Limits {
  std::optional<double> upper;
  std::optional<double> lower;
};
// The set's bounds where they are on, for the model that keeps bounds; in
// whole degrees, as the set shows them.
Limits SetLimits(const DataSetInfo& info);

enum class Side { Above, Below };
QString SideText(Side side);  // "above", "below"

// A maximal stretch of consecutive records of one run on one side.
struct Excursion {
  Side side = Side::Above;
  int firstRecord = 0;  // record number (1-based) of its first record
  int records = 0;
  double start = 0;  // date serial: its first record
  double end = 0;    // date serial: its last record + one interval
  qint64 durationS = 0;
  double peak = 0;  // the highest value above, or the lowest below
};

// Minimum, maximum and mean of one quantity. Of equal extremes the first
// record keeps the mark.
struct Series {
  qint64 count = 0;  // records that have the quantity
  double min = 0, max = 0, mean = 0;
  int minRecord = 0, maxRecord = 0;
  double minTime = 0, maxTime = 0;
  bool hasValue() const { return count > 0; }
};

struct Options {
  Limits limits;
  double dhR = kDefaultDhR;
  // Date serials; records before `from` or after `to` are left out (both
  // ends kept), compared to the second.
  std::optional<double> from;
  std::optional<double> to;
};

struct Statistics {
  int records = 0;  // the records counted
  int firstRecord = 0, lastRecord = 0;
  double first = 0, last = 0;  // their times (date serials)
  qint32 intervalS = 0;
  double dhR = kDefaultDhR;
  Series temperature;
  double mkt = 0;  // NaN when there is no value
  Series humidity;
  Series dewPoint;          // records with rh > 0 only
  Series absoluteHumidity;  // records with rh > 0 only
  Limits limits;
  qint64 recordsAbove = 0, recordsBelow = 0;
  qint64 timeAboveS = 0, timeBelowS = 0;
  std::vector<Excursion> excursions;
};

// The statistics of `records`, the first of which has the number
// `firstRecordNo`, in a set recorded every `intervalS` seconds. A record
// without a run number (Block < 1) is a sample still waiting for its values
// and is left out, as are those outside options.from / options.to; a left-out
// record ends an excursion.
Statistics Analyse(std::span<const MeasurementRecord> records, int firstRecordNo, qint32 intervalS,
                   const Options& options);
// Records first..last (1-based, inclusive, cut to the set's Points) of `set`.
Statistics Analyse(const DataSets& sets, int set, int first, int last, const Options& options);

// The figures of a Statistics in the order every reader shows them, with
// their captions ("Temperature minimum"), for lists and tables: the window,
// the summary page, the tool's lines, the spreadsheet. Temperatures in `unit`.
struct Figure {
  enum class Kind { Count, Number, Seconds, Time };
  QString caption;
  Kind kind = Kind::Number;
  std::optional<double> value;  // a date serial for Kind::Time
  QString unit;                 // "C", "F", "%RH", "g/m3", "K", "s" or ""
  std::optional<double> at;     // when an extreme was read (date serial)
};
std::vector<Figure> Figures(const Statistics& st, Unit unit);

// "yyyy-mm-ddThh:mm:ss", the wall-clock time as the logger keeps it; empty
// for an invalid serial.
QString IsoTime(double serial);

// The texts every reader shows, so the tool's lines, the window's panel and
// the printed summary read alike.
// "1800 s (0:30:00)": hours past a day keep counting.
QString DurationText(qint64 seconds);
// A figure's value: "23.460 C at 2010/05/01 12:00:00", "4", "600 s
// (0:10:00)", "2010/05/01 12:00:00"; "none" when it has no value.
QString FigureText(const Figure& figure);
// "above from <start> to <end>, <duration>, <n> records, peak 31.000 C".
QString ExcursionText(const Excursion& excursion, Unit unit);

}  // namespace hygro::analysis
