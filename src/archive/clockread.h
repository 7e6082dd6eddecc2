#pragma once
// Reads the logger's clock without setting it, to know how far it is from
// the PC's: the clock read-back commands (4: year and month, 5: day and hour,
// 6: minute and second) written while no exchange runs, their answers taken
// here. The exchange's own answer branches for them belong to the clock
// setting, which checks the clock against the time it sent.
#include <QByteArray>
#include <QObject>
#include <QTimer>
#include <optional>
#include <vector>

namespace hygro {

class Session;

class ClockReader : public QObject {
  Q_OBJECT
 public:
  explicit ClockReader(Session& session, QObject* parent = nullptr);

  // Starts a reading; false (and nothing sent) while an exchange runs or
  // answers to earlier frames may still come, or without a logger. done()
  // follows in any case once it has started.
  bool start();
  bool running() const { return running_; }
  // How long one answer may take, and how often a command is tried.
  int AnswerTimeoutMs = 500;
  int Attempts = 3;

 Q_SIGNALS:
  // The logger's clock minus the PC's local time, in whole seconds; nothing
  // when the clock could not be read or reads no date.
  void done(std::optional<qint64> offsetSeconds);

 private:
  void sendCurrent();
  void onReadyRead();
  void onTimeout();
  void answered(int d1, int d2);
  void finish(std::optional<qint64> offset);

  Session& s_;
  QTimer timer_;
  QByteArray rx_;
  std::vector<int> codes_;  // to send, in order
  size_t at_ = 0;
  int tries_ = 0;
  std::vector<std::pair<int, int>> answers_;
  double pcAtLast_ = 0;  // the PC's time when the last answer came
  bool running_ = false;
  QMetaObject::Connection readyRead_;
  QMetaObject::Connection gone_;
};

}  // namespace hygro
