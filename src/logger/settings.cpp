// Device settings (alarm bounds, memory mode, initialisation) and the
// identification name.
#include "logger/settings.h"

#include "data/userprompt.h"
#include "logger/conversions.h"
#include "logger/recording.h"
#include "logger/session.h"

namespace hygro {

namespace {
constexpr CommMode kLogStart = CommMode::LogStart;
// In the order they are tested.
const QString kForbidden = QStringLiteral("|><\"?*:/\\");
}  // namespace

SettingsOperation::SettingsOperation(Session& session, LoggerStatus& status)
    : Operation(session, status) {
  registerBranches();
}

void SettingsOperation::Alarm_set(int upperDegrees, bool upperOn, int lowerDegrees, bool lowerOn) {
  // The port gone under an open dialog: sent to a closed port, the commands
  // time out and the user is told, as with a recording start.
  if (busy()) return;
  const BoundBytes up = BoundToBytes(upperDegrees, upperOn);
  const BoundBytes lo = BoundToBytes(lowerDegrees, lowerOn);
  x().Queue_Reset();
  x().Command_Add(1, 45, up.high, up.low, CommMode::None);
  x().Command_Add(1, 46, lo.high, lo.low, CommMode::None);
  s_.statusOp().Status_Read();
  send();
}

void SettingsOperation::M_Mode_Set(bool loop) {
  if (busy()) return;  // a closed port times out with a message
  const quint8 m = loop ? 1 : 0;
  x().Queue_Reset();
  x().Command_Add(1, 49, m, m, CommMode::None);
  s_.statusOp().Status_Read();
  send();
}

QString SettingsOperation::InitialiseQuestion(const LoggerStatus& st) {
  QString text = QStringLiteral(
      "Initialise the logger?\r\rIts memory is erased: the log it holds and its settings.");
  if (st.RecState == RecState::Recording)
    text += QStringLiteral("\rThe recording in progress ends.");
  else if (st.RecState == RecState::Reserving)
    text += QStringLiteral("\rThe reserved start is cancelled.");
  if (st.NeverDownloaded && LogHeld(st))
    text += QStringLiteral("\rThe log was never downloaded: its data will be lost.");
  return text;
}

void SettingsOperation::Command27_Click() {
  if (blockPortOutput_ || !connected()) return;
  // One click must not erase a log: the user says so first.
  const QuestionId q = QuestionId::InitialiseLogger;
  if (!prompt()->question(q, InitialiseQuestion(st()), model(), SafeAnswer::No)) return;
  if (blockPortOutput_ || !connected()) return;  // the question ran the event loop
  x().Write_Raw(QByteArray("INITALL\xFF", 8));
}

void SettingsOperation::registerBranches() {
  // The two confirmations of a settings write; a recording start sends the
  // same commands and stays quiet.
  auto confirm = [this](QueuedCommand& e, const ReceiveBuffer&) {
    if (e.CommMode != kLogStart)
      prompt()->message(RecordingOperation::SetCompletionText(), model());
    return BranchResult::Advance;
  };
  x().setBranch(46, confirm);
  x().setBranch(49, confirm);
}

QString SettingsOperation::ForbiddenNameMessage() {
  return QStringLiteral("認識名称には次の文字は使えません") + QStringLiteral("\r\r") +
         QString(11, QLatin1Char(' ')) + QStringLiteral("\\ / : * ? \" < > |");
}

bool SettingsOperation::IdentNameCheck(const QString& name) {
  for (const QChar c : kForbidden) {
    if (name.contains(c)) {
      prompt()->message(ForbiddenNameMessage(), QStringLiteral("QM510-XC"));
      return false;
    }
  }
  // Of the characters sent, each must be one the logger can hold.
  for (const QChar c : name.left(4)) {
    if (!LoggerCanHoldTyped(c)) {
      prompt()->message(SingleByteNameMessage(), model());
      return false;
    }
  }
  return true;
}

QString SettingsOperation::SingleByteNameMessage() {
  return QStringLiteral(
      "Only letters, digits, signs and half-width katakana can be used in the recognition name.");
}

std::array<quint8, 4> SettingsOperation::NameBytes(const QString& name) {
  const QString padded = PaddedName(name);
  std::array<quint8, 4> bytes{};
  for (int i = 0; i < 4; ++i) {
    const int b = LoggerByteFromChar(padded.at(i));
    bytes[static_cast<size_t>(i)] = static_cast<quint8>(b < 0 ? ' ' : b);
  }
  return bytes;
}

void SettingsOperation::Set_HGName(const QString& name) {
  if (busy()) return;  // a closed port times out with a message
  const std::array<quint8, 4> c = NameBytes(name);
  x().Queue_Reset();
  x().Command_Add(1, 40, c[0], c[1], CommMode::None);
  x().Command_Add(1, 41, c[2], c[3], CommMode::None);
  s_.statusOp().Status_Read();
  send();
}

}  // namespace hygro
