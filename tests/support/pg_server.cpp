#include "support/pg_server.h"

#include <QProcess>

namespace hygro::test {

namespace {
const QString kScript = QStringLiteral(HYGROTAB_SCRIPTS "/pg-scratch.sh");

bool runScript(const QString& command, const QString& dir, QString* out, QString* why) {
  QProcess p;
  p.start(QStringLiteral("bash"), {kScript, command, dir});
  if (!p.waitForFinished(120000)) {
    p.kill();
    p.waitForFinished();
    if (why) *why = QStringLiteral("pg-scratch.sh %1 did not end").arg(command);
    return false;
  }
  if (out) *out = QString::fromLocal8Bit(p.readAllStandardOutput()).trimmed();
  if (p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0) {
    if (why)
      *why = QStringLiteral("pg-scratch.sh %1: %2")
                 .arg(command, QString::fromLocal8Bit(p.readAllStandardError()));
    return false;
  }
  return true;
}
}  // namespace

bool PgServer::start(QString* why) {
  if (!dir_.isValid()) {
    *why = dir_.errorString();
    return false;
  }
  QString conninfo;
  if (!runScript(QStringLiteral("start"), dir_.path(), &conninfo, why)) return false;
  running_ = true;
  socketDir_ = dir_.filePath(QStringLiteral("pg"));
  return true;
}

void PgServer::stop() {
  if (!running_) return;
  running_ = false;
  runScript(QStringLiteral("stop"), dir_.path(), nullptr, nullptr);
}

QString PgServer::conninfo(const QString& dbname) const {
  return QStringLiteral("host=%1 port=5432 user=hygrotab dbname=%2").arg(socketDir_, dbname);
}

}  // namespace hygro::test
