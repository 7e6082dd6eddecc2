#pragma once
// Device settings (alarm bounds, memory mode, initialisation) and the
// identification name.
#include <array>

#include "logger/loggerstatus.h"
#include "logger/operation.h"

namespace hygro {

class SettingsOperation : public Operation {
  Q_OBJECT
 public:
  SettingsOperation(Session& session, LoggerStatus& status);
  void Alarm_set(int upperDegrees, bool upperOn, int lowerDegrees, bool lowerOn);
  void M_Mode_Set(bool loop);
  // While set, the initialise button sends nothing.
  void setBlockPortOutput(bool block) { blockPortOutput_ = block; }
  void Command27_Click();  // initialise, once the user has agreed
  static QString InitialiseQuestion(const LoggerStatus& status);
  void Set_HGName(const QString& name);
  // The check of a name typed by the user; false (after the message) when it
  // holds a forbidden character.
  bool IdentNameCheck(const QString& name);
  static QString ForbiddenNameMessage();
  static QString SingleByteNameMessage();
  static QString PaddedName(const QString& name);
  // The four bytes of a name on the logger (padded with blanks, cut to four).
  static std::array<quint8, 4> NameBytes(const QString& name);

 private:
  void registerBranches();
  bool blockPortOutput_ = false;
};

}  // namespace hygro
