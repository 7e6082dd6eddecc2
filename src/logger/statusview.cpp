#include "logger/statusview.h"

#include "data/datasets.h"
#include "data/formats.h"
#include "logger/conversions.h"

namespace hygro {

QString StatusView::stateWord() const {
  switch (state) {
    case DisplayState::Recording:
      return QStringLiteral("Recording");
    case DisplayState::Reserving:
      return QStringLiteral("Reserving");
    case DisplayState::NotConnected:
      return QStringLiteral("----");
    default:
      return QStringLiteral("Record stop");
  }
}

namespace {

QString BoundLabel(qint32 raw, bool on) {
  return on ? QString::number(fmt::boundDegrees(raw)) + QStringLiteral(" C")
            : QStringLiteral("OFF");
}

}  // namespace

StatusView StatusDisplay(const LoggerStatus& st, const StatusLink& link) {
  StatusView v;
  v.Label3 = DataSetName(link.shownSet);
  v.Command2 = QStringLiteral("Continuous");

  if (!link.connected) {
    v.state = DisplayState::NotConnected;
    v.caption = QStringLiteral("[Hygrotab] Temperature and Humidity Logger");
    v.statusBar = QStringLiteral("Unconnection");
    v.Label49 = QStringLiteral("Unconnection");
    v.Label16 = QStringLiteral("----");
    v.Label7 = QStringLiteral("----");
    v.Label14 = QStringLiteral("----");
    return v;
  }

  v.caption = QStringLiteral("[Hygrotab] Temperature and Humidity Logger ") + link.model;
  v.statusBar = link.statusText;
  v.Label49 = QStringLiteral("Communicating");
  v.Label26 = fmt::formatDateTime(st.StartTime);
  v.Label48 = st.LoopMode != 0 ? QStringLiteral("Loop") : QStringLiteral("One Time");
  v.Label29 = BoundLabel(st.UpperRaw, st.UpperOn);
  v.Label46 = BoundLabel(st.LowerRaw, st.LowerOn);
  // Without a start time the rest of the log's descriptor is erased memory:
  // no points, no interval, no mode or bounds.
  const bool startValid = LogStartValid(st);
  double recordedBytes = st.RecordedBytes;
  qint32 interval = st.LogInterval;
  if (!startValid) {
    v.Label26 = QStringLiteral("----/--/-- --:--:--");
    recordedBytes = 0;
    interval = 0;
    v.Label48.clear();
    v.Label29.clear();
    v.Label46.clear();
  }
  v.Label21 = QString::number(static_cast<qint64>(recordedBytes / kBytesPerPoint)) +
              QStringLiteral(" point");
  v.Label19 = QString::number(interval);
  if (startValid && st.LoopMode != 0 && st.Wrapped != 0)
    v.Label21 = QString::number(kLoggerCapacityPoints) + QStringLiteral(" Point");
  v.Label6 = fmt::intervalText(interval);
  if (BatteryOk(st)) {
    v.Label7 = st.BatteryVoltage + QStringLiteral(" V");
  } else {
    v.batteryAlarm = true;
    v.Label7 = QStringLiteral("ＮＧ ") + st.BatteryVoltage + QStringLiteral(" V");
  }
  if (st.StopMark == QLatin1String("Stop")) {
    v.endAlarm = true;
    v.Label8 = QStringLiteral("End due to the voltage decrease.");
  }
  v.Label14 = st.IdentName;

  switch (st.RecState) {
    case RecState::Recording:
      v.state = DisplayState::Recording;
      v.Command4 = QStringLiteral("Stop");
      v.Label16 = QStringLiteral("Recording");
      break;
    case RecState::Reserving:
      v.state = DisplayState::Reserving;
      v.Command4 = QStringLiteral("Reservation cancel");
      v.Label16 = QStringLiteral("Reserving");
      v.Label8.clear();
      v.endAlarm = false;
      v.Label26 = fmt::format00(st.ReserveDay) + QStringLiteral("Day") +
                  fmt::format00(st.ReserveHour) + QLatin1Char(':') +
                  fmt::format00(st.ReserveMinute) + QStringLiteral(" Record beginning");
      v.Label21 = QStringLiteral("0 Point");
      v.Label6 = fmt::intervalText(st.SetInterval);
      break;
    case RecState::Continuous:
      // A run starts only from a logger at rest; the record button keeps
      // its caption meanwhile.
      v.state = DisplayState::Continuous;
      v.Label16 = QStringLiteral("Record stop");
      v.Command2 = QStringLiteral("Stop");
      break;
    case RecState::Idle:
      v.state = DisplayState::Idle;
      v.Command4 = QStringLiteral("Start");
      v.Label16 = QStringLiteral("Record stop");
      break;
  }
  v.boundsVisible = HasAlarmBounds(link.model);
  return v;
}

}  // namespace hygro
