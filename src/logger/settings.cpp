// Device settings (alarm bounds, memory mode, initialisation) and the
// identification name.
#include "data/userprompt.h"
#include "logger/conversions.h"
#include "logger/session.h"

namespace hygro {

namespace {
const QString kLogStart = QStringLiteral("log_start");
// In the order they are tested.
const QString kForbidden = QStringLiteral("|><\"?*:/\\");
}  // namespace

void Session::Alarm_set(int upperDegrees, bool upperOn, int lowerDegrees, bool lowerOn) {
  if (busy() || !connected()) return;
  const BoundBytes up = BoundToBytes(upperDegrees, upperOn);
  const BoundBytes lo = BoundToBytes(lowerDegrees, lowerOn);
  exchange_->Queue_Reset();
  exchange_->Command_Add(1, 45, up.high, up.low, QString());
  exchange_->Command_Add(1, 46, lo.high, lo.low, QString());
  Status_Read();
  exchange_->Command_Send();
}

void Session::M_Mode_Set(bool loop) {
  if (busy() || !connected()) return;
  const quint8 m = loop ? 1 : 0;
  exchange_->Queue_Reset();
  exchange_->Command_Add(1, 49, m, m, QString());
  Status_Read();
  exchange_->Command_Send();
}

void Session::Command27_Click() {
  if (BlockPortOutput) return;
  exchange_->Write_Raw(QByteArray("INITALL\xFF", 8));
}

void Session::registerSettingsBranches() {
  // The two confirmations of a settings write; a recording start sends the
  // same commands and stays quiet.
  auto confirm = [this](QueuedCommand& e, const ReceiveBuffer&) {
    if (e.CommMode != kLogStart && prompt_) prompt_->message(SetCompletionText(), ModelName());
    return BranchResult::Advance;
  };
  exchange_->setBranch(46, confirm);
  exchange_->setBranch(49, confirm);
}

QString Session::ForbiddenNameMessage() {
  return QStringLiteral("認識名称には次の文字は使えません") + QStringLiteral("\r\r") +
         QString(11, QLatin1Char(' ')) + QStringLiteral("\\ / : * ? \" < > |");
}

bool Session::IdentNameCheck(const QString& name) {
  for (const QChar c : kForbidden) {
    if (name.contains(c)) {
      if (prompt_) prompt_->message(ForbiddenNameMessage(), QStringLiteral("QM510-XC"));
      return false;
    }
  }
  // Of the characters sent, each must be one the logger can hold.
  for (const QChar c : name.left(4)) {
    if (!LoggerCanHoldTyped(c)) {
      if (prompt_) prompt_->message(SingleByteNameMessage(), ModelName());
      return false;
    }
  }
  return true;
}

QString Session::SingleByteNameMessage() {
  return QStringLiteral(
      "Only letters, digits, signs and half-width katakana can be used in the recognition name.");
}

std::array<quint8, 4> Session::NameBytes(const QString& name) {
  const QString padded = PaddedName(name);
  std::array<quint8, 4> bytes{};
  for (int i = 0; i < 4; ++i) {
    const int b = LoggerByteFromChar(padded.at(i));
    bytes[static_cast<size_t>(i)] = static_cast<quint8>(b < 0 ? ' ' : b);
  }
  return bytes;
}

void Session::Set_HGName(const QString& name) {
  if (busy() || !connected()) return;
  const std::array<quint8, 4> c = NameBytes(name);
  exchange_->Queue_Reset();
  exchange_->Command_Add(1, 40, c[0], c[1], QString());
  exchange_->Command_Add(1, 41, c[2], c[3], QString());
  Status_Read();
  exchange_->Command_Send();
}

}  // namespace hygro
