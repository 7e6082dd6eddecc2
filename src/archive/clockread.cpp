#include "archive/clockread.h"

#include <cmath>

#include "data/formats.h"
#include "link/frame.h"
#include "logger/conversions.h"
#include "logger/session.h"

namespace hygro {

namespace {
// The day and hour are read around the year and month and again after the
// minute and second: when they agree, no hour (nor day, month or year)
// turned over while the parts were read.
const std::vector<int> kSequence = {5, 4, 5, 6, 5};
constexpr int kRounds = 2;
}  // namespace

ClockReader::ClockReader(Session& session, QObject* parent) : QObject(parent), s_(session) {
  timer_.setSingleShot(true);
  connect(&timer_, &QTimer::timeout, this, &ClockReader::onTimeout);
}

bool ClockReader::start() {
  if (running_ || s_.busy() || !s_.connected() || s_.exchange().outstanding() > 0) return false;
  running_ = true;
  codes_.clear();
  for (int r = 0; r < kRounds; ++r) codes_.insert(codes_.end(), kSequence.begin(), kSequence.end());
  at_ = 0;
  tries_ = 0;
  answers_.clear();
  Transport* port = s_.transport();
  readyRead_ = connect(port, &Transport::readyRead, this, &ClockReader::onReadyRead);
  gone_ = connect(port, &Transport::disconnected, this, [this] { finish(std::nullopt); });
  port->clearInput();
  sendCurrent();
  return true;
}

void ClockReader::sendCurrent() {
  // Something else took the line meanwhile: its exchange comes first.
  if (s_.busy() || !s_.connected()) return finish(std::nullopt);
  rx_.clear();
  ++tries_;
  s_.transport()->write(CommandFrame(1, static_cast<quint8>(codes_[at_]), 0, 0));
  timer_.start(AnswerTimeoutMs);
}

void ClockReader::onTimeout() {
  if (!running_) return;
  if (tries_ >= Attempts) return finish(std::nullopt);
  s_.transport()->clearInput();
  sendCurrent();
}

void ClockReader::onReadyRead() {
  if (!running_) return;
  rx_ += s_.transport()->readAll();
  const qsizetype end = rx_.indexOf(static_cast<char>(kTerminator));
  if (end < 0) {
    if (rx_.size() > ReceiveBuffer::Capacity) rx_.clear();  // noise without an end
    return;
  }
  ReceiveBuffer rx;
  const int n = static_cast<int>(qMin<qsizetype>(end, ReceiveBuffer::Capacity));
  for (int i = 0; i < n; ++i) rx.bytes[static_cast<size_t>(i)] = static_cast<quint8>(rx_[i]);
  rx.ReceiveCount = static_cast<qint16>(n);
  rx_ = rx_.mid(end + 1);
  const bool refused = n >= 1 && rx.bytes[0] == kRefusal;
  DecodeAnswer(rx);
  if (refused || n < 8 || rx.R(0) != 1 || rx.R(1) != codes_[at_]) {
    // Refused or garbled: the same command once more, as the exchange would.
    timer_.stop();
    if (tries_ >= Attempts) return finish(std::nullopt);
    return sendCurrent();
  }
  timer_.stop();
  answered(rx.R(2), rx.R(3));
}

void ClockReader::answered(int d1, int d2) {
  const int code = codes_[at_];
  answers_.emplace_back(d1, d2);
  if (code == 6) pcAtLast_ = s_.clock().now();
  ++at_;
  tries_ = 0;
  if (answers_.size() == kSequence.size()) {
    const auto dayHour = [&](size_t k) {
      return std::make_pair(answers_[k].first & 0x3F, answers_[k].second & 0x3F);
    };
    if (dayHour(0) == dayHour(2) && dayHour(2) == dayHour(4)) {
      const int year = LoggerClockYear(answers_[1].first);
      const int month = answers_[1].second & 31;
      const auto [day, hour] = dayHour(2);
      const int minute = answers_[3].first & 0x7F;
      const int second = answers_[3].second & 0x7F;
      double logger = 0;
      if (!fmt::makeDateSerial(year, month, day, hour, minute, second, &logger))
        return finish(std::nullopt);
      return finish(std::llround(fmt::secondsBetween(pcAtLast_, logger)));
    }
    answers_.clear();  // an hour turned over meanwhile: once more
  }
  if (at_ >= codes_.size()) return finish(std::nullopt);
  sendCurrent();
}

void ClockReader::finish(std::optional<qint64> offset) {
  if (!running_) return;
  running_ = false;
  timer_.stop();
  disconnect(readyRead_);
  disconnect(gone_);
  // Whatever is left on the line is no answer the exchange waits for.
  if (s_.connected() && !s_.busy()) s_.transport()->clearInput();
  Q_EMIT done(offset);
}

}  // namespace hygro
