#include "link/connection.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <algorithm>

#include "data/userprompt.h"
#include "link/bridge.h"
#include "link/exchange.h"
#include "link/frame.h"
#include "link/portnames.h"
#include "link/transport.h"
#include "link/wait.h"

namespace hygro {

namespace {
const QChar kIdeographicSpace(0x3000);
}

const QStringList& Connection::BaudChoices() {
  static const QStringList choices{QStringLiteral("9600"),  QStringLiteral("14400"),
                                   QStringLiteral("19200"), QStringLiteral("38400"),
                                   QStringLiteral("57600"), QStringLiteral("115200")};
  return choices;
}

Connection::Connection(Transport* port, BridgePins* bridge, Exchange* exchange, UserPrompt* prompt,
                       QObject* parent)
    : QObject(parent), port_(port), bridge_(bridge), exchange_(exchange), prompt_(prompt) {
  D_CHECK.setObjectName(QStringLiteral("D_CHECK"));
  D_CHECK.setInterval(500);
  connect(&D_CHECK, &QTimer::timeout, this, &Connection::presenceCheck);
  D_CHECK.start();
  connect(port_, &Transport::disconnected, this, &Connection::deviceGone);
  connect(exchange_, &Exchange::abandoned, this,
          [this] { Q_EMIT statusTextChanged(StatusText()); });
}

QString Connection::ModelFromAnswer(const QByteArray& answer) {
  for (const char* model : {"QM720-XCB", "QM720-XC", "QM510-XC"}) {
    if (answer.contains(model)) return QString::fromLatin1(model);
  }
  return {};
}

QByteArray Connection::IdentifyFrame() { return CommandFrame(1, 99, 0, 0); }

void Connection::Port_Settings_Apply(const QString& port) {
  port_->setPort(port);
  port_->setBaud(BaudText.toInt() > 0 ? BaudText.toInt() : 57600);
}

QString Connection::CommPort() const { return port_->port(); }

bool Connection::isConnected() const { return port_->isOpen(); }

QString Connection::StatusText() const {
  if (!port_->isOpen()) return QStringLiteral("Unconnection");
  return QStringLiteral("Communicating") + kIdeographicSpace + QStringLiteral("Port") +
         PortDisplay(CommPort());
}

bool Connection::openPort() { return port_->open(); }

QString Connection::StillSendingText(int seconds) {
  return QStringLiteral("The logger is still sending the data of an earlier download.") +
         QStringLiteral("\r\rWaiting for it to finish (at most %1 seconds).").arg(seconds);
}

void Connection::waitForQuietLine() {
  // Stream bytes read now would be taken for the identification's answer.
  exchange_->Line_Reset();
  QElapsedTimer total;
  total.start();
  QElapsedTimer quiet;
  quiet.start();
  bool told = false;
  WaitUntil(QuietMaxMs, [&] {
    if (!port_->isOpen() || cancelRequested_) return true;
    if (port_->bytesAvailable() > 0) {
      port_->readAll();
      quiet.restart();
    }
    if (!told && total.elapsed() >= QuietNoticeMs) {
      told = true;
      if (prompt_) prompt_->message(StillSendingText(QuietMaxMs / 1000), ModelName);
    }
    return quiet.elapsed() >= QuietMs;
  });
}

QString Connection::Port_Set_Once(const QString& port) {
  if (port_->isOpen()) port_->close();
  Port_Settings_Apply(port);
  lastOpenError_ = PortOpenError::None;
  if (!openPort()) {
    lastOpenError_ = port_->openError();
    return {};
  }
  QString model;
  for (int attempt = 0; attempt < IdentifyAttempts && model.isEmpty(); ++attempt) {
    // Only the bridge behind this port is woken, never another device.
    bridge_->setPort(PortPath(port_->port()));
    if (port_->isOpen() && !bridge_->keepsPortOpen()) port_->close();
    if (!pause(CloseWaitMs)) break;
    // The wake pulse, both levels under one claim of the bridge (the serial
    // driver is detached at most once); a missing bridge just skips it.
    bridge_->claim();
    bridge_->set(0xFF);
    const bool wholePulse = pause(PulseHighMs);
    bridge_->set(0);  // never leave the pins high
    bridge_->release();
    pinsRefused_ = pinsRefused_ || bridge_->refused();
    if (!wholePulse || !pause(PulseLowMs)) break;
    bool reopened = port_->isOpen();
    if (!reopened) {
      Port_Settings_Apply(port);
      reopened = openPort();
    }
    // A bridge whose serial driver was detached for the pulse needs a moment
    // before its port is there again.
    if (!reopened && bridge_->detachedSerialDriver())
      WaitUntil(ReattachWaitMs,
                [&] { return cancelRequested_ || reopened || (reopened = openPort()); });
    if (!reopened) break;
    waitForQuietLine();
    if (cancelRequested_) break;
    port_->clearInput();
    port_->write(IdentifyFrame());
    // The answer is complete at its terminator; waiting out the rest of the
    // half second would only slow every connect and port search.
    QByteArray answer;
    WaitUntil(AnswerWaitMs, [&] {
      if (port_->isOpen() && port_->bytesAvailable() > 0) answer += port_->readAll();
      return cancelRequested_ || answer.contains(static_cast<char>(kTerminator));
    });
    if (cancelRequested_) break;
    if (port_->isOpen()) answer += port_->readAll();
    model = ModelFromAnswer(answer);
  }
  if (model.isEmpty() || cancelRequested_) {
    if (port_->isOpen()) port_->close();
    return {};
  }
  ModelName = model;
  exchange_->Line_Reset();
  return model;
}

bool Connection::Port_Set_Command(const QString& mode, const QString& port) {
  // A click that arrives while a search waits must not start another, nor
  // take the port the search has open for a connection to end.
  if (searching_) return false;
  // Disconnecting may cut an exchange short; connecting waits for the end of one.
  if (port_->isOpen()) {
    Command20_Click();
    return true;
  }
  if (exchange_->busy()) return false;
  searching_ = true;
  cancelRequested_ = false;
  pinsRefused_ = false;
  struct SearchEnd {
    Connection* c;
    ~SearchEnd() { c->searching_ = false; }
  } searchEnd{this};
  const auto tryPort = [this](const QString& candidate) {
    Q_EMIT searchingPort(PortDisplay(candidate));
    return Port_Set_Once(candidate);
  };
  QString found;
  const bool once = mode == QLatin1String("Once");
  if (once) {
    // A port that cannot be named here is not tried.
    if (const QString problem = PortNameProblem(port); !problem.isEmpty()) {
      if (prompt_)
        prompt_->message(NotConnectedText(ModelName) + QStringLiteral("\r\r") + problem, ModelName);
      Q_EMIT statusTextChanged(StatusText());
      return true;
    }
    found = tryPort(port);
  } else {
    QStringList tried;
    for (const QString& candidate : port_->preferredPorts()) {
      tried << PortPath(candidate);
      found = tryPort(candidate);
      if (!found.isEmpty() || cancelRequested_) break;
    }
    for (int n = SearchFirstPort; n >= 1 && found.isEmpty() && !cancelRequested_; --n) {
      const QString candidate = QString::number(n);
      if (tried.contains(PortPath(candidate))) continue;
      found = tryPort(candidate);
    }
  }
  if (cancelRequested_) {
    if (port_->isOpen()) port_->close();
    Q_EMIT statusTextChanged(StatusText());
    return true;
  }
  searching_ = false;
  if (found.isEmpty()) {
    // One port tried: say why it would not open, when it would not.
    QString text = NotConnectedText(ModelName);
    if (once && lastOpenError_ != PortOpenError::None)
      text +=
          QStringLiteral("\r\r") + PortOpenErrorText(lastOpenError_, port, port_->openErrorText());
    // A logger asleep behind a bridge that would not pulse its pins cannot
    // answer: not the same as no logger at all.
    if (pinsRefused_) text += QStringLiteral("\r\r") + NotWokenText();
    if (prompt_ && !quiet_) prompt_->message(text, ModelName);
    Q_EMIT statusTextChanged(StatusText());
    return true;
  }
  if (beforeConnect) beforeConnect();
  Q_EMIT connected(found);
  Q_EMIT statusTextChanged(StatusText());
  Q_EMIT clearRecState();
  exchange_->Queue_Reset();
  exchange_->Command_Add(1, 16, 0, 0, CommMode::PortOpen);
  if (appendStatusRead) appendStatusRead(CommMode::PortOpen);
  exchange_->Command_Send();
  return true;
}

void Connection::Command20_Click() {
  if (port_->isOpen()) port_->close();
  Q_EMIT clearRecState();
  Q_EMIT statusTextChanged(StatusText());
  exchange_->Pro_End();
}

bool Connection::reconnect(const QString& port) {
  quiet_ = true;
  Port_Set_Command(QStringLiteral("Once"), port);
  quiet_ = false;
  return isConnected();
}

bool Connection::waitForLogger(const QString& port, int ms, const std::function<bool()>& stop) {
  QElapsedTimer waited;
  waited.start();
  const bool once = !port.isEmpty();
  for (;;) {
    bool there = false;
    if (once) {
      port_->setPort(port);
      there = port_->isPresent();
    } else {
      there = !port_->preferredPorts().isEmpty();
    }
    if (there) {
      quiet_ = true;
      Port_Set_Command(once ? QStringLiteral("Once") : QStringLiteral("Search"), port);
      quiet_ = false;
      if (isConnected()) return true;
    }
    const qint64 left = ms - waited.elapsed();
    if (left <= 0 || stop()) return false;
    WaitUntil(int(std::min<qint64>(left, RetryMs)), stop);
  }
}

void Connection::cancelSearch() {
  if (!searching_) return;
  cancelRequested_ = true;
  if (pauseLoop_) pauseLoop_->quit();
}

bool Connection::pause(int ms) {
  if (ms > 0 && !cancelRequested_) {
    QEventLoop loop;
    QTimer::singleShot(ms, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    pauseLoop_ = &loop;
    loop.exec();
    pauseLoop_ = nullptr;
  }
  return !cancelRequested_;
}

void Connection::presenceCheck() {
  if (exchange_->busy() || !port_->isOpen()) return;
  const int status = port_->isPresent() ? BridgeFound : BridgeNotFound;
  if (status == BridgeNotFound) {
    Command20_Click();
    Q_EMIT pulledOut();
  }
}

void Connection::deviceGone() {
  // The port is closed already; end whatever was running, once.
  Q_EMIT deviceLost();
  Q_EMIT clearRecState();
  Q_EMIT statusTextChanged(StatusText());
  exchange_->Pro_End();
  Q_EMIT pulledOut();
}

}  // namespace hygro
