// stop: ends a recording or cancels a reserved start (the record button while
// the logger records or waits).
#include "cli/cli.h"

namespace hygro::cli {

namespace {

int runStop(const GlobalOptions& global, const ParsedArgs& args) {
  if (!args.positional.isEmpty())
    return usageError(QStringLiteral("stop takes no arguments"), QStringLiteral("stop"));
  Tool tool(global);
  if (const int rc = tool.open()) return rc;
  if (!tool.connect()) return kExitFailure;
  Session& s = tool.session();
  const StatusView& v = s.view();
  if (v.state != DisplayState::Recording && v.state != DisplayState::Reserving) {
    // Already where the user wants it: nothing to send.
    printField(QStringLiteral("State"), v.stateWord());
    return kExitOk;
  }
  if (s.recording().Command4_Click() != RecordButton::Stopping) return kExitFailure;
  tool.runUntilIdle();
  if (tool.failed()) return kExitFailure;
  printField(QStringLiteral("State"), v.stateWord());
  if (v.state != DisplayState::Idle) {
    err(QStringLiteral("%1: the logger did not stop").arg(kProgram));
    return kExitFailure;
  }
  return kExitOk;
}

}  // namespace

Command stopCommand() {
  return {QStringLiteral("stop"),
          QStringLiteral("stop recording, or cancel a reserved start"),
          QStringLiteral("Usage: hygrotab-cli [global options] stop\n"
                         "\n"
                         "Stops the logger's recording, or cancels its reserved start, and prints\n"
                         "the state it then reports. A logger that is not recording is left as\n"
                         "it is."),
          {},
          runStop};
}

}  // namespace hygro::cli
