#pragma once
// A PostgreSQL server of the test's own for as long as the object lives:
// scripts/pg-scratch.sh (initdb into a temporary folder, the server on a Unix
// socket there, as an unprivileged user when the tests run as root).
#include <QString>
#include <QTemporaryDir>

namespace hygro::test {

class PgServer {
 public:
  ~PgServer() { stop(); }
  // False with *why when the server cannot be made or started.
  bool start(QString* why);
  void stop();
  // The libpq key=value string of database `dbname`.
  QString conninfo(const QString& dbname = QStringLiteral("postgres")) const;
  // The Unix socket's folder.
  QString socketDir() const { return socketDir_; }

 private:
  QTemporaryDir dir_;
  QString socketDir_;
  bool running_ = false;
};

}  // namespace hygro::test
