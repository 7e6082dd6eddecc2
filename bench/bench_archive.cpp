// The archive: a 15000-point download kept (SQLite), the list of 1000 logs, a
// logger's year at one-minute intervals exported as CSV, and, once each, 100
// downloads of 15000 points loaded into SQLite and into PostgreSQL (a server
// of the benchmark's own, scripts/pg-scratch.sh) with the size on disk per
// million records.
#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <memory>

#include "archive/archive.h"
#include "archive/archivecsv.h"
#include "benchsupport.h"
#include "data/formats.h"
#include "logger/conversions.h"

using namespace hygro;

namespace {

constexpr int kDownloadPoints = 15000;
const qint64 kStart = ArchiveTimeFromSerial(fmt::dateSerial(2025, 1, 1, 0, 0, 0));

// A full logger's memory as the download fills the log set.
void fillDownload(DataSets& sets, int index) {
  DataSetInfo& info = sets.info(LogData);
  sets.EmptyPoints(LogData);
  info.Interval = 60;
  info.UpperRaw = 6960;
  info.UpperOn = true;
  info.Model = QStringLiteral("QM720-XC");
  info.Name = QStringLiteral("B%1").arg(index % 1000, 3, 10, QLatin1Char('0'));
  const double start = SerialFromArchiveTime(kStart + qint64(index) * kDownloadPoints * 60);
  for (int n = 1; n <= kDownloadPoints; ++n) {
    MeasurementRecord rec;
    rec.Temperature = TemperatureFromRaw(5000 + n % 3000);
    rec.Humidity = HumidityFromRaw(1200 + n % 1500, rec.Temperature);
    rec.Time = start + (n - 1) * 60 / 86400.0;
    rec.Block = 1;
    ++info.Points;
    sets.Put(LogData, n, rec);
    Stats_Add(rec, info.Points, info.Stats);
  }
}

ArchiveArrival downloadArrival(const DataSets& sets, int index) {
  ArchiveLogger logger{QStringLiteral("QM720-XC"), sets.info(LogData).Name, QStringLiteral(".02"),
                       QStringLiteral("FT%1").arg(index)};
  ArchiveArrival a = ArrivalFromSet(sets, LogData, logger);
  a.loop = false;
  a.atUtc = QDateTime::currentDateTimeUtc();
  return a;
}

// Archiving one download: the log set made an arrival and stored in one
// transaction, into an archive that already holds earlier downloads.
void BM_ArchiveDownload15000(benchmark::State& state) {
  QTemporaryDir dir;
  Archive archive(ArchiveTarget::sqliteFile(dir.filePath(QStringLiteral("a.sqlite"))));
  DataSets sets;
  int index = 0;
  QString why;
  for (auto _ : state) {
    state.PauseTiming();
    fillDownload(sets, index++);
    state.ResumeTiming();
    ArchiveStored stored;
    if (!archive.store(downloadArrival(sets, index), &stored, &why) ||
        stored.added != kDownloadPoints)
      state.SkipWithError(qPrintable(why));
  }
}
BENCHMARK(BM_ArchiveDownload15000)->Unit(benchmark::kMillisecond)->Iterations(20);

// What `archive list` does: open the archive, read every log's summary.
void BM_ArchiveList1000(benchmark::State& state) {
  QTemporaryDir dir;
  const QString path = dir.filePath(QStringLiteral("a.sqlite"));
  {
    Archive archive(ArchiveTarget::sqliteFile(path));
    QString why;
    for (int k = 0; k < 1000; ++k) {
      ArchiveArrival a;
      a.logger = {QStringLiteral("QM720-XC"), QStringLiteral("L%1").arg(k % 50),
                  QStringLiteral(".02"), QString()};
      a.start = kStart + qint64(k) * 86400;
      a.interval = 60;
      a.atUtc = QDateTime::currentDateTimeUtc();
      for (int i = 0; i < 100; ++i) a.records.push_back({a.start + i * 60, 20.5f, 50.5f, 1, {}});
      ArchiveStored stored;
      if (!archive.store(a, &stored, &why)) state.SkipWithError(qPrintable(why));
    }
  }
  for (auto _ : state) {
    Archive archive(ArchiveTarget::sqliteFile(path));
    std::vector<ArchiveLogSummary> logs;
    QString why;
    if (!archive.list(QString(), &logs, &why) || logs.size() != 1000)
      state.SkipWithError(qPrintable(why));
    benchmark::DoNotOptimize(logs.data());
  }
}
BENCHMARK(BM_ArchiveList1000)->Unit(benchmark::kMillisecond);

// A logger's year at one-minute intervals as one log, read and written as CSV.
void BM_ArchiveExportYear(benchmark::State& state) {
  QTemporaryDir dir;
  Archive archive(ArchiveTarget::sqliteFile(dir.filePath(QStringLiteral("a.sqlite"))));
  constexpr int kYear = 525600;
  ArchiveArrival a;
  a.logger = {QStringLiteral("QM720-XC"), QStringLiteral("YEAR"), QStringLiteral(".02"), {}};
  a.start = kStart;
  a.interval = 60;
  a.atUtc = QDateTime::currentDateTimeUtc();
  a.records.reserve(kYear);
  for (int i = 0; i < kYear; ++i) {
    const float t = TemperatureFromRaw(5000 + i % 3000);
    a.records.push_back({kStart + qint64(i) * 60, t, HumidityFromRaw(1200 + i % 1500, t), 1, {}});
  }
  ArchiveStored stored;
  QString why;
  if (!archive.store(a, &stored, &why)) state.SkipWithError(qPrintable(why));
  qint64 bytes = 0;
  for (auto _ : state) {
    ArchiveLog log;
    if (!archive.read(stored.logId, &log, &why)) state.SkipWithError(qPrintable(why));
    const QByteArray csv = ArchiveCsv(log);
    bytes = csv.size();
    benchmark::DoNotOptimize(csv.constData());
  }
  state.counters["csv_mb"] = static_cast<double>(bytes) / 1e6;
}
BENCHMARK(BM_ArchiveExportYear)->Unit(benchmark::kMillisecond)->Iterations(3);

// ---- 100 downloads of 15000 points, once, into each kind of archive

qint64 folderBytes(const QString& path) {
  qint64 total = 0;
  const QFileInfo fi(path);
  if (fi.isFile()) return fi.size();
  for (const QFileInfo& f :
       QDir(path).entryInfoList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden))
    total += f.isDir() ? folderBytes(f.filePath()) : f.size();
  return total;
}

