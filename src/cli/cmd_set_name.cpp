// set-name: the logger's identification name.
#include "cli/cli.h"

namespace hygro::cli {

namespace {

int runSetName(const GlobalOptions& global, const ParsedArgs& args) {
  const QString cmd = QStringLiteral("set-name");
  if (args.positional.size() != 1)
    return usageError(QStringLiteral("set-name takes one name"), cmd);
  const QString name = args.positional.first();
  Tool tool(global);
  if (const int rc = tool.open()) return rc;
  Session& s = tool.session();
  if (!s.settings().IdentNameCheck(name)) return kExitUsage;
  if (name.size() > 4)
    err(QStringLiteral("%1: the logger keeps four characters: \"%2\"").arg(kProgram, name.left(4)));
  if (!tool.connect()) return kExitFailure;
  s.settings().Set_HGName(name);
  tool.runUntilIdle();
  if (tool.failed()) return kExitFailure;
  printField(QStringLiteral("Name"), s.view().Label14);
  return kExitOk;
}

}  // namespace

Command setNameCommand() {
  return {QStringLiteral("set-name"),
          QStringLiteral("set the logger's identification name"),
          QStringLiteral("Usage: hygrotab-cli [global options] set-name NAME\n"
                         "\n"
                         "Sets the identification name: four characters, a shorter name is\n"
                         "padded with blanks, of a longer one the first four are kept. These\n"
                         "characters are not allowed: \\ / : * ? \" < > |\n"
                         "Prints the name the logger then reports."),
          {},
          runSetName};
}

}  // namespace hygro::cli
