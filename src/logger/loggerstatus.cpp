#include "logger/loggerstatus.h"

#include "data/formats.h"

namespace hygro {

QString RecStateWord(RecState state) {
  switch (state) {
    case RecState::Recording:
      return QStringLiteral("kirokucyu");
    case RecState::Reserving:
      return QStringLiteral("yoyakucyu");
    case RecState::Continuous:
      return QStringLiteral("renzoku");
    case RecState::Idle:
      break;
  }
  return {};
}

bool LogStartValid(const LoggerStatus& st) { return fmt::dateParts(st.StartTime).year >= 2000; }

bool LogHeld(const LoggerStatus& st) {
  return LogStartValid(st) && (st.RecordedBytes != 0 || st.Wrapped != 0);
}

bool BatteryOk(const LoggerStatus& st) {
  return fmt::val(st.BatteryVoltage) >= 2.5 && st.ErrorMark != QLatin1String("Error");
}

}  // namespace hygro
