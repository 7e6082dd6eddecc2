#pragma once
// The byte pipe to a logger. The exchange never creates one: the caller hands
// in a real serial port, the in-process emulator, or a test double, so the same
// protocol code runs on all of them.
#include <QByteArray>
#include <QObject>
#include <QString>
#include <QStringList>

namespace hygro {

// Why a port would not open.
enum class PortOpenError {
  None,
  NoSuchPort,
  InUse,             // another program holds it
  PermissionDenied,  // the user may not open it
  NotASerialPort,    // a directory, a plain file, /dev/null ...
  Other,
};

class Transport : public QObject {
  Q_OBJECT
 public:
  using QObject::QObject;
  ~Transport() override = default;

  // Port_Settings_Apply: which port (a COM-style number "1".."255" or a device
  // path) and the line speed; the line is always 8 data bits, no parity, 1 stop.
  virtual void setPort(const QString& port) = 0;
  virtual QString port() const = 0;
  virtual void setBaud(int baud) = 0;
  virtual int baud() const = 0;

  virtual bool open() = 0;  // false when the port does not exist or is busy
  // Why the last open() failed, and the system's words for it; None when it
  // did not fail or the transport cannot tell.
  virtual PortOpenError openError() const { return PortOpenError::None; }
  virtual QString openErrorText() const { return {}; }
  virtual void close() = 0;
  virtual bool isOpen() const = 0;

  virtual qint64 bytesAvailable() const = 0;
  virtual QByteArray readAll() = 0;
  virtual qint64 write(const QByteArray& bytes) = 0;
  virtual void clearInput() = 0;  // discards everything received and unread

  // Whether the device behind the port is still attached, asked of the system
  // without disturbing an open port (the idle presence check).
  virtual bool isPresent() const = 0;

  // Ports worth trying before the numeric search (FTDI bridges the system
  // lists); empty when the transport has no such notion.
  virtual QStringList preferredPorts() const { return {}; }

  // What names the bridge behind the open port both now and once it has been
  // pulled out and plugged back (its USB serial number, or its stable
  // /dev/serial/by-id name); empty when nothing does.
  virtual QString bridgeIdentity() const { return {}; }
  // The port the bridge named `identity` is on now; empty while it is not
  // plugged in.
  virtual QString findBridge(const QString& identity) const {
    (void)identity;
    return {};
  }

 Q_SIGNALS:
  void readyRead();
  // The device vanished while open; the port has already been closed.
  void disconnected();
};

}  // namespace hygro
