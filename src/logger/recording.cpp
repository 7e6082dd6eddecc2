// Recording control: start now or at a reserved time, stop or cancel, and the
// logger's clock.
#include "data/formats.h"
#include "data/userprompt.h"
#include "logger/conversions.h"
#include "logger/session.h"

namespace hygro {

namespace {
const QString kLogStart = QStringLiteral("log_start");
const QString kYoyaku = QStringLiteral("yoyaku");
const QString kTSet = QStringLiteral("T_Set");

quint8 UnitByte(bool minutes) { return minutes ? kUnitMinutes : kUnitSeconds; }
quint8 FastFlag(int value, bool minutes) { return (!minutes && value == 2) ? 1 : 0; }
}  // namespace

RecordButton Session::Command4_Click() {
  if (busy()) return RecordButton::Busy;
  const QString& rs = status_.RecState;
  if (rs != QLatin1String("yoyakucyu") && rs != QLatin1String("kirokucyu")) {
    if (!batteryOk()) {
      if (prompt_) prompt_->message(QStringLiteral("Please change a battery. "), ModelName());
      return RecordButton::Refused;
    }
    const DataSetInfo& log = data_.info(LogData);
    if (log.Modified && (status_.RecordedBytes != 0 || status_.Wrapped != 0)) {
      const QString q = QStringLiteral(
          "There is data never downloaded. \rMay I begin the data before though it is lost?");
      if (!prompt_ || !prompt_->question(q, windowTitle())) return RecordButton::Declined;
    }
    Q_EMIT startDialogRequested();
    return RecordButton::ShowStartDialog;
  }
  downloading_ = false;
  exchange_->Queue_Reset();
  exchange_->Command_Add(1, 12, 14, 0, QString());
  Status_Read();
  exchange_->Command_Send();
  status_.RecState.clear();
  return RecordButton::Stopping;
}

QString Session::PaddedName(const QString& name) {
  QString padded = name.left(4);
  while (padded.size() < 4) padded += QLatin1Char(' ');
  return padded;
}

void Session::Log_Start(const StartSettings& s) {
  if (busy()) return;
  downloading_ = false;
  Exchange& x = *exchange_;
  x.Queue_Reset();
  const std::array<quint8, 4> name = NameBytes(s.name);
  x.Command_Add(1, 40, name[0], name[1], kLogStart);
  x.Command_Add(1, 41, name[2], name[3], kLogStart);
  if (ModelName() == QLatin1String("QM720-XC")) {
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
  Status_Read(kLogStart);
  x.Command_Send();
}

bool Session::ReservationTimeValid(double at, double now) {
  // The reservation is made to the minute: the present minute is accepted.
  const fmt::DateParts n = fmt::dateParts(now);
  const double nowMinute = fmt::dateSerial(n.year, n.month, n.day, n.hour, n.minute, 0);
  const fmt::DateParts a = fmt::dateParts(at);
  const double atMinute = fmt::dateSerial(a.year, a.month, a.day, a.hour, a.minute, 0);
  return nowMinute <= atMinute;
}

bool Session::Reservation_Check(double at) { return Reservation_Check(at, fmt::nowSerial()); }

bool Session::Reservation_Check(double at, double now) {
  if (ReservationTimeValid(at, now)) return true;
  // Titled with that model whatever is connected, as the dialog always was.
  if (prompt_)
    prompt_->message(QStringLiteral("The mistake is found at the reservation time."),
                     QStringLiteral("QM510-XC"));
  return false;
}

bool Session::Yoyaku_Set(const ReservationSettings& s) {
  if (busy()) return false;
  if (!batteryOk()) {
    if (prompt_) prompt_->message(QStringLiteral("Please change a battery."), ModelName());
    return false;
  }
  Exchange& x = *exchange_;
  x.Queue_Reset();
  Clock_Set_Queue(kYoyaku);
  const quint8 fast = FastFlag(s.intervalValue, s.minutes);
  x.Command_Add(1, 25, fast, fast, kYoyaku);
  const fmt::DateParts at = fmt::dateParts(s.at);
  x.Command_Add(1, 31, static_cast<quint8>(at.day), 0, kYoyaku);
  x.Command_Add(1, 32, static_cast<quint8>(at.hour), 0, kYoyaku);
  x.Command_Add(1, 33, static_cast<quint8>(at.minute), 0, kYoyaku);
  x.Command_Add(1, 17, UnitByte(s.minutes), static_cast<quint8>(s.intervalValue), kYoyaku);
  Status_Read(kYoyaku);
  x.Command_Send();
  return true;
}

void Session::Clock_Send(const QString& mode) {
  const fmt::DateParts now = fmt::dateParts(fmt::nowSerial());
  // Plain binary values, not BCD: the frame encoding does the rest.
  exchange_->Command_Add(1, 1, static_cast<quint8>(now.year % 100), static_cast<quint8>(now.month),
                         mode);
  exchange_->Command_Add(1, 2, static_cast<quint8>(now.day), static_cast<quint8>(now.hour), mode);
  exchange_->Command_Add(1, 3, static_cast<quint8>(now.minute), static_cast<quint8>(now.second),
                         mode);
}

void Session::Clock_Set_Queue(const QString& mode) {
  // The read-back shows the time the logger actually took.
  Clock_Send(mode);
  for (quint8 code : {4, 5, 6}) exchange_->Command_Add(1, code, 0, 0, mode);
}

void Session::Now_Time_set() {
  if (busy() || !connected()) return;
  exchange_->Queue_Reset();
  Clock_Set_Queue(kTSet);
  exchange_->Command_Send();
}

void Session::registerRecordingBranches() {
  // A clock read back that no clock can show ends the exchange: it must not be
  // confirmed as set.
  const auto implausible = [this](int year, int month, int day, int hour, int minute, int second) {
    if (ClockPlausible(year, month, day, hour, minute, second)) return false;
    const auto part = [](int v, int width) {
      return v < 0 ? QString(width, QLatin1Char('-'))
                   : QStringLiteral("%1").arg(v, width, 10, QLatin1Char('0'));
    };
    exchange_->Answer_Reject(ImplausibleAnswerText(
        QStringLiteral("clock ") + part(year, 4) + QLatin1Char('/') + part(month, 2) +
        QLatin1Char('/') + part(day, 2) + QLatin1Char(' ') + part(hour, 2) + QLatin1Char(':') +
        part(minute, 2) + QLatin1Char(':') + part(second, 2)));
    return true;
  };
  exchange_->setBranch(4, [this, implausible](QueuedCommand&, const ReceiveBuffer& rx) {
    const int yy = rx.R(2) & 31;
    const int year = yy < 30 ? 2000 + yy : 1900 + yy;
    if (implausible(year, rx.R(3) & 31, -1, -1, -1, -1)) return BranchResult::Ended;
    clock_.year = year;
    clock_.month = rx.R(3) & 31;
    return BranchResult::Advance;
  });
  exchange_->setBranch(5, [this, implausible](QueuedCommand&, const ReceiveBuffer& rx) {
    if (implausible(clock_.year, clock_.month, rx.R(2) & 0x3F, rx.R(3) & 0x3F, -1, -1))
      return BranchResult::Ended;
    clock_.day = rx.R(2) & 0x3F;
    clock_.hour = rx.R(3) & 0x3F;
    return BranchResult::Advance;
  });
  exchange_->setBranch(6, [this, implausible](QueuedCommand& e, const ReceiveBuffer& rx) {
    if (implausible(clock_.year, clock_.month, clock_.day, clock_.hour, rx.R(2) & 0x7F,
                    rx.R(3) & 0x7F))
      return BranchResult::Ended;
    clock_.minute = rx.R(2) & 0x7F;
    clock_.second = rx.R(3) & 0x7F;
    if (e.CommMode == kTSet && prompt_) {
      const QString when = QStringLiteral("%1/%2/%3 %4:%5:%6")
                               .arg(clock_.year, 4, 10, QLatin1Char('0'))
                               .arg(clock_.month, 2, 10, QLatin1Char('0'))
                               .arg(clock_.day, 2, 10, QLatin1Char('0'))
                               .arg(clock_.hour, 2, 10, QLatin1Char('0'))
                               .arg(clock_.minute, 2, 10, QLatin1Char('0'))
                               .arg(clock_.second, 2, 10, QLatin1Char('0'));
      prompt_->message(SetCompletionText() + QStringLiteral("\r\r") + when, ModelName());
    }
    return BranchResult::Advance;
  });
}

}  // namespace hygro
