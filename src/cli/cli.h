#pragma once
// hygrotab-cli: the logger operations of the window, one command each, for
// scripts and for a quick look at a logger without a desktop. The tool owns no
// logger logic: it drives the headless session exactly as the window's
// buttons do, answers its questions from options and prints what the window
// would show.
#include <QHash>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "archive/archive.h"
#include "archive/archiver.h"
#include "data/userprompt.h"
#include "logger/conversions.h"
#include "logger/session.h"

namespace hygro::cli {

// Exit statuses.
constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;  // the logger refused, did not answer, or went away
constexpr int kExitUsage = 2;    // the command line itself is wrong

inline const QString kProgram = QStringLiteral("hygrotab-cli");

// ---------------------------------------------------------------- output
// Text for a person or a script: UTF-8 on stdout / stderr.
// stdout, newline added. False once stdout cannot be written (the reader of a
// pipe went away, a full disk): from then on nothing more is written to it.
bool out(const QString& line);
void err(const QString& line);  // stderr, newline added
// stdout failed; outputError() says why ("Broken pipe").
bool outputLost();
QString outputError();
// A usage error: the message, a hint where to look, and kExitUsage.
int usageError(const QString& message, const QString& command = QString());
// Message texts carry the logger's line breaks (carriage returns).
QString terminalText(const QString& text);

// A download's progress on stderr: a bar redrawn in place on a terminal; on
// a pipe or file a line at each tenth of the way, so a log stays readable.
class Progress {
 public:
  Progress();
  void show(int done, int total, const QString& caption);
  // Ends the bar's line before anything else is written.
  void end();

 private:
  bool tty_;
  bool open_ = false;
  bool shownStart_ = false;
  int lastTenth_ = -1;
};

// ---------------------------------------------------------------- arguments
struct OptionDef {
  QString name;  // without the leading "--"
  bool takesValue = false;
};

struct ParsedArgs {
  QHash<QString, QString> values;  // options with a value; the last one given wins
  QStringList flags;               // options without a value
  QStringList positional;
  bool help = false;

  bool has(const QString& name) const { return values.contains(name) || flags.contains(name); }
  QString value(const QString& name) const { return values.value(name); }
};

// "--name value", "--name=value", "--" ends the options, "-h"/"--help" asks
// for help. A negative number is a value, never an option ("--lower -5:on").
bool parseArgs(const QStringList& args, const std::vector<OptionDef>& defs, ParsedArgs* out,
               QString* error);

// ---------------------------------------------------------------- values
struct Bound {
  int degrees = 0;
  bool on = false;
};

// ---------------------------------------------------------------- outputs
// An output option's FILE: "-" is standard output; a device or a pipe is
// written in place; a new file appears whole or not at all; an existing
// regular file is replaced only with --overwrite.
inline const QString kStdout = QStringLiteral("-");
inline const QString kOverwrite = QStringLiteral("overwrite");

// Whether `path` can take the output, asked before anything is read or the
// logger is touched; nothing is left behind by the check. False with *why:
// a folder, a missing folder, no room for a new file, or an existing file
// without `overwrite`.
bool outputWritable(const QString& path, bool overwrite, QString* why);
// The usage error for an output that names one of the `inputs` (the same
// file under any name); kExitOk when it names none of them.
int outputIsInput(const QString& option, const QString& path, const QStringList& inputs,
                  const QString& command);
// Writes bytes to stdout as they are, false (and outputLost()) when it fails.
bool outBytes(const QByteArray& bytes);
// Writes a whole file to `path` ("-": stdout). False with *why.
bool writeOutput(const QString& path, const QByteArray& bytes, QString* why);
// Whether `path` is written as a stream (stdout, a device, a pipe): no file
// is replaced, so it gets its content once, at the end.
bool outputIsStream(const QString& path);

// "30:on", "-5:off"; false with *error naming the option and the range.
bool parseBound(const QString& text, const QString& option, int min, int max, Bound* out,
                QString* error);
// "10s", "5m": 1 to 255 seconds or minutes.
struct RecordInterval {
  int value = 0;
  bool minutes = false;
};
bool parseRecordInterval(const QString& text, RecordInterval* out, QString* error);
// "YYYY-MM-DD HH:MM" as a date serial.
bool parseReservation(const QString& text, double* serial, QString* error);
// "one-time" or "loop".
bool parseMemoryMode(const QString& text, bool* loop, QString* error);
// A whole number in [min, max].
bool parseInt(const QString& text, const QString& what, int min, int max, int* out, QString* error);

// ---------------------------------------------------------------- prompt
// The window's message boxes become lines on stderr; its questions are
// answered by what the command line said, or refused.
class CliPrompt : public UserPrompt {
 public:
  // Answers a question (Yes/No) or returns nothing to refuse it.
  using Answerer = std::function<std::optional<bool>(QuestionId id)>;

  void message(const QString& text, const QString& title) override;
  bool question(QuestionId id, const QString& text, const QString& title,
                SafeAnswer safe = SafeAnswer::Yes) override;
  std::optional<QString> saveFileName(const QString& proposed, const QString& filter,
                                      bool* dialogFailed) override;
  std::optional<QString> openFileName(const QString& filter) override;

  Answerer answerer;
  QString saveTo;  // the --csv file; empty: every save is cancelled

