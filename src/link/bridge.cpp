#include "link/bridge.h"

#include "link/portnames.h"

#ifdef HYGROTAB_HAVE_LIBFTDI
#include <ftdi.h>
#endif
#ifdef HYGROTAB_HAVE_LIBGPIOD
#include <gpiod.h>
#endif
#ifdef Q_OS_WIN
#include <windows.h>

#include <QRegularExpression>
#endif

namespace hygro {

PinRoute ChoosePinRoute(const UsbBridge& bridge,
                        const std::function<QString(const QString& chip)>& chipLabel, bool haveGpio,
                        bool haveLibFtdi) {
  if (!bridge.valid() || bridge.vendor != kFtdiVendor) return {};
  if (haveGpio) {
    for (const QString& chip : bridge.gpioChips)
      if (chipLabel(chip) == QLatin1String("ftdi-cbus")) return {PinBackend::GpioChip, chip};
  }
  if (haveLibFtdi) return {PinBackend::LibFtdi, {}};
  return {};
}

namespace {

#if defined(Q_OS_LINUX)

#ifdef HYGROTAB_HAVE_LIBGPIOD
constexpr bool kHaveGpio = true;
QString gpioChipLabel(const QString& chip) {
  gpiod_chip* c = gpiod_chip_open(QByteArray("/dev/" + chip.toLocal8Bit()).constData());
  if (!c) return {};
  const QString label = QString::fromUtf8(gpiod_chip_label(c));
  gpiod_chip_close(c);
  return label;
}
#else
constexpr bool kHaveGpio = false;
QString gpioChipLabel(const QString&) { return {}; }
#endif
#ifdef HYGROTAB_HAVE_LIBFTDI
constexpr bool kHaveLibFtdi = true;
#else
constexpr bool kHaveLibFtdi = false;
#endif

// The bridge behind the port in use, found in sysfs. Its pins go through the
// serial driver's GPIO lines where the chip has them (nothing is detached,
// the tty stays open), else through libftdi on exactly that USB device (bus
// and address), which detaches the serial driver until release().
class LinuxBridge : public BridgePins {
 public:
  ~LinuxBridge() override { letGo(); }

  void setPort(const QString& portPath) override {
    letGo();
    bridge_ = LocateUsbBridge(portPath);
    route_ = ChoosePinRoute(bridge_, gpioChipLabel, kHaveGpio, kHaveLibFtdi);
    refused_ = false;
  }
  void claim() override { claimed_ = true; }
  void release() override {
    claimed_ = false;
    letGo();
  }
  int set(quint8 value) override {
    detached_ = false;
    int status = BridgeNotFound;
    switch (route_.backend) {
      case PinBackend::GpioChip:
        status = driveGpio(value);
        break;
      case PinBackend::LibFtdi:
        status = driveFtdi(value);
        break;
      case PinBackend::None:
        break;
    }
    if (!claimed_) letGo();
    return status;
  }
  bool detachedSerialDriver() const override { return detached_; }
  bool keepsPortOpen() const override { return route_.backend == PinBackend::GpioChip; }
  bool refused() const override { return refused_; }

 private:
#ifdef HYGROTAB_HAVE_LIBGPIOD
  int driveGpio(quint8 value) {
    int levels[4];
    for (int i = 0; i < 4; ++i) levels[i] = (value >> i) & 1;
    if (linesHeld_) {
      if (gpiod_line_set_value_bulk(&lines_, levels) != 0) refused_ = true;
      return BridgeFound;
    }
    if (!chip_)
      chip_ = gpiod_chip_open(QByteArray("/dev/" + route_.gpioChip.toLocal8Bit()).constData());
    if (!chip_) return BridgeNotFound;
    // Lines whose pins the EEPROM gives another function are refused here,
    // and CBUS bit-bang would not drive them either: no second way is tried.
    unsigned int offsets[4] = {0, 1, 2, 3};
    if (gpiod_chip_get_lines(chip_, offsets, 4, &lines_) != 0 ||
        gpiod_line_request_bulk_output(&lines_, "hygrotab", levels) != 0) {
      refused_ = true;
      return BridgeFound;
    }
    linesHeld_ = true;
    return BridgeFound;
  }
#else
  int driveGpio(quint8) { return BridgeNotFound; }
#endif

#ifdef HYGROTAB_HAVE_LIBFTDI
  int driveFtdi(quint8 value) {
    if (!ftdi_) {
      ftdi_ = ftdi_new();
      if (!ftdi_) return BridgeNotFound;
      // Claiming the interface detaches ftdi_sio; letting go re-attaches it.
      ftdi_->module_detach_mode = AUTO_DETACH_REATACH_SIO_MODULE;
      ftdi_set_interface(ftdi_, static_cast<ftdi_interface>(INTERFACE_A + bridge_.interfaceNumber));
      if (ftdi_usb_open_bus_addr(ftdi_, static_cast<uint8_t>(bridge_.bus),
                                 static_cast<uint8_t>(bridge_.address)) != 0) {
        ftdi_free(ftdi_);
        ftdi_ = nullptr;
        return BridgeNotFound;
      }
    }
    detached_ = true;
    if (ftdi_set_bitmode(ftdi_, BridgeMask(value), kCbusBitBangMode) != 0) refused_ = true;
    return BridgeFound;
  }
#else
  int driveFtdi(quint8) { return BridgeNotFound; }
#endif

