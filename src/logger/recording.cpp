// Recording control: start now or at a reserved time, stop or cancel, and the
// logger's clock.
#include "logger/recording.h"

#include <QDate>
#include <QDateTime>
#include <algorithm>

#include "data/formats.h"
#include "data/userprompt.h"
#include "logger/conversions.h"
#include "logger/session.h"
#include "logger/settings.h"

namespace hygro {

namespace {
constexpr CommMode kLogStart = CommMode::LogStart;
constexpr CommMode kYoyaku = CommMode::Yoyaku;
constexpr CommMode kTSet = CommMode::TSet;

quint8 UnitByte(bool minutes) { return minutes ? kUnitMinutes : kUnitSeconds; }
quint8 FastFlag(int value, bool minutes) { return (!minutes && value == 2) ? 1 : 0; }
}  // namespace

RecordingOperation::RecordingOperation(Session& session, LoggerStatus& status)
    : Operation(session, status) {
  registerBranches();
}

QString RecordingOperation::SetCompletionText() { return QStringLiteral("Set completion"); }

RecordButton RecordingOperation::Command4_Click() {
  if (busy()) return RecordButton::Busy;
  const RecState rs = st().RecState;
  if (rs != RecState::Reserving && rs != RecState::Recording) {
    if (!BatteryOk(st())) {
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
  send();
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

bool RecordingOperation::Log_Start(const StartSettings& s) {
  if (busy()) return false;
  if (!clockYearKept(kLogStart)) return false;
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
  send();
  return true;
}

namespace {
// The minute a time falls in, as a date serial.
double MinuteOf(double serial) {
  const fmt::DateParts p = fmt::dateParts(serial);
  return fmt::dateSerial(p.year, p.month, p.day, p.hour, p.minute, 0);
}

QString MinuteText(double serial) { return fmt::formatDateTime(serial).left(16); }
}  // namespace

double RecordingOperation::ReservedStartFor(double at, double now) {
  const fmt::DateParts a = fmt::dateParts(at);
  const fmt::DateParts n = fmt::dateParts(MinuteOf(now));
  const double from = MinuteOf(now);
  // A day the month lacks (the 31st) comes in a later month; within a year
  // every day comes round.
  QDate month(n.year, n.month, 1);
  for (int i = 0; i < 13; ++i, month = month.addMonths(1)) {
    if (a.day > month.daysInMonth()) continue;
    const double start = fmt::dateSerial(month.year(), month.month(), a.day, a.hour, a.minute, 0);
    if (start >= from) return start;
  }
  return MinuteOf(at);
}

double RecordingOperation::LastReservable(double now) {
  // The present minute comes round again on the same day next month; when
  // that month lacks the day, every minute of that month is the first of
  // its kind, and the first minute of the month after is not.
  const fmt::DateParts n = fmt::dateParts(MinuteOf(now));
  const QDate next = QDate(n.year, n.month, 1).addMonths(1);
  const QDateTime again =
      n.day <= next.daysInMonth()
          ? QDateTime(QDate(next.year(), next.month(), n.day), QTime(n.hour, n.minute), Qt::UTC)
          : QDateTime(next.addMonths(1), QTime(0, 0), Qt::UTC);
  const QDateTime last = again.addSecs(-60);
  return fmt::dateSerial(last.date().year(), last.date().month(), last.date().day(),
                         last.time().hour(), last.time().minute(), 0);
}

bool RecordingOperation::ReservationTimeValid(double at, double now) {
  // The reservation is made to the minute: the present minute is accepted.
  const double atMinute = MinuteOf(at);
  return MinuteOf(now) <= atMinute && atMinute <= LastReservable(now);
}

QString RecordingOperation::ReservationTooFarText(double at, double now) {
  const double start = ReservedStartFor(at, now);
  QString text = QStringLiteral(
      "The reservation time is too far ahead.\r\rThe logger keeps only the day of the month, the "
      "hour and the minute of a reserved start, and starts the first time its clock shows them");
  if (start != MinuteOf(at))
    text += QStringLiteral(": for %1 it would start at %2").arg(MinuteText(at), MinuteText(start));
  return text + QStringLiteral(". The last time that can be reserved now is %1.")
                    .arg(MinuteText(LastReservable(now)));
}

bool RecordingOperation::Reservation_Check(double at) {
  return Reservation_Check(at, clock().now());
}

bool RecordingOperation::Reservation_Check(double at, double now) {
  if (MinuteOf(at) < MinuteOf(now)) {
    // Titled with that model whatever is connected, as the dialog always was.
    prompt()->message(QStringLiteral("The mistake is found at the reservation time."),
                      QStringLiteral("QM510-XC"));
    return false;
  }
  if (ReservationTimeValid(at, now)) return true;
  prompt()->message(ReservationTooFarText(at, now), model());
  return false;
}

bool RecordingOperation::Yoyaku_Set(const ReservationSettings& s) {
  if (busy()) return false;
  if (!BatteryOk(st())) {
    prompt()->message(QStringLiteral("Please change a battery."), model());
    return false;
  }
  if (!clockYearKept(kYoyaku)) return false;
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
  send();
  return true;
}

namespace {
// The headline of a clock setting that failed, by what it was part of.
QString ClockNotSetHeadline(CommMode mode) {
  if (mode == kLogStart) return QStringLiteral("The recording was not started.");
  if (mode == kYoyaku) return QStringLiteral("The reservation was not made.");
  return QStringLiteral("The clock was not set.");
}
}  // namespace

bool RecordingOperation::clockYearKept(CommMode mode) {
  const int year = fmt::dateParts(clock().now()).year;
  if (LoggerClockKeepsYear(year)) return true;
  prompt()->message(ClockNotSetHeadline(mode) +
                        QStringLiteral("\r\rThe logger's clock cannot keep the year %1 (it "
                                       "keeps 2000 to 2029), and nothing was sent.")
                            .arg(year),
                    model());
  return false;
}

void RecordingOperation::Clock_Send(CommMode mode) {
  const fmt::DateParts now = fmt::dateParts(clock().now());
  sent_ = {now.year, now.month, now.day, now.hour, now.minute, now.second};
  sentAtMs_ = clock().steadyMs();
  clockSet_ = false;
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

bool RecordingOperation::Now_Time_set() {
  if (busy()) return false;  // a closed port times out with a message
  if (!clockYearKept(kTSet)) return false;
  x().Queue_Reset();
  Clock_Set_Queue(kTSet);
  send();
  return true;
}

bool RecordingOperation::readBackMatchesSent() const {
  const ClockReadBack& c = clock_;
  double read = 0;
  if (!c.serial(&read)) return false;
  const double sent =
      fmt::dateSerial(sent_.year, sent_.month, sent_.day, sent_.hour, sent_.minute, sent_.second);
  // The logger's clock has run on since it was set, for no longer than the
  // exchange has taken; a second more for the one it was counting.
  const double ran = static_cast<double>(clock().steadyMs() - sentAtMs_) / 1000.0;
  const double ahead = fmt::secondsBetween(sent, read);
  return ahead > -0.5 && ahead < ran + 2.0;
}

void RecordingOperation::registerBranches() {
  // The same commands read the clock without setting it: those answers are
  // the clock offset's.
  for (int code : {4, 5}) {
    x().setBranch(code, [this, code](QueuedCommand& e, const ReceiveBuffer& rx) {
      if (e.CommMode == CommMode::TRead) return s_.clockOffset().answer(e, rx);
      if (code == 4) clock_ = {};
      clock_.take(code, rx.R(2), rx.R(3));
      return BranchResult::Advance;
    });
  }
  x().setBranch(6, [this](QueuedCommand& e, const ReceiveBuffer& rx) {
    if (e.CommMode == CommMode::TRead) return s_.clockOffset().answer(e, rx);
    clock_.take(6, rx.R(2), rx.R(3));
    // Whatever it reads, the logger's clock is shown as it is; a clock that
    // is not the time sent must not be confirmed, nor start a recording.
    if (!readBackMatchesSent()) {
      x().Answer_Reject(ClockNotSetHeadline(e.CommMode) +
                        QStringLiteral("\r\rThe logger's clock was not set to %2: it reads %1.")
                            .arg(clock_.text(), sent_.text()));
      return BranchResult::Ended;
    }
    clockSet_ = true;
    if (e.CommMode == kTSet)
      prompt()->message(SetCompletionText() + QStringLiteral("\r\r") + clock_.text(), model());
    return BranchResult::Advance;
  });
}

}  // namespace hygro
