// The exchange's cost against the wire: the emulator paces its answers at
// 57600 baud, so any time beyond the bytes' own wire time is ours.
#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTemporaryDir>
#include <QTimer>

#include "benchsupport.h"
#include "logger/session.h"
#include "sim/simtransport.h"

using namespace hygro;

namespace {

constexpr int kBaud = 57600;
constexpr double kSecondsPerByte = 10.0 / kBaud;

struct Rig {
  sim::SimTransport* sim = new sim::SimTransport;
  Session session{std::unique_ptr<Transport>(sim), std::make_unique<NoBridge>(), nullptr};
  QTemporaryDir dir;
  int frames = 0;
  bool stream = false;

  Rig(const char* state, bool paced) {
    sim->model().loadFile(QStringLiteral(HYGROTAB_TEST_DATA "/sim/") + state);
    sim->setBaud(kBaud);
    session.connection().BaudText = QString::number(kBaud);
    session.connection().CloseWaitMs = 1;
    session.connection().PulseHighMs = 1;
    session.connection().PulseLowMs = 1;
    session.data().open(dir.path(), nullptr);
    session.Port_Set_Command(PortSearch::Once, QStringLiteral("1"));
    waitIdle();
    sim->setPacing(paced);
    QObject::connect(&session.exchange(), &Exchange::frameSent, [this](const QByteArray& f) {
      ++frames;
      if (f[3] == 0x44 && f[2] == 0) stream = true;
    });
  }
  ~Rig() { session.data().closeAndRemove(); }
  // Sleeps in the event loop until the exchange ends (a timed processEvents
  // would spin and charge the waiting to the process's CPU time).
  void waitIdle() {
    if (!session.busy()) return;
    QEventLoop loop;
    QObject::connect(&session, &Session::exchangeEnded, &loop, &QEventLoop::quit);
    QTimer::singleShot(120000, &loop, &QEventLoop::quit);
    loop.exec();
  }
  // Bytes both ways: every frame, one answer per frame but the stream's
  // request, one answer per streamed point, and the version text's length.
  double wireSeconds(int points) const {
    const int versionAnswer = sim->model().versionText().size() + 2;
    const int answers = frames - (stream ? 1 : 0) - 1;
    return (9.0 * frames + 9.0 * answers + versionAnswer + 9.0 * points) * kSecondsPerByte;
  }
};

void BM_StatusRead(benchmark::State& state) {
  Rig rig("idle.json", true);
  double wall = 0, wire = 0;
  for (auto _ : state) {
    rig.frames = 0;
    QElapsedTimer t;
    t.start();
    rig.session.statusOp().Command11_Click();
    rig.waitIdle();
    wall += t.nsecsElapsed() / 1e9;
    wire += rig.wireSeconds(0);
    state.SetIterationTime(t.nsecsElapsed() / 1e9);
  }
  state.counters["frames"] = rig.frames;
  state.counters["wire_ms"] = 1000 * wire / state.iterations();
  state.counters["ratio_to_wire"] = wall / wire;
}
BENCHMARK(BM_StatusRead)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);

void downloadOnce(Rig& rig, benchmark::State& state, double* wall, double* wire) {
  rig.frames = 0;
  rig.stream = false;
  QElapsedTimer t;
  t.start();
  rig.session.download().Command5_Click();
  rig.waitIdle();
  *wall += t.nsecsElapsed() / 1e9;
  const int points = rig.session.data().info(LogData).Points;
  *wire += rig.wireSeconds(points);
  if (points != 15000) state.SkipWithError("download incomplete");
}

void BM_Download15000Paced(benchmark::State& state) {
  Rig rig("download_15000.json", true);
  double wall = 0, wire = 0;
  for (auto _ : state) downloadOnce(rig, state, &wall, &wire);
  state.counters["wire_s"] = wire / state.iterations();
  state.counters["ratio_to_wire"] = wall / wire;
}
BENCHMARK(BM_Download15000Paced)->Unit(benchmark::kSecond)->Iterations(1)->MeasureProcessCPUTime();

void BM_Download15000Unpaced(benchmark::State& state) {
  Rig rig("download_15000.json", false);
  double wall = 0, wire = 0;
  for (auto _ : state) downloadOnce(rig, state, &wall, &wire);
  state.counters["points"] = 15000;
}
BENCHMARK(BM_Download15000Unpaced)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5)
    ->MeasureProcessCPUTime();

}  // namespace

int main(int argc, char** argv) {
  return hygro::bench::RunBenchmarks<QCoreApplication>(argc, argv);
}
