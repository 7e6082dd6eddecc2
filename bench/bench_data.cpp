// CSV export and import of a full data set (32767 records) and filling the
// dump list with it. The dump fill is measured with the first screenful of
// cells read, as a view would after the fill.
#include <benchmark/benchmark.h>

#include <QBuffer>
#include <QCoreApplication>
#include <QTemporaryDir>

#include "benchsupport.h"
#include "data/csv.h"
#include "data/dump.h"
#include "data/formats.h"
#include "data/userprompt.h"

using namespace hygro;

namespace {

class SilentPrompt : public UserPrompt {
 public:
  void message(const QString&, const QString&) override {}
  bool question(QuestionId, const QString&, const QString&, SafeAnswer = SafeAnswer::Yes) override {
    return false;
  }
  std::optional<QString> saveFileName(const QString&, const QString&, bool*) override {
    return std::nullopt;
  }
  std::optional<QString> openFileName(const QString&) override { return std::nullopt; }
};

void fillFull(DataSets& ds, int set) {
  DataSetInfo& i = ds.info(set);
  i.Points = 0;
  i.Interval = 60;
  i.UpperRaw = 6960;
  i.UpperOn = true;
  Stats_Clear(i.Stats);
  const double start = fmt::dateSerial(2010, 5, 1, 13, 4, 5);
  for (int n = 1; n <= kMaxPoints; ++n) {
    ++i.Points;
    MeasurementRecord rec;
    rec.Time = start + (n - 1) * 60 / 86400.0;
    rec.Temperature = -10.0f + static_cast<float>(n % 5000) * 0.01f;
    rec.Humidity = 20.0f + static_cast<float>(n % 7000) * 0.01f;
    rec.Block = 1;
    rec.setRemarks(n % 100 == 0 ? QStringLiteral("Maximum temperature") : QString());
    ds.Put(set, n, rec);
    Stats_Add(rec, static_cast<qint16>(n), i.Stats);
  }
}

// A full set saved as in.csv in the folder, for the readers to measure with.
QString writeFullCsv(const QTemporaryDir& dir) {
  DataSets source;
  fillFull(source, LogData);
  const QString path = dir.filePath(QStringLiteral("in.csv"));
  QString err;
  Csv_Write(source, LogData, QStringLiteral("QM720-XC"), QStringLiteral("ROOM1"), path, &err);
  return path;
}

// Export to a file in the scratch folder, as the save command does.
void BM_CsvExport(benchmark::State& state) {
  QTemporaryDir dir;
  DataSets ds;
  QString err;
  ds.open(dir.path(), &err);
  fillFull(ds, LogData);
  const QString path = dir.filePath(QStringLiteral("out.csv"));
  for (auto _ : state) {
    if (!Csv_Write(ds, LogData, QStringLiteral("QM720-XC"), QStringLiteral("ROOM1"), path, &err))
      state.SkipWithError("export failed");
  }
  state.counters["rows"] = kMaxPoints;
}
BENCHMARK(BM_CsvExport)->Unit(benchmark::kMillisecond);

// Import from a file into FileData backed by its scratch file.
void BM_CsvImport(benchmark::State& state) {
  QTemporaryDir dir;
  const QString path = writeFullCsv(dir);
  DataSets ds;
  QString err;
  ds.open(dir.path(), &err);
  SilentPrompt prompt;
  for (auto _ : state) {
    if (Csv_Read(ds, path, prompt, QStringLiteral("QM720-XC")) != CsvOpenResult::Opened)
      state.SkipWithError("import failed");
  }
  state.counters["rows"] = ds.info(FileData).Points;
}
BENCHMARK(BM_CsvImport)->Unit(benchmark::kMillisecond);

void BM_DumpFill(benchmark::State& state) {
  DataSets ds;
  fillFull(ds, LogData);
  DumpModel model(ds);
  for (auto _ : state) {
    model.Dump_Fill(LogData);
    for (int r = 0; r < 40; ++r) {
      for (int c = 0; c < DumpModel::ColumnCount; ++c)
        benchmark::DoNotOptimize(model.data(model.index(r, c)));
    }
  }
  state.counters["rows"] = model.rowCount();
}
BENCHMARK(BM_DumpFill)->Unit(benchmark::kMillisecond);

// Sorting the full list by temperature text (a heading click).
void BM_DumpSortByTemperature(benchmark::State& state) {
  DataSets ds;
  fillFull(ds, LogData);
  DumpModel model(ds);
  model.Dump_Fill(LogData);
  for (auto _ : state) model.columnClick(DumpModel::TempColumn);
}
BENCHMARK(BM_DumpSortByTemperature)->Unit(benchmark::kMillisecond);

// Baseline for the import figure: a plain pass over the same file's bytes.
void BM_ReadFileBaseline(benchmark::State& state) {
  QTemporaryDir dir;
  const QString path = writeFullCsv(dir);
  for (auto _ : state) {
    QFile f(path);
    f.open(QIODevice::ReadOnly);
    const QByteArray all = f.readAll();
    benchmark::DoNotOptimize(all.count('\n'));
  }
}
BENCHMARK(BM_ReadFileBaseline)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  return hygro::bench::RunBenchmarks<QCoreApplication>(argc, argv);
}
