#pragma once
// One conversation mechanism for every logger operation: the caller fills the
// queue, starts it, and from then on answers, time-outs and refusals drive it.
// Each operation registers the answer branches of the command codes it owns.
#include <QElapsedTimer>
#include <QObject>
#include <QTimer>
#include <array>
#include <deque>
#include <functional>

#include "link/frame.h"

namespace hygro {

class Transport;
class UserPrompt;

// What a branch wants done after it has read an answer.
enum class BranchResult {
  Advance,  // go on with the next entry (or end the exchange after the last)
  Hold,     // stay on this entry and wait for the next answer (a stream)
  Resend,   // send this entry again (the branch may have changed it)
  Ended,    // the branch has ended the exchange itself
};

using Branch = std::function<BranchResult(QueuedCommand& entry, const ReceiveBuffer& rx)>;

class Exchange : public QObject {
  Q_OBJECT
 public:
  Exchange(Transport* port, UserPrompt* prompt, QObject* parent = nullptr);

  // The intervals of the exchange's timers; tests may shorten them.
  int TimeOutMs = 500;
  int MousePMs = 700;
  static constexpr int MaxRetries = 3;  // a frame is sent at most four times
  static constexpr int MaxRefusals = 10;

  CommandQueue queue;
  ReceiveBuffer rx;
  qint32 RetryCount = 0;
  qint32 NakCount = 0;

  bool busy() const { return queue.Count != 0; }
  // True while an answer is being handled: a modal box shown now would let
  // the next answer in before this one is done with.
  bool handlingAnswers() const { return handling_ > 0; }
  Transport* transport() const { return port_; }

  // Starts filling a new queue (Count = Current = 0).
  void Queue_Reset();
  // False when the queue is full; the entry is then dropped.
  bool Command_Add(quint8 p0, quint8 p1, quint8 p2, quint8 p3, CommMode mode, qint32 tag = 0);
  bool Command_Add(quint8 p1, quint8 p2, quint8 p3, CommMode mode = CommMode::None) {
    return Command_Add(1, p1, p2, p3, mode, 0);
  }
  void Real_Read_Add(CommMode mode, qint32 tag = 0);
  void Command_Send();
  void Pro_End();

  // Writes bytes outside the queue (the initialise sequence); nothing when closed.
  void Write_Raw(const QByteArray& bytes);

  // Ends the exchange because an answer carried a value the logger cannot
  // give: the message, then Pro_End. The port stays open.
  void Answer_Reject(const QString& text);
  // Forgets the frames still awaiting an answer (a new connection starts a
  // new line).
  void Line_Reset();
  // Frames written and not yet answered (resends count one each).
  bool timeOutArmed() const { return TimeOut.isActive(); }
  int outstanding() const { return static_cast<int>(sent_.size()); }

  void setBranch(int code, Branch branch);
  // The title of the exchange's message boxes: the logger name the window shows.
  void setTitleSource(std::function<QString()> title) { title_ = std::move(title); }

  // The texts of the two ways an exchange is abandoned.
  static QString TimeOutText();
  static QString RefusalText();

 Q_SIGNALS:
  void frameSent(const QByteArray& frame);
  void busyCursor(bool busy);  // mouse_p: a slow answer shows as busy
  // After Pro_End: the window redraws its status from what was read.
  void exchangeEnded();
  // The exchange was abandoned (time-out or refusals) and the port closed.
  void abandoned();
  // The answers that had come in have all been handled; what they raised for
  // the user may be shown now.
  void answersHandled();

 private:
  int handling_ = 0;
  void onReadyRead();
  bool listening() const;
  void gather();
  void gatherAnswers();
  void Receive_Dispatch();
  void onTimeOut();
  void abandon(const QString& text);
  QString title() const;
  // Whether the complete answer in rx belongs to the frame in flight. An
  // answer to an earlier frame (a late one, or one to a resend already
  // answered) is dropped by the caller.
  bool answerIsCurrent();
  void expireOutstanding(qint64 now);

  // A frame written and the answers still due for it: the logger answers in
  // the order it was asked, so each answer belongs to the oldest frame it can
  // answer. A stream request is owed one answer per point.
  struct Outstanding {
    QByteArray frame;
    qint64 writtenMs = 0;
    int due = 1;
  };
  std::deque<Outstanding> sent_;
  QElapsedTimer clock_;
  qint64 lastAnswerMs_ = 0;
  qint64 lastInputMs_ = 0;     // when the last byte came in
  QByteArray pending_;         // read, not yet gathered: bytes after an answer that
                               // ended the waiting
  QByteArray inFlight_;        // the frame last sent for the entry in flight
  bool holding_ = false;       // the entry in flight is taking a stream
  quint64 acceptedCount_ = 0;  // answers handed to branches, to tell a time-out
                               // whose answer was already waiting

  Transport* port_;
  UserPrompt* prompt_;
  QTimer TimeOut;
  QTimer mouse_p;
  bool inputArmed_ = false;  // InputTimer: answers are gathered only while armed
  std::array<Branch, 256> branches_{};
  std::function<QString()> title_;
};

}  // namespace hygro
