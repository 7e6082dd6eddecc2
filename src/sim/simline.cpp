#include "sim/simline.h"

#include <algorithm>
#include <cmath>

#include "sim/devicemodel.h"
#include "sim/wire.h"

namespace hygro::sim {

namespace {
// Junk with no terminator in it is kept only this long; a real logger's input
// buffer is small too, and a hostile stream must not grow memory.
constexpr qsizetype kMaxPending = 64;
const QByteArray kInitialise = QByteArrayLiteral("INITALL");
}  // namespace

SimLine::SimLine(DeviceModel& model) : m_model(model) {}

void SimLine::setBaud(int baud) { m_baud = baud > 0 ? baud : 0; }

double SimLine::byteMicros() const { return m_baud > 0 ? 10.0e6 / m_baud : 0.0; }

qint64 SimLine::dueOf(const Chunk& c, qsizetype index) const {
  return qint64(std::llround(c.startUs + double(index + 1) * byteMicros()));
}

void SimLine::receive(const QByteArray& bytes, qint64 nowUs) {
  // The program's bytes queue behind those still crossing the line.
  const double begin = std::max(double(nowUs), m_inFreeUs);
  for (qsizetype i = 0; i < bytes.size(); ++i) {
    const char b = bytes[i];
    if (static_cast<std::uint8_t>(b) != wire::kTerminator) {
      m_in.append(b);
      if (m_in.size() > kMaxPending) m_in.remove(0, m_in.size() - kMaxPending);
      continue;
    }
    complete(begin + double(i + 1) * byteMicros());
  }
  m_inFreeUs = begin + double(bytes.size()) * byteMicros();
}

void SimLine::complete(double arrivedUs) {
  const QByteArray body = m_in;
  m_in.clear();
  if (body.endsWith(kInitialise)) {
    ++m_inits;
    m_model.initialise();
    return;  // the initialise sequence is never answered
  }
  ++m_frames;
  if (m_unplug) return;  // nobody at the other end any more
  if (m_faults.unplugOnCode >= 0 && body.size() >= 8) {
    const auto values = wire::decodeValues(body.right(8));
    if (values && (*values)[1] == m_faults.unplugOnCode) {
      // Pulled out as the frame arrives: nothing more leaves the logger.
      m_out.clear();
      m_unplug = true;
      return;
    }
  }
  int delayMs = m_faults.delayMs;
  if (m_faults.delayJitterMs > 0)
    delayMs += int(m_jitter() % std::uint32_t(m_faults.delayJitterMs + 1));
  // Answers still leave in the order the frames came: a late one holds up the next.
  const double readyUs = arrivedUs + double(delayMs) * 1000.0;
  if (m_faults.refuseNext > 0) {
    --m_faults.refuseNext;
    schedule(wire::refusal(), readyUs);
    return;
  }
  // Bytes in front of the last eight are line noise: the frame is the last
  // eight bytes before the terminator. Fewer than eight cannot be a command.
  if (body.size() < 8) {
    schedule(wire::refusal(), readyUs);
    return;
  }
  QByteArray frame = body.right(8);
  frame.append(char(wire::kTerminator));
  QList<QByteArray> answers = m_model.handleFrame(frame);
  // Silence loses the answer, not the command: the logger acted on it.
  if (m_faults.silenceNext != 0) {
    if (m_faults.silenceNext > 0) --m_faults.silenceNext;
    return;
  }
  const bool isStream = answers.size() > 1;
  if (isStream && m_faults.stallAfterPoints >= 0 && answers.size() > m_faults.stallAfterPoints)
    answers.resize(m_faults.stallAfterPoints);
  if (isStream && m_faults.unplugAfterPoints >= 0) {
    if (answers.size() > m_faults.unplugAfterPoints) answers.resize(m_faults.unplugAfterPoints);
    m_unplug = true;
  }
  for (QByteArray a : answers) {
    double at = readyUs;
    if (m_faults.lateNext > 0) {
      --m_faults.lateNext;
      at += double(m_faults.lateMs) * 1000.0;
    }
    if (m_faults.floodNext > 0) {
      --m_faults.floodNext;
      schedule(QByteArray(kFloodBytes, char(0x5A)), at);
      continue;
    }
    const bool refused = a.size() == 2 && static_cast<std::uint8_t>(a[0]) == wire::kRefusal;
    if (!refused && !(m_faults.garbageBefore.isEmpty() && m_faults.garbageAfter.isEmpty()))
      a = m_faults.garbageBefore + a + m_faults.garbageAfter;
    if (m_faults.truncateNext > 0) {
      --m_faults.truncateNext;
      a.chop(std::min<qsizetype>(kTruncatedBytes, a.size() - 1));
    }
    schedule(a, at);
  }
}

void SimLine::schedule(const QByteArray& bytes, double readyUs) {
  if (bytes.isEmpty()) return;
  Chunk c;
  c.bytes = bytes;
  c.startUs = std::max(readyUs, m_outFreeUs);
  m_outFreeUs = c.startUs + double(bytes.size()) * byteMicros();
  m_out.push_back(std::move(c));
}

qint64 SimLine::nextByteDue() const {
  if (m_out.empty()) return -1;
  const Chunk& c = m_out.front();
  return dueOf(c, c.sent);
}

qint64 SimLine::headAnswerDue() const {
  if (m_out.empty()) return -1;
  const Chunk& c = m_out.front();
  return dueOf(c, c.bytes.size() - 1);
}

QByteArray SimLine::takeDue(qint64 nowUs) {
  QByteArray out;
  while (!m_out.empty()) {
    Chunk& c = m_out.front();
    if (byteMicros() == 0.0 && c.startUs <= double(nowUs)) {
      out.append(c.bytes.constData() + c.sent, c.bytes.size() - c.sent);
      m_out.pop_front();
      continue;
    }
    qsizetype n = c.sent;
    while (n < c.bytes.size() && dueOf(c, n) <= nowUs) ++n;
    out.append(c.bytes.constData() + c.sent, n - c.sent);
    c.sent = n;
    if (n < c.bytes.size()) break;
    m_out.pop_front();
  }
  return out;
}

void SimLine::reset() {
  m_in.clear();
  m_out.clear();
  m_inFreeUs = 0;
  m_outFreeUs = 0;
}

}  // namespace hygro::sim
