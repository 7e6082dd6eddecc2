// Recording control: start now or at a reserved time, stop or cancel, and the
// logger's clock.
#include <algorithm>

#include "data/formats.h"
#include "data/userprompt.h"
#include "logger/conversions.h"
#include "logger/session.h"

namespace hygro {

namespace {
constexpr CommMode kLogStart = CommMode::LogStart;
constexpr CommMode kYoyaku = CommMode::Yoyaku;
constexpr CommMode kTSet = CommMode::TSet;

quint8 UnitByte(bool minutes) { return minutes ? kUnitMinutes : kUnitSeconds; }
quint8 FastFlag(int value, bool minutes) { return (!minutes && value == 2) ? 1 : 0; }
}  // namespace

RecordingOperation::RecordingOperation(Session& session) : Operation(session) {
  registerBranches();
}

RecordButton RecordingOperation::Command4_Click() {
  if (busy()) return RecordButton::Busy;
  const RecState rs = st().RecState;
  if (rs != RecState::Reserving && rs != RecState::Recording) {
    if (!s_.batteryOk()) {
      prompt()->message(QStringLiteral("Please change a battery. "), model());
      return RecordButton::Refused;
    }
    if (st().NeverDownloaded && LogHeld(st())) {
      const QuestionId q = QuestionId::StartOverUndownloaded;
      if (!prompt()->question(q, Session::QuestionText(q), s_.windowTitle(), SafeAnswer::No))
        return RecordButton::Declined;
    }
    Q_EMIT startDialogRequested();
    return RecordButton::ShowStartDialog;
  }
  x().Queue_Reset();
  x().Command_Add(1, 12, 14, 0, CommMode::None);
  s_.statusOp().Status_Read();
  s_.send();
  st().RecState = RecState::Idle;
  return RecordButton::Stopping;
}

StartSettings RecordingOperation::startDefaults() const { return StartDefaultsFrom(st()); }

StartSettings RecordingOperation::StartDefaultsFrom(const LoggerStatus& st) {
  // What the logger holds, so that confirming the dialog unchanged starts a
  // recording like the last one; what no choice can show falls back to a
  // value that can be chosen. Erased memory (0xFF, a logger fresh from the
  // factory) holds no choice at all.
  StartSettings s;
  QString name = st.IdentName;
  if (name == QString(4, LoggerCharFromByte(kErasedByte))) name.clear();
  while (name.endsWith(QLatin1Char(' '))) name.chop(1);  // the padding is put back when sent
  s.name = name;
  const qint32 interval = st.SetInterval;
  if (interval >= 60 && interval % 60 == 0 && interval / 60 <= 60) {
    s.intervalValue = interval / 60;
    s.minutes = true;
  } else if (interval >= 2 && interval <= 59) {
    s.intervalValue = interval;
  } else {
    s.intervalValue = 5;
  }
  s.loop = st.LoopMode != 0 && st.LoopMode != kErasedByte;
  const auto erased = [](qint32 raw, bool on) { return on && raw == kErasedBound; };
  if ((st.UpperRaw != 0 || st.LowerRaw != 0) && !erased(st.UpperRaw, st.UpperOn) &&
      !erased(st.LowerRaw, st.LowerOn)) {
    s.upperDegrees = std::clamp(fmt::boundDegrees(st.UpperRaw), kUpperMin, kUpperMax);
    s.lowerDegrees = std::clamp(fmt::boundDegrees(st.LowerRaw), kLowerMin, kLowerMax);
    s.upperOn = st.UpperOn;
    s.lowerOn = st.LowerOn;
  }
  if (s.upperDegrees <= s.lowerDegrees) s.lowerDegrees = s.upperDegrees - 1;
  return s;
}

QString SettingsOperation::PaddedName(const QString& name) {
  QString padded = name.left(4);
  while (padded.size() < 4) padded += QLatin1Char(' ');
  return padded;
}

void RecordingOperation::Log_Start(const StartSettings& s) {
  if (busy()) return;
  Exchange& x = this->x();
  x.Queue_Reset();
  const std::array<quint8, 4> name = SettingsOperation::NameBytes(s.name);
  x.Command_Add(1, 40, name[0], name[1], kLogStart);
  x.Command_Add(1, 41, name[2], name[3], kLogStart);
  if (HasAlarmBounds(model())) {
    const BoundBytes up = BoundToBytes(s.upperDegrees, s.upperOn);
    const BoundBytes lo = BoundToBytes(s.lowerDegrees, s.lowerOn);
    x.Command_Add(1, 45, up.high, up.low, kLogStart);
    x.Command_Add(1, 46, lo.high, lo.low, kLogStart);
  } else {
    x.Command_Add(1, 45, 0, 0, kLogStart);
    x.Command_Add(1, 46, 0, 0, kLogStart);
  }
  const quint8 mode = s.loop ? 1 : 0;
  x.Command_Add(1, 49, mode, mode, kLogStart);
  Clock_Set_Queue(kLogStart);
  const quint8 fast = FastFlag(s.intervalValue, s.minutes);
  x.Command_Add(1, 25, fast, fast, kLogStart);
  const auto value = static_cast<quint8>(s.intervalValue);
  if (s.reserve) {
    const fmt::DateParts at = fmt::dateParts(s.reserveAt);
    x.Command_Add(1, 31, static_cast<quint8>(at.day), 0, kLogStart);
    x.Command_Add(1, 32, static_cast<quint8>(at.hour), 0, kLogStart);
    x.Command_Add(1, 33, static_cast<quint8>(at.minute), 0, kLogStart);
    x.Command_Add(1, 17, UnitByte(s.minutes), value, kLogStart);
  } else {
    x.Command_Add(1, 11, UnitByte(s.minutes), value, kLogStart);
  }
  s_.statusOp().Status_Read(kLogStart);
  s_.send();
}

bool RecordingOperation::ReservationTimeValid(double at, double now) {
  // The reservation is made to the minute: the present minute is accepted.
  const fmt::DateParts n = fmt::dateParts(now);
  const double nowMinute = fmt::dateSerial(n.year, n.month, n.day, n.hour, n.minute, 0);
  const fmt::DateParts a = fmt::dateParts(at);
  const double atMinute = fmt::dateSerial(a.year, a.month, a.day, a.hour, a.minute, 0);
  return nowMinute <= atMinute;
}

bool RecordingOperation::Reservation_Check(double at) {
  return Reservation_Check(at, fmt::nowSerial());
}

bool RecordingOperation::Reservation_Check(double at, double now) {
  if (ReservationTimeValid(at, now)) return true;
  // Titled with that model whatever is connected, as the dialog always was.
  prompt()->message(QStringLiteral("The mistake is found at the reservation time."),
                    QStringLiteral("QM510-XC"));
  return false;
}

bool RecordingOperation::Yoyaku_Set(const ReservationSettings& s) {
  if (busy()) return false;
  if (!s_.batteryOk()) {
    prompt()->message(QStringLiteral("Please change a battery."), model());
    return false;
  }
  Exchange& x = this->x();
  x.Queue_Reset();
  Clock_Set_Queue(kYoyaku);
  const quint8 fast = FastFlag(s.intervalValue, s.minutes);
  x.Command_Add(1, 25, fast, fast, kYoyaku);
  const fmt::DateParts at = fmt::dateParts(s.at);
  x.Command_Add(1, 31, static_cast<quint8>(at.day), 0, kYoyaku);
  x.Command_Add(1, 32, static_cast<quint8>(at.hour), 0, kYoyaku);
  x.Command_Add(1, 33, static_cast<quint8>(at.minute), 0, kYoyaku);
  x.Command_Add(1, 17, UnitByte(s.minutes), static_cast<quint8>(s.intervalValue), kYoyaku);
  s_.statusOp().Status_Read(kYoyaku);
  s_.send();
  return true;
}

void RecordingOperation::Clock_Send(CommMode mode) {
  const fmt::DateParts now = fmt::dateParts(fmt::nowSerial());
  // Plain binary values, not BCD: the frame encoding does the rest.
  x().Command_Add(1, 1, static_cast<quint8>(now.year % 100), static_cast<quint8>(now.month), mode);
  x().Command_Add(1, 2, static_cast<quint8>(now.day), static_cast<quint8>(now.hour), mode);
  x().Command_Add(1, 3, static_cast<quint8>(now.minute), static_cast<quint8>(now.second), mode);
}

void RecordingOperation::Clock_Set_Queue(CommMode mode) {
  // The read-back shows the time the logger actually took.
  Clock_Send(mode);
  for (quint8 code : {4, 5, 6}) x().Command_Add(1, code, 0, 0, mode);
}

void RecordingOperation::Now_Time_set() {
  if (busy()) return;  // a closed port times out with a message
  x().Queue_Reset();
  Clock_Set_Queue(kTSet);
  s_.send();
}

void RecordingOperation::registerBranches() {
  // A clock read back that no clock can show ends the exchange: it must not be
  // confirmed as set.
  const auto implausible = [this](int year, int month, int day, int hour, int minute, int second) {
    if (ClockPlausible(year, month, day, hour, minute, second)) return false;
    const auto part = [](int v, int width) {
      return v < 0 ? QString(width, QLatin1Char('-'))
                   : QStringLiteral("%1").arg(v, width, 10, QLatin1Char('0'));
    };
    x().Answer_Reject(ImplausibleAnswerText(
        QStringLiteral("clock ") + part(year, 4) + QLatin1Char('/') + part(month, 2) +
        QLatin1Char('/') + part(day, 2) + QLatin1Char(' ') + part(hour, 2) + QLatin1Char(':') +
        part(minute, 2) + QLatin1Char(':') + part(second, 2)));
    return true;
  };
  x().setBranch(4, [this, implausible](QueuedCommand&, const ReceiveBuffer& rx) {
    const int yy = rx.R(2) & 31;
    const int year = yy < 30 ? 2000 + yy : 1900 + yy;
    if (implausible(year, rx.R(3) & 31, -1, -1, -1, -1)) return BranchResult::Ended;
    clock_.year = year;
    clock_.month = rx.R(3) & 31;
    return BranchResult::Advance;
  });
  x().setBranch(5, [this, implausible](QueuedCommand&, const ReceiveBuffer& rx) {
    if (implausible(clock_.year, clock_.month, rx.R(2) & 0x3F, rx.R(3) & 0x3F, -1, -1))
      return BranchResult::Ended;
    clock_.day = rx.R(2) & 0x3F;
    clock_.hour = rx.R(3) & 0x3F;
    return BranchResult::Advance;
  });
  x().setBranch(6, [this, implausible](QueuedCommand& e, const ReceiveBuffer& rx) {
    if (implausible(clock_.year, clock_.month, clock_.day, clock_.hour, rx.R(2) & 0x7F,
                    rx.R(3) & 0x7F))
      return BranchResult::Ended;
    clock_.minute = rx.R(2) & 0x7F;
    clock_.second = rx.R(3) & 0x7F;
    if (e.CommMode == kTSet) {
      const QString when = QStringLiteral("%1/%2/%3 %4:%5:%6")
                               .arg(clock_.year, 4, 10, QLatin1Char('0'))
                               .arg(clock_.month, 2, 10, QLatin1Char('0'))
                               .arg(clock_.day, 2, 10, QLatin1Char('0'))
                               .arg(clock_.hour, 2, 10, QLatin1Char('0'))
                               .arg(clock_.minute, 2, 10, QLatin1Char('0'))
                               .arg(clock_.second, 2, 10, QLatin1Char('0'));
      prompt()->message(SetCompletionText() + QStringLiteral("\r\r") + when, model());
    }
    return BranchResult::Advance;
  });
}

}  // namespace hygro
