#pragma once
#include <QList>
#include <functional>

#include "link/bridge.h"

namespace hygro::test {

// Records every pin change and the mask it would put on the bridge.
class RecordingBridge : public BridgePins {
 public:
  QList<quint8> values;
  QList<quint8> masks;
  int status = BridgeFound;
  std::function<void(quint8)> onSet;  // what the pin change does to the device
  int set(quint8 value) override {
    values << value;
    masks << BridgeMask(value);
    if (onSet) onSet(value);
    return status;
  }
  bool detaches = true;  // like libftdi: the pin change takes the serial driver away
  bool detachedSerialDriver() const override { return detaches; }
};

}  // namespace hygro::test
