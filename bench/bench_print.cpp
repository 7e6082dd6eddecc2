// Writing print PDFs: the dump of 15000 records (some 400 pages) and the
// graph page of the same set, each to a file in a temporary folder. The
// baseline is the same dump drawn onto pictures, which costs the layout and
// the text drawing without the PDF writing.
#include <benchmark/benchmark.h>

#include <QGuiApplication>
#include <QTemporaryDir>
#include <cmath>

#include "data/datasets.h"
#include "data/dump.h"
#include "data/formats.h"
#include "print/render_print.h"

using namespace hygro;

namespace {

constexpr int kRows = 15000;

// Ten-minute records over about a hundred days.
DataSets& dumpSet() {
  static DataSets ds;
  static bool filled = false;
  if (!filled) {
    const double start = fmt::dateSerial(2023, 6, 1, 8, 0, 0);
    DataSetInfo& info = ds.info(LogData);
    Stats_Clear(info.Stats);
    for (int n = 1; n <= kRows; ++n) {
      MeasurementRecord r;
      r.Time = start + (n - 1) * 600.0 / 86400.0;
      r.Temperature = float(22 + 6 * std::sin(n / 150.0) + 0.3 * std::sin(n * 0.7));
      r.Humidity = float(55 - 15 * std::sin(n / 150.0) + 2 * std::cos(n * 0.3));
      r.Block = 1;
      ds.Put(LogData, n, r);
      Stats_Add(r, static_cast<qint16>(n), info.Stats);
    }
    info.Points = kRows;
    info.Interval = 600;
    info.Model = QStringLiteral("QM720-XC");
    filled = true;
  }
  return ds;
}

const PrintJob kJob{LogData, QStringLiteral("BENCH"), 1000, 2000};

void BM_DumpPdf(benchmark::State& state) {
  DataSets& ds = dumpSet();
  DumpModel rows(ds);
  rows.Dump_Fill(LogData);
  QTemporaryDir dir;
  const QString path = dir.filePath(QStringLiteral("dump.pdf"));
  for (auto _ : state) {
    QString error;
    const bool ok = WritePdf(
        path, [&](PageOutput& out) { return PrintDump(out, ds, kJob, rows); }, &error);
    if (!ok) state.SkipWithError("the PDF was not written");
  }
}
BENCHMARK(BM_DumpPdf)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

void BM_DumpImages(benchmark::State& state) {
  DataSets& ds = dumpSet();
  DumpModel rows(ds);
  rows.Dump_Fill(LogData);
  for (auto _ : state) {
    ImageOutput out({1240, 1754}, 150);
    out.setKeptPages(1);
    if (!PrintDump(out, ds, kJob, rows)) state.SkipWithError("not drawn");
    benchmark::DoNotOptimize(out.pageCount());
  }
}
BENCHMARK(BM_DumpImages)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

void BM_GraphPdf(benchmark::State& state) {
  DataSets& ds = dumpSet();
  const ScrollState view = Scroll_Set(ds, LogData, InitialScrollState(), false);
  QTemporaryDir dir;
  const QString path = dir.filePath(QStringLiteral("graph.pdf"));
  for (auto _ : state) {
    QString error;
    const bool ok = WritePdf(
        path, [&](PageOutput& out) { return PrintGraphs(out, ds, kJob, view); }, &error);
    if (!ok) state.SkipWithError("the PDF was not written");
  }
}
BENCHMARK(BM_GraphPdf)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

}  // namespace

int main(int argc, char** argv) {
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QGuiApplication app(argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