  void letGo() {
#ifdef HYGROTAB_HAVE_LIBGPIOD
    if (linesHeld_) gpiod_line_release_bulk(&lines_);
    linesHeld_ = false;
    if (chip_) gpiod_chip_close(chip_);
    chip_ = nullptr;
#endif
#ifdef HYGROTAB_HAVE_LIBFTDI
    if (ftdi_) {
      ftdi_usb_close(ftdi_);
      ftdi_free(ftdi_);
      detached_ = true;  // the serial driver comes back from here on
    }
    ftdi_ = nullptr;
#endif
  }

  UsbBridge bridge_;
  PinRoute route_;
  bool claimed_ = false;
  bool detached_ = false;
  bool refused_ = false;
#ifdef HYGROTAB_HAVE_LIBGPIOD
  gpiod_chip* chip_ = nullptr;
  gpiod_line_bulk lines_{};
  bool linesHeld_ = false;
#endif
#ifdef HYGROTAB_HAVE_LIBFTDI
  ftdi_context* ftdi_ = nullptr;
#endif
};

std::unique_ptr<BridgePins> makeBridge() { return std::make_unique<LinuxBridge>(); }

#elif defined(Q_OS_WIN)

// FTDI's D2XX library, loaded at run time (it comes with the driver). Only
// the device whose virtual COM port is the port in use is driven.
class D2xxBridge : public BridgePins {
 public:
  D2xxBridge() {
    lib_ = ::LoadLibraryW(L"ftd2xx.dll");
    if (!lib_) return;
    createList_ = reinterpret_cast<CreateList>(::GetProcAddress(lib_, "FT_CreateDeviceInfoList"));
    open_ = reinterpret_cast<Open>(::GetProcAddress(lib_, "FT_Open"));
    comPort_ = reinterpret_cast<ComPort>(::GetProcAddress(lib_, "FT_GetComPortNumber"));
    bitMode_ = reinterpret_cast<BitMode>(::GetProcAddress(lib_, "FT_SetBitMode"));
    close_ = reinterpret_cast<Close>(::GetProcAddress(lib_, "FT_Close"));
    if (!createList_ || !open_ || !comPort_ || !bitMode_ || !close_) {
      ::FreeLibrary(lib_);
      lib_ = nullptr;
    }
  }
  ~D2xxBridge() override {
    letGo();
    if (lib_) ::FreeLibrary(lib_);
  }

  void setPort(const QString& portPath) override {
    letGo();
    static const QRegularExpression com(QStringLiteral("^(?:\\\\\\\\\\.\\\\)?COM(\\d+)$"),
                                        QRegularExpression::CaseInsensitiveOption);
    const auto m = com.match(portPath.trimmed());
    comNumber_ = m.hasMatch() ? m.captured(1).toLong() : 0;
    refused_ = false;
  }
  void claim() override { claimed_ = true; }
  void release() override {
    claimed_ = false;
    letGo();
  }
  int set(quint8 value) override {
    if (!handle_ && !openOurs()) return BridgeNotFound;
    if (bitMode_(handle_, BridgeMask(value), kCbusBitBangMode) != 0) refused_ = true;
    if (!claimed_) letGo();
    return BridgeFound;
  }
  bool detachedSerialDriver() const override { return false; }
  bool refused() const override { return refused_; }

 private:
  using Handle = void*;
  using CreateList = unsigned long(WINAPI*)(unsigned long*);
  using Open = unsigned long(WINAPI*)(int, Handle*);
  using ComPort = unsigned long(WINAPI*)(Handle, long*);
  using BitMode = unsigned long(WINAPI*)(Handle, unsigned char, unsigned char);
  using Close = unsigned long(WINAPI*)(Handle);

  // Asks each device that can be opened for its COM port and keeps the one
  // whose port is ours; the others are closed again untouched.
  bool openOurs() {
    if (!lib_ || comNumber_ <= 0) return false;
    unsigned long count = 0;
    if (createList_(&count) != 0) return false;
    for (unsigned long i = 0; i < count; ++i) {
      Handle h = nullptr;
      if (open_(static_cast<int>(i), &h) != 0) continue;  // in use elsewhere: not ours to drive
      long port = -1;
      if (comPort_(h, &port) == 0 && port == comNumber_) {
        handle_ = h;
        return true;
      }
      close_(h);
    }
    return false;
  }
  void letGo() {
    if (handle_) close_(handle_);
    handle_ = nullptr;
  }

  HMODULE lib_ = nullptr;
  CreateList createList_ = nullptr;
  Open open_ = nullptr;
  ComPort comPort_ = nullptr;
  BitMode bitMode_ = nullptr;
  Close close_ = nullptr;
  Handle handle_ = nullptr;
  long comNumber_ = 0;
  bool claimed_ = false;
  bool refused_ = false;
};

std::unique_ptr<BridgePins> makeBridge() { return std::make_unique<D2xxBridge>(); }

#else

std::unique_ptr<BridgePins> makeBridge() { return std::make_unique<NoBridge>(); }

#endif

}  // namespace

std::unique_ptr<BridgePins> MakeSystemBridge() { return makeBridge(); }

}  // namespace hygro
