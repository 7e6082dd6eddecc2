#pragma once
// The data folder: where the window's settings and the scratch files live,
// and the lock that gives one program at a time the right to them.
//
// A scratch file is only taken for the leftover of a crash while its folder
// is locked by us: without the lock another running program's live file
// would be moved away under it.
#include <QLockFile>
#include <QString>
#include <QStringList>
#include <memory>

namespace hygro {

class DataSets;
class UserPrompt;

class DataFolder {
 public:
  enum class Lock {
    Locked,  // ours now
    InUse,   // a running Hygrotab program holds it
    Failed,  // the folder or the lock file cannot be created
  };

  static const QString kLockName;  // "hygrotab.lock"

  DataFolder() = default;
  ~DataFolder() = default;  // releases the lock
  DataFolder(const DataFolder&) = delete;
  DataFolder& operator=(const DataFolder&) = delete;

  // Creates the folder when needed and takes its lock without waiting. A lock
  // whose owner is gone (killed, crashed) is taken over. On InUse and Failed
  // *error holds a whole sentence that names the folder.
  Lock lock(const QString& folder, QString* error);
  void unlock();
  bool isLocked() const { return lock_ != nullptr; }
  QString path() const { return path_; }

  static QString inUseText(const QString& folder);

 private:
  QString path_;
  std::unique_ptr<QLockFile> lock_;
};

// Renames the non-empty scratch files of `folder` aside as
// "<name>.crash-yyyyMMdd_hhmmss" (a number added when that exists). Only for
// a folder whose lock the caller holds. The new paths go to *moved; false
// with *error when one cannot be renamed (those moved so far stay in *moved).
bool MoveLeftoversAside(const QString& folder, QStringList* moved, QString* error);

// The window's data folder: the application folder when it is writable (a
// portable install), otherwise the per-user application data folder of
// "Hygrotab" — the same for the window and the command-line tool, whatever
// the running program calls itself. Not created here.
QString DefaultDataDir();

// What a program does at start with its data folder: Opened, or InUse (a
// running instance holds it; nothing said), or Failed after one message
// through `prompt` that says what failed, where, and to choose another folder
// with --data-dir.
enum class FolderOpen { Opened, InUse, Failed };
FolderOpen OpenDataFolder(DataSets& sets, const QString& folder, UserPrompt* prompt);

}  // namespace hygro
