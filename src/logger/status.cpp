// The status read: nineteen queued commands whose answers fill LoggerStatus
// and the log's descriptor, and the status display computed from them.
#include "logger/status.h"

#include <cmath>

#include "data/dataview.h"
#include "data/formats.h"
#include "logger/conversions.h"
#include "logger/session.h"

namespace hygro {

namespace {

quint8 D1(const ReceiveBuffer& rx) { return rx.R(2); }
quint8 D2(const ReceiveBuffer& rx) { return rx.R(3); }

// Two characters of the name; empty when either byte is 0 (nothing set there).
QString NamePair(const ReceiveBuffer& rx) {
  if (D1(rx) == 0 || D2(rx) == 0) return {};
  return QString(LoggerCharFromByte(D1(rx))) + LoggerCharFromByte(D2(rx));
}

}  // namespace

StatusOperation::StatusOperation(Session& session, LoggerStatus& status)
    : Operation(session, status) {
  registerBranches();
}

void StatusOperation::Status_Read(CommMode mode) {
  auto add = [&](quint8 code, quint8 param = 0) { x().Command_Add(1, code, param, 0, mode); };
  add(99);
  add(42);
  add(43);
  add(30);
  add(23, 20);
  add(23, 22);
  add(23, 24);
  add(23, 16);
  add(23, 18);
  add(38);
  add(34);
  add(35);
  add(36);
  add(37);
  add(47);
  add(48);
  add(50);
  add(51);
  add(57);
}

void StatusOperation::Command11_Click() {
  if (busy() || !connected()) return;
  x().Queue_Reset();
  Status_Read();
  send();
}

void StatusOperation::registerBranches() {
  Exchange& x = this->x();
  x.setBranch(99, [this](QueuedCommand&, const ReceiveBuffer& rx) {
    const int n = qMin<int>(rx.ReceiveCount, ReceiveBuffer::Capacity);
    if (n <= 0) return BranchResult::Advance;
    QString text;
    for (int i = VersionTextStart(rx); i < n - 1; ++i)
      text += QChar(rx.bytes[static_cast<size_t>(i)]);
    st().FirmwareVersion =
        text + QLatin1Char('.') + fmt::format00(rx.bytes[static_cast<size_t>(n - 1)]);
    return BranchResult::Advance;
  });
  x.setBranch(42, [this](QueuedCommand&, const ReceiveBuffer& rx) {
    if (const QString pair = NamePair(rx); !pair.isEmpty()) st().IdentName = pair;
    return BranchResult::Advance;
  });
  x.setBranch(43, [this](QueuedCommand&, const ReceiveBuffer& rx) {
    st().IdentName += NamePair(rx);
    return BranchResult::Advance;
  });
  x.setBranch(30, [this](QueuedCommand&, const ReceiveBuffer& rx) {
    const quint8 bits = D1(rx);
    st().RecState = RecState::Idle;
    st().ErrorMark.clear();
    st().StopMark.clear();
    if (bits & 0x01) st().RecState = RecState::Recording;
    if (bits & 0x02) st().RecState = RecState::Recording;
    if (bits & 0x04) st().RecState = RecState::Reserving;
    if (bits & 0x08) st().ErrorMark = QStringLiteral("Error");
    if (bits & 0x10) st().StopMark = QStringLiteral("Stop");
    return BranchResult::Advance;
  });
  x.setBranch(15, [this](QueuedCommand&, const ReceiveBuffer&) {
    st().RecState = RecState::Recording;
    return BranchResult::Advance;
  });
  x.setBranch(16, [this](QueuedCommand&, const ReceiveBuffer& rx) {
    st().BatteryState = D2(rx) == 0 ? QStringLiteral("Normality") : QStringLiteral("Decrease");
    return BranchResult::Advance;
  });
  x.setBranch(23, [this](QueuedCommand& e, const ReceiveBuffer& rx) {
    auto& sb = st().StartBytes;
    switch (e.P2) {
      case 20:
        sb[0] = D1(rx);
        sb[1] = D2(rx);
        break;
      case 22:
        sb[2] = D1(rx);
        sb[3] = D2(rx);
        break;
      case 24:
        sb[4] = D1(rx);
        sb[5] = D2(rx);
        st().StartTime = LoggerTimeFromBcd(sb.data());
        break;
      case 16:
        // Erased (0xFFFF on a logger fresh from the factory) is a value like
        // any other: without a start time it describes no log.
        st().RecordedBytes = D1(rx) * 256.0 + D2(rx);
        break;
      case 18:
        st().LogIntervalUnit = D1(rx);
        st().LogIntervalValue = D2(rx);
        st().LogInterval = D1(rx) == kUnitMinutes ? D2(rx) * 60 : D2(rx);
        break;
      default:
        break;
    }
    return BranchResult::Advance;
  });
  x.setBranch(38, [this](QueuedCommand&, const ReceiveBuffer& rx) {
    const double count = D1(rx) * 256.0 + D2(rx);
    if (count > st().RecordedBytes) st().RecordedBytes = count;
    return BranchResult::Advance;
  });
  x.setBranch(34, [this](QueuedCommand&, const ReceiveBuffer& rx) {
    st().ReserveDay = D1(rx);
    return BranchResult::Advance;
  });
  x.setBranch(35, [this](QueuedCommand&, const ReceiveBuffer& rx) {
    st().ReserveHour = D1(rx);
    return BranchResult::Advance;
  });
  x.setBranch(36, [this](QueuedCommand&, const ReceiveBuffer& rx) {
    st().ReserveMinute = D1(rx);
    return BranchResult::Advance;
  });
  x.setBranch(37, [this](QueuedCommand&, const ReceiveBuffer& rx) {
    st().SetInterval = D1(rx) == kUnitMinutes ? D2(rx) * 60 : D2(rx);
    return BranchResult::Advance;
  });
  x.setBranch(47, [this](QueuedCommand&, const ReceiveBuffer& rx) {
    st().UpperOn = (D1(rx) & 0x80) != 0;
    st().UpperRaw = (D1(rx) & 0x7F) * 256 + D2(rx);
    return BranchResult::Advance;
  });
  x.setBranch(48, [this](QueuedCommand&, const ReceiveBuffer& rx) {
    st().LowerOn = (D1(rx) & 0x80) != 0;
    st().LowerRaw = (D1(rx) & 0x7F) * 256 + D2(rx);
    return BranchResult::Advance;
  });
  x.setBranch(50, [this](QueuedCommand&, const ReceiveBuffer& rx) {
    st().LoopMode = D1(rx);
    st().Wrapped = D2(rx);
    return BranchResult::Advance;
  });
  x.setBranch(51, [this](QueuedCommand&, const ReceiveBuffer& rx) {
    if (!BatteryRawPlausible(D1(rx) * 256 + D2(rx))) {
      this->x().Answer_Reject(ImplausibleAnswerText(
          QStringLiteral("battery %1 V").arg((D1(rx) * 256 + D2(rx)) * 3.3 / 1023, 0, 'f', 2)));
      return BranchResult::Ended;
    }
    st().BatteryVoltage = fmt::format0_00((D1(rx) * 256 + D2(rx)) * 3.3 / 1023);
    return BranchResult::Advance;
  });
  x.setBranch(57, [this](QueuedCommand&, const ReceiveBuffer& rx) {
    st().NeverDownloaded = (D1(rx) + D2(rx) == 0);
    st().read = true;
    return BranchResult::Advance;
  });
}

void StatusOperation::Status_Disp() {
  view_ = StatusDisplay(
      st(), {connected(), model(), s_.connection().StatusText(), dataView().DataSetIndex()});
  Q_EMIT statusDisplayed(view_);
}

}  // namespace hygro
