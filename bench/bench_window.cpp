// The window's two costly moments: one step of a scroll bar (the limits anew
// and both graphs redrawn) on a large log, and filling the visible dump list
// with a full data set (the rows on screen painted).
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QScrollBar>
#include <QTreeView>

#include "app/graphpanel.h"
#include "benchsupport.h"
#include "data/datasets.h"
#include "data/dataview.h"
#include "data/dump.h"
#include "data/formats.h"

using namespace hygro;

namespace {

void fill(DataSets& ds, int set, int points, int stepSeconds) {
  DataSetInfo& info = ds.info(set);
  info.Points = 0;
  info.Interval = stepSeconds;
  info.Model = QStringLiteral("QM720-XC");
  Stats_Clear(info.Stats);
  const double start = fmt::dateSerial(2010, 5, 1, 13, 4, 5);
  for (int n = 1; n <= points; ++n) {
    ++info.Points;
    MeasurementRecord rec;
    rec.Time = start + (n - 1) * double(stepSeconds) / 86400.0;
    rec.Temperature = 20.0f + 5.0f * float((n * 37) % 100) / 100.0f;
    rec.Humidity = 50.0f + 20.0f * float((n * 53) % 100) / 100.0f;
    rec.Block = 1;
    ds.Put(set, n, rec);
    Stats_Add(rec, static_cast<qint16>(n), info.Stats);
  }
}

// A scroll step of the temperature position bar: Scroll_Set, then the
// temperature and humidity graphs, as the bar's change handler does.
void BM_ScrollStepRedraw(benchmark::State& state) {
  DataSets ds;
  fill(ds, LogData, static_cast<int>(state.range(0)), 60);
  DataView view;
  GraphPanel panel(ds, view);
  panel.resize(1000, 620);
  panel.show();
  QApplication::processEvents();
  panel.redraw();
  auto* span = panel.findChild<QScrollBar*>(QStringLiteral("HScroll1"));
  auto* pos = panel.findChild<QScrollBar*>(QStringLiteral("HScroll2"));
  span->setValue(span->minimum() + (span->maximum() - span->minimum()) / 2);
  int v = pos->minimum();
  for (auto _ : state) {
    v = v >= pos->maximum() ? pos->minimum() : v + 1;
    pos->setValue(v);  // the Change handler redraws synchronously
  }
  state.counters["points"] = double(ds.info(LogData).Points);
}
BENCHMARK(BM_ScrollStepRedraw)->Arg(15000)->Arg(32767)->Unit(benchmark::kMillisecond);

// Dump_Fill of a full set into the list on screen, with its visible rows
// painted at once.
void BM_DumpFillVisible(benchmark::State& state) {
  DataSets ds;
  fill(ds, LogData, kMaxPoints, 60);
  DumpModel model(ds);
  QTreeView view;
  view.setUniformRowHeights(true);
  view.setModel(&model);
  view.resize(800, 500);
  view.show();
  QApplication::processEvents();
  for (auto _ : state) {
    model.Dump_Fill(LogData);
    view.viewport()->repaint();
  }
  state.counters["rows"] = double(model.rowCount());
}
BENCHMARK(BM_DumpFillVisible)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) { return hygro::bench::RunBenchmarks<QApplication>(argc, argv); }