  int messages = 0;      // messages shown so far
  bool refused = false;  // a question was refused for want of an option
};

// ---------------------------------------------------------------- the tool
struct GlobalOptions {
  QString port;  // empty: search like the connect button
  bool demo = false;
  QString baud = QStringLiteral("57600");
  QString dataDir;        // empty: a private temporary folder
  int waitForLogger = 0;  // seconds to wait for a logger to be plugged in
  QString archive;        // --archive TARGET; empty: the window's archive
  bool noArchive = false;
};

// The archive the options name: --archive TARGET, else archive.sqlite in the
// --data-dir folder, else the window's archive in its default data folder.
// False with *why for a TARGET that cannot be read.
bool ArchiveTargetOf(const GlobalOptions& options, ArchiveTarget* target, QString* why);

class Tool {
 public:
  explicit Tool(const GlobalOptions& options);
  ~Tool();
  Tool(const Tool&) = delete;
  Tool& operator=(const Tool&) = delete;

  // Creates the session over the chosen port and opens the data folder.
  // kExitOk, or the exit status after the message.
  int open();
  // After open(), before the logger is touched: opens (creates, upgrades)
  // the archive and attaches it to the session, so that every download is
  // kept in it before the logger is told it is downloaded. Nothing with
  // --no-archive. kExitOk, or kExitFailure after a message naming it.
  int openArchive();
  Archive* archive() { return archive_.get(); }
  SessionArchiver* archiver() { return archiver_.get(); }
  // Reads the logger's clock for the download kept last, so the archive
  // notes its offset; the logger must be idle. Waits for the answers.
  void noteClockOffset();
  // Connects to `port` without a word when no logger answers there (watch
  // tries again later). False when none answered or the first read failed.
  bool connectQuietly(const QString& port);
  // Disconnects, as the window's disconnect button does.
  void disconnect();
  // Connects (identification and the first status read). False after the
  // message when no logger answered or the first read failed.
  bool connect();
  // Connects for reading the log out: the logger hears that its log was
  // downloaded only when the command says so (after it has the points safe),
  // and the download's question about an earlier log is answered No, since
  // the tool holds none. False after the message, as connect().
  bool connectForDownload();
  // Presses the download button. False when the download did not start,
  // after a line saying so unless the session has said why already.
  bool startDownload();
  // Runs the event loop until the exchange in progress has ended (or, when
  // `interruptible`, until an interrupt caught by catchInterrupt()).
  void runUntilIdle(bool interruptible = true);
  // Runs the event loop until `done` holds or the connection is gone.
  void runUntil(const std::function<bool()>& done);
  // Ctrl-C, SIGTERM and SIGHUP (a closed terminal) never end the tool
  // itself: from its construction they are caught, and SIGPIPE is ignored
  // (a write to a pipe nobody reads fails instead, see outputLost()), so
  // every way out goes through the clean-up of ~Tool. A command that has not
  // called catchInterrupt() lets the exchange in progress end and then fails
  // (failed(), "interrupted"). After catchInterrupt() the command deals with
  // the interrupt itself: it ends the waits of runUntil() and runUntilIdle()
  // at once, so a long run can be ended cleanly: a continuous run is stopped
  // and saved, a download cancelled.
  void catchInterrupt();
  bool interrupted() const;
  // The name of the signal that interrupted ("SIGHUP"); empty when none did.
  static QString interruptName();

  // The operation just run failed: the exchange was abandoned, the logger
  // is gone, or (unless the command deals with it) the tool was interrupted.
  // A message was shown in each case.
  bool failed();

  Session& session() { return *session_; }
  CliPrompt& prompt() { return prompt_; }
  const GlobalOptions& options() const { return options_; }
  // The model identified on connecting; it stays known after the connection
  // is lost (the session then names no model), so saved data keeps it.
  QString model() const { return model_; }

 private:
  GlobalOptions options_;
  CliPrompt prompt_;
  std::unique_ptr<QTemporaryDir> tempDir_;
  std::unique_ptr<Session> session_;
  std::unique_ptr<Archive> archive_;
  std::unique_ptr<SessionArchiver> archiver_;
  QString model_;
  bool abandoned_ = false;
  bool gone_ = false;
  bool interruptClaimed_ = false;  // catchInterrupt() was called
};

// ---------------------------------------------------------------- commands
struct Command {
  QString name;
  QString summary;
  QString usage;  // the whole --help text of the command
  std::vector<OptionDef> options;
  // Checks the arguments (usage errors return kExitUsage) before the tool
  // talks to the logger, then runs.
  std::function<int(const GlobalOptions& global, const ParsedArgs& args)> run;
};

Command statusCommand();
Command measureCommand();
Command downloadCommand();
Command startCommand();
Command stopCommand();
Command setClockCommand();
Command setNameCommand();
Command setAlarmCommand();
Command setModeCommand();
Command recoverCommand();
Command archiveCommand();
Command watchCommand();
// Needs a QGuiApplication (text drawing).
Command plotCommand();
Command printCommand();
// The figures of a set (statistics, excursions) and its spreadsheet export.
Command statsCommand();
Command exportCommand();

// Prints the `Caption: value` line.
void printField(const QString& caption, const QString& value);
// The sample line of measure and download: time, temperature, humidity.
QString sampleLine(const MeasurementRecord& rec);

}  // namespace hygro::cli
