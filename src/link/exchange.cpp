#include "link/exchange.h"

#include "data/userprompt.h"
#include "link/transport.h"

namespace hygro {

namespace {
const QString kCr2 = QStringLiteral("\r\r");
constexpr size_t kMaxOutstanding = 256;

int FrameValue(const QByteArray& frame, int j) {
  return WirePairValue(static_cast<quint8>(frame[2 * j]), static_cast<quint8>(frame[2 * j + 1]));
}

// The four values of a well-formed answer (a hundreds byte of 0..2 and a
// packed-BCD byte each, every value a byte); false for anything else.
bool AnswerValues(const ReceiveBuffer& rx, std::array<int, 4>& v) {
  const int n = qMin<int>(rx.ReceiveCount, ReceiveBuffer::Capacity);
  if (n < 8) return false;
  for (int k = 0; k < 4; ++k) {
    const quint8 hb = rx.bytes[static_cast<size_t>(n - 8 + 2 * k)];
    const quint8 lb = rx.bytes[static_cast<size_t>(n - 7 + 2 * k)];
    if (!WirePairIsByte(hb, lb)) return false;
    v[static_cast<size_t>(k)] = WirePairValue(hb, lb);
  }
  return true;
}

// Whether the answer in rx can be the logger's answer to `frame`. Ordinary
// answers echo the frame (1, code); a memory read and the points of a stream
// are four plain values; the version answer is text and a version byte. A
// refusal can answer anything.
bool AnswerFits(const QByteArray& frame, const ReceiveBuffer& rx) {
  const int n = qMin<int>(rx.ReceiveCount, ReceiveBuffer::Capacity);
  if (n >= 1 && rx.bytes[0] == kRefusal) return true;
  const int code = FrameValue(frame, 1);
  if (code == 99) return n >= 2 && VersionTextStart(rx) < n - 1;
  std::array<int, 4> v{};
  if (!AnswerValues(rx, v)) return false;
  if (code == 8 || code == 44) return true;
  return v[0] == 1 && v[1] == code;
}

// A stream request (44, up to an end address) is answered once per point.
int AnswersDue(const QByteArray& frame) {
  if (FrameValue(frame, 1) != 44) return 1;
  return qMax(1, (FrameValue(frame, 2) * 256 + FrameValue(frame, 3)) / 4);
}
}  // namespace

QString Exchange::TimeOutText() {
  return QStringLiteral("タイムアウト") + kCr2 + QStringLiteral("The communication is ended.");
}

QString Exchange::RefusalText() {
  return QStringLiteral("Communication fault") + kCr2 + QStringLiteral("Communication is ended");
}

Exchange::Exchange(Transport* port, UserPrompt* prompt, QObject* parent)
    : QObject(parent), port_(port), prompt_(prompt) {
  TimeOut.setObjectName(QStringLiteral("TimeOut"));
  mouse_p.setObjectName(QStringLiteral("mouse_p"));
  TimeOut.setTimerType(Qt::PreciseTimer);
  connect(&TimeOut, &QTimer::timeout, this, &Exchange::onTimeOut);
  connect(&mouse_p, &QTimer::timeout, this, [this] {
    mouse_p.stop();
    Q_EMIT busyCursor(true);
  });
  connect(port_, &Transport::readyRead, this, &Exchange::onReadyRead);
  clock_.start();
}

void Exchange::Queue_Reset() {
  queue.Count = 0;
  queue.Current = 0;
}

bool Exchange::Command_Add(quint8 p0, quint8 p1, quint8 p2, quint8 p3, CommMode mode, qint32 tag) {
  if (queue.Count < 0 || queue.Count >= CommandQueue::Capacity) return false;
  queue.entries[static_cast<size_t>(queue.Count)] = QueuedCommand{p0, p1, p2, p3, mode, tag};
  ++queue.Count;
  return true;
}

void Exchange::Real_Read_Add(CommMode mode, qint32 tag) {
  Command_Add(1, 16, 0, 0, mode, tag);
  Command_Add(1, 22, 0, 0, mode, tag);
  Command_Add(1, 21, 0, 0, mode, tag);
}

void Exchange::setBranch(int code, Branch branch) {
  if (code >= 0 && code < 256) branches_[static_cast<size_t>(code)] = std::move(branch);
}

QString Exchange::title() const {
  const QString t = title_ ? title_() : QString();
  return t.isEmpty() ? QStringLiteral("Hygrotab") : t;
}

void Exchange::Command_Send() {
  const qint64 now = clock_.elapsed();
  expireOutstanding(now);
  // What is waiting is noise, unless answers to earlier frames are still on
  // their way: those must be read to keep answers and frames in step.
  if (sent_.empty() || !port_->isOpen()) {
    Line_Reset();
    port_->clearInput();
  }
  holding_ = false;
  if (queue.Current < 0 || queue.Current >= CommandQueue::Capacity) return;
  const QByteArray frame = CommandFrame(queue.entries[static_cast<size_t>(queue.Current)]);
  inFlight_ = frame;
  mouse_p.start(MousePMs);
  TimeOut.start(TimeOutMs);
  inputArmed_ = true;
  if (port_->isOpen()) {
    port_->write(frame);
    sent_.push_back({frame, now, AnswersDue(frame)});
    if (sent_.size() > kMaxOutstanding) sent_.pop_front();
    Q_EMIT frameSent(frame);
  }
}

void Exchange::Line_Reset() {
  sent_.clear();
  pending_.clear();
  rx.ReceiveCount = 0;
}

void Exchange::expireOutstanding(qint64 now) {
  // A frame unanswered for as long as an exchange waits in all is taken as
  // never answered. The clock runs from the last answer: a logger busy
  // streaming earlier answers has not yet had its turn.
  const qint64 window = qint64(TimeOutMs) * (MaxRetries + 1);
  while (!sent_.empty() && now - qMax(sent_.front().writtenMs, lastAnswerMs_) > window)
    sent_.pop_front();
}

bool Exchange::answerIsCurrent() {
  const qint64 now = clock_.elapsed();
  expireOutstanding(now);
  // The frame of the entry in flight, kept from its sending: building it
  // again for every point of a stream would cost more than the rest.
  static const QByteArray kNone;
  const QByteArray& inFlight = queue.Count > 0 ? inFlight_ : kNone;
  size_t i = 0;
  while (i < sent_.size() && !AnswerFits(sent_[i].frame, rx)) ++i;
  if (i == sent_.size()) {
    // Answers to no frame written: the rest of a stream being taken, or noise.
    return holding_ && sent_.empty() && !inFlight.isEmpty() && AnswerFits(inFlight, rx);
  }
  // Answers come in order: frames before the one answered never will be.
  sent_.erase(sent_.begin(), sent_.begin() + static_cast<std::ptrdiff_t>(i));
  Outstanding& owner = sent_.front();
  lastAnswerMs_ = now;
  const bool current = owner.frame == inFlight;
  const bool moreDue = --owner.due > 0;
  if (!moreDue) sent_.pop_front();
  // A stale stream still running keeps the logger from the frame in flight.
  if (!current && moreDue && TimeOut.isActive()) TimeOut.start(TimeOutMs);
  return current;
}

void Exchange::Write_Raw(const QByteArray& bytes) {
  if (port_->isOpen()) port_->write(bytes);
}

bool Exchange::listening() const {
  // While idle, late answers to earlier frames are still read, to keep count.
  return inputArmed_ || (queue.Count == 0 && !sent_.empty());
}

void Exchange::onReadyRead() {
  if (listening()) gather();
}

void Exchange::gather() {
  ++handling_;
  gatherAnswers();
  if (--handling_ == 0) Q_EMIT answersHandled();
}

void Exchange::gatherAnswers() {
  while (listening()) {
    const QByteArray chunk = pending_.isEmpty() ? port_->readAll() : std::exchange(pending_, {});
    if (chunk.isEmpty()) break;
    lastInputMs_ = clock_.elapsed();
    for (qsizetype i = 0; i < chunk.size(); ++i) {
      const auto b = static_cast<quint8>(chunk[i]);
      // A flood without a terminator cannot run past the buffer: the excess is
      // dropped and the terminator still completes the answer.
      if (rx.ReceiveCount < ReceiveBuffer::Capacity)
        rx.bytes[static_cast<size_t>(rx.ReceiveCount)] = b;
      if (b != kTerminator) {
        if (rx.ReceiveCount < ReceiveBuffer::Capacity) ++rx.ReceiveCount;
        continue;
      }
      // No answer is that long: what overflowed the buffer was noise, and the
      // terminator that ends it belongs to an answer it swallowed.
      if (rx.ReceiveCount >= ReceiveBuffer::Capacity || !answerIsCurrent()) {
        // Late, or an answer to a resend already answered: dropped, and the
        // frame in flight keeps its time-out and retries.
        rx.ReceiveCount = 0;
        continue;
      }
      mouse_p.stop();
      TimeOut.stop();
      RetryCount = 0;
      const bool streaming =
          queue.Count > 0 &&
          queue.entries[static_cast<size_t>(queue.Current)].CommMode == CommMode::Download;
      if (!streaming) inputArmed_ = false;
      ++acceptedCount_;
      Receive_Dispatch();
      // Bytes after a terminator belong to whatever comes next: the next
      // entry's answer (already sent, buffer restarted at 0), the stream, or
      // late answers to earlier frames. With no answer awaited they wait.
      if (!listening()) {
        pending_ = chunk.mid(i + 1);
        return;
      }
    }
  }
}

void Exchange::Receive_Dispatch() {
  if (queue.Count == 0) return;
  if (rx.bytes[0] == kRefusal) {
    rx.ReceiveCount = 0;
    ++NakCount;
    if (NakCount > MaxRefusals) {
      abandon(RefusalText());
    } else {
      Command_Send();
    }
    return;
  }
  NakCount = 0;
  if (queue.Current < 0 || queue.Current >= CommandQueue::Capacity) {
    Pro_End();
    return;
  }
  QueuedCommand& entry = queue.entries[static_cast<size_t>(queue.Current)];
  if (entry.P1 != 99) DecodeAnswer(rx);
  BranchResult result = BranchResult::Advance;
  if (const Branch& branch = branches_[entry.P1]) result = branch(entry, rx);
  rx.ReceiveCount = 0;
  switch (result) {
    case BranchResult::Advance:
      ++queue.Current;
      if (queue.Current < queue.Count) {
        Command_Send();
      } else {
        Pro_End();
      }
      break;
    case BranchResult::Hold:
      holding_ = true;
      break;
    case BranchResult::Resend:
      Command_Send();
      break;
    case BranchResult::Ended:
      break;
  }
}

void Exchange::onTimeOut() {
  if (queue.Count == 0) {
    TimeOut.stop();
    return;
  }
  // An answer already here (its readyRead not yet handled) is not thrown away
  // by a resend.
  if (inputArmed_ && (!pending_.isEmpty() || port_->bytesAvailable() > 0)) {
    const quint64 before = acceptedCount_;
    gather();
    if (acceptedCount_ != before || queue.Count == 0) return;
  }
  if (RetryCount < MaxRetries) {
    // An answer that broke off and has been quiet since will never end: its
    // bytes must not become the front of the answer to the resend.
    if (clock_.elapsed() - lastInputMs_ >= TimeOutMs / 2) rx.ReceiveCount = 0;
    Command_Send();
    ++RetryCount;
  } else {
    abandon(TimeOutText());
  }
}

void Exchange::abandon(const QString& text) {
  // Quiet the exchange before the message box: its nested event loop must not
  // let a late answer or another time-out in.
  TimeOut.stop();
  mouse_p.stop();
  inputArmed_ = false;
  if (prompt_) prompt_->message(text, title());
  if (port_->isOpen()) port_->close();
  Line_Reset();
  Q_EMIT abandoned();
  Pro_End();
}

void Exchange::Answer_Reject(const QString& text) {
  TimeOut.stop();
  mouse_p.stop();
  inputArmed_ = false;
  if (prompt_) prompt_->message(text, title());
  Pro_End();
}

void Exchange::Pro_End() {
  Q_EMIT busyCursor(false);
  queue.Count = 0;
  queue.Current = 0;
  mouse_p.stop();
  TimeOut.stop();
  inputArmed_ = false;
  holding_ = false;
  rx.ReceiveCount = 0;
  NakCount = 0;
  RetryCount = 0;
  Q_EMIT exchangeEnded();
}

}  // namespace hygro
