#pragma once
#include <QList>
#include <QStringList>
#include <functional>

#include "link/bridge.h"

namespace hygro::test {

// Records every pin change and the mask it would put on the bridge, and in
// `calls` the order of everything asked of it ("port /dev/ttyUSB0", "claim",
// "set FF", "set 0", "release").
class RecordingBridge : public BridgePins {
 public:
  QList<quint8> values;
  QList<quint8> masks;
  QStringList calls;
  int status = BridgeFound;
  std::function<void(quint8)> onSet;  // what the pin change does to the device
  void setPort(const QString& portPath) override { calls << QStringLiteral("port ") + portPath; }
  void claim() override { calls << QStringLiteral("claim"); }
  void release() override { calls << QStringLiteral("release"); }
  int set(quint8 value) override {
    values << value;
    masks << BridgeMask(value);
    calls << QStringLiteral("set ") + QString::number(int(value), 16).toUpper();
    if (onSet) onSet(value);
    return status;
  }
  bool detaches = true;  // like libftdi: the pin change takes the serial driver away
  bool detachedSerialDriver() const override { return detaches; }
  bool keepOpen = false;  // like the serial driver's GPIO lines
  bool keepsPortOpen() const override { return keepOpen; }
  bool refuse = false;  // like QEMU's chip, which has no CBUS bit-bang
  bool refused() const override { return refuse; }
};

}  // namespace hygro::test
