// status: what the window's status area shows, one `Caption: value` line each.
#include "cli/cli.h"

namespace hygro::cli {

namespace {

int runStatus(const GlobalOptions& global, const ParsedArgs& args) {
  if (!args.positional.isEmpty())
    return usageError(QStringLiteral("status takes no arguments"), QStringLiteral("status"));
  Tool tool(global);
  if (const int rc = tool.open()) return rc;
  // Connecting reads the whole status already.
  if (!tool.connect()) return kExitFailure;

  Session& s = tool.session();
  const StatusView& v = s.view();
  printField(QStringLiteral("Model"), s.ModelName());
  printField(QStringLiteral("Firmware"), s.status().FirmwareVersion);
  printField(QStringLiteral("Name"), v.Label14);
  printField(QStringLiteral("State"), v.stateWord());
  printField(QStringLiteral("Start time"), v.Label26);
  printField(QStringLiteral("Points"), v.Label21);
  printField(QStringLiteral("Interval"), v.Label6);
  printField(QStringLiteral("Memory mode"), v.Label48);
  // Only the model with alarm bounds shows them.
  if (v.boundsVisible) {
    printField(QStringLiteral("Upper bound"), v.Label29);
    printField(QStringLiteral("Lower bound"), v.Label46);
  }
  printField(QStringLiteral("Battery"), v.Label7);
  // The window's end label is blank unless the logger stopped for a low
  // battery; a blank line would only puzzle a reader.
  if (!v.Label8.isEmpty()) printField(QStringLiteral("End"), v.Label8);
  return kExitOk;
}

}  // namespace

Command statusCommand() {
  return {
      QStringLiteral("status"),
      QStringLiteral("read and show the logger's state"),
      QStringLiteral("Usage: hygrotab-cli [global options] status\n"
                     "\n"
                     "Reads the logger's state and prints one 'Caption: value' line each:\n"
                     "Model, Firmware, Name, State, Start time, Points, Interval, Memory mode,\n"
                     "Upper bound and Lower bound (QM720-XC only), Battery, and End when the\n"
                     "logger ended a recording because its battery ran low.\n"
                     "Values are those the window's status area shows."),
      {},
      runStatus};
}

}  // namespace hygro::cli
