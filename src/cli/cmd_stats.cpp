// stats: the evidence figures of a CSV file or of the logger's log (extremes,
// mean, mean kinetic temperature, dew point, absolute humidity, time outside
// the limits and the excursions) as lines or as one JSON object.
#include <QRegularExpression>
#include <charconv>
#include <cmath>

#include "analysis/analysis.h"
#include "cli/cli.h"
#include "cli/setsource.h"
#include "data/formats.h"

namespace hygro::cli {

namespace {

using namespace hygro::analysis;

const QString kCmd = QStringLiteral("stats");

// Plain decimal numbers only: "30", "-5.5", "+.5".
bool parseNumber(const QString& text, double* out) {
  static const QRegularExpression form(QStringLiteral("^[+-]?(\\d+(\\.\\d*)?|\\.\\d+)$"));
  if (!form.match(text.trimmed()).hasMatch()) return false;
  bool ok = false;
  *out = text.trimmed().toDouble(&ok);
  return ok && std::isfinite(*out);
}

// A limit in the chosen unit, or "off" to leave that side unchecked. Stored
// in degrees Celsius.
bool parseLimit(const QString& text, const QString& option, Unit unit, std::optional<double>* out,
                QString* error) {
  if (text.trimmed().compare(QLatin1String("off"), Qt::CaseInsensitive) == 0) {
    out->reset();
    return true;
  }
  double v = 0;
  if (!parseNumber(text, &v) || std::fabs(v) > 1000) {
    *error =
        QStringLiteral("--%1 takes a temperature in %2 (for example 30 or -5.5) or off, not '%3'")
            .arg(option, UnitSymbol(unit), text);
    return false;
  }
  *out = FromUnit(v, unit);
  return true;
}

bool parseTime(const QString& text, const QString& option, double* out, QString* error) {
  static const QRegularExpression form(
      QStringLiteral("^(\\d{4})/(\\d{2})/(\\d{2}) (\\d{2}):(\\d{2}):(\\d{2})$"));
  const auto m = form.match(text.trimmed());
  if (!m.hasMatch() || !fmt::makeDateSerial(m.captured(1).toInt(), m.captured(2).toInt(),
                                            m.captured(3).toInt(), m.captured(4).toInt(),
                                            m.captured(5).toInt(), m.captured(6).toInt(), out)) {
    *error =
        QStringLiteral("--%1 takes a time \"yyyy/mm/dd hh:nn:ss\", not '%2'").arg(option, text);
    return false;
  }
  return true;
}

// ---------------------------------------------------------------- JSON

// Unrounded: the shortest text that reads back as the same double.
QString jsonNumber(double v) {
  if (!std::isfinite(v)) return QStringLiteral("null");
  char buf[32];
  const auto r = std::to_chars(buf, buf + sizeof buf, v);
  return QString::fromLatin1(buf, r.ptr - buf);
}
QString jsonString(const QString& s) {
  if (s.isEmpty()) return QStringLiteral("null");
  QString out = QStringLiteral("\"");
  for (const QChar c : s) {
    if (c == u'"' || c == u'\\')
      out += u'\\' + QString(c);
    else if (c.unicode() < 0x20)
      out += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
    else
      out += c;
  }
  return out + u'"';
}

// Members in the order given, one per line.
class JsonObject {
 public:
  JsonObject& add(const char* key, const QString& json) {
    members_.append(QStringLiteral("\"%1\": %2").arg(QLatin1String(key), json));
    return *this;
  }
  QString text(int indent = 0) const {
    const QString in(indent + 2, u' ');
    return QStringLiteral("{\n") + in + members_.join(QStringLiteral(",\n") + in) + u'\n' +
           QString(indent, u' ') + u'}';
  }

