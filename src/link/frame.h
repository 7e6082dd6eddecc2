#pragma once
// The logger's wire form: every command is four values sent as a hundreds byte
// and a packed-BCD byte each, then 0xFF; answers mirror that form.
#include <QByteArray>
#include <QString>
#include <array>

namespace hygro {

// The exchange an entry belongs to. Each has its old word (CommModeWord), the
// name it goes by in traces and messages.
enum class CommMode {
  None,
  Real,
  RealCon,
  Download,
  Kiroten,
  TSet,
  LogStart,
  PortOpen,
  Yoyaku,
  TRead,  // the clock read without setting it
};
QString CommModeWord(CommMode mode);

struct QueuedCommand {
  quint8 P0 = 1;
  quint8 P1 = 0;  // command code
  quint8 P2 = 0;
  quint8 P3 = 0;
  hygro::CommMode CommMode = hygro::CommMode::None;
  qint32 Tag = 0;
};

struct CommandQueue {
  static constexpr int Capacity = 101;  // indices 0..100
  std::array<QueuedCommand, Capacity> entries{};
  qint16 Count = 0;    // entries added; 0 means no exchange is in progress
  qint16 Current = 0;  // the entry being exchanged
};

struct ReceiveBuffer {
  static constexpr int Capacity = 101;
  std::array<quint8, Capacity> bytes{};
  qint16 ReceiveCount = 0;
  // A branch reads the four decoded answer values from here.
  quint8 R(int k) const { return bytes[static_cast<size_t>(k)]; }
};

constexpr quint8 kTerminator = 0xFF;
constexpr quint8 kRefusal = 0xEE;

// One value on the wire: a hundreds byte, then a packed-BCD byte holding the
// tens and the units. The value of a pair as the low nibble of the hundreds
// byte and the two BCD digits read it, whatever they hold.
constexpr int WirePairValue(quint8 hundreds, quint8 bcd) {
  return (hundreds & 0x0F) * 100 + (bcd >> 4) * 10 + (bcd & 0x0F);
}
// Whether a pair is one the logger sends for a byte: a hundreds byte of 0 to
// 2, two decimal digits, and a value of at most 255.
constexpr bool WirePairIsByte(quint8 hundreds, quint8 bcd) {
  return hundreds <= 2 && (bcd >> 4) <= 9 && (bcd & 0x0F) <= 9 &&
         WirePairValue(hundreds, bcd) <= 255;
}

// The nine bytes of one entry.
QByteArray CommandFrame(const QueuedCommand& entry);
QByteArray CommandFrame(quint8 p0, quint8 p1, quint8 p2, quint8 p3);

// Decodes the last eight bytes before the terminator into R0..R3, stored back
// into bytes 0..3. A value whose source bytes lie outside the answer, or which
// does not fit a byte, leaves the raw byte in its place: a broken answer is
// decoded as far as it goes and never read out of bounds.
void DecodeAnswer(ReceiveBuffer& rx);

// Where the text of the version answer begins: after the last byte in front
// of the version byte that no text holds. Noise the line put in front of the
// text is not part of it. Equal to ReceiveCount - 1 when there is no text.
int VersionTextStart(const ReceiveBuffer& rx);

}  // namespace hygro
