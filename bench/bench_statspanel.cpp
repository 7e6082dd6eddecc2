// The statistics panel after one step of the temperature graph's position
// bar on a full set (32767 records): the records in the new window found,
// their figures computed and written into the table, as the panel does when
// the view announces the step.
#include <benchmark/benchmark.h>

#include <QApplication>

#include "benchsupport.h"
#include "data/formats.h"
#include "data/graphwindow.h"
#include "dialogs/statspanel.h"
#include "link/bridge.h"
#include "logger/session.h"
#include "sim/simtransport.h"

using namespace hygro;

namespace {

class SilentPrompt : public UserPrompt {
 public:
  void message(const QString&, const QString&) override {}
  bool question(QuestionId, const QString&, const QString&, SafeAnswer safe) override {
    return safe == SafeAnswer::Yes;
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
    rec.Temperature = static_cast<float>((n * 7) % 350) * 0.1f + ((n % 3) == 0 ? -2.5f : 0.0f);
    rec.Humidity = static_cast<float>(n % 1000) * 0.1f;
    rec.Block = static_cast<float>(1 + n / 5000);
    ds.Put(set, n, rec);
    Stats_Add(rec, static_cast<qint16>(n), i.Stats);
  }
}

void BM_StatsPanelScrollStep(benchmark::State& state) {
  SilentPrompt prompt;
  Session session(std::make_unique<sim::SimTransport>(), std::make_unique<NoBridge>(), &prompt);
  fillFull(session.data(), LogData);
  session.dataView().setDataSetIndex(LogData);
  // Half of the set in the window, stepped back one bar step at a time.
  ScrollState bars = Scroll_Set(session.data(), LogData, InitialScrollState(), false);
  bars.HScroll1.value = bars.HScroll1.min / 2;
  bars = Scroll_Set(session.data(), LogData, bars, false);
  session.dataView().setScrollState(bars);
  StatsPanel panel(&session);
  panel.resize(420, 700);
  panel.show();
  QApplication::processEvents();
  for (auto _ : state) {
    bars.HScroll2.value = bars.HScroll2.value >= bars.HScroll2.min ? 0 : bars.HScroll2.value + 60;
    session.dataView().setScrollState(bars);
    panel.refresh();
  }
  state.counters["records"] = double(panel.windowStatistics().records);
}
BENCHMARK(BM_StatsPanelScrollStep)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) { return hygro::bench::RunBenchmarks<QApplication>(argc, argv); }