 private:
  QStringList members_;
};

QString statsJson(const Statistics& st, Unit unit) {
  const auto temp = [&](bool has, double c) {
    return has ? jsonNumber(ToUnit(c, unit)) : QStringLiteral("null");
  };
  const auto time = [](bool has, double serial) {
    return has ? jsonString(IsoTime(serial)) : QStringLiteral("null");
  };
  const Series& t = st.temperature;
  JsonObject temperature;
  temperature.add("min", temp(t.hasValue(), t.min))
      .add("min_time", time(t.hasValue(), t.minTime))
      .add("max", temp(t.hasValue(), t.max))
      .add("max_time", time(t.hasValue(), t.maxTime))
      .add("mean", temp(t.hasValue(), t.mean))
      .add("mkt", temp(true, st.mkt));
  const auto series = [&](const Series& s, bool isTemperature) {
    const auto v = [&](double x) {
      return isTemperature ? temp(s.hasValue(), x)
                           : (s.hasValue() ? jsonNumber(x) : QStringLiteral("null"));
    };
    return JsonObject().add("min", v(s.min)).add("max", v(s.max)).add("mean", v(s.mean));
  };
  QStringList excursions;
  for (const Excursion& e : st.excursions) {
    excursions << JsonObject()
                      .add("side", jsonString(SideText(e.side)))
                      .add("start", jsonString(IsoTime(e.start)))
                      .add("end", jsonString(IsoTime(e.end)))
                      .add("duration_s", jsonNumber(double(e.durationS)))
                      .add("records", jsonNumber(e.records))
                      .add("peak", temp(true, e.peak))
                      .text(6);
  }
  const QString list = excursions.isEmpty() ? QStringLiteral("[]")
                                            : QStringLiteral("[\n      ") +
                                                  excursions.join(QStringLiteral(",\n      ")) +
                                                  QStringLiteral("\n    ]");
  JsonObject limits;
  limits.add("upper", temp(st.limits.upper.has_value(), st.limits.upper.value_or(0)))
      .add("lower", temp(st.limits.lower.has_value(), st.limits.lower.value_or(0)))
      .add("time_above_s", jsonNumber(double(st.timeAboveS)))
      .add("time_below_s", jsonNumber(double(st.timeBelowS)))
      .add("excursions", list);
  const bool any = st.records > 0;
  return JsonObject()
      .add("records", jsonNumber(st.records))
      .add("first", time(any, st.first))
      .add("last", time(any, st.last))
      .add("interval_s", jsonNumber(st.intervalS))
      .add("temperature", temperature.text(2))
      .add("humidity", series(st.humidity, false).text(2))
      .add("dew_point", series(st.dewPoint, true).text(2))
      .add("absolute_humidity", series(st.absoluteHumidity, false).text(2))
      .add("unit", jsonString(UnitSymbol(unit)))
      .add("limits", limits.text(2))
      .text();
}

// ---------------------------------------------------------------- lines

QStringList statsLines(const Statistics& st, Unit unit) {
  QStringList lines;
  for (const Figure& f : Figures(st, unit))
    lines << f.caption + QStringLiteral(": ") + FigureText(f);
  int k = 0;
  for (const Excursion& e : st.excursions)
    lines << QStringLiteral("Excursion %1: ").arg(++k) + ExcursionText(e, unit);
  return lines;
}

int runStats(const GlobalOptions& global, const ParsedArgs& args) {
  if (!args.positional.isEmpty())
    return usageError(QStringLiteral("stats takes no arguments besides its options"), kCmd);
  const QString csv = args.value(QStringLiteral("csv"));
  if (args.has(QStringLiteral("csv")) && csv.isEmpty())
    return usageError(QStringLiteral("--csv needs the file to read"), kCmd);

  Unit unit = Unit::Celsius;
  if (args.has(QStringLiteral("unit"))) {
    const QString u = args.value(QStringLiteral("unit")).trimmed().toUpper();
    if (u == QLatin1String("F"))
      unit = Unit::Fahrenheit;
    else if (u != QLatin1String("C"))
      return usageError(
          QStringLiteral("--unit takes C or F, not '%1'").arg(args.value(QStringLiteral("unit"))),
          kCmd);
  }
  QString error;
  std::optional<std::optional<double>> upper, lower;  // given: a limit or "off"
  for (auto [name, limit] :
       {std::pair{QStringLiteral("upper"), &upper}, std::pair{QStringLiteral("lower"), &lower}}) {
    if (!args.has(name)) continue;
    std::optional<double> v;
    if (!parseLimit(args.value(name), name, unit, &v, &error)) return usageError(error, kCmd);
    *limit = v;
  }
  Options options;
  if (args.has(QStringLiteral("dh-r"))) {
    const QString text = args.value(QStringLiteral("dh-r"));
    if (!parseNumber(text, &options.dhR) || options.dhR <= 0 || options.dhR > 1e6)
      return usageError(
          QStringLiteral("--dh-r takes dH/R in kelvin, above 0 and up to 1000000 (10000 by "
                         "default), not '%1'")
              .arg(text),
          kCmd);
  }
  for (auto [name, time] : {std::pair{QStringLiteral("from"), &options.from},
                            std::pair{QStringLiteral("to"), &options.to}}) {
    if (!args.has(name)) continue;
    double serial = 0;
    if (!parseTime(args.value(name), name, &serial, &error)) return usageError(error, kCmd);
    *time = serial;
  }
  if (options.from && options.to &&
      fmt::serialToSeconds(*options.from) > fmt::serialToSeconds(*options.to))
    return usageError(QStringLiteral("--from comes after --to"), kCmd);

  SetSource source;
  if (const int rc = source.load(global, csv)) return rc;
  const DataSets& sets = source.sets();
  const DataSetInfo& info = sets.info(source.set());
  // The set's bounds where they are on, each replaced by what the user gave.
  Limits limits = SetLimits(info);
  if (upper) limits.upper = *upper;
  if (lower) limits.lower = *lower;
  options.limits = limits;

  const Statistics st = Analyse(sets, source.set(), 1, info.Points, options);
  if (args.has(QStringLiteral("json")))
    out(statsJson(st, unit));
  else
    for (const QString& line : statsLines(st, unit)) out(line);
  if (outputLost()) {
    err(QStringLiteral("%1: stdout: %2").arg(kProgram, outputError()));
    return kExitFailure;
  }
  return kExitOk;
}

}  // namespace

Command statsCommand() {
  return {kCmd,
          QStringLiteral("the statistics of a CSV file or the log: MKT, dew point, excursions"),
          QStringLiteral(
              "Usage: hygrotab-cli [global options] stats [--csv FILE] [--upper T] [--lower T]\n"
              "                       [--dh-r K] [--from TIME] [--to TIME] [--unit C|F] [--json]\n"
              "\n"
              "The figures that show a stretch of records stayed within limits. Every record\n"
              "counts alike and stands for one record interval; gaps between runs count for\n"
              "nothing.\n"
              "\n"
              "  minimum, maximum (with their times) and mean of the temperature and the\n"
              "  humidity; the mean kinetic temperature\n"
              "    MKT = (dH/R) / -ln((1/n) sum exp(-(dH/R) / Ti)) - 273.15, Ti in kelvin;\n"
              "  dew point and absolute humidity by the Magnus formula over water\n"
              "  (a = 17.62, b = 243.12 C), leaving out records with no humidity;\n"
              "  the time above the upper and below the lower limit (records outside times\n"
              "  the interval; a value equal to a limit is inside) and every excursion, a\n"
              "  stretch of consecutive records of one run on one side: its start, its end\n"
              "  (the last record plus one interval), duration, records and peak.\n"
              "\n"
              "  --csv FILE       read a CSV file saved by this program; without it the log is\n"
              "                   downloaded from the logger as print does (the logger keeps\n"
              "                   it marked as never downloaded)\n"
              "  --upper T        the upper limit, in the unit of --unit; off: none. By default\n"
              "                   the set's upper bound where it is on\n"
              "  --lower T        the same for the lower limit\n"
              "  --dh-r K         dH/R of the MKT in kelvin (default 10000, dH = 83.144 kJ/mol)\n"
              "  --from TIME      leave out the records before TIME, \"yyyy/mm/dd hh:nn:ss\"\n"
              "  --to TIME        leave out the records after TIME (both ends are kept)\n"
              "  --unit C|F       degrees Celsius (default) or Fahrenheit for every temperature\n"
              "                   shown and for --upper and --lower\n"
              "  --json           one JSON object instead of lines: times yyyy-mm-ddThh:mm:ss\n"
              "                   (the logger's local time), numbers unrounded, null for what\n"
              "                   has no value\n"
              "\n"
              "Exit status: 0 when the figures were printed; 1 when the file is not a CSV file\n"
              "of this program or cannot be read, or the logger fails; 2 on a wrong command\n"
              "line."),
          {{QStringLiteral("csv"), true},
           {QStringLiteral("upper"), true},
           {QStringLiteral("lower"), true},
           {QStringLiteral("dh-r"), true},
           {QStringLiteral("from"), true},
           {QStringLiteral("to"), true},
           {QStringLiteral("unit"), true},
           {QStringLiteral("json"), false}},
          runStats};
}

}  // namespace hygro::cli
