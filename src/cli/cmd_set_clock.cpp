// set-clock: the logger's clock to the computer's present time.
#include "cli/cli.h"

namespace hygro::cli {

namespace {

int runSetClock(const GlobalOptions& global, const ParsedArgs& args) {
  if (!args.positional.isEmpty())
    return usageError(QStringLiteral("set-clock takes no arguments"), QStringLiteral("set-clock"));
  Tool tool(global);
  if (const int rc = tool.open()) return rc;
  if (!tool.connect()) return kExitFailure;
  Session& s = tool.session();
  s.recording().Now_Time_set();
  tool.runUntilIdle();
  if (tool.failed()) return kExitFailure;
  // The clock as the logger read it back ("Set completion" has shown it too).
  const ClockReadBack& c = s.recording().clockReadBack();
  printField(QStringLiteral("Clock"), QStringLiteral("%1/%2/%3 %4:%5:%6")
                                          .arg(c.year, 4, 10, QLatin1Char('0'))
                                          .arg(c.month, 2, 10, QLatin1Char('0'))
                                          .arg(c.day, 2, 10, QLatin1Char('0'))
                                          .arg(c.hour, 2, 10, QLatin1Char('0'))
                                          .arg(c.minute, 2, 10, QLatin1Char('0'))
                                          .arg(c.second, 2, 10, QLatin1Char('0')));
  return kExitOk;
}

}  // namespace

Command setClockCommand() {
  return {QStringLiteral("set-clock"),
          QStringLiteral("set the logger's clock to this computer's"),
          QStringLiteral("Usage: hygrotab-cli [global options] set-clock\n"
                         "\n"
                         "Sets the logger's clock to the computer's local time and prints the\n"
                         "time the logger reads back ('Clock: yyyy/mm/dd hh:nn:ss')."),
          {},
          runSetClock};
}

}  // namespace hygro::cli
