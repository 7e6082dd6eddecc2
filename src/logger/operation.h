#pragma once
// The base of the logger operations, one object per family (status,
// real-time, recording, download, settings). Each owns its state, its timers
// and its signals, and reaches what they share (the link, the data sets, the
// view, the logger's status, the prompt) through the session that made it.
#include <QObject>

namespace hygro {

class DataSets;
class DataView;
class Exchange;
class Session;
class SessionClock;
class UserPrompt;
struct LoggerStatus;

class Operation : public QObject {
 public:
  // `status` is the session's LoggerStatus, which the operations fill.
  Operation(Session& session, LoggerStatus& status);

 protected:
  const SessionClock& clock() const;
  Exchange& x() const;
  DataSets& data() const;
  // What the user sees: the operations that bring in a set ask it to show it.
  DataView& dataView() const;
  LoggerStatus& st() const { return status_; }
  UserPrompt* prompt() const;
  QString model() const;
  bool busy() const;
  bool connected() const;
  // Starts the queued exchange through the session.
  void send() const;
  Session& s_;

 private:
  LoggerStatus& status_;
};

}  // namespace hygro
