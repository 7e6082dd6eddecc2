// Loading an emulated logger's state from a JSON document (format in README.md).
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cmath>

#include "sim/devicemodel.h"
#include "sim/wire.h"

namespace hygro::sim {

namespace {

struct Loader {
  QString error;

  bool fail(const QString& what) {
    if (error.isEmpty()) error = what;
    return false;
  }

  bool time(const QJsonValue& v, QDateTime* out, const QString& key) {
    if (v.isNull() || v.isUndefined() || v.toString() == QLatin1String("fresh")) {
      *out = QDateTime();
      return true;
    }
    const auto t = wire::parseTime(v.toString());
    if (!t) return fail(QStringLiteral("%1: not a \"YYYY-MM-DD hh:mm:ss\" time").arg(key));
    *out = *t;
    return true;
  }

  bool interval(const QJsonValue& v, DeviceModel::Interval* out, const QString& key) {
    if (v.isDouble()) {
      const int s = v.toInt(-1);
      if (s >= 1 && s <= 255) {
        *out = {DeviceModel::kUnitSeconds, std::uint8_t(s)};
      } else if (s >= 60 && s % 60 == 0 && s / 60 <= 255) {
        *out = {DeviceModel::kUnitMinutes, std::uint8_t(s / 60)};
      } else {
        return fail(QStringLiteral("%1: %2 s cannot be expressed").arg(key).arg(s));
      }
      return true;
    }
    if (!v.isObject()) return fail(QStringLiteral("%1: seconds or {unit, value}").arg(key));
    const QJsonObject o = v.toObject();
    const QJsonValue u = o.value(QLatin1String("unit"));
    int unit = -1;
    if (u.isString()) {
      const QString s = u.toString();
      if (s == QLatin1String("s") || s == QLatin1String("sec")) unit = DeviceModel::kUnitSeconds;
      if (s == QLatin1String("min")) unit = DeviceModel::kUnitMinutes;
    } else {
      unit = u.toInt(-1);
    }
    const int value = o.value(QLatin1String("value")).toInt(-1);
    if ((unit != DeviceModel::kUnitSeconds && unit != DeviceModel::kUnitMinutes) || value < 0 ||
        value > 255)
      return fail(
          QStringLiteral("%1: unit must be 130/\"s\" or 131/\"min\", value 0..255").arg(key));
    *out = {std::uint8_t(unit), std::uint8_t(value)};
    return true;
  }

  bool bound(const QJsonValue& v, DeviceModel::Bound* out, const QString& key) {
    if (!v.isObject()) return fail(QStringLiteral("%1: {raw|celsius, on}").arg(key));
    const QJsonObject o = v.toObject();
    DeviceModel::Bound b;
    if (o.contains(QLatin1String("raw"))) {
      b.raw = o.value(QLatin1String("raw")).toInt();
    } else if (o.contains(QLatin1String("celsius"))) {
      b.raw = int(std::lround((o.value(QLatin1String("celsius")).toDouble() + 39.6) * 100.0));
    } else {
      return fail(QStringLiteral("%1: needs raw or celsius").arg(key));
    }
    if (b.raw < 0 || b.raw > 0x7FFF) return fail(QStringLiteral("%1: raw out of range").arg(key));
    b.on = o.value(QLatin1String("on")).toBool();
    *out = b;
    return true;
  }

  bool state(const QJsonValue& v, std::uint8_t* out) {
    const auto named = [&](const QString& s, std::uint8_t* bits) {
      if (s == QLatin1String("idle")) return true;
      if (s == QLatin1String("recording"))
        *bits |= DeviceModel::Recording;
      else if (s == QLatin1String("reserved"))
        *bits |= DeviceModel::Reserved;
      else if (s == QLatin1String("error"))
        *bits |= DeviceModel::Error;
      else if (s == QLatin1String("lowVoltageStop"))
        *bits |= DeviceModel::LowVoltageStop;
      else
        return fail(QStringLiteral("state: unknown name \"%1\"").arg(s));
      return true;
    };
    std::uint8_t bits = 0;
    if (v.isDouble()) {
      bits = std::uint8_t(v.toInt() & 0xFF);
    } else if (v.isString()) {
      if (!named(v.toString(), &bits)) return false;
    } else if (v.isArray()) {
      for (const auto& e : v.toArray())
        if (!named(e.toString(), &bits)) return false;
    } else {
      return fail(QStringLiteral("state: a number, a name or a list of names"));
    }
    *out = bits;
    return true;
  }

