#include "support/cli_runner.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>

#ifdef Q_OS_UNIX
#include <signal.h>
#include <sys/resource.h>
#endif

namespace hygro::test {

namespace {
QStringList linesOf(const QString& text) {
  QStringList lines = text.split(QLatin1Char('\n'));
  if (!lines.isEmpty() && lines.last().isEmpty()) lines.removeLast();
  return lines;
}
}  // namespace

QString cliExecutable() {
  QString dir = qEnvironmentVariable("HYGROTAB_BIN_DIR");
  if (dir.isEmpty()) dir = QStringLiteral(HYGROTAB_BIN_DIR);
  return QDir(dir).filePath(QStringLiteral("hygrotab-cli"));
}

QStringList words(const QString& commandLine) { return QProcess::splitCommand(commandLine); }

QStringList CliResult::outLines() const { return linesOf(out); }
QStringList CliResult::errLines() const { return linesOf(err); }

bool CliResult::hasField(const QString& caption) const {
  return !field(caption).startsWith(QStringLiteral("<no "));
}

QString CliResult::field(const QString& caption) const {
  const QString prefix = caption + QStringLiteral(": ");
  for (const QString& l : outLines())
    if (l.startsWith(prefix)) return l.mid(prefix.size());
  return QStringLiteral("<no %1 line>").arg(caption);
}

void prepareCli(QProcess& p, const QStringList& args, const CliSetup& setup) {
  p.setProgram(cliExecutable());
  p.setArguments(args);
  // Under the sanitizers a finding must not pass for the tool's own exit
  // status 1: give it a status of its own.
  QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
  const QString asan = env.value(QStringLiteral("ASAN_OPTIONS"));
  env.insert(
      QStringLiteral("ASAN_OPTIONS"),
      (asan.isEmpty() ? QString() : asan + QLatin1Char(':')) + QStringLiteral("exitcode=86"));
  if (!setup.tempDir.isEmpty()) env.insert(QStringLiteral("TMPDIR"), setup.tempDir);
  p.setProcessEnvironment(env);
  if (!setup.workingDir.isEmpty()) p.setWorkingDirectory(setup.workingDir);
#ifdef Q_OS_UNIX
  if (setup.fileSizeLimit > 0) {
    const rlim_t limit = static_cast<rlim_t>(setup.fileSizeLimit);
    // In the child between fork and exec: async-signal-safe calls only. An
    // ignored signal stays ignored across exec.
    p.setChildProcessModifier([limit] {
      ::signal(SIGXFSZ, SIG_IGN);
      rlimit lim{};
      ::getrlimit(RLIMIT_FSIZE, &lim);
      lim.rlim_cur = limit;
      ::setrlimit(RLIMIT_FSIZE, &lim);
    });
  }
#endif
}

CliResult runCli(const QStringList& args, int timeoutMs) {
  return runCli(args, CliSetup{}, timeoutMs);
}

CliResult runCli(const QStringList& args, const CliSetup& setup, int timeoutMs) {
  CliResult r;
  QTemporaryDir data;
  QProcess p;
  prepareCli(p,
             setup.dataDir ? QStringList{QStringLiteral("--data-dir"), data.path()} + args : args,
             setup);
  p.start();
  if (!p.waitForStarted(5000)) {
    r.err = p.errorString();
    r.crashed = true;
    return r;
  }
  if (!p.waitForFinished(timeoutMs)) {
    p.kill();
    p.waitForFinished(2000);
    r.crashed = true;
  }
  r.out = QString::fromUtf8(p.readAllStandardOutput());
  r.err = QString::fromUtf8(p.readAllStandardError());
  if (p.exitStatus() != QProcess::NormalExit || p.exitCode() == 86 ||
      r.err.contains(QLatin1String("Sanitizer")) || r.err.contains(QLatin1String("runtime error:")))
    r.crashed = true;
  r.exitCode = r.crashed ? -1 : p.exitCode();
  return r;
}

bool SimLogger::start(const QString& state, const QStringList& extra, QString* error) {
  if (!dir_.isValid()) {
    if (error) *error = dir_.errorString();
    return false;
  }
  link_ = dir_.filePath(QStringLiteral("logger"));
  QStringList args{QStringLiteral("--no-pace"), QStringLiteral("--link"), link_};
  if (!state.isEmpty()) args << QStringLiteral("--state") << SimProcess::state(state);
  return sim_.start(args + extra, error);
}

CliResult SimLogger::run(const QStringList& commandAndArgs, int timeoutMs) const {
  return runCli(portArgs() + commandAndArgs, timeoutMs);
}

CliResult SimLogger::run(const QStringList& commandAndArgs, const CliSetup& setup,
                         int timeoutMs) const {
  return runCli(portArgs() + commandAndArgs, setup, timeoutMs);
}

QStringList SimLogger::portArgs() const { return {QStringLiteral("--port"), link_}; }

}  // namespace hygro::test
