#pragma once
// Runs build/bin/hygrotab-cli as a child process and collects what it said,
// and serves a logger for it: hygrotab-sim on a pseudo-terminal with a state
// from tests/data/sim, reached through a symlink in a private folder.
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <memory>

#include "support/sim_process.h"

namespace hygro::test {

struct CliResult {
  int exitCode = -1;
  bool crashed = false;  // killed by a signal, or did not end in time
  QString out;
  QString err;
  QStringList outLines() const;  // stdout without the final empty line
  QStringList errLines() const;
  // The value of a `Caption: value` line of stdout; "<no CAPTION line>" when absent.
  QString field(const QString& caption) const;
  bool hasField(const QString& caption) const;
};

// Where the tool is: $HYGROTAB_BIN_DIR, else the build's bin folder.
QString cliExecutable();

// The words of a command line as a shell splits them ("a \"b c\"" is two).
QStringList words(const QString& commandLine);

// Runs the tool with `args` (global options and command), at most
// `timeoutMs`. The data folder is always a private temporary one.
CliResult runCli(const QStringList& args, int timeoutMs = 30000);

// How a test may change the tool's surroundings.
struct CliSetup {
  // No file of the tool may grow beyond this many bytes (RLIMIT_FSIZE, with
  // SIGXFSZ ignored, so writes fail as on a full disk); 0: no limit.
  qint64 fileSizeLimit = 0;
  QString workingDir;  // empty: the test's own
  // TMPDIR of the tool, where it makes its private data folder; empty: the
  // test's own.
  QString tempDir;
  // False: no --data-dir, the tool makes its private folder under tempDir.
  bool dataDir = true;
};
CliResult runCli(const QStringList& args, const CliSetup& setup, int timeoutMs = 30000);
// Sets up `p` to run the tool with `args` in `setup` (without --data-dir when
// setup.dataDir is false: the caller adds one if it wants it).
void prepareCli(QProcess& p, const QStringList& args, const CliSetup& setup);

// A logger on a pseudo-terminal for the duration of a test.
class SimLogger {
 public:
  // `state` names a file in tests/data/sim ("" for the emulator's default
  // logger); `extra` are further hygrotab-sim options (faults, model).
  bool start(const QString& state, const QStringList& extra = {}, QString* error = nullptr);
  // The port to give the tool: a symlink to the terminal.
  QString port() const { return link_; }
  // Runs the tool against this logger.
  CliResult run(const QStringList& commandAndArgs, int timeoutMs = 30000) const;
  CliResult run(const QStringList& commandAndArgs, const CliSetup& setup,
                int timeoutMs = 30000) const;
  // The arguments that point the tool at this logger.
  QStringList portArgs() const;
  SimProcess& process() { return sim_; }

 private:
  QTemporaryDir dir_;
  QString link_;
  SimProcess sim_;
};

}  // namespace hygro::test

// QCOMPARE-style failure text that shows what the tool printed.
#define CLI_DIAG(r) \
  qPrintable(       \
      QStringLiteral("exit %1, stdout:\n%2\nstderr:\n%3").arg((r).exitCode).arg((r).out, (r).err))

// Declares `r`, the result of `call` (a run of the tool), and fails the test
// unless the tool ended by itself with exit status `code` (a crash or a
// time-out gives -1).
#define CLI_RUN(r, code, call)             \
  const hygro::test::CliResult r = (call); \
  QVERIFY2(r.exitCode == (code), CLI_DIAG(r))

// Declares `sim`, a SimLogger started on `state` (a file in tests/data/sim)
// with the further hygrotab-sim options `extra` (one string, as a shell
// splits it), and fails the test when it does not start.
#define START_SIM(sim, state, extra)                                                          \
  hygro::test::SimLogger sim;                                                                 \
  do {                                                                                        \
    QString simError;                                                                         \
    QVERIFY2(sim.start((state), hygro::test::words(extra), &simError), qPrintable(simError)); \
  } while (0)
