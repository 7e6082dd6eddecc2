#include "sim/wire.h"

#include <QRegularExpression>

namespace hygro::sim::wire {

std::uint8_t toBcd(int twoDigits) {
  const int v = twoDigits < 0 ? 0 : twoDigits % 100;
  return static_cast<std::uint8_t>(((v / 10) << 4) | (v % 10));
}

std::optional<int> fromBcd(std::uint8_t byte) {
  const int hi = byte >> 4;
  const int lo = byte & 0x0F;
  if (hi > 9 || lo > 9) return std::nullopt;
  return hi * 10 + lo;
}

void appendValue(QByteArray& out, int value) {
  const int v = value < 0 ? 0 : (value > 255 ? 255 : value);
  out.append(static_cast<char>(v / 100));
  out.append(static_cast<char>(toBcd(v % 100)));
}

QByteArray frame(int p0, int p1, int p2, int p3) {
  QByteArray out;
  out.reserve(9);
  appendValue(out, p0);
  appendValue(out, p1);
  appendValue(out, p2);
  appendValue(out, p3);
  out.append(static_cast<char>(kTerminator));
  return out;
}

QByteArray answer(int r0, int r1, int r2, int r3) { return frame(r0, r1, r2, r3); }

QByteArray refusal() {
  QByteArray out;
  out.append(static_cast<char>(kRefusal));
  out.append(static_cast<char>(kTerminator));
  return out;
}

std::optional<std::array<int, 4>> decodeValues(const QByteArray& bytes) {
  if (bytes.size() < 8) return std::nullopt;
  std::array<int, 4> v{};
  for (int k = 0; k < 4; ++k) {
    const auto hundreds = static_cast<std::uint8_t>(bytes[2 * k]);
    const auto rest = fromBcd(static_cast<std::uint8_t>(bytes[2 * k + 1]));
    if (hundreds > 2 || !rest) return std::nullopt;
    v[static_cast<std::size_t>(k)] = hundreds * 100 + *rest;
    if (v[static_cast<std::size_t>(k)] > 255) return std::nullopt;
  }
  return v;
}

std::array<std::uint8_t, 6> bcdTime(const QDateTime& t) {
  const QDate d = t.date();
  const QTime tm = t.time();
  return {toBcd(d.year() % 100), toBcd(d.month()),   toBcd(d.day()),
          toBcd(tm.hour()),      toBcd(tm.minute()), toBcd(tm.second())};
}

std::optional<QDateTime> parseTime(const QString& text) {
  static const QRegularExpression re(
      QStringLiteral("^\\s*(\\d{4})-(\\d{1,2})-(\\d{1,2})(?:[ T](\\d{1,2}):(\\d{2})(?::(\\d{2}))?)?"
                     "\\s*$"));
  const auto m = re.match(text);
  if (!m.hasMatch()) return std::nullopt;
  const QDate d(m.captured(1).toInt(), m.captured(2).toInt(), m.captured(3).toInt());
  const QTime t(m.captured(4).toInt(), m.captured(5).toInt(), m.captured(6).toInt());
  if (!d.isValid() || !t.isValid()) return std::nullopt;
  return QDateTime(d, t, Qt::UTC);
}

QDateTime naive(const QDateTime& local) {
  return QDateTime(
      local.date(),
      QTime(local.time().hour(), local.time().minute(), local.time().second(), local.time().msec()),
      Qt::UTC);
}

}  // namespace hygro::sim::wire
