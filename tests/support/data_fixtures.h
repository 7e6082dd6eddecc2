#pragma once
// The data set behind the reference CSV files in tests/data/csv, and small
// helpers for the data tests.
#include <QByteArray>
#include <QList>
#include <QString>

#include "data/datasets.h"

namespace hygro::test {

// Four records: 23.456 / 55.1 with an empty remark, 0.04 / 100, -0.25 / 0.5 at
// exactly midnight with a 50-character remark, -5 / 9.5 ten minutes later.
// Interval 600, upper bound 30 on, lower bound off.
void fillReferenceSet(DataSets& sets, int set);
inline const QString kReferenceName = QStringLiteral("ROOM1");

// Appends one record (block 1, at `time`, else a minute after the one before
// from noon of 2010-05-01) and adds it to the statistics. False when Put fails.
bool addSample(DataSets& sets, int set, float t, float h, const QString& remark = {},
               double time = 0);

// Noon of 2010-05-01: where the window tests' sample sets begin.
extern const double kNoon;
// `n` samples `step` seconds apart from kNoon, the temperature rising from t0.
void fillSeconds(DataSets& sets, int set, int n, int step, float t0 = 20.0f);

// A record as a writer leaves it once its values are in (run number 1 unless
// `block` says otherwise; 0 is a sample still waiting for its answers).
MeasurementRecord makeRecord(float t, float h, double time, float block = 1);
// Writes the records as a scratch file does, then `tail` (a torn record).
bool writeScratchFile(const QString& path, const QList<MeasurementRecord>& records,
                      const QByteArray& tail = {});

QString csvFixture(const QString& name);  // path in tests/data/csv
QByteArray readFile(const QString& path);

// Makes the disk look full for this process: while an instance lives, no
// file can grow beyond `bytes` (writes past it fail with EFBIG, as a full disk
// fails with ENOSPC). active() is false where that cannot be done.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(qint64 bytes);
  ~FileSizeLimit();
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  bool active() const { return active_; }

 private:
  bool active_ = false;
  quint64 oldSoft_ = 0;
};

}  // namespace hygro::test
