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
  // A year the logger's clock cannot keep is refused with a message.
  if (!s.recording().Now_Time_set()) return kExitFailure;
  tool.runUntilIdle();
  if (tool.failed()) return kExitFailure;
  // The clock as the logger read it back ("Set completion" has shown it too,
  // or the message that it is not the time sent).
  printField(QStringLiteral("Clock"), s.recording().clockReadBack().text());
  if (!s.recording().clockSet()) return kExitFailure;
  return kExitOk;
}

}  // namespace

Command setClockCommand() {
  return {QStringLiteral("set-clock"),
          QStringLiteral("set the logger's clock to this computer's"),
          QStringLiteral("Usage: hygrotab-cli [global options] set-clock\n"
                         "\n"
                         "Sets the logger's clock to the computer's local time and prints the\n"
                         "time the logger reads back ('Clock: yyyy/mm/dd hh:nn:ss'). Exit status\n"
                         "1 when that is not the time sent, or when the logger's clock cannot\n"
                         "keep the computer's year (it keeps 2000 to 2029)."),
          {},
          runSetClock};
}

}  // namespace hygro::cli
