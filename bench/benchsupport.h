// The main every benchmark program shares.
#pragma once

#include <benchmark/benchmark.h>

#include <QString>
#include <QtGlobal>

#include "data/datasets.h"
#include "data/formats.h"

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

// A full set at one-minute intervals for the evidence figures: 0 to 34.9 C
// and back every 700 records, with a step that crosses a limit every few
// records near the top and the bottom, bounds 2 and 30 C, and a gap between
// runs every 5000 records.
inline void FillEvidenceSet(DataSets& ds, int set) {
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
    rec.Time = start + (n - 1) * 60 / fmt::kSecondsPerDay;
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

}  // namespace hygro::bench
