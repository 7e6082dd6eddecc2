#include "data/datafolder.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include "data/datasets.h"
#include "data/userprompt.h"

namespace hygro {

namespace {
const QString kWindowTitle = QStringLiteral("[Hygrotab] Temperature and Humidity Logger");

QString native(const QString& path) { return QDir::toNativeSeparators(path); }

QString unusableText(const QString& folder, const QString& why) {
  return QStringLiteral(
             "The data folder %1 cannot be used: %2.\r\rChoose another folder with "
             "--data-dir.")
      .arg(native(folder), why);
}
}  // namespace

const QString DataFolder::kLockName = QStringLiteral("hygrotab.lock");

QString DataFolder::inUseText(const QString& folder) {
  return QStringLiteral("The data folder %1 is being used by another Hygrotab program.")
      .arg(native(folder));
}

DataFolder::Lock DataFolder::lock(const QString& folder, QString* error) {
  auto fail = [&](Lock result, const QString& text) {
    if (error) *error = text;
    lock_.reset();
    return result;
  };
  unlock();
  path_ = folder;
  const QFileInfo dirInfo(folder);
  if (dirInfo.exists() && !dirInfo.isDir())
    return fail(Lock::Failed, unusableText(folder, QStringLiteral("it is a file, not a folder")));
  if (!QDir().mkpath(folder))
    return fail(Lock::Failed, unusableText(folder, QStringLiteral("it cannot be created")));

  const QString lockPath = QDir(folder).filePath(kLockName);
  lock_ = std::make_unique<QLockFile>(lockPath);
  // Age never makes a lock stale: a window may run for weeks. A lock is
  // taken over only when the process named in it is gone.
  lock_->setStaleLockTime(0);
  if (lock_->tryLock(0)) return Lock::Locked;

  switch (lock_->error()) {
    case QLockFile::LockFailedError: {
      const QFileInfo lockInfo(lockPath);
      if (lockInfo.exists() && !lockInfo.isFile())
        return fail(
            Lock::Failed,
            unusableText(
                folder, QStringLiteral("%1 is in the way of the lock file").arg(native(lockPath))));
      // A lock file that names no process (cut short by a full disk or a
      // crash while it was written) would keep every program out for good.
      // Its owner, if any, holds a file lock on it, so removing it cannot
      // take a live program's lock.
      qint64 pid = 0;
      QString host, app;
      if (!lock_->getLockInfo(&pid, &host, &app) && lock_->removeStaleLockFile() &&
          lock_->tryLock(0))
        return Lock::Locked;
      if (lock_->error() == QLockFile::LockFailedError) return fail(Lock::InUse, inUseText(folder));
      break;
    }
    case QLockFile::PermissionError:
      return fail(
          Lock::Failed,
          unusableText(folder,
                       QStringLiteral("no permission to create %1 there").arg(native(lockPath))));
    default:
      break;
  }
  return fail(Lock::Failed,
              unusableText(folder, QStringLiteral("the lock file %1 cannot be created (the disk "
                                                  "may be full or read-only)")
                                       .arg(native(lockPath))));
}

void DataFolder::unlock() {
  if (lock_) lock_->unlock();
  lock_.reset();
}

bool MoveLeftoversAside(const QString& folder, QStringList* moved, QString* error) {
  const QDir dir(folder);
  const QString suffix =
      QStringLiteral(".crash-") + QDateTime::currentDateTime().toString(u"yyyyMMdd_hhmmss");
  for (const char* name : DataSets::kOpenOrder) {
    const QString path = dir.filePath(QLatin1String(name));
    const QFileInfo fi(path);
    if (!fi.isFile() || fi.size() == 0) continue;
    QString aside = path + suffix;
    for (int k = 2; QFileInfo::exists(aside); ++k)
      aside = path + suffix + u'-' + QString::number(k);
    if (!QFile::rename(path, aside)) {
      if (error)
        *error = QStringLiteral(
                     "The scratch file %1 holds data of an earlier run and could not be moved "
                     "aside.")
                     .arg(native(path));
      return false;
    }
    if (moved) *moved << aside;
  }
  return true;
}

QString DefaultDataDir() {
  const QString appDir = QCoreApplication::applicationDirPath();
  if (!appDir.isEmpty() && QFileInfo(appDir).isWritable()) return appDir;
  // The per-user folder follows the application name; the command-line tool
  // calls itself differently but must find the window's folder.
  const QString ownName = QCoreApplication::applicationName();
  QCoreApplication::setApplicationName(QStringLiteral("Hygrotab"));
  const QString dir = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
  QCoreApplication::setApplicationName(ownName);
  return dir;
}

FolderOpen OpenDataFolder(DataSets& sets, const QString& folder, UserPrompt* prompt) {
  QString error;
  if (sets.open(folder, &error)) return FolderOpen::Opened;
  if (sets.openError() == DataSets::OpenError::InUse) return FolderOpen::InUse;
  if (prompt) prompt->message(error, kWindowTitle);
  return FolderOpen::Failed;
}

}  // namespace hygro
