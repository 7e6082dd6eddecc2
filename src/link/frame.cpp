#include "link/frame.h"

namespace hygro {

QString CommModeWord(CommMode mode) {
  switch (mode) {
    case CommMode::None:
      return {};
    case CommMode::Real:
      return QStringLiteral("real");
    case CommMode::RealCon:
      return QStringLiteral("real_con");
    case CommMode::Download:
      return QStringLiteral("download");
    case CommMode::Kiroten:
      return QStringLiteral("kiroten");
    case CommMode::TSet:
      return QStringLiteral("T_Set");
    case CommMode::LogStart:
      return QStringLiteral("log_start");
    case CommMode::PortOpen:
      return QStringLiteral("port_open");
    case CommMode::Yoyaku:
      return QStringLiteral("yoyaku");
    case CommMode::TRead:
      return QStringLiteral("T_Read");
  }
  return {};
}

QByteArray CommandFrame(quint8 p0, quint8 p1, quint8 p2, quint8 p3) {
  const quint8 p[4] = {p0, p1, p2, p3};
  QByteArray frame(9, '\0');
  for (int j = 0; j < 4; ++j) {
    const int rest = p[j] % 100;
    frame[2 * j] = static_cast<char>(p[j] / 100);
    frame[2 * j + 1] = static_cast<char>(((rest / 10) << 4) | (rest % 10));
  }
  frame[8] = static_cast<char>(kTerminator);
  return frame;
}

QByteArray CommandFrame(const QueuedCommand& e) { return CommandFrame(e.P0, e.P1, e.P2, e.P3); }

void DecodeAnswer(ReceiveBuffer& rx) {
  const int n = rx.ReceiveCount;
  for (int k = 0; k < 4; ++k) {
    const int hi = n - 8 + 2 * k;
    const int lo = n - 7 + 2 * k;
    if (hi < 0 || lo >= ReceiveBuffer::Capacity) continue;
    const int value =
        WirePairValue(rx.bytes[static_cast<size_t>(hi)], rx.bytes[static_cast<size_t>(lo)]);
    if (value > 255) continue;
    rx.bytes[static_cast<size_t>(k)] = static_cast<quint8>(value);
  }
}

int VersionTextStart(const ReceiveBuffer& rx) {
  const int n = qMin<int>(rx.ReceiveCount, ReceiveBuffer::Capacity);
  int start = n - 1;
  while (start > 0) {
    const quint8 b = rx.bytes[static_cast<size_t>(start - 1)];
    if (b < 0x20 || b > 0x7E) break;
    --start;
  }
  return qMax(start, 0);
}

}  // namespace hygro
