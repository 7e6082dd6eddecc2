#pragma once
// The logger clock's offset from the PC's, read without setting the clock:
// the read-back commands (4: year and month, 5: day and hour, 6: minute and
// second) on their own. The archive notes it beside each download.
#include <array>
#include <optional>
#include <utility>

#include "link/exchange.h"
#include "logger/operation.h"

namespace hygro {

class ClockOffsetOperation : public Operation {
  Q_OBJECT
 public:
  ClockOffsetOperation(Session& session, LoggerStatus& status);

  // Queues the reading; false when nothing was sent (an exchange runs, or no
  // logger is connected). offsetRead() follows a true, whatever happens.
  bool Clock_Read();
  bool reading() const { return reading_; }

  // The answers to 4, 5 and 6 sent for a reading. The recording operation
  // owns those codes for its read-back and hands these entries on.
  BranchResult answer(QueuedCommand& entry, const ReceiveBuffer& rx);
  // The exchange has ended: a reading it cut short reads nothing.
  void exchangeEnded();

 Q_SIGNALS:
  // The logger's clock minus the PC's local time, in whole seconds; nothing
  // when the clock could not be read or reads no date.
  void offsetRead(std::optional<qint64> offsetSeconds);

 private:
  void queueRound();
  void finish(std::optional<qint64> offset);

  std::array<std::pair<int, int>, 5> answers_{};
  int rounds_ = 0;
  double pcAtClock_ = 0;  // the PC's time when the minute and second came
  bool reading_ = false;
};

}  // namespace hygro