  bool points(const QJsonValue& v, bool lowRes, QList<DeviceModel::Raw>* out) {
    const auto stored = [&](double t, double h) {
      DeviceModel::Raw r = DeviceModel::toRaw(t, h);
      if (lowRes) r = {(r.t + 2) / 4, (r.h + 8) / 16};
      return r;
    };
    if (v.isObject()) {
      // Synthesised points: a slow wave around a base value, cheap for 15000.
      const QJsonObject o = v.toObject();
      const int n = o.value(QLatin1String("generate")).toInt(-1);
      if (n < 0 || n > DeviceModel::kCapacity)
        return fail(QStringLiteral("points.generate: 0..%1").arg(DeviceModel::kCapacity));
      const double t = o.value(QLatin1String("t")).toDouble(22.0);
      const double h = o.value(QLatin1String("h")).toDouble(50.0);
      const double ts = o.value(QLatin1String("tSwing")).toDouble(3.0);
      const double hs = o.value(QLatin1String("hSwing")).toDouble(10.0);
      const double period = std::max(2.0, o.value(QLatin1String("period")).toDouble(720.0));
      out->reserve(n);
      for (int i = 0; i < n; ++i) {
        const double ph = 2.0 * M_PI * i / period;
        out->append(stored(t + ts * std::sin(ph), h - hs * std::sin(ph)));
      }
      return true;
    }
    if (!v.isArray()) return fail(QStringLiteral("points: a list or {\"generate\": N}"));
    const QJsonArray a = v.toArray();
    if (a.size() > DeviceModel::kCapacity) return fail(QStringLiteral("points: at most 15000"));
    out->reserve(a.size());
    for (const auto& e : a) {
      const QJsonObject p = e.toObject();
      if (p.contains(QLatin1String("rt")) && p.contains(QLatin1String("rh"))) {
        out->append({p.value(QLatin1String("rt")).toInt() & 0xFFFF,
                     p.value(QLatin1String("rh")).toInt() & 0xFFFF});
      } else if (p.contains(QLatin1String("t")) && p.contains(QLatin1String("h"))) {
        out->append(
            stored(p.value(QLatin1String("t")).toDouble(), p.value(QLatin1String("h")).toDouble()));
      } else {
        return fail(QStringLiteral("points: each is {t, h} or {rt, rh}"));
      }
    }
    return true;
  }
};

}  // namespace

bool DeviceModel::loadFile(const QString& path, QString* error) {
  QFile f(path);
  if (!f.open(QIODevice::ReadOnly)) {
    if (error) *error = QStringLiteral("%1: %2").arg(path, f.errorString());
    return false;
  }
  return loadJson(f.readAll(), error);
}

bool DeviceModel::loadJson(const QByteArray& json, QString* error) {
  QJsonParseError pe;
  const QJsonDocument doc = QJsonDocument::fromJson(json, &pe);
  if (!doc.isObject()) {
    if (error) *error = QStringLiteral("not a JSON object: %1").arg(pe.errorString());
    return false;
  }
  const QJsonObject o = doc.object();
  Loader ld;
  const auto has = [&](const char* k) { return o.contains(QLatin1String(k)); };
  const auto val = [&](const char* k) { return o.value(QLatin1String(k)); };

  // Parse everything first so a bad document leaves the model untouched.
  QDateTime clockAt, start;
  Interval iv, next;
  Bound up, low;
  std::uint8_t bits = 0;
  QList<Raw> pts;
  bool ok = true;
  if (has("clock")) ok = ld.time(val("clock"), &clockAt, QStringLiteral("clock")) && ok;
  if (has("clock") && !clockAt.isValid()) ok = ld.fail(QStringLiteral("clock: needs a time"));
  if (has("startTime")) ok = ld.time(val("startTime"), &start, QStringLiteral("startTime")) && ok;
  if (has("interval")) ok = ld.interval(val("interval"), &iv, QStringLiteral("interval")) && ok;
  next = iv;
  if (has("nextInterval"))
    ok = ld.interval(val("nextInterval"), &next, QStringLiteral("nextInterval")) && ok;
  if (has("upper")) ok = ld.bound(val("upper"), &up, QStringLiteral("upper")) && ok;
  if (has("lower")) ok = ld.bound(val("lower"), &low, QStringLiteral("lower")) && ok;
  if (has("state")) ok = ld.state(val("state"), &bits) && ok;
  if (has("points")) ok = ld.points(val("points"), iv.seconds() <= 2, &pts) && ok;
  struct Seg {
    QDateTime start;
    int count;
  };
  QList<Seg> segs;
  const bool hasSegs = has("segments");
  if (hasSegs) {
    if (!val("segments").isArray()) ok = ld.fail(QStringLiteral("segments: a list"));
    for (const auto& e : val("segments").toArray()) {
      Seg s{};
      const QJsonObject so = e.toObject();
      ok = ld.time(so.value(QLatin1String("start")), &s.start, QStringLiteral("segments.start")) &&
           ok;
      s.count = so.value(QLatin1String("count")).toInt(0) & 0xFFFF;
      segs.append(s);
    }
    if (segs.size() > kSegmentEntries) ok = ld.fail(QStringLiteral("segments: too many"));
  }
  const int firmware = val("firmware").toInt(2);
  if (firmware < 0 || firmware > 0xFE) ok = ld.fail(QStringLiteral("firmware: 0..254"));
  if (!ok) {
    if (error) *error = ld.error;
    return false;
  }

  // A document describes a whole logger: start from a fresh one.
  initialise();
  if (clockAt.isValid()) setClock(clockAt);
  m_model = val("model").toString(QStringLiteral("QM720-XC"));
  setVersionText(has("version") ? val("version").toString().toLatin1()
                                : (m_model + QStringLiteral(" V1")).toLatin1());
  m_firmware = std::uint8_t(firmware);
  setName(val("name").toString(QStringLiteral("    ")).toLatin1().leftJustified(4, ' ', true));
  m_battery = val("battery").toDouble(3.0);
  m_startTime = start;
  m_interval = iv;
  m_next = next;
  if (has("reservation")) {
    const QJsonObject r = val("reservation").toObject();
    m_resDay = std::clamp(r.value(QLatin1String("day")).toInt(1), 1, 31);
    m_resHour = std::clamp(r.value(QLatin1String("hour")).toInt(0), 0, 23);
    m_resMinute = std::clamp(r.value(QLatin1String("minute")).toInt(0), 0, 59);
  }
  m_loop = val("loop").toVariant().toBool();
  setWrapped(val("wrapped").toInt(0));
  m_upper = up;
  m_lower = low;
  if (has("environment")) {
    const QJsonObject e = val("environment").toObject();
    setEnvironment(e.value(QLatin1String("t")).toDouble(24.4),
                   e.value(QLatin1String("h")).toDouble(50.45),
                   e.value(QLatin1String("vary")).toBool(false));
  }
  setPoints(pts);
  if (has("recordedBytes")) setRecordedBytes(val("recordedBytes").toInt());
  if (has("count38")) m_count38 = std::clamp(val("count38").toInt(), 0, 0xFFFF);
  if (hasSegs) {
    for (int i = 0; i < segs.size(); ++i) setSegment(i, segs[i].start, segs[i].count);
  } else if (m_startTime.isValid()) {
    setSegment(0, m_startTime, pointsHeld());
  }
  // A log that has never been taken off the logger unless told otherwise.
  m_downloaded = val("downloaded").toBool(false);
  setStateBits(bits);
  if (val("factory").toBool()) factoryFresh();
  measure();
  return true;
}

}  // namespace hygro::sim
