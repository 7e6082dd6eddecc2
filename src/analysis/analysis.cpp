#include "analysis/analysis.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "data/formats.h"

namespace hygro::analysis {

namespace {

constexpr double kNoValue = std::numeric_limits<double>::quiet_NaN();

// Folds one value into a series. The comparisons are strict, so of equal
// extremes the first record keeps the mark.
struct SeriesSum {
  Series s;
  double sum = 0;
  void add(double v, int recordNo, double time) {
    if (s.count == 0 || v < s.min) {
      s.min = v;
      s.minRecord = recordNo;
      s.minTime = time;
    }
    if (s.count == 0 || v > s.max) {
      s.max = v;
      s.maxRecord = recordNo;
      s.maxTime = time;
    }
    sum += v;
    ++s.count;
  }
  Series done() {
    if (s.count > 0) s.mean = sum / static_cast<double>(s.count);
    return s;
  }
};

// The part of the Magnus formula both humidity figures share: a·t/(b+t).
// False where it has no value.
bool magnusExponent(double celsius, double* x) {
  const double d = kMagnusB + celsius;
  if (!(d > 0)) return false;
  *x = kMagnusA * celsius / d;
  return std::isfinite(*x);
}

bool dewPointFrom(double x, double rh, double* out) {
  const double gamma = std::log(rh / 100.0) + x;
  const double d = kMagnusA - gamma;
  if (d == 0) return false;
  *out = kMagnusB * gamma / d;
  return std::isfinite(*out);
}

bool absoluteHumidityFrom(double x, double celsius, double rh, double* out) {
  const double kelvin = kZeroCelsius + celsius;
  if (!(kelvin > 0)) return false;
  const double e = rh / 100.0 * kMagnusE0 * std::exp(x);  // hPa
  *out = kWaterVapour * e / kelvin;
  return std::isfinite(*out);
}

}  // namespace

// ---------------------------------------------------------------- MKT

void MktSum::add(double celsius) {
  ++n_;
  const double kelvin = celsius + kZeroCelsius;
  if (!(kelvin > 0) || !std::isfinite(kelvin)) {
    invalid_ = true;
    return;
  }
  const double exponent = -dhR_ / kelvin;
  if (n_ == 1 || exponent > top_) {
    sum_ = n_ == 1 ? 1.0 : sum_ * std::exp(top_ - exponent) + 1.0;
    top_ = exponent;
  } else {
    sum_ += std::exp(exponent - top_);
  }
}

double MktSum::value() const {
  if (n_ == 0 || invalid_ || !(dhR_ > 0)) return kNoValue;
  // ln((1/n) Σ exp(e_i)) = top + ln(Σ exp(e_i - top) / n)
  const double lnMean = top_ + std::log(sum_ / static_cast<double>(n_));
  return dhR_ / -lnMean - kZeroCelsius;
}

double MeanKineticTemperature(std::span<const double> celsius, double dhR) {
  MktSum sum(dhR);
  for (const double t : celsius) sum.add(t);
  return sum.value();
}

// ---------------------------------------------------------------- humidity

std::optional<double> DewPoint(double celsius, double rh) {
  double x = 0, td = 0;
  if (!(rh > 0) || !magnusExponent(celsius, &x) || !dewPointFrom(x, rh, &td)) return std::nullopt;
  return td;
}

std::optional<double> AbsoluteHumidity(double celsius, double rh) {
  double x = 0, ah = 0;
  if (!(rh > 0) || !magnusExponent(celsius, &x) || !absoluteHumidityFrom(x, celsius, rh, &ah))
    return std::nullopt;
  return ah;
}

// ---------------------------------------------------------------- units

double ToFahrenheit(double celsius) { return celsius * 9.0 / 5.0 + 32.0; }
double FromFahrenheit(double fahrenheit) { return (fahrenheit - 32.0) * 5.0 / 9.0; }
double ToUnit(double celsius, Unit unit) {
  return unit == Unit::Fahrenheit ? ToFahrenheit(celsius) : celsius;
}
double FromUnit(double value, Unit unit) {
  return unit == Unit::Fahrenheit ? FromFahrenheit(value) : value;
}
QString UnitSymbol(Unit unit) {
  return unit == Unit::Fahrenheit ? QStringLiteral("F") : QStringLiteral("C");
}

double RecordValue(float v) {
  if (!std::isfinite(v)) return v;
  char buf[32];
  const auto written = std::to_chars(buf, buf + sizeof buf, v);
  double d = v;
  std::from_chars(buf, written.ptr, d);
  return d;
}

// ---------------------------------------------------------------- limits

Limits SetLimits(const DataSetInfo& info) {
  Limits limits;
  if (!HasAlarmBounds(info.Model)) return limits;
  if (info.UpperOn) limits.upper = fmt::boundDegrees(info.UpperRaw);
  if (info.LowerOn) limits.lower = fmt::boundDegrees(info.LowerRaw);
  return limits;
}

QString SideText(Side side) {
  return side == Side::Above ? QStringLiteral("above") : QStringLiteral("below");
}

// ---------------------------------------------------------------- times

QString IsoTime(double serial) {
  if (!fmt::isValidSerial(serial)) return {};
  const fmt::DateParts t = fmt::dateParts(serial);
  return QStringLiteral("%1-%2-%3T%4:%5:%6")
      .arg(t.year, 4, 10, QLatin1Char('0'))
      .arg(t.month, 2, 10, QLatin1Char('0'))
      .arg(t.day, 2, 10, QLatin1Char('0'))
      .arg(t.hour, 2, 10, QLatin1Char('0'))
      .arg(t.minute, 2, 10, QLatin1Char('0'))
      .arg(t.second, 2, 10, QLatin1Char('0'));
}

// ---------------------------------------------------------------- all of it

Statistics Analyse(std::span<const MeasurementRecord> records, int firstRecordNo, qint32 intervalS,
                   const Options& options) {
  Statistics st;
  st.intervalS = intervalS;
  st.dhR = options.dhR;
  st.limits = options.limits;
  // A file can claim any interval; no stretch of time is negative.
  const qint64 step = std::max<qint64>(intervalS, 0);
  const std::optional<qint64> from =
      options.from ? std::optional<qint64>(fmt::serialToSeconds(*options.from)) : std::nullopt;
  const std::optional<qint64> to =
      options.to ? std::optional<qint64>(fmt::serialToSeconds(*options.to)) : std::nullopt;
  const bool hasUpper = options.limits.upper.has_value();
  const bool hasLower = options.limits.lower.has_value();
  const double upper = options.limits.upper.value_or(0);
  const double lower = options.limits.lower.value_or(0);

  SeriesSum temperature, humidity, dewPoint, absolute;
  MktSum mkt(options.dhR);
  bool open = false;   // the previous record lies in the last excursion
  int previousNo = 0;  // the previous record counted
  float previousBlock = 0;

  for (size_t i = 0; i < records.size(); ++i) {
    const MeasurementRecord& r = records[i];
    const int no = firstRecordNo + static_cast<int>(i);
    if (!(r.Block >= 1)) continue;
    if (from || to) {
      const qint64 s = fmt::serialToSeconds(r.Time);
      if ((from && s < *from) || (to && s > *to)) continue;
    }
    if (st.records == 0) {
      st.firstRecord = no;
      st.first = r.Time;
    }
    ++st.records;
    st.lastRecord = no;
    st.last = r.Time;

    const double t = r.Temperature;
    const double rh = r.Humidity;
    temperature.add(t, no, r.Time);
    mkt.add(t);
    humidity.add(rh, no, r.Time);
    double x = 0, v = 0;
    if (rh > 0 && magnusExponent(t, &x)) {
      if (dewPointFrom(x, rh, &v)) dewPoint.add(v, no, r.Time);
      if (absoluteHumidityFrom(x, t, rh, &v)) absolute.add(v, no, r.Time);
    }

    const bool above = hasUpper && t > upper;
    const bool below = !above && hasLower && t < lower;
    const bool joined = previousNo == no - 1 && previousBlock == r.Block;
    previousNo = no;
    previousBlock = r.Block;
    if (!above && !below) {
      open = false;
      continue;
    }
    const Side side = above ? Side::Above : Side::Below;
    if (above)
      ++st.recordsAbove;
    else
      ++st.recordsBelow;
    if (open && joined && st.excursions.back().side == side) {
      Excursion& e = st.excursions.back();
      ++e.records;
      if (above ? t > e.peak : t < e.peak) e.peak = t;
      e.end = r.Time;  // its last record for now; the interval is added below
    } else {
      Excursion e;
      e.side = side;
      e.firstRecord = no;
      e.records = 1;
      e.start = r.Time;
      e.end = r.Time;
      e.peak = t;
      st.excursions.push_back(e);
      open = true;
    }
  }

  st.temperature = temperature.done();
  st.humidity = humidity.done();
  st.dewPoint = dewPoint.done();
  st.absoluteHumidity = absolute.done();
  st.mkt = mkt.value();
  // Stored values as the decimals they were made from.
  for (Series* s : {&st.temperature, &st.humidity}) {
    s->min = RecordValue(static_cast<float>(s->min));
    s->max = RecordValue(static_cast<float>(s->max));
  }
  for (Excursion& e : st.excursions) {
    e.peak = RecordValue(static_cast<float>(e.peak));
    e.durationS = e.records * step;
    e.end = fmt::secondsToSerial(fmt::serialToSeconds(e.end) + step);
  }
  st.timeAboveS = st.recordsAbove * step;
  st.timeBelowS = st.recordsBelow * step;
  return st;
}

Statistics Analyse(const DataSets& sets, int set, int first, int last, const Options& options) {
  const DataSetInfo& info = sets.info(set);
  first = std::max(first, 1);
  last = std::min(last, static_cast<int>(info.Points));
  if (first > last) return Analyse({}, 1, info.Interval, options);
  // Records are held one after another; a set is never shorter than its Points,
  // but should it be, the missing records are read as blank ones.
  if (const MeasurementRecord* a = sets.at(set, first); a && sets.at(set, last))
    return Analyse(std::span(a, static_cast<size_t>(last - first + 1)), first, info.Interval,
                   options);
  std::vector<MeasurementRecord> copy;
  copy.reserve(static_cast<size_t>(last - first + 1));
  for (int n = first; n <= last; ++n) copy.push_back(sets.Get(set, n));
  return Analyse(copy, first, info.Interval, options);
}

// ---------------------------------------------------------------- figures

std::vector<Figure> Figures(const Statistics& st, Unit unit) {
  using K = Figure::Kind;
  const QString deg = UnitSymbol(unit);
  const auto value = [](bool has, double v) {
    return has && std::isfinite(v) ? std::optional<double>(v) : std::nullopt;
  };
  const auto temp = [&](bool has, double celsius) { return value(has, ToUnit(celsius, unit)); };
  const bool any = st.records > 0;
  std::vector<Figure> f;
  f.push_back({QStringLiteral("Records"), K::Count, double(st.records), {}, {}});
  f.push_back({QStringLiteral("First record"), K::Time, value(any, st.first), {}, {}});
  f.push_back({QStringLiteral("Last record"), K::Time, value(any, st.last), {}, {}});
  f.push_back({QStringLiteral("Record interval"),
               K::Seconds,
               double(st.intervalS),
               QStringLiteral("s"),
               {}});

  const Series& t = st.temperature;
  f.push_back({QStringLiteral("Temperature minimum"), K::Number, temp(t.hasValue(), t.min), deg,
               value(t.hasValue(), t.minTime)});
  f.push_back({QStringLiteral("Temperature maximum"), K::Number, temp(t.hasValue(), t.max), deg,
               value(t.hasValue(), t.maxTime)});
  f.push_back({QStringLiteral("Temperature mean"), K::Number, temp(t.hasValue(), t.mean), deg, {}});
  f.push_back({QStringLiteral("Mean kinetic temperature"), K::Number, temp(true, st.mkt), deg, {}});
  f.push_back({QStringLiteral("MKT dH/R"), K::Number, st.dhR, QStringLiteral("K"), {}});

  const struct {
    const char* name;
    const Series* s;
    bool temperature;
    const char* unit;
  } series[] = {{"Humidity", &st.humidity, false, "%RH"},
                {"Dew point", &st.dewPoint, true, ""},
                {"Absolute humidity", &st.absoluteHumidity, false, "g/m3"}};
  for (const auto& q : series) {
    const QString name = QString::fromLatin1(q.name);
    const QString u = q.temperature ? deg : QString::fromLatin1(q.unit);
    const auto v = [&](double x) {
      return q.temperature ? temp(q.s->hasValue(), x) : value(q.s->hasValue(), x);
    };
    f.push_back({name + QStringLiteral(" minimum"), K::Number, v(q.s->min), u, {}});
    f.push_back({name + QStringLiteral(" maximum"), K::Number, v(q.s->max), u, {}});
    f.push_back({name + QStringLiteral(" mean"), K::Number, v(q.s->mean), u, {}});
  }

  const Limits& l = st.limits;
  f.push_back({QStringLiteral("Upper limit"),
               K::Number,
               temp(l.upper.has_value(), l.upper.value_or(0)),
               deg,
               {}});
  f.push_back({QStringLiteral("Lower limit"),
               K::Number,
               temp(l.lower.has_value(), l.lower.value_or(0)),
               deg,
               {}});
  f.push_back({QStringLiteral("Time above upper limit"),
               K::Seconds,
               double(st.timeAboveS),
               QStringLiteral("s"),
               {}});
  f.push_back({QStringLiteral("Time below lower limit"),
               K::Seconds,
               double(st.timeBelowS),
               QStringLiteral("s"),
               {}});
  f.push_back({QStringLiteral("Excursions"), K::Count, double(st.excursions.size()), {}, {}});
  return f;
}

// ---------------------------------------------------------------- texts

QString DurationText(qint64 s) {
  return QStringLiteral("%1 s (%2:%3:%4)")
      .arg(s)
      .arg(s / 3600)
      .arg(s / 60 % 60, 2, 10, QLatin1Char('0'))
      .arg(s % 60, 2, 10, QLatin1Char('0'));
}

namespace {
QString numberText(double v) { return QString::number(v, 'f', 3); }
}  // namespace

QString FigureText(const Figure& f) {
  if (!f.value) return QStringLiteral("none");
  QString value;
  switch (f.kind) {
    case Figure::Kind::Count:
      value = QString::number(static_cast<qint64>(*f.value));
      break;
    case Figure::Kind::Seconds:
      value = DurationText(static_cast<qint64>(*f.value));
      break;
    case Figure::Kind::Time:
      value = fmt::formatDateTime(*f.value);
      break;
    case Figure::Kind::Number:
      value = numberText(*f.value);
      if (!f.unit.isEmpty()) value += u' ' + f.unit;
      break;
  }
  if (f.at) value += QStringLiteral(" at ") + fmt::formatDateTime(*f.at);
  return value;
}

QString ExcursionText(const Excursion& e, Unit unit) {
  return QStringLiteral("%1 from %2 to %3, %4, %5 records, peak %6 %7")
      .arg(SideText(e.side), fmt::formatDateTime(e.start), fmt::formatDateTime(e.end),
           DurationText(e.durationS))
      .arg(e.records)
      .arg(numberText(ToUnit(e.peak, unit)), UnitSymbol(unit));
}

}  // namespace hygro::analysis
