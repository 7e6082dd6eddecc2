#pragma once
// Finding, identifying, connecting and disconnecting the logger, and noticing
// that its bridge has gone while idle.
#include <QObject>
#include <QTimer>
#include <functional>

#include "link/frame.h"
#include "link/transport.h"

class QEventLoop;

namespace hygro {

class Transport;
class BridgePins;
class Exchange;
class UserPrompt;

class Connection : public QObject {
  Q_OBJECT
 public:
  Connection(Transport* port, BridgePins* bridge, Exchange* exchange, UserPrompt* prompt,
             QObject* parent = nullptr);

  // Waits of the identification; tests may shorten them.
  int CloseWaitMs = 250;
  int PulseHighMs = 100;
  int PulseLowMs = 250;
  int AnswerWaitMs = 500;
  int IdentifyAttempts = 2;
  int ReattachWaitMs = 1000;
  // Before identifying, a logger still streaming (a download nobody took to
  // its end) is let finish: the line must be quiet this long, waiting at
  // most QuietMaxMs; after QuietNoticeMs the user is told.
  int QuietMs = 150;
  int QuietMaxMs = 30000;
  int QuietNoticeMs = 1500;
  static constexpr int SearchFirstPort = 16;

  QString BaudText = QStringLiteral("57600");
  QString ModelName = QStringLiteral("Hygrotab");

  static const QStringList& BaudChoices();
  static QString SettingsText(const QString& baudText) {
    return baudText + QStringLiteral(",n,8,1");
  }
  // The model named in an identification answer: the longer name first, since
  // "QM720-XCB" contains "QM720-XC". Empty when none is named.
  static QString ModelFromAnswer(const QByteArray& answer);
  static QByteArray IdentifyFrame();

  void Port_Settings_Apply(const QString& port);
  QString CommPort() const;
  // One attempt on one port; leaves the port open and returns the model on
  // success, returns empty with the port closed otherwise.
  QString Port_Set_Once(const QString& port);
  // The connect/disconnect toggle. "Once" tries the given port only; any
  // other mode searches the FTDI ports the system lists, then 16 down to 1.
  // Returns false when refused (an exchange or another search is running).
  bool Port_Set_Command(const QString& mode, const QString& port);
  // The disconnect action (also taken when the bridge disappears).
  void Command20_Click();
  // Connects to `port` as "Once" does, but a port that will not answer is
  // not announced: the caller tries again later. True when connected.
  bool reconnect(const QString& port);
  // For scripts started before the logger is plugged in: waits up to `ms`
  // for a bridge to appear (at `port`, or any the system lists when `port`
  // is empty) and a logger to answer on it, trying again every RetryMs
  // until `stop` says so. True when connected. Failed tries are not
  // announced: after a false the caller connects once more to say why.
  bool waitForLogger(const QString& port, int ms, const std::function<bool()>& stop);
  int RetryMs = 1000;
  // Ends a connect or search in progress at its next step, with the port
  // closed, "not connected" shown and nothing said: the user asked for it.
  // Does nothing when no search runs.
  void cancelSearch();
  bool searching() const { return searching_; }

  bool isConnected() const;
  // Why the last single-port attempt could not open its port; None when it
  // opened (or the transport cannot tell).
  PortOpenError lastOpenError() const { return lastOpenError_; }
  // "Communicating　Port<n>" or "Unconnection".
  QString StatusText() const;
  static QString StillSendingText(int seconds);
  // Added to "not connected." when the bridge refused the wake pulse.
  static QString NotWokenText() {
    return QStringLiteral(
        "The logger could not be woken through the bridge: the bridge refused to drive its "
        "pins. A sleeping logger does not answer until it is woken.");
  }
  static QString NotConnectedText(const QString& loggerName) {
    return loggerName + QStringLiteral(" not connected.");
  }

  // Asked after a logger was found and before it is talked to: the unsaved
  // data questions.
  std::function<void()> beforeConnect;
  // Appends the status read to the queue with the given mode.
  std::function<void(CommMode mode)> appendStatusRead;

  QTimer D_CHECK;

 Q_SIGNALS:
  void statusTextChanged(const QString& text);
  // Connecting or disconnecting: the logger state kept by the operations
  // (RecState) must be forgotten until the next status read.
  void clearRecState();
  void connected(const QString& model);
  // The device vanished while its port was open (before the exchange ends).
  void deviceLost();
  // The bridge was pulled out while connected (noticed by the port, or by
  // the idle presence check), after the connection was closed.
  void pulledOut();
  // A connect is about to try this port (the number of the port box where
  // the port has one, else its path); a search announces each in turn.
  void searchingPort(const QString& portName);

 private:
  void presenceCheck();
  void deviceGone();
  bool openPort();
  void waitForQuietLine();
  // Waits like Wait(), but a cancelled search ends the wait at once; false
  // when the search was cancelled.
  bool pause(int ms);

  Transport* port_;
  BridgePins* bridge_;
  Exchange* exchange_;
  UserPrompt* prompt_;
  PortOpenError lastOpenError_ = PortOpenError::None;
  bool searching_ = false;
  bool pinsRefused_ = false;  // by a bridge since the connect began
  bool cancelRequested_ = false;
  bool quiet_ = false;  // a failed connect says nothing
  QEventLoop* pauseLoop_ = nullptr;
};

}  // namespace hygro
