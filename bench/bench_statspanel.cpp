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

void BM_StatsPanelScrollStep(benchmark::State& state) {
  SilentPrompt prompt;
  Session session(std::make_unique<sim::SimTransport>(), std::make_unique<NoBridge>(), &prompt);
  bench::FillEvidenceSet(session.data(), LogData);
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
