#pragma once
// The logger's side of the byte format, written independently of the program's
// own framing code: if both shared one encoder, a mistake in it would make
// every conversation test pass anyway.
#include <QByteArray>
#include <QDateTime>
#include <array>
#include <cstdint>
#include <optional>

namespace hygro::sim::wire {

inline constexpr std::uint8_t kTerminator = 0xFF;
inline constexpr std::uint8_t kRefusal = 0xEE;

// Packed BCD of a two-digit number (0..99): tens in the high nibble.
std::uint8_t toBcd(int twoDigits);
// Inverse of toBcd; nullopt when a nibble is not a decimal digit.
std::optional<int> fromBcd(std::uint8_t byte);

// One value 0..255 as the line carries it: the hundreds, then the rest in BCD.
void appendValue(QByteArray& out, int value);

// A nine-byte command frame (the program's direction), terminator included.
QByteArray frame(int p0, int p1, int p2, int p3);
// A command as the program sends it: P0 = 1.
inline QByteArray command(int code, int a = 0, int b = 0) { return frame(1, code, a, b); }

// A nine-byte answer carrying four values, terminator included.
QByteArray answer(int r0, int r1, int r2, int r3);

// The refusal answer.
QByteArray refusal();

// The four values of a frame body (8 bytes, or 9 with the terminator);
// nullopt when a byte is not a valid hundreds/BCD pair or a value exceeds 255.
std::optional<std::array<int, 4>> decodeValues(const QByteArray& bytes);

// Six BCD bytes yy mm dd hh nn ss of a naive wall-clock time (year 2000..2099
// stored as two digits).
std::array<std::uint8_t, 6> bcdTime(const QDateTime& t);

// "YYYY-MM-DD hh:mm:ss" (or with a 'T') as a naive wall-clock time in the
// held as Qt::UTC, so that no time zone or daylight-saving rule ever shifts it.
std::optional<QDateTime> parseTime(const QString& text);

// The naive wall-clock time of a local QDateTime.
QDateTime naive(const QDateTime& local);

}  // namespace hygro::sim::wire
