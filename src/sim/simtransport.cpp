#include "sim/simtransport.h"

#include "sim/pacing.h"

namespace hygro::sim {

SimTransport::SimTransport(QObject* parent) : SimTransport(nullptr, parent) {}

SimTransport::SimTransport(DeviceModel* model, QObject* parent)
    : hygro::Transport(parent),
      m_owned(model ? nullptr : std::make_unique<DeviceModel>()),
      m_model(model ? model : m_owned.get()),
      m_line(*m_model) {
  m_timer.setSingleShot(true);
  m_timer.setTimerType(Qt::PreciseTimer);
  connect(&m_timer, &QTimer::timeout, this, &SimTransport::deliver);
}

SimTransport::~SimTransport() = default;

void SimTransport::setPacing(bool on) {
  m_pacing = on;
  m_line.setBaud(on ? m_baud : 0);
}

void SimTransport::setBaud(int baud) {
  m_baud = baud;
  if (m_pacing) m_line.setBaud(baud);
}

bool SimTransport::open() {
  if (m_open) return false;  // already open: busy, like a real port
  if (!isPresent()) return false;
  m_open = true;
  m_rx.clear();
  m_line.reset();
  return true;
}

void SimTransport::close() {
  m_open = false;
  m_timer.stop();
  m_line.reset();
  m_rx.clear();
}

QByteArray SimTransport::readAll() {
  QByteArray out;
  out.swap(m_rx);
  return out;
}

qint64 SimTransport::write(const QByteArray& bytes) {
  if (!m_open) return -1;
  m_line.receive(bytes, monotonicMicros());
  arm();
  return bytes.size();
}

void SimTransport::unplug() {
  m_present = false;
  if (m_open) {
    close();
    emit disconnected();
  }
}

void SimTransport::arm() {
  if (m_line.unplugDue() && m_present) {
    // Pulled out by a fault setting: from the event loop, as a real unplug comes.
    QTimer::singleShot(0, this, [this] {
      if (m_present) unplug();
    });
    return;
  }
  if (!m_line.hasPending()) {
    m_timer.stop();
    return;
  }
  // Wake when the head answer is complete. Inside a stream the next answers
  // keep the line busy, so a late tick costs nothing; before the last answer
  // the program is waiting, so the remainder is slept off exactly.
  const qint64 delta = m_line.headAnswerDue() - monotonicMicros();
  m_timer.start(timerMillis(delta, m_line.headIsLast()));
}

void SimTransport::deliver() {
  if (!m_open) return;
  if (m_line.headIsLast()) {
    const qint64 due = m_line.headAnswerDue();
    const qint64 left = due - monotonicMicros();
    if (left > 0 && left <= kExactWindowUs) sleepUntilMicros(due);
  }
  const QByteArray bytes = m_line.takeDue(monotonicMicros());
  if (!bytes.isEmpty()) {
    m_rx.append(bytes);
    emit readyRead();
  }
  if (m_open) arm();
}

}  // namespace hygro::sim
