#include "link/bridge.h"

#include <QDir>
#include <QFile>

#ifdef HYGROTAB_HAVE_LIBFTDI
#include <ftdi.h>
#endif

#ifdef Q_OS_LINUX
#include <fcntl.h>
#include <linux/gpio.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstring>
#endif

namespace hygro {

namespace {

#ifdef Q_OS_LINUX
// The ftdi_sio driver exports the CBUS pins as a GPIO chip labelled
// "ftdi-cbus" when the EEPROM configures them for I/O. Driving them there keeps
// the tty open and the kernel driver attached.
QString findCbusChip() {
  const QDir dir(QStringLiteral("/sys/bus/gpio/devices"));
  for (const QString& entry : dir.entryList({QStringLiteral("gpiochip*")}, QDir::AllEntries)) {
    QFile label(QStringLiteral("/sys/bus/gpio/devices/%1/label").arg(entry));
    if (!label.open(QIODevice::ReadOnly)) continue;
    if (label.readAll().trimmed() == "ftdi-cbus") return QStringLiteral("/dev/") + entry;
  }
  return {};
}

// False when the lines cannot be had (not all four set up for I/O, or taken).
bool driveCbusChip(const QString& chip, quint8 value) {
  const int fd = ::open(chip.toLocal8Bit().constData(), O_RDWR | O_CLOEXEC);
  if (fd < 0) return false;
  gpiohandle_request req{};
  req.lines = 4;
  for (unsigned i = 0; i < 4; ++i) {
    req.lineoffsets[i] = i;
    req.default_values[i] = (value >> i) & 1U;
  }
  req.flags = GPIOHANDLE_REQUEST_OUTPUT;
  std::strncpy(req.consumer_label, "hygrotab", sizeof(req.consumer_label) - 1);
  const bool ok = ioctl(fd, GPIO_GET_LINEHANDLE_IOCTL, &req) == 0;
  if (ok) ::close(req.fd);
  ::close(fd);
  return ok;
}
#endif

#ifdef HYGROTAB_HAVE_LIBFTDI
// CBUS bit-bang through libftdi on the first FTDI device. Claiming the USB
// device detaches the kernel's serial driver (re-attached on close), so this
// only runs while the port is closed.
int driveWithLibFtdi(quint8 value) {
  ftdi_context* ftdi = ftdi_new();
  if (!ftdi) return BridgeNotFound;
  ftdi->module_detach_mode = AUTO_DETACH_REATACH_SIO_MODULE;
  int status = BridgeNotFound;
  static const int products[] = {0x6001, 0x6015, 0x6014, 0x6010};
  for (int pid : products) {
    if (ftdi_usb_open(ftdi, 0x0403, pid) == 0) {
      ftdi_set_bitmode(ftdi, BridgeMask(value), kCbusBitBangMode);
      ftdi_usb_close(ftdi);
      status = BridgeFound;
      break;
    }
  }
  ftdi_free(ftdi);
  return status;
}
#endif

class SystemBridge : public BridgePins {
 public:
  int set(quint8 value) override {
    detached_ = false;
#ifdef Q_OS_LINUX
    if (const QString chip = findCbusChip(); !chip.isEmpty() && driveCbusChip(chip, value))
      return BridgeFound;
#endif
#ifdef HYGROTAB_HAVE_LIBFTDI
    const int status = driveWithLibFtdi(value);
    detached_ = status == BridgeFound;
    return status;
#else
    (void)value;
    return BridgeFound;  // nothing to drive the pins with: nothing to notice either
#endif
  }
  bool detachedSerialDriver() const override { return detached_; }

 private:
  bool detached_ = false;
};

}  // namespace

std::unique_ptr<BridgePins> MakeSystemBridge() { return std::make_unique<SystemBridge>(); }

}  // namespace hygro
