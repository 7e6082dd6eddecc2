#pragma once
// The FTDI bridge's four CBUS pins, wired to the logger: a pulse on them wakes
// it before identification. Backends differ by platform; the protocol code
// only sees this interface.
#include <QString>
#include <QStringList>
#include <functional>
#include <memory>

namespace hygro {

struct UsbBridge;

enum BridgeStatus : int { BridgeFound = 0, BridgeNotFound = 2 };

// The bit-bang mask for a wanted level: high nibble = all four pins outputs.
constexpr quint8 BridgeMask(quint8 value) { return static_cast<quint8>(value | 0xF0); }
constexpr quint8 kCbusBitBangMode = 0x20;

class BridgePins {
 public:
  virtual ~BridgePins() = default;
  // The bridge to drive from now on: the one behind the serial port at
  // `portPath` (a device path, or COMn), and no other device.
  virtual void setPort(const QString& portPath) { (void)portPath; }
  // Holds the bridge across the pin changes up to release(): a wake pulse's
  // two levels then cost the serial driver one detach, not two. Without a
  // claim each change claims and lets go by itself.
  virtual void claim() {}
  virtual void release() {}
  // Bridge_Pin_Set: drives CBUS0..3 to the low nibble of `value`. Returns the
  // listing status: BridgeFound, or BridgeNotFound when there is no bridge.
  virtual int set(quint8 value) = 0;
  // Whether the last pin change took the serial driver off the device for a
  // moment: its port may then come back late, or under another name.
  virtual bool detachedSerialDriver() const = 0;
  // Whether the pins are driven beside the serial driver, so the port may
  // stay open through the pulse.
  virtual bool keepsPortOpen() const { return false; }
  // Whether the bridge was there but refused a pin change since setPort()
  // (a chip without CBUS bit-bang, pins not set up for I/O, lines taken).
  virtual bool refused() const { return false; }
};

// No bridge to drive (the emulator, or a platform without a backend): every
// call succeeds and changes nothing.
class NoBridge : public BridgePins {
 public:
  int set(quint8) override { return BridgeFound; }
  bool detachedSerialDriver() const override { return false; }
};

// How the pins of one bridge are driven.
enum class PinBackend {
  None,      // no USB bridge behind the port, or nothing to drive it with
  GpioChip,  // the serial driver's "ftdi-cbus" GPIO lines: the tty stays open
  LibFtdi,   // CBUS bit-bang on the claimed USB device: the serial driver is detached
};
struct PinRoute {
  PinBackend backend = PinBackend::None;
  QString gpioChip;  // "gpiochip3" for PinBackend::GpioChip
};
// The route to the pins of `bridge`: the GPIO chip its serial driver made
// for it when the chip is labelled "ftdi-cbus" (`chipLabel` reads a chip's
// label), else the USB device itself when it is an FTDI bridge.
PinRoute ChoosePinRoute(const UsbBridge& bridge,
                        const std::function<QString(const QString& chip)>& chipLabel, bool haveGpio,
                        bool haveLibFtdi);

// The pins as this system can drive them: the bridge behind the port in use
// (Linux: found in sysfs; Windows: the D2XX device whose COM port it is),
// decided anew for every port.
std::unique_ptr<BridgePins> MakeSystemBridge();

}  // namespace hygro
