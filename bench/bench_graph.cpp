// Redrawing the graphs of a full data set (32767 records) at 1280x400, with
// the limits recomputed first as every scroll-bar change does. The curve is
// measured both as drawn (one span per pixel column) and with one line per
// pair of records, the baseline it replaces.
#include <benchmark/benchmark.h>

#include <QGuiApplication>
#include <QImage>
#include <cmath>

#include "benchsupport.h"
#include "data/datasets.h"
#include "data/formats.h"
#include "graph/render_graph.h"

using namespace hygro;

namespace {

const QString kUnitC = QStringLiteral("C");

// Ten-second records over almost four days, with a run break now and then.
DataSets& fullSet() {
  static DataSets ds;
  static bool filled = false;
  if (!filled) {
    const double start = fmt::dateSerial(2023, 6, 1, 8, 0, 0);
    int block = 1;
    for (int n = 1; n <= kMaxPoints; ++n) {
      if (n % 8000 == 0) ++block;
      MeasurementRecord r;
      r.Time = start + (n - 1) * 10.0 / 86400.0;
      r.Temperature = float(22 + 6 * std::sin(n / 1500.0) + 0.3 * std::sin(n * 0.7));
      r.Humidity = float(55 - 15 * std::sin(n / 1500.0) + 2 * std::cos(n * 0.3));
      r.Block = float(block);
      ds.Put(FileData, n, r);
    }
    ds.info(FileData).Points = kMaxPoints;
    ds.info(FileData).Model = QStringLiteral("QM720-XC");
    filled = true;
  }
  return ds;
}

void BM_ScrollSet(benchmark::State& state) {
  DataSets& ds = fullSet();
  const ScrollState initial = InitialScrollState();
  for (auto _ : state) benchmark::DoNotOptimize(Scroll_Set(ds, FileData, initial, false));
}
BENCHMARK(BM_ScrollSet)->Unit(benchmark::kMicrosecond);

// One whole graph; range(0): 0 temperature, 1 humidity.
void BM_Graph(benchmark::State& state) {
  DataSets& ds = fullSet();
  QImage image(1280, 400, QImage::Format_RGB32);
  const GraphColorTable colors = Graph_Color_Set();
  for (auto _ : state) {
    const ScrollState bars = Scroll_Set(ds, FileData, InitialScrollState(), false);
    Surface surface(image);
    const bool drawn = state.range(0) == 0 ? Temp_Graph(surface, ds, FileData, bars, colors)
                                           : Humi_Graph(surface, ds, FileData, bars, colors);
    benchmark::DoNotOptimize(drawn);
  }
}
BENCHMARK(BM_Graph)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// The curve alone: range(0) 0 per-column spans, 1 a line per record.
void BM_Curve(benchmark::State& state) {
  DataSets& ds = fullSet();
  QImage image(1280, 400, QImage::Format_RGB32);
  const GraphColorTable colors = Graph_Color_Set();
  const ScrollState bars = Scroll_Set(ds, FileData, InitialScrollState(), false);
  const double S = std::llround(bars.HScroll1.value * bars.ScrollUnit);
  for (auto _ : state) {
    Surface surface(image);
    surface.Scale(S, 40, -S / 20, -4);
    surface.ClipTo(S, 40, 0, 0);
    Graph_Data_Draw(surface, S, 0, 0, 40, kUnitC, ds, FileData, bars.GraphEndTime, colors,
                    state.range(0) == 1);
  }
}
BENCHMARK(BM_Curve)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) { return hygro::bench::RunBenchmarks<QGuiApplication>(argc, argv); }
