#include "link/exchange.h"

#include "data/userprompt.h"
#include "link/transport.h"

namespace hygro {

namespace {
const QString kCr2 = QStringLiteral("\r\r");
}

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
}

void Exchange::Queue_Reset() {
  queue.Count = 0;
  queue.Current = 0;
}

bool Exchange::Command_Add(quint8 p0, quint8 p1, quint8 p2, quint8 p3, const QString& mode,
                           qint32 tag) {
  if (queue.Count < 0 || queue.Count >= CommandQueue::Capacity) return false;
  queue.entries[static_cast<size_t>(queue.Count)] = QueuedCommand{p0, p1, p2, p3, mode, tag};
  ++queue.Count;
  return true;
}

void Exchange::Real_Read_Add(const QString& mode, qint32 tag) {
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
  rx.ReceiveCount = 0;
  port_->clearInput();
  if (queue.Current < 0 || queue.Current >= CommandQueue::Capacity) return;
  const QByteArray frame = CommandFrame(queue.entries[static_cast<size_t>(queue.Current)]);
  mouse_p.start(MousePMs);
  TimeOut.start(TimeOutMs);
  inputArmed_ = true;
  if (port_->isOpen()) {
    port_->write(frame);
    Q_EMIT frameSent(frame);
  }
}

void Exchange::Write_Raw(const QByteArray& bytes) {
  if (port_->isOpen()) port_->write(bytes);
}

void Exchange::onReadyRead() {
  if (inputArmed_) gather();
}

void Exchange::gather() {
  while (inputArmed_ && port_->bytesAvailable() > 0) {
    const QByteArray chunk = port_->readAll();
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
      mouse_p.stop();
      TimeOut.stop();
      RetryCount = 0;
      const bool streaming =
          queue.Count > 0 &&
          queue.entries[static_cast<size_t>(queue.Current)].CommMode == QLatin1String("download");
      if (!streaming) inputArmed_ = false;
      Receive_Dispatch();
      // Bytes after a terminator belong to whatever comes next: the next
      // entry's answer (already sent, buffer restarted at 0) or the stream.
      // With no exchange left, or no answer awaited, they are noise and go.
      if (queue.Count == 0 || !inputArmed_) return;
    }
  }
}

void Exchange::Receive_Dispatch() {
  if (queue.Count == 0) return;
  if (rx.bytes[0] == kRefusal) {
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
      rx.ReceiveCount = 0;
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
  if (RetryCount < MaxRetries) {
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
  Q_EMIT abandoned();
  Pro_End();
}

void Exchange::Pro_End() {
  Q_EMIT busyCursor(false);
  queue.Count = 0;
  queue.Current = 0;
  mouse_p.stop();
  TimeOut.stop();
  inputArmed_ = false;
  rx.ReceiveCount = 0;
  NakCount = 0;
  RetryCount = 0;
  Q_EMIT exchangeEnded();
}

}  // namespace hygro
