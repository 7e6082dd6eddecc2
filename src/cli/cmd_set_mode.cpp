// set-mode: the memory mode, one time or loop.
#include "cli/cli.h"

namespace hygro::cli {

namespace {

int runSetMode(const GlobalOptions& global, const ParsedArgs& args) {
  const QString cmd = QStringLiteral("set-mode");
  if (args.positional.size() != 1)
    return usageError(QStringLiteral("set-mode takes one mode: one-time or loop"), cmd);
  QString error;
  bool loop = false;
  if (!parseMemoryMode(args.positional.first(), &loop, &error)) return usageError(error, cmd);
  Tool tool(global);
  if (const int rc = tool.open()) return rc;
  if (!tool.connect()) return kExitFailure;
  Session& s = tool.session();
  s.settings().M_Mode_Set(loop);
  tool.runUntilIdle();
  if (tool.failed()) return kExitFailure;
  printField(QStringLiteral("Memory mode"), s.view().Label48);
  return kExitOk;
}

}  // namespace

Command setModeCommand() {
  return {QStringLiteral("set-mode"),
          QStringLiteral("set the memory mode"),
          QStringLiteral("Usage: hygrotab-cli [global options] set-mode one-time|loop\n"
                         "\n"
                         "one-time: recording stops when the memory is full;\n"
                         "loop: the oldest points are overwritten.\n"
                         "Prints the memory mode the logger then reports."),
          {},
          runSetMode};
}

}  // namespace hygro::cli