// Loads the downloads; the wall time of all of them is the figure.
void load100(benchmark::State& state, Archive& archive) {
  DataSets sets;
  std::vector<ArchiveArrival> arrivals;
  for (int k = 0; k < 100; ++k) {
    fillDownload(sets, k);
    arrivals.push_back(downloadArrival(sets, k));
  }
  QString why;
  for (auto _ : state) {
    for (const ArchiveArrival& a : arrivals) {
      ArchiveStored stored;
      if (!archive.store(a, &stored, &why)) {
        state.SkipWithError(qPrintable(why));
        return;
      }
    }
  }
}

void BM_Load100DownloadsSqlite(benchmark::State& state) {
  QTemporaryDir dir;
  const QString path = dir.filePath(QStringLiteral("a.sqlite"));
  Archive archive(ArchiveTarget::sqliteFile(path));
  load100(state, archive);
  archive.close();
  state.counters["mb_per_million_records"] =
      static_cast<double>(folderBytes(path)) / 1e6 / (100.0 * kDownloadPoints / 1e6);
}
BENCHMARK(BM_Load100DownloadsSqlite)->Unit(benchmark::kMillisecond)->Iterations(1);

void BM_Load100DownloadsPostgres(benchmark::State& state) {
  QTemporaryDir dir;
  const QString script = QStringLiteral(HYGROTAB_SCRIPTS "/pg-scratch.sh");
  QProcess start;
  start.start(QStringLiteral("bash"), {script, QStringLiteral("start"), dir.path()});
  start.waitForFinished(120000);
  const QString conninfo = QString::fromLocal8Bit(start.readAllStandardOutput()).trimmed();
  if (start.exitCode() != 0 || conninfo.isEmpty()) {
    state.SkipWithError(start.readAllStandardError().constData());
    for (auto _ : state) {
    }
    return;
  }
  {
    ArchiveTarget target;
    QString why;
    ArchiveTarget::parse(conninfo, &target, &why);
    Archive archive(target);
    load100(state, archive);
    // The database's own size, less that of an empty one.
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), QStringLiteral("size"));
    db.setConnectOptions(QString(conninfo).replace(u' ', u';'));
    if (db.open()) {
      QSqlQuery q(db);
      q.exec(QStringLiteral("CHECKPOINT"));
      if (q.exec(QStringLiteral("SELECT pg_database_size('postgres') - "
                                "pg_database_size('template1')")) &&
          q.next())
        state.counters["mb_per_million_records"] =
            q.value(0).toDouble() / 1e6 / (100.0 * kDownloadPoints / 1e6);
    }
  }
  QSqlDatabase::removeDatabase(QStringLiteral("size"));
  QProcess stop;
  stop.start(QStringLiteral("bash"), {script, QStringLiteral("stop"), dir.path()});
  stop.waitForFinished(60000);
}
BENCHMARK(BM_Load100DownloadsPostgres)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace

int main(int argc, char** argv) {
  return hygro::bench::RunBenchmarks<QCoreApplication>(argc, argv);
}
