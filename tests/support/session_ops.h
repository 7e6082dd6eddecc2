#pragma once
// Reaches the operation object a member function belongs to, so a test can
// name an operation by its handler alone (&RealtimeOperation::Command1_Click).
#include "logger/session.h"

namespace hygro::test {

template <typename C>
C& opOf(Session& s);
template <>
inline StatusOperation& opOf<StatusOperation>(Session& s) {
  return s.statusOp();
}
template <>
inline RealtimeOperation& opOf<RealtimeOperation>(Session& s) {
  return s.realtime();
}
template <>
inline RecordingOperation& opOf<RecordingOperation>(Session& s) {
  return s.recording();
}
template <>
inline DownloadOperation& opOf<DownloadOperation>(Session& s) {
  return s.download();
}
template <>
inline SettingsOperation& opOf<SettingsOperation>(Session& s) {
  return s.settings();
}
template <>
inline ClockOffsetOperation& opOf<ClockOffsetOperation>(Session& s) {
  return s.clockOffset();
}

}  // namespace hygro::test
