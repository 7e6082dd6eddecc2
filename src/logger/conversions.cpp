#include "logger/conversions.h"

#include "data/formats.h"

namespace hygro {

float TemperatureFromRaw(qint32 raw) {
  return static_cast<float>(static_cast<double>(raw) * 0.01 - 39.6);
}

float HumidityFromRaw(qint32 raw, float temperature) {
  const double r = raw;
  const double linear = -0.0000028 * r * r + 0.0405 * r - 4.0;
  return static_cast<float>((static_cast<double>(temperature) - 25.0) * (0.01 + 0.00008 * r) +
                            linear);
}

BoundBytes BoundToBytes(int degrees, bool alarmOn) {
  const qint32 raw = fmt::degreesToRaw(degrees);
  auto high = static_cast<quint8>((raw / 256) & 0xFF);
  if (alarmOn) high |= 0x80;
  return {high, static_cast<quint8>(raw % 256)};
}

}  // namespace hygro
