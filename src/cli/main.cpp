// hygrotab-cli: global options, the command table and the help texts.
#include <QCoreApplication>
#include <QGuiApplication>
#include <memory>
#include <optional>

#include "cli/cli.h"
#include "link/connection.h"
#include "link/portnames.h"

using namespace hygro::cli;

namespace {

std::vector<Command> commands() {
  return {statusCommand(),  measureCommand(),  downloadCommand(), startCommand(),
          stopCommand(),    setClockCommand(), setNameCommand(),  setAlarmCommand(),
          setModeCommand(), recoverCommand(),  plotCommand(),     printCommand(),
          statsCommand(),   exportCommand(),   archiveCommand(), watchCommand()};
}

QString toolHelp(const std::vector<Command>& cmds) {
  QString h = QStringLiteral(
      "Usage: hygrotab-cli [--port PORT | --demo] [--baud RATE] [--wait-for-logger SECONDS]\n"
      "                    [--data-dir DIR] [--archive TARGET | --no-archive] COMMAND [ARGS]\n"
      "\n"
      "Talks to a Hygrotab temperature/humidity logger (QM720-XC, QM720-XCB, QM510-XC).\n"
      "\n"
      "Options (before or after COMMAND):\n"
      "  --port PORT     the logger's port: a COM-style number (1-255; n is /dev/ttyUSB<n-1>\n"
      "                  on Linux) or a device path; without it the ports are searched\n"
      "                  as the window's connect button does\n"
      "  --demo          talk to the built-in emulated logger instead of a real one\n"
      "  --baud RATE     line speed: 9600, 14400, 19200, 38400, 57600 (default) or 115200\n"
      "  --wait-for-logger SECONDS\n"
      "                  wait up to SECONDS for the logger to be plugged in and answer\n"
      "                  (for scripts started before it is)\n"
      "  --data-dir DIR  folder for the scratch files (default: a private temporary folder;\n"
      "                  for recover, the window's data folder); a folder a running\n"
      "                  Hygrotab program uses is refused\n"
      "  --archive TARGET\n"
      "                  where every download is kept before the logger is told it is\n"
      "                  downloaded: an SQLite file, or a PostgreSQL database as a URL\n"
      "                  (postgresql://user@host/db) or a key=value string ('host=... "
      "dbname=...');\n"
      "                  default: archive.sqlite in the --data-dir folder, else the window's\n"
      "                  archive in its data folder\n"
      "  --no-archive    keep downloads in no archive\n"
      "  -h, --help      this text; COMMAND --help describes a command\n"
      "  --version       the program's version\n"
      "\n"
      "Commands:\n");
  for (const Command& c : cmds) h += QStringLiteral("  %1%2\n").arg(c.name, -12).arg(c.summary);
  h += QStringLiteral(
      "\n"
      "Exit status: 0 success, 1 the logger refused, did not answer or is not there\n"
      "or the data folder is in use (the reason on stderr), 2 a wrong command line.");
  return h;
}

// The command word, found past the global options as main() reads them.
QString commandWord(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const QString a = QString::fromLocal8Bit(argv[i]);
    if (!a.startsWith(QLatin1Char('-'))) return a;
    if (!a.contains(QLatin1Char('=')) &&
        (a == QLatin1String("--port") || a == QLatin1String("--baud") ||
         a == QLatin1String("--data-dir") || a == QLatin1String("--wait-for-logger") ||
         a == QLatin1String("--archive")))
      ++i;
  }
  return {};
}

QtMessageHandler qtHandler = nullptr;

// The offscreen platform looks for a runtime folder that a plain shell often
// lacks; Qt's warning about it would tell a user of the tool nothing.
void dropRuntimeDirWarning(QtMsgType type, const QMessageLogContext& context, const QString& text) {
  if (text.startsWith(QLatin1String("QStandardPaths: XDG_RUNTIME_DIR"))) return;
  if (qtHandler) qtHandler(type, context, text);
}

// The commands that draw: they need the Gui application, but never a window
// and so no display.
bool draws(const QString& command) {
  return command == QLatin1String("plot") || command == QLatin1String("print");
}

// An argument that is not valid UTF-8 would reach the tool with its bad
// bytes replaced: a file would be written under another name. "\xNN" for
// each such byte, or empty when the argument is valid.
QString invalidUtf8(const char* arg) {
  const QByteArray raw(arg);
  if (QString::fromUtf8(raw).toUtf8() == raw) return {};
  QString shown;
  for (const char c : raw) {
    const auto b = static_cast<unsigned char>(c);
    shown += b >= 0x20 && b < 0x7F ? QString(QLatin1Char(c))
                                   : QStringLiteral("\\x%1").arg(b, 2, 16, QLatin1Char('0'));
  }
  return shown;
}

// The global options the command line holds on either side of the command.
const std::vector<OptionDef> kGlobalOptions = {
    {QStringLiteral("port"), true},       {QStringLiteral("demo"), false},
    {QStringLiteral("baud"), true},       {QStringLiteral("wait-for-logger"), true},
    {QStringLiteral("data-dir"), true},   {QStringLiteral("archive"), true},
    {QStringLiteral("no-archive"), false}};

