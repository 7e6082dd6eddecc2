#pragma once
// The emulated logger behind the transport interface, in the same process:
// the demo mode and the fast tests talk to it exactly as to a serial port.
// Answers always arrive later, from the event loop, never inside write().
#include <QByteArray>
#include <QString>
#include <QTimer>
#include <memory>

#include "link/transport.h"
#include "sim/devicemodel.h"
#include "sim/simline.h"

namespace hygro::sim {

class SimTransport : public hygro::Transport {
  Q_OBJECT
 public:
  // With its own device model.
  explicit SimTransport(QObject* parent = nullptr);
  // With a model owned by the caller (it must outlive the transport).
  explicit SimTransport(DeviceModel* model, QObject* parent = nullptr);
  ~SimTransport() override;

  DeviceModel& model() { return *m_model; }
  SimLine& line() { return m_line; }
  Faults& faults() { return m_line.faults(); }

  // The port id the logger is attached to ("1" unless changed); opening any
  // other port fails at once, as with a missing COM port.
  void setAttachedPort(const QString& port) { m_attached = port; }
  QString attachedPort() const { return m_attached; }

  // Pacing: when on, answers take their wire time at the baud set by
  // setBaud(); when off (the default) they arrive on the next event loop turn.
  void setPacing(bool on);
  bool pacing() const { return m_pacing; }

  // Pulls the logger out: closes the port, reports disconnected(), and fails
  // every further open until plugIn().
  void unplug();
  void plugIn() { m_present = true; }

  // Transport
  void setPort(const QString& port) override { m_port = port; }
  QString port() const override { return m_port; }
  void setBaud(int baud) override;
  int baud() const override { return m_baud; }
  bool open() override;
  void close() override;
  bool isOpen() const override { return m_open; }
  qint64 bytesAvailable() const override { return m_rx.size(); }
  QByteArray readAll() override;
  qint64 write(const QByteArray& bytes) override;
  void clearInput() override { m_rx.clear(); }
  bool isPresent() const override { return m_present && m_port == m_attached; }
  QStringList preferredPorts() const override { return {m_attached}; }
  // The emulated bridge is known by its port; it is there while plugged in.
  QString bridgeIdentity() const override { return m_open ? m_attached : QString(); }
  QString findBridge(const QString& identity) const override {
    return m_present && identity == m_attached ? m_attached : QString();
  }

 private:
  void deliver();
  void arm();

  std::unique_ptr<DeviceModel> m_owned;
  DeviceModel* m_model;
  SimLine m_line;
  QTimer m_timer;
  QString m_attached = QStringLiteral("1");
  QString m_port;
  int m_baud = 57600;
  bool m_pacing = false;
  bool m_open = false;
  bool m_present = true;
  QByteArray m_rx;
};

}  // namespace hygro::sim
