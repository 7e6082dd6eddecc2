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

// Everything the statistics panel, the summary page and stats show.
void BM_Statistics(benchmark::State& state) {
  DataSets ds;
  bench::FillEvidenceSet(ds, LogData);
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
  bench::FillEvidenceSet(ds, LogData);
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
