// The main every benchmark program shares.
#pragma once

#include <benchmark/benchmark.h>

#include <QString>
#include <QtGlobal>

namespace hygro::bench {

// Runs the registered benchmarks inside an application of type App; the
// drawing ones need no display.
template <typename App>
int RunBenchmarks(int argc, char** argv) {
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  App app(argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

}  // namespace hygro::bench
