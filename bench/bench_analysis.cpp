// The evidence figures of a full set (32767 records) and its spreadsheet
// export. The set swings across both limits every few records, so the
// excursion list is as long as a real set's can get.
#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QTemporaryDir>

#include "analysis/analysis.h"
#include "analysis/spreadsheet.h"
#include "benchsupport.h"
#include "data/datasets.h"
#include "data/formats.h"

using namespace hygro;

namespace {

void fillFull(DataSets& ds, int set) {
  DataSetInfo& i = ds.info(set);
  i.Points = 0;
  i.Interval = 60;
  i.Model = ModelWithBounds();
  i.UpperRaw = fmt::degreesToRaw(30);
  i.UpperOn = true;
  i.LowerRaw = fmt::degreesToRaw(2);
  i.LowerOn = true;
  Stats_Clear(i.Stats);
  const double start = fmt::dateSerial(2010, 5, 1, 13, 4, 5);
  for (int n = 1; n <= kMaxPoints; ++n) {
    ++i.Points;
    MeasurementRecord rec;
    rec.Time = start + (n - 1) * 60 / 86400.0;
    // 0 to 34.9 C and back every 700 records, with a step that crosses a
    // limit every few records near the top and the bottom.
    rec.Temperature = static_cast<float>((n * 7) % 350) * 0.1f + ((n % 3) == 0 ? -2.5f : 0.0f);
    rec.Humidity = static_cast<float>(n % 1000) * 0.1f;
    rec.Block = static_cast<float>(1 + n / 5000);  // a gap every 5000 records
    rec.setRemarks(n % 100 == 0 ? QStringLiteral("Maximum temperature") : QString());
    ds.Put(set, n, rec);
    Stats_Add(rec, static_cast<qint16>(n), i.Stats);
  }
}

// Everything the statistics panel, the summary page and stats show.
void BM_Statistics(benchmark::State& state) {
  DataSets ds;
  fillFull(ds, LogData);
  analysis::Options options;
  options.limits = analysis::SetLimits(ds.info(LogData));
  size_t excursions = 0;
  for (auto _ : state) {
    const analysis::Statistics st = analysis::Analyse(ds, LogData, 1, kMaxPoints, options);
    excursions = st.excursions.size();
    benchmark::DoNotOptimize(st.mkt);
  }
  state.counters["records"] = kMaxPoints;
  state.counters["excursions"] = static_cast<double>(excursions);
}
BENCHMARK(BM_Statistics)->Unit(benchmark::kMillisecond);

// The workbook written to a file, as the export does.
void BM_Xlsx(benchmark::State& state) {
  QTemporaryDir dir;
  DataSets ds;
  fillFull(ds, LogData);
  analysis::SpreadsheetJob job;
  job.model = ModelWithBounds();
  job.recognitionName = QStringLiteral("ROOM1");
  job.options.limits = analysis::SetLimits(ds.info(LogData));
  const QString path = dir.filePath(QStringLiteral("out.xlsx"));
  QString error;
  for (auto _ : state) {
    if (!analysis::Xlsx_Write(ds, job, path, &error)) state.SkipWithError("export failed");
  }
  state.counters["records"] = kMaxPoints;
}
BENCHMARK(BM_Xlsx)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  return hygro::bench::RunBenchmarks<QCoreApplication>(argc, argv);
}
