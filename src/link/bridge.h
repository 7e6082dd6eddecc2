#pragma once
// The FTDI bridge's four CBUS pins, wired to the logger: a pulse on them wakes
// it before identification. Backends differ by platform; the protocol code
// only sees this interface.
#include <QString>
#include <memory>

namespace hygro {

enum BridgeStatus : int { BridgeFound = 0, BridgeNotFound = 2 };

// The bit-bang mask for a wanted level: high nibble = all four pins outputs.
constexpr quint8 BridgeMask(quint8 value) { return static_cast<quint8>(value | 0xF0); }
constexpr quint8 kCbusBitBangMode = 0x20;

class BridgePins {
 public:
  virtual ~BridgePins() = default;
  // Bridge_Pin_Set: drives CBUS0..3 to the low nibble of `value`. Returns the
  // listing status: BridgeFound, or BridgeNotFound when there is no bridge.
  virtual int set(quint8 value) = 0;
  // Whether the pins may be driven while the serial port is open (a backend
  // that detaches the kernel's serial driver may not).
  virtual bool usableWhilePortOpen() const = 0;
  virtual QString name() const = 0;
};

// No bridge to drive (the emulator, or a platform without a backend): every
// call succeeds and changes nothing.
class NoBridge : public BridgePins {
 public:
  int set(quint8) override { return BridgeFound; }
  bool usableWhilePortOpen() const override { return true; }
  QString name() const override { return QStringLiteral("none"); }
};

// The best backend this system offers: the kernel's GPIO lines of the FTDI
// serial driver, then libftdi, then none.
std::unique_ptr<BridgePins> MakeSystemBridge();

}  // namespace hygro