// Takes one global option into `global`; a usage error's exit status, or
// kExitOk.
int applyGlobal(const QString& name, const std::optional<QString>& value, GlobalOptions* global,
                bool* portGiven) {
  if (name == QLatin1String("demo")) {
    global->demo = true;
  } else if (name == QLatin1String("port")) {
    global->port = value.value_or(QString());
    if (global->port.trimmed().isEmpty())
      return usageError(QStringLiteral("--port needs a port number or a device path"));
    if (const QString problem = hygro::PortNameProblem(global->port); !problem.isEmpty())
      return usageError(QStringLiteral("--port: ") + problem);
    *portGiven = true;
  } else if (name == QLatin1String("baud")) {
    global->baud = value.value_or(QString());
    if (!value || !hygro::Connection::BaudChoices().contains(global->baud))
      return usageError(QStringLiteral("--baud takes one of %1")
                            .arg(hygro::Connection::BaudChoices().join(QStringLiteral(", "))));
  } else if (name == QLatin1String("wait-for-logger")) {
    bool ok = false;
    global->waitForLogger = value.value_or(QString()).toInt(&ok);
    if (!ok || global->waitForLogger < 1 || global->waitForLogger > 86400)
      return usageError(QStringLiteral("--wait-for-logger needs a number of seconds (1 to 86400)"));
  } else if (name == QLatin1String("data-dir")) {
    global->dataDir = value.value_or(QString());
    if (global->dataDir.isEmpty()) return usageError(QStringLiteral("--data-dir needs a folder"));
  } else if (name == QLatin1String("archive")) {
    global->archive = value.value_or(QString());
    hygro::ArchiveTarget target;
    QString why;
    if (!hygro::ArchiveTarget::parse(global->archive, &target, &why))
      return usageError(QStringLiteral("--archive: ") + why);
  } else if (name == QLatin1String("no-archive")) {
    global->noArchive = true;
  }
  return kExitOk;
}

}  // namespace

int main(int argc, char** argv) {
  std::unique_ptr<QCoreApplication> app;
  if (draws(commandWord(argc, argv))) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    qtHandler = qInstallMessageHandler(dropRuntimeDirWarning);
    app = std::make_unique<QGuiApplication>(argc, argv);
  } else {
    app = std::make_unique<QCoreApplication>(argc, argv);
  }
  QCoreApplication::setApplicationName(kProgram);
  QCoreApplication::setApplicationVersion(QStringLiteral(HYGROTAB_VERSION));

  for (int i = 1; i < argc; ++i) {
    if (const QString bad = invalidUtf8(argv[i]); !bad.isEmpty())
      return usageError(
          QStringLiteral("'%1' is not valid UTF-8 text; the tool takes names it can spell "
                         "exactly")
              .arg(bad));
  }

  const std::vector<Command> cmds = commands();
  QStringList args = QCoreApplication::arguments().mid(1);
  GlobalOptions global;
  bool portGiven = false;

  // Global options before the command.
  while (!args.isEmpty() && args.first().startsWith(QLatin1Char('-'))) {
    const QString a = args.takeFirst();
    const qsizetype eq = a.indexOf(QLatin1Char('='));
    const QString name = eq < 0 ? a : a.left(eq);
    if (name == QLatin1String("-h") || name == QLatin1String("--help")) {
      out(toolHelp(cmds));
      return kExitOk;
    }
    if (name == QLatin1String("--version")) {
      out(kProgram + QLatin1Char(' ') + QCoreApplication::applicationVersion());
      return kExitOk;
    }
    const auto def = std::find_if(kGlobalOptions.begin(), kGlobalOptions.end(),
                                  [&](const OptionDef& d) { return name == "--" + d.name; });
    if (def == kGlobalOptions.end() || (!def->takesValue && eq >= 0))
      return usageError(QStringLiteral("unknown option '%1'").arg(name));
    std::optional<QString> value;
    if (eq >= 0)
      value = a.mid(eq + 1);
    else if (def->takesValue && !args.isEmpty())
      value = args.takeFirst();
    if (const int rc = applyGlobal(def->name, value, &global, &portGiven)) return rc;
  }
  if (args.isEmpty()) {
    if (!global.archive.isEmpty() && global.noArchive)
      return usageError(QStringLiteral("--archive and --no-archive exclude each other"));
    if (portGiven && global.demo)
      return usageError(QStringLiteral("--port and --demo exclude each other"));
    return usageError(QStringLiteral("no command given"));
  }

  const QString name = args.takeFirst();
  const auto cmd =
      std::find_if(cmds.begin(), cmds.end(), [&](const Command& c) { return c.name == name; });
  if (cmd == cmds.end()) return usageError(QStringLiteral("unknown command '%1'").arg(name));

  // ... and after it, among the command's own.
  std::vector<OptionDef> defs = cmd->options;
  defs.insert(defs.end(), kGlobalOptions.begin(), kGlobalOptions.end());
  ParsedArgs parsed;
  QString error;
  if (!parseArgs(args, defs, &parsed, &error)) return usageError(error, cmd->name);
  if (parsed.help) {
    out(cmd->usage);
    return kExitOk;
  }
  for (const OptionDef& d : kGlobalOptions) {
    if (!parsed.has(d.name)) continue;
    const std::optional<QString> value =
        d.takesValue ? std::optional<QString>(parsed.value(d.name)) : std::nullopt;
    if (const int rc = applyGlobal(d.name, value, &global, &portGiven)) return rc;
    parsed.values.remove(d.name);
    parsed.flags.removeAll(d.name);
  }
  if (portGiven && global.demo)
    return usageError(QStringLiteral("--port and --demo exclude each other"));
  if (!global.archive.isEmpty() && global.noArchive)
    return usageError(QStringLiteral("--archive and --no-archive exclude each other"));
  return cmd->run(global, parsed);
}
