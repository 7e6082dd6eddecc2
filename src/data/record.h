#pragma once
// One sample as it lies in a scratch file: 80 bytes, little-endian, no padding.
// The layout is part of the file format, so it is pinned by static_asserts.
#include <QString>
#include <QtGlobal>
#include <cstddef>

namespace hygro {

#pragma pack(push, 1)
struct MeasurementRecord {
  static constexpr int kRemarksLength = 50;

  float Temperature = 0;  // degrees Celsius
  float Humidity = 0;     // %RH
  quint8 Spare[8] = {};   // never used; stays zero
  double Time = 0;        // date serial (days since 1899-12-30, local wall clock)
  float Block = 0;        // run number, counted from 1
  char Remarks[kRemarksLength] = {' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ',
                                  ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ',
                                  ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ',
                                  ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' '};
  char Filler[2] = {};

  // The 50 stored characters, trailing blanks included. The bytes are in the
  // system's 8-bit encoding (UTF-8 outside Windows).
  QString remarks() const;
  // Stores `text` blank-padded to 50 bytes, or cut to 50 at a character
  // boundary (a multi-byte character that does not fit is left out whole).
  void setRemarks(const QString& text);
};
#pragma pack(pop)

static_assert(sizeof(float) == 4 && sizeof(double) == 8);
static_assert(sizeof(MeasurementRecord) == 80);
static_assert(offsetof(MeasurementRecord, Temperature) == 0);
static_assert(offsetof(MeasurementRecord, Humidity) == 4);
static_assert(offsetof(MeasurementRecord, Spare) == 8);
static_assert(offsetof(MeasurementRecord, Time) == 16);
static_assert(offsetof(MeasurementRecord, Block) == 24);
static_assert(offsetof(MeasurementRecord, Remarks) == 28);
static_assert(offsetof(MeasurementRecord, Filler) == 78);
static_assert(
    Q_BYTE_ORDER == Q_LITTLE_ENDIAN,
    "scratch files are written by copying records; a big-endian host needs byte swapping");

}  // namespace hygro
