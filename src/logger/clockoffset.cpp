#include "logger/clockoffset.h"

#include <cmath>

#include "data/formats.h"
#include "logger/clock.h"
#include "logger/session.h"

namespace hygro {

namespace {
// The day and hour are read around the year and month and again after the
// minute and second: when they agree, no hour (nor day, month or year)
// turned over while the parts were read.
constexpr std::array<quint8, 5> kRound = {5, 4, 5, 6, 5};
constexpr int kMaxRounds = 2;
}  // namespace

ClockOffsetOperation::ClockOffsetOperation(Session& session, LoggerStatus& status)
    : Operation(session, status) {}

bool ClockOffsetOperation::Clock_Read() {
  if (busy() || !connected()) return false;
  x().Queue_Reset();
  rounds_ = 0;
  queueRound();
  reading_ = true;
  send();
  return true;
}

void ClockOffsetOperation::queueRound() {
  ++rounds_;
  for (size_t k = 0; k < kRound.size(); ++k)
    x().Command_Add(1, kRound[k], 0, 0, CommMode::TRead, static_cast<qint32>(k));
}

BranchResult ClockOffsetOperation::answer(QueuedCommand& e, const ReceiveBuffer& rx) {
  const auto k = static_cast<size_t>(e.Tag);
  if (!reading_ || k >= answers_.size()) return BranchResult::Advance;
  answers_[k] = {rx.R(2), rx.R(3)};
  if (kRound[k] == 6) pcAtClock_ = clock().now();
  if (k + 1 < answers_.size()) return BranchResult::Advance;

  const auto dayHour = [this](size_t at) {
    ClockReadBack c;
    c.take(5, answers_[at].first, answers_[at].second);
    return std::make_pair(c.day, c.hour);
  };
  if (dayHour(0) == dayHour(2) && dayHour(2) == dayHour(4)) {
    ClockReadBack logger;
    logger.take(4, answers_[1].first, answers_[1].second);
    logger.take(5, answers_[2].first, answers_[2].second);
    logger.take(6, answers_[3].first, answers_[3].second);
    double at = 0;
    if (!logger.serial(&at)) {
      finish(std::nullopt);
    } else {
      finish(std::llround(fmt::secondsBetween(pcAtClock_, at)));
    }
  } else if (rounds_ < kMaxRounds) {
    queueRound();  // an hour turned over meanwhile: once more
  } else {
    finish(std::nullopt);
  }
  return BranchResult::Advance;
}

void ClockOffsetOperation::exchangeEnded() {
  if (reading_) finish(std::nullopt);
}

void ClockOffsetOperation::finish(std::optional<qint64> offset) {
  reading_ = false;
  Q_EMIT offsetRead(offset);
}

}  // namespace hygro
