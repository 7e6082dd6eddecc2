#include "sim/devicemodel.h"

#include <QDate>
#include <QTime>
#include <QtMath>
#include <algorithm>
#include <cmath>

#include "sim/wire.h"

namespace hygro::sim {

namespace {

constexpr std::uint8_t kErased = 0xFF;
constexpr int kMaxTemperatureRaw = 16383;  // 14-bit reading
constexpr int kMaxHumidityRaw = 4095;      // 12-bit reading

int hi(int v) { return (v >> 8) & 0xFF; }
int lo(int v) { return v & 0xFF; }

}  // namespace

int DeviceModel::Interval::seconds() const {
  const int v = std::max<int>(1, value);
  return unit == kUnitMinutes ? v * 60 : v;
}

DeviceModel::DeviceModel(QObject* parent) : QObject(parent) {
  m_elapsed.start();
  m_clockBase = wire::naive(QDateTime::currentDateTime());
  m_clockSetMs = 0;
  m_mem.fill(kErased);
  m_last = toRaw(m_envT, m_envH);
}

// ---------------------------------------------------------------- time

void DeviceModel::setManualTime(bool manual) {
  const QDateTime c = clock();
  m_manual = manual;
  m_source = nullptr;
  m_manualMs = 0;
  m_elapsed.restart();
  // Re-anchor so the clock reads the same at the switch.
  m_anchorMs = 0;
  m_clockBase = c;
  m_clockSetMs = 0;
  if (isRecording()) m_anchorCount = m_taken;
}

void DeviceModel::setTimeSource(std::function<qint64()> msecs) {
  const QDateTime c = clock();
  m_source = std::move(msecs);
  m_manual = false;
  m_clockBase = c;
  m_clockSetMs = nowMs();
  m_anchorMs = m_clockSetMs;
  if (isRecording()) m_anchorCount = m_taken;
}

void DeviceModel::advance(qint64 ms) {
  if (ms > 0) m_manualMs += ms;
  update();
}

qint64 DeviceModel::nowMs() const {
  if (m_source) return m_source();
  if (m_manual) return m_manualMs;
  return m_elapsed.elapsed();
}

QDateTime DeviceModel::clock() const { return m_clockBase.addMSecs(nowMs() - m_clockSetMs); }

void DeviceModel::setClock(const QDateTime& naiveTime) {
  update();
  m_clockBase = QDateTime(naiveTime.date(), naiveTime.time(), Qt::UTC);
  m_clockSetMs = nowMs();
  if (isReserved()) armReservation();
}

bool DeviceModel::setClockParts(int y, int mo, int d, int h, int mi, int s) {
  if (mo < 1 || mo > 12 || d < 1 || d > 31 || h > 23 || mi > 59 || s > 59) return false;
  // The clock is set in three steps; an intermediate step may name a day the
  // month does not have (the 31st while the month is still February).
  const int days = QDate(y, mo, 1).daysInMonth();
  setClock(QDateTime(QDate(y, mo, std::min(d, days)), QTime(h, mi, s), Qt::UTC));
  return true;
}

void DeviceModel::update() {
  if (m_updating) return;
  m_updating = true;
  const qint64 now = nowMs();
  if (isReserved() && m_resAt.isValid()) {
    const QDateTime c = clock();
    if (c >= m_resAt) startRecording(m_next, m_resAt, now - m_resAt.msecsTo(c));
  }
  if (isRecording()) {
    const qint64 ivMs = qint64(m_interval.seconds()) * 1000;
    const qint64 due = m_anchorCount + std::max<qint64>(0, now - m_anchorMs) / ivMs;
    // A long gap in loop mode: whole passes over the memory leave the write
    // position where it was, so skip them instead of writing them out.
    if (m_loop && due - m_taken > 2 * kCapacity) {
      const qint64 passes = (due - m_taken - kCapacity) / kCapacity;
      m_taken += passes * kCapacity;
      setWrapped(int(std::min<qint64>(255, m_wrapped + passes)));
    }
    const QDateTime c = clock();
    while (isRecording() && m_taken < due) {
      const qint64 pointMs = m_anchorMs + (m_taken - m_anchorCount + 1) * ivMs;
      recordPoint(c.addMSecs(pointMs - now));
    }
  }
  m_updating = false;
}

// ---------------------------------------------------------------- recording

void DeviceModel::startRecording(Interval iv, const QDateTime& start, qint64 startMs) {
  m_interval = iv;
  m_next = iv;
  m_startTime =
      QDateTime(start.date(),
                QTime(start.time().hour(), start.time().minute(), start.time().second()), Qt::UTC);
  m_recorded = 0;
  m_wrapped = 0;
  m_count38 = -1;
  m_downloaded = false;
  m_markErased = false;
  m_state =
      static_cast<std::uint8_t>((m_state & ~(Reserved | LowVoltageStop | Recording2)) | Recording);
  m_resAt = QDateTime();
  eraseSegments();
  setSegment(0, m_startTime, 0);
  m_taken = 0;
  m_anchorMs = startMs;
  m_anchorCount = 1;  // the first point is taken at the start itself
  emit recordingStarted();
}

void DeviceModel::stopRecording() {
  const bool was = isRecording();
  m_state = static_cast<std::uint8_t>(m_state & ~(Recording | Recording2 | Reserved));
  m_resAt = QDateTime();
  if (was) emit recordingStopped();
}

void DeviceModel::recordPoint(const QDateTime& at) {
  const Raw r = sample(at, m_interval.seconds() <= 2);
  const int addr = m_recorded;
  m_mem[std::size_t(addr)] = std::uint8_t(hi(r.t));
  m_mem[std::size_t(addr + 1)] = std::uint8_t(lo(r.t));
  m_mem[std::size_t(addr + 2)] = std::uint8_t(hi(r.h));
  m_mem[std::size_t(addr + 3)] = std::uint8_t(lo(r.h));
  m_recorded += 4;
  ++m_taken;
  m_downloaded = false;
  writeSegmentCount();
  if (m_recorded >= kPointBytes) {
    if (m_loop) {
      m_recorded = 0;
      setWrapped(m_wrapped + 1);
    } else {
      stopRecording();
    }
  }
  emit pointRecorded(addr / 4);
}

void DeviceModel::writeSegmentCount() {
  // The newest entry of the table is the running segment.
  int current = -1;
  for (int i = 0; i < kSegmentEntries; ++i) {
    if (m_mem[std::size_t(kSegmentTable + i * 8 + 1)] == kErased) break;
    current = i;
  }
  if (current < 0) return;
  const std::size_t at = std::size_t(kSegmentTable + current * 8 + 6);
  const int count = std::min(kCapacity, (m_mem[at] << 8 | m_mem[at + 1]) + 1);
  m_mem[at] = std::uint8_t(hi(count));
  m_mem[at + 1] = std::uint8_t(lo(count));
}

void DeviceModel::armReservation() {
  m_resAt = QDateTime();
  const QDateTime c = clock();
  const QDateTime from(c.date(), QTime(c.time().hour(), c.time().minute()), Qt::UTC);
  QDate month(from.date().year(), from.date().month(), 1);
  // The next moment whose day of month, hour and minute match; a day that a
  // month lacks (the 31st) is looked for in the following months.
  for (int i = 0; i < 24; ++i, month = month.addMonths(1)) {
    if (m_resDay > month.daysInMonth()) continue;
    const QDateTime cand(QDate(month.year(), month.month(), m_resDay),
                         QTime(m_resHour, m_resMinute), Qt::UTC);
    if (cand >= from) {
      m_resAt = cand;
      return;
    }
  }
}

void DeviceModel::setReservation(int day, int hour, int minute) {
  m_resDay = std::clamp(day, 1, 31);
  m_resHour = std::clamp(hour, 0, 23);
  m_resMinute = std::clamp(minute, 0, 59);
  if (isReserved()) armReservation();
}

void DeviceModel::setStateBits(std::uint8_t bits) {
  const bool wasRecording = isRecording();
  m_state = bits;
  if (isRecording() && !wasRecording) {
    // Continue a loaded log: the next point falls one interval from now.
    m_taken = pointsHeld();
    m_anchorCount = m_taken;
    m_anchorMs = nowMs();
  }
  if (isReserved()) armReservation();
}

// ---------------------------------------------------------------- measurement

DeviceModel::Raw DeviceModel::toRaw(double celsius, double rh) {
  Raw r;
  r.t = std::clamp(int(std::lround((celsius + 39.6) * 100.0)), 0, kMaxTemperatureRaw);
  // Humidity is compensated with the temperature the reader will compute from
  // the stored count, so invert with that one. Solve
  //   a x^2 + b x + c = 0,  a = -2.8e-6, b = 0.0405 + 8e-5 (T - 25),
  //   c = 0.01 (T - 25) - 4 - RH
  // and take the lower root, the one on the rising side of the curve.
  const double t = r.t * 0.01 - 39.6;
  const double a = -0.0000028;
  const double b = 0.0405 + 0.00008 * (t - 25.0);
  const double c = 0.01 * (t - 25.0) - 4.0 - rh;
  const double disc = b * b - 4.0 * a * c;
  const double x = disc <= 0.0 ? -b / (2.0 * a) : (-b + std::sqrt(disc)) / (2.0 * a);
  r.h = std::clamp(int(std::lround(x)), 0, kMaxHumidityRaw);
  return r;
}

void DeviceModel::setEnvironment(double celsius, double rh, bool vary) {
  m_envT = celsius;
  m_envH = rh;
  m_envVary = vary;
}

DeviceModel::Raw DeviceModel::sample(const QDateTime& at, bool lowRes) const {
  double t = m_envT;
  double h = m_envH;
  if (m_envVary) {
    // A slow drift with periods of half an hour and 45 minutes.
    const double s = double(QDateTime(QDate(2000, 1, 1), QTime(0, 0), Qt::UTC).secsTo(at));
    t += 1.5 * std::sin(2.0 * M_PI * s / 1800.0);
    h += 4.0 * std::sin(2.0 * M_PI * s / 2700.0 + 1.0);
  }
  Raw r = toRaw(t, std::clamp(h, 0.0, 100.0));
  if (lowRes) {
    r.t = (r.t + 2) / 4;   // 12-bit temperature
    r.h = (r.h + 8) / 16;  // 8-bit humidity
  }
  return r;
}

void DeviceModel::measure() { m_last = sample(clock(), m_lowRes); }

// ---------------------------------------------------------------- memory and state

void DeviceModel::setModel(const QString& model) {
  // The identification answer names the model: keep the two in step.
  const QByteArray old = m_model.toLatin1();
  if (!old.isEmpty() && m_versionText.startsWith(old))
    m_versionText = model.toLatin1() + m_versionText.mid(old.size());
  m_model = model;
}

void DeviceModel::setVersionText(const QByteArray& text) {
  m_versionText = text;
  m_versionText.replace(char(0xFF), QByteArray());
}

QByteArray DeviceModel::name() const {
  return QByteArray(reinterpret_cast<const char*>(m_name.data()), 4);
}

void DeviceModel::setName(const QByteArray& fourChars) {
  for (std::size_t i = 0; i < 4; ++i)
    m_name[i] = i < std::size_t(fourChars.size()) ? std::uint8_t(fourChars[qsizetype(i)]) : ' ';
}

void DeviceModel::setRecordedBytes(int bytes) { m_recorded = std::clamp(bytes, 0, kPointBytes); }

int DeviceModel::pointsHeld() const { return m_wrapped > 0 ? kCapacity : m_recorded / 4; }

DeviceModel::Raw DeviceModel::pointAt(int index) const {
  const std::size_t a = std::size_t(std::clamp(index, 0, kCapacity - 1)) * 4;
  return {m_mem[a] << 8 | m_mem[a + 1], m_mem[a + 2] << 8 | m_mem[a + 3]};
}

void DeviceModel::setPoints(const QList<Raw>& points) {
  const int n = int(std::min<qsizetype>(points.size(), kCapacity));
  for (int i = 0; i < n; ++i) {
    const std::size_t a = std::size_t(i) * 4;
    const Raw& p = points[i];
    m_mem[a] = std::uint8_t(hi(p.t));
    m_mem[a + 1] = std::uint8_t(lo(p.t));
    m_mem[a + 2] = std::uint8_t(hi(p.h));
    m_mem[a + 3] = std::uint8_t(lo(p.h));
  }
  setPointsFromMemory(n);
}

void DeviceModel::setPointsFromMemory(int count) { setRecordedBytes(count * 4); }

void DeviceModel::eraseSegments() {
  std::fill(m_mem.begin() + kSegmentTable, m_mem.end(), kErased);
}

void DeviceModel::setSegment(int index, const QDateTime& start, int count) {
  if (index < 0 || index >= kSegmentEntries) return;
  const std::size_t at = std::size_t(kSegmentTable + index * 8);
  if (start.isValid()) {
    const auto b = wire::bcdTime(start);
    std::copy(b.begin(), b.end(), m_mem.begin() + qsizetype(at));
  } else {
    std::fill_n(m_mem.begin() + qsizetype(at), 6, kErased);
  }
  m_mem[at + 6] = std::uint8_t(hi(count));
  m_mem[at + 7] = std::uint8_t(lo(count));
}

void DeviceModel::initialise() {
  m_mem.fill(kErased);
  m_state = 0;
  m_resAt = QDateTime();
  m_startTime = QDateTime();
  m_interval = Interval{};
  m_next = Interval{};
  m_resDay = 1;
  m_resHour = 0;
  m_resMinute = 0;
  m_loop = false;
  m_wrapped = 0;
  m_upper = Bound{};
  m_lower = Bound{};
  m_recorded = 0;
  m_count38 = -1;
  m_downloaded = false;
  m_loopErased = false;
  m_markErased = false;
  m_taken = 0;
  m_name = {{' ', ' ', ' ', ' '}};
  m_lowRes = false;
}

void DeviceModel::factoryFresh() {
  m_mem.fill(kErased);
  m_resAt = QDateTime();
  m_startTime = QDateTime();
  m_interval = {kErased, kErased};
  m_next = {kErased, kErased};
  m_resDay = m_resHour = m_resMinute = kErased;
  m_loop = false;
  m_loopErased = true;
  m_wrapped = kErased;
  m_upper = m_lower = Bound{0x7FFF, true};
  m_recorded = 0xFFFF;
  m_count38 = 0xFFFF;
  m_downloaded = false;
  m_markErased = true;
  m_taken = 0;
  m_name = {{kErased, kErased, kErased, kErased}};
}

std::uint8_t DeviceModel::statusByte(int address) const {
  const bool fresh = !m_startTime.isValid();
  const auto t =
      fresh ? std::array<std::uint8_t, 6>{kErased, kErased, kErased, kErased, kErased, kErased}
            : wire::bcdTime(m_startTime);
  switch (address) {
    case 16:
      return std::uint8_t(hi(m_recorded));
    case 17:
      return std::uint8_t(lo(m_recorded));
    case 18:
      return m_interval.unit;
    case 19:
      return m_interval.value;
    case 20:
    case 21:
    case 22:
    case 23:
    case 24:
    case 25:
      return t[std::size_t(address - 20)];
    default:
      return 0;
  }
}

// ---------------------------------------------------------------- the conversation

QByteArray DeviceModel::ordinary(int code, int d1, int d2) const {
  return wire::answer(1, code, d1 & 0xFF, d2 & 0xFF);
}

QList<QByteArray> DeviceModel::stream(int endAddress) const {
  QList<QByteArray> out;
  const int end = std::min(endAddress, kMemorySize);
  out.reserve(end / 4 + 1);
  for (int a = 0; a + 4 <= end; a += 4) {
    const std::size_t i = std::size_t(a);
    out.append(wire::answer(m_mem[i], m_mem[i + 1], m_mem[i + 2], m_mem[i + 3]));
  }
  return out;
}

QList<QByteArray> DeviceModel::handleFrame(const QByteArray& frame) {
  update();
  const auto values = wire::decodeValues(frame);
  if (!values || (*values)[0] != 1) return {wire::refusal()};
  const int code = (*values)[1];
  const int a = (*values)[2];
  const int b = (*values)[3];
  const auto ack = [&] { return QList<QByteArray>{ordinary(code, a, b)}; };
  const auto reply = [&](int d1, int d2) { return QList<QByteArray>{ordinary(code, d1, d2)}; };
  const auto validInterval = [](int unit, int value) {
    return (unit == kUnitSeconds || unit == kUnitMinutes) && value >= 1;
  };
  const QDateTime c = clock();
  const QDate d = c.date();
  const QTime t = c.time();

  switch (code) {
    case 1:
      if (m_clockStuck) return ack();
      if (!setClockParts(2000 + a % 100, b, d.day(), t.hour(), t.minute(), t.second())) break;
      return ack();
    case 2:
      if (m_clockStuck) return ack();
      if (!setClockParts(d.year(), d.month(), a, b, t.minute(), t.second())) break;
      return ack();
    case 3:
      if (m_clockStuck) return ack();
      if (!setClockParts(d.year(), d.month(), d.day(), t.hour(), a, b)) break;
      return ack();
    case 4:
      return reply(d.year() % 100, d.month());
    case 5:
      return reply(d.day(), t.hour());
    case 6:
      return reply(t.minute(), t.second());
    case 8: {
      const int addr = a * 256 + b;
      const auto m = [&](int k) { return m_mem[std::size_t((addr + k) & 0xFFFF)]; };
      return {wire::answer(m(0), m(1), m(2), m(3))};
    }
    case 11:
      if (!validInterval(a, b)) break;
      startRecording({std::uint8_t(a), std::uint8_t(b)}, c, nowMs());
      update();  // the first point is taken at once
      return ack();
    case 12:
      if (a != 14) break;
      stopRecording();
      return ack();
    case 15:
      return ack();
    case 16:
      return reply(0, m_battery < 2.5 ? 1 : 0);
    case 17:
      if (!validInterval(a, b)) break;
      stopRecording();
      m_next = {std::uint8_t(a), std::uint8_t(b)};
      m_state = std::uint8_t(m_state | Reserved);
      armReservation();
      update();  // a reservation for the present minute starts at once
      return ack();
    case 21:
      return reply(hi(m_last.h), lo(m_last.h));
    case 22:
      // The sensor keeps measuring after a start; each temperature read is a
      // fresh reading and the humidity read that follows belongs to it.
      measure();
      return reply(hi(m_last.t), lo(m_last.t));
    case 23:
      return reply(statusByte(a), statusByte(a + 1));
    case 25:
      m_lowRes = a != 0;
      measure();
      return ack();
    case 30:
      return reply(m_state, 0);
    case 31:
      if (a < 1 || a > 31) break;
      setReservation(a, m_resHour, m_resMinute);
      return ack();
    case 32:
      if (a > 23) break;
      setReservation(m_resDay, a, m_resMinute);
      return ack();
    case 33:
      if (a > 59) break;
      setReservation(m_resDay, m_resHour, a);
      return ack();
    case 34:
      return reply(m_resDay, 0);
    case 35:
      return reply(m_resHour, 0);
    case 36:
      return reply(m_resMinute, 0);
    case 37:
      return reply(m_next.unit, m_next.value);
    case 38: {
      const int n = m_count38 >= 0 ? m_count38 : m_recorded;
      return reply(hi(n), lo(n));
    }
    case 40:
      m_name[0] = std::uint8_t(a);
      m_name[1] = std::uint8_t(b);
      return ack();
    case 41:
      m_name[2] = std::uint8_t(a);
      m_name[3] = std::uint8_t(b);
      return ack();
    case 42:
      return reply(m_name[0], m_name[1]);
    case 43:
      return reply(m_name[2], m_name[3]);
    case 44:
      return stream(a * 256 + b);
    case 45:
      m_upper = {(a & 0x7F) * 256 + b, (a & 0x80) != 0};
      return ack();
    case 46:
      m_lower = {(a & 0x7F) * 256 + b, (a & 0x80) != 0};
      return ack();
    case 47:
      return reply((hi(m_upper.raw) & 0x7F) | (m_upper.on ? 0x80 : 0), lo(m_upper.raw));
    case 48:
      return reply((hi(m_lower.raw) & 0x7F) | (m_lower.on ? 0x80 : 0), lo(m_lower.raw));
    case 49:
      m_loop = a != 0;
      m_loopErased = false;
      return ack();
    case 50:
      return reply(m_loopErased ? kErased : (m_loop ? 1 : 0), m_wrapped);
    case 51: {
      const int raw = std::clamp(int(std::lround(m_battery * 1023.0 / 3.3)), 0, 1023);
      return reply(hi(raw), lo(raw));
    }
    case 56:
      m_downloaded = true;
      m_markErased = false;
      return ack();
    case 57: {
      if (m_markErased) return reply(kErased, kErased);
      const bool empty = m_recorded == 0 && m_wrapped == 0;
      return (m_downloaded || empty) ? reply(1, 1) : reply(0, 0);
    }
    case 87:
      return ack();
    case 99: {
      QByteArray text = m_versionText;
      text.append(char(m_firmware));
      text.append(char(wire::kTerminator));
      return {text};
    }
    default:
      break;
  }
  return {wire::refusal()};
}

}  // namespace hygro::sim
