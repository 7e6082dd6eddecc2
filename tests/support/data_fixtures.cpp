#include "support/data_fixtures.h"

#include <QFile>

#include "data/formats.h"

#ifdef Q_OS_UNIX
#include <signal.h>
#include <sys/resource.h>
#endif

namespace hygro::test {

void fillReferenceSet(DataSets& sets, int set) {
  struct Row {
    int d, h, mi, s;
    float t, rh;
    const char* remark;
  };
  static const Row rows[] = {
      {1, 13, 4, 5, 23.456f, 55.1f, ""},
      {1, 13, 14, 5, 0.04f, 100.0f, "door open"},
      {2, 0, 0, 0, -0.25f, 0.5f, "Sensor moved to the north wall, next to the window"},
      {2, 0, 10, 0, -5.0f, 9.5f, " Maximum temperature"},
  };
  DataSetInfo& info = sets.info(set);
  info.Points = 0;
  Stats_Clear(info.Stats);
  info.Interval = 600;
  info.UpperRaw = fmt::degreesToRaw(30);
  info.UpperOn = true;
  info.LowerRaw = fmt::degreesToRaw(-5);
  info.LowerOn = false;
  for (const Row& r : rows)
    addSample(sets, set, r.t, r.rh, QString::fromLatin1(r.remark),
              fmt::dateSerial(2010, 5, r.d, r.h, r.mi, r.s));
  info.Modified = true;
}

bool addSample(DataSets& sets, int set, float t, float h, const QString& remark, double time) {
  DataSetInfo& info = sets.info(set);
  ++info.Points;
  MeasurementRecord rec;
  rec.Temperature = t;
  rec.Humidity = h;
  rec.Time = time != 0 ? time : fmt::dateSerial(2010, 5, 1, 12, 0, 0) + (info.Points - 1) / 1440.0;
  rec.Block = 1;
  rec.setRemarks(remark);
  const bool written = sets.Put(set, info.Points, rec);
  Stats_Add(rec, info.Points, info.Stats);
  return written;
}

MeasurementRecord makeRecord(float t, float h, double time, float block) {
  MeasurementRecord rec;
  rec.Temperature = t;
  rec.Humidity = h;
  rec.Time = time;
  rec.Block = block;
  return rec;
}

bool writeScratchFile(const QString& path, const QList<MeasurementRecord>& records,
                      const QByteArray& tail) {
  QFile f(path);
  if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate)) return false;
  for (const MeasurementRecord& r : records) {
    if (f.write(reinterpret_cast<const char*>(&r), sizeof r) != qint64(sizeof r)) return false;
  }
  return f.write(tail) == tail.size();
}

QString csvFixture(const QString& name) {
  return QStringLiteral(HYGROTAB_TEST_DATA "/csv/") + name;
}

QByteArray readFile(const QString& path) {
  QFile f(path);
  return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

FileSizeLimit::FileSizeLimit(qint64 bytes) {
#ifdef Q_OS_UNIX
  // Exceeding the limit would otherwise kill the process with SIGXFSZ.
  ::signal(SIGXFSZ, SIG_IGN);
  rlimit lim{};
  if (::getrlimit(RLIMIT_FSIZE, &lim) != 0) return;
  oldSoft_ = lim.rlim_cur;
  lim.rlim_cur = static_cast<rlim_t>(bytes);
  active_ = ::setrlimit(RLIMIT_FSIZE, &lim) == 0;
#else
  Q_UNUSED(bytes);
#endif
}

FileSizeLimit::~FileSizeLimit() {
#ifdef Q_OS_UNIX
  if (!active_) return;
  rlimit lim{};
  ::getrlimit(RLIMIT_FSIZE, &lim);
  lim.rlim_cur = static_cast<rlim_t>(oldSoft_);
  ::setrlimit(RLIMIT_FSIZE, &lim);
#endif
}

const double kNoon = fmt::dateSerial(2010, 5, 1, 12, 0, 0);

void fillSeconds(DataSets& sets, int set, int n, int step, float t0) {
  for (int i = 0; i < n; ++i)
    addSample(sets, set, t0 + 0.01f * float(i % 500), 50.0f, {}, kNoon + i * step / 86400.0);
}

}  // namespace hygro::test
