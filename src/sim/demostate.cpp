#include "sim/demostate.h"

#include <QDateTime>
#include <cmath>

#include "sim/devicemodel.h"

namespace hygro::sim {

void LoadDemoState(DeviceModel& model) {
  model.setModel(QStringLiteral("QM720-XC"));
  model.setName("DEMO");
  model.setBattery(3.05);
  model.setEnvironment(23.5, 48.0, true);
  model.setLoopMode(false);
  model.setUpper({DeviceModel::toRaw(30, 50).t, true});
  model.setLower({DeviceModel::toRaw(5, 50).t, false});

  const QDateTime now = model.clock();
  const int points = 216;  // 36 hours at 10 minutes
  const QDateTime start = now.addSecs(-static_cast<qint64>(points) * 600);
  QList<DeviceModel::Raw> raw;
  raw.reserve(points);
  for (int i = 0; i < points; ++i) {
    // A day's swing with a little noise-free wobble: pleasant to look at.
    const double hours = i / 6.0;
    const double t = 22.0 + 3.5 * std::sin(hours / 24.0 * 2 * M_PI) + 0.4 * std::sin(hours * 1.7);
    const double h = 50.0 - 8.0 * std::sin(hours / 24.0 * 2 * M_PI) + 1.5 * std::cos(hours * 0.9);
    raw.append(DeviceModel::toRaw(t, h));
  }
  model.setPoints(raw);
  model.setStartTime(start);
  model.setInterval({DeviceModel::kUnitMinutes, 10});
  model.setNextInterval({DeviceModel::kUnitMinutes, 10});
  model.eraseSegments();
  model.setSegment(0, start, points);
  model.setDownloaded(false);
  // Stopped with its log never downloaded: every button of the window has
  // something to do, and starting over the log asks first.
  model.setStateBits(0);
}

}  // namespace hygro::sim
