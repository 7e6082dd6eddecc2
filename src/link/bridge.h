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
  // Whether the last pin change took the serial driver off the device for a
  // moment: its port may then come back late, or under another name.
  virtual bool detachedSerialDriver() const = 0;
};

// No bridge to drive (the emulator, or a platform without a backend): every
// call succeeds and changes nothing.
class NoBridge : public BridgePins {
 public:
  int set(quint8) override { return BridgeFound; }
  bool detachedSerialDriver() const override { return false; }
};

// The pins as this system can drive them, decided anew at every change (the
// device comes and goes): the kernel's GPIO lines of the FTDI serial driver
// where its EEPROM allows them, else libftdi (with the port closed), else
// nothing.
std::unique_ptr<BridgePins> MakeSystemBridge();

}  // namespace hygro
