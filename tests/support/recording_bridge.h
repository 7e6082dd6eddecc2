#pragma once
#include <QList>

#include "link/bridge.h"

namespace hygro::test {

// Records every pin change and the mask it would put on the bridge.
class RecordingBridge : public BridgePins {
 public:
  QList<quint8> values;
  QList<quint8> masks;
  int status = BridgeFound;
  int set(quint8 value) override {
    values << value;
    masks << BridgeMask(value);
    return status;
  }
  bool usableWhilePortOpen() const override { return false; }
  QString name() const override { return QStringLiteral("recording"); }
};

}  // namespace hygro::test
