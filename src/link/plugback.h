#pragma once
// Plug-back: when the bridge of a logger that was pulled out comes back (the
// same USB serial number, or the same /dev/serial/by-id name), the logger is
// connected again without anyone asking. Only a pull-out arms it: a user who
// disconnected stays disconnected.
#include <QObject>
#include <QTimer>

namespace hygro {

class Transport;
class Connection;
class Exchange;

class PlugBack : public QObject {
  Q_OBJECT
 public:
  PlugBack(Transport* port, Connection* connection, Exchange* exchange, QObject* parent = nullptr);

  bool enabled() const { return enabled_; }
  // Off: a bridge coming back is left alone (and watching stops).
  void setEnabled(bool on);
  // Whether a pulled-out bridge is being waited for.
  bool watching() const { return timer_.isActive(); }
  // Tries on one return of the bridge before waiting for the next.
  int Attempts = 3;
  QTimer timer_;  // how often the system's ports are looked at (500 ms)

  static QString ReconnectedText(const QString& port);

 Q_SIGNALS:
  // The bridge came back and the logger answered on it: what to tell the user.
  void reconnected(const QString& text);

 private:
  void look();

  Transport* port_;
  Connection* connection_;
  Exchange* exchange_;
  QString identity_;  // of the bridge last connected
  bool enabled_ = true;
  int attemptsLeft_ = 0;
};

}  // namespace hygro
