#pragma once
// Runs hygrotab-sim as a child process for tests that go through a real
// pseudo-terminal, and hands back the terminal's path.
#include <QProcess>
#include <QString>
#include <QStringList>

namespace hygro::test {

class SimProcess {
 public:
  ~SimProcess() { stop(); }

  // Starts the built hygrotab-sim with the arguments and waits for the
  // terminal path on its first output line. False (with *error) on failure.
  bool start(const QStringList& args, QString* error = nullptr, int timeoutMs = 5000);
  // SIGTERM and wait; returns the exit code (-1 when it had to be killed).
  int stop(int timeoutMs = 3000);

  QString path() const { return m_path; }
  QProcess& process() { return m_proc; }

  // Where the executable is: $HYGROTAB_BIN_DIR, else the build's bin folder.
  static QString executable();
  // A state file in the test data folder (tests/data/sim/NAME).
  static QString state(const QString& name);

 private:
  QProcess m_proc;
  QString m_path;
};

}  // namespace hygro::test
