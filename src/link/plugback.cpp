#include "link/plugback.h"

#include "link/connection.h"
#include "link/exchange.h"
#include "link/portnames.h"
#include "link/transport.h"

namespace hygro {

PlugBack::PlugBack(Transport* port, Connection* connection, Exchange* exchange, QObject* parent)
    : QObject(parent), port_(port), connection_(connection), exchange_(exchange) {
  timer_.setInterval(500);
  connect(&timer_, &QTimer::timeout, this, &PlugBack::look);
  // Asked while the bridge is there: once it is gone the system knows nothing of it.
  connect(connection_, &Connection::connected, this, [this] {
    identity_ = port_->bridgeIdentity();
    timer_.stop();
  });
  connect(connection_, &Connection::pulledOut, this, [this] {
    attemptsLeft_ = Attempts;
    if (enabled_ && !identity_.isEmpty()) timer_.start();
  });
}

QString PlugBack::ReconnectedText(const QString& port) {
  return QStringLiteral("The logger was plugged back in: connected again (port %1).")
      .arg(PortDisplay(port));
}

void PlugBack::setEnabled(bool on) {
  enabled_ = on;
  if (!on) timer_.stop();
}

void PlugBack::look() {
  if (connection_->isConnected()) {
    timer_.stop();
    return;
  }
  // A connect or search of the user's (or this one's own, still waiting) runs.
  if (connection_->searching() || exchange_->busy()) return;
  const QString port = port_->findBridge(identity_);
  if (port.isEmpty()) {
    attemptsLeft_ = Attempts;  // each return gets its tries
    return;
  }
  if (attemptsLeft_ <= 0) return;
  --attemptsLeft_;
  if (connection_->reconnect(port)) {
    timer_.stop();
    Q_EMIT reconnected(ReconnectedText(port));
  }
}

}  // namespace hygro
