#include "logger/conversions.h"

#include <cmath>

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

BoundBytes BoundToBytes(qint32 raw, bool alarmOn) {
  auto high = static_cast<quint8>((raw / 256) & 0xFF);
  if (alarmOn) high |= 0x80;
  return {high, static_cast<quint8>(raw % 256)};
}

qint32 BoundRawFromDegrees(int degrees) {
  return static_cast<qint32>(std::lround((degrees + 39.6) * 100.0));
}

}  // namespace hygro
