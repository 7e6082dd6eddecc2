#include "support/sim_process.h"

#include <QDeadlineTimer>
#include <QDir>

namespace hygro::test {

QString SimProcess::executable() {
  QString dir = qEnvironmentVariable("HYGROTAB_BIN_DIR");
  if (dir.isEmpty()) dir = QStringLiteral(HYGROTAB_BIN_DIR);
  return QDir(dir).filePath(QStringLiteral("hygrotab-sim"));
}

QString SimProcess::state(const QString& name) {
  return QDir(QStringLiteral(HYGROTAB_TEST_DATA "/sim")).filePath(name);
}

bool SimProcess::start(const QStringList& args, QString* error, int timeoutMs) {
  const auto fail = [&](const QString& what) {
    if (error) *error = what;
    stop(1000);
    return false;
  };
  m_proc.start(executable(), args);
  if (!m_proc.waitForStarted(timeoutMs))
    return fail(executable() + QStringLiteral(": ") + m_proc.errorString());
  const QDeadlineTimer deadline(timeoutMs);
  while (!m_proc.canReadLine()) {
    if (deadline.hasExpired() || m_proc.state() == QProcess::NotRunning)
      return fail(QStringLiteral("no terminal path: ") +
                  QString::fromLocal8Bit(m_proc.readAllStandardError()));
    m_proc.waitForReadyRead(int(qMax<qint64>(1, deadline.remainingTime())));
  }
  m_path = QString::fromLocal8Bit(m_proc.readLine()).trimmed();
  return !m_path.isEmpty() || fail(QStringLiteral("empty terminal path"));
}

int SimProcess::stop(int timeoutMs) {
  if (m_proc.state() == QProcess::NotRunning) return m_proc.exitCode();
  m_proc.terminate();
  if (!m_proc.waitForFinished(timeoutMs)) {
    m_proc.kill();
    m_proc.waitForFinished(1000);
    return -1;
  }
  return m_proc.exitStatus() == QProcess::NormalExit ? m_proc.exitCode() : -1;
}

}  // namespace hygro::test
