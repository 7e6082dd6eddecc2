// set-alarm: the pair of temperature alarm bounds (QM720-XC).
#include "cli/cli.h"

namespace hygro::cli {

namespace {

int runSetAlarm(const GlobalOptions& global, const ParsedArgs& args) {
  const QString cmd = QStringLiteral("set-alarm");
  if (!args.positional.isEmpty())
    return usageError(QStringLiteral("set-alarm takes no arguments besides its options"), cmd);
  if (!args.has(QStringLiteral("upper")) || !args.has(QStringLiteral("lower")))
    return usageError(QStringLiteral("set-alarm needs both --upper and --lower"), cmd);
  QString error;
  Bound upper, lower;
  if (!parseBound(args.value(QStringLiteral("upper")), QStringLiteral("upper"), kUpperMin,
                  kUpperMax, &upper, &error) ||
      !parseBound(args.value(QStringLiteral("lower")), QStringLiteral("lower"), kLowerMin,
                  kLowerMax, &lower, &error))
    return usageError(error, cmd);
  if (upper.degrees <= lower.degrees)
    return usageError(QStringLiteral("the upper bound must be above the lower bound"), cmd);

  Tool tool(global);
  if (const int rc = tool.open()) return rc;
  if (!tool.connect()) return kExitFailure;
  Session& s = tool.session();
  if (!s.view().boundsVisible) {
    err(QStringLiteral("%1: the %2 has no alarm bounds").arg(kProgram, s.ModelName()));
    return kExitFailure;
  }
  s.settings().Alarm_set(upper.degrees, upper.on, lower.degrees, lower.on);
  tool.runUntilIdle();
  if (tool.failed()) return kExitFailure;
  printField(QStringLiteral("Upper bound"), s.view().Label29);
  printField(QStringLiteral("Lower bound"), s.view().Label46);
  return kExitOk;
}

}  // namespace

Command setAlarmCommand() {
  return {
      QStringLiteral("set-alarm"),
      QStringLiteral("set the temperature alarm bounds"),
      QStringLiteral(
          "Usage: hygrotab-cli [global options] set-alarm --upper DEG:on|off --lower DEG:on|off\n"
          "\n"
          "Sets the upper and lower temperature bounds (QM720-XC only) in whole degrees C\n"
          "and whether each one alarms, for example --upper 30:on --lower -5:off.\n"
          "The upper bound is -19 to 70, the lower -20 to 69, and the upper must be above\n"
          "the lower. Prints the bounds the logger then reports."),
      {{QStringLiteral("upper"), true}, {QStringLiteral("lower"), true}},
      runSetAlarm};
}

}  // namespace hygro::cli
