#include "data/record.h"

#include <QByteArray>
#include <cstring>

namespace hygro {

QString MeasurementRecord::remarks() const {
  char bytes[kRemarksLength];
  std::memcpy(bytes, Remarks, kRemarksLength);
  // A record that was never written (a hole in a recovered scratch file) holds
  // zero bytes; show them as the blanks an empty remark is made of.
  for (char& c : bytes) {
    if (c == '\0') c = ' ';
  }
  return QString::fromLocal8Bit(bytes, kRemarksLength);
}

void MeasurementRecord::setRemarks(const QString& text) {
  QByteArray bytes = text.toLocal8Bit();
  if (bytes.size() > kRemarksLength) {
    // Find the longest prefix of whole characters that fits. Every character
    // takes at least one byte, so no more than 50 of them can fit.
    qsizetype n = qMin<qsizetype>(text.size(), kRemarksLength);
    for (;; --n) {
      if (n > 0 && text.at(n - 1).isHighSurrogate()) continue;
      bytes = text.left(n).toLocal8Bit();
      if (bytes.size() <= kRemarksLength) break;
    }
  }
  std::memset(Remarks, ' ', kRemarksLength);
  std::memcpy(Remarks, bytes.constData(), static_cast<size_t>(bytes.size()));
}

}  // namespace hygro
