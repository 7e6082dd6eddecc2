#include "data/filekind.h"

#include <qplatformdefs.h>

#include <QDir>
#include <QFile>
#include <QSaveFile>

#ifndef S_ISREG
#define S_ISREG(m) (((m)&S_IFMT) == S_IFREG)
#endif
#ifndef S_ISDIR
#define S_ISDIR(m) (((m)&S_IFMT) == S_IFDIR)
#endif

namespace hygro {

namespace {
FileKind kindOf(const QT_STATBUF& st) {
  if (S_ISREG(st.st_mode)) return FileKind::Regular;
  if (S_ISDIR(st.st_mode)) return FileKind::Folder;
#ifdef Q_OS_UNIX
  if (S_ISFIFO(st.st_mode)) return FileKind::Pipe;
  if (S_ISCHR(st.st_mode) || S_ISBLK(st.st_mode)) return FileKind::Device;
  if (S_ISSOCK(st.st_mode)) return FileKind::Socket;
#endif
  return FileKind::Other;
}
}  // namespace

FileKind KindOfPath(const QString& path) {
  if (path.isEmpty()) return FileKind::Missing;
  QT_STATBUF st;
  if (QT_STAT(QFile::encodeName(path).constData(), &st) != 0) return FileKind::Missing;
  return kindOf(st);
}

FileKind KindOfHandle(int fd) {
  QT_STATBUF st;
  if (QT_FSTAT(fd, &st) != 0) return FileKind::Missing;
  return kindOf(st);
}

QString FileKindText(FileKind kind) {
  switch (kind) {
    case FileKind::Folder:
      return QStringLiteral("a folder");
    case FileKind::Pipe:
      return QStringLiteral("a pipe (FIFO)");
    case FileKind::Device:
      return QStringLiteral("a device");
    case FileKind::Socket:
      return QStringLiteral("a socket");
    case FileKind::Missing:
      return QStringLiteral("missing");
    case FileKind::Regular:
      return QStringLiteral("a regular file");
    case FileKind::Other:
      break;
  }
  return QStringLiteral("not a regular file");
}

bool SameFile(const QString& a, const QString& b) {
  QT_STATBUF sa, sb;
  if (a.isEmpty() || b.isEmpty() || QT_STAT(QFile::encodeName(a).constData(), &sa) != 0 ||
      QT_STAT(QFile::encodeName(b).constData(), &sb) != 0)
    return false;
  return sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}

WholeFileWriter::WholeFileWriter(const QString& path) : path_(path) {}

WholeFileWriter::~WholeFileWriter() = default;

bool WholeFileWriter::open(QIODevice::OpenMode mode, bool directFallback) {
  const FileKind kind = KindOfPath(path_);
  if (kind != FileKind::Missing && kind != FileKind::Regular && kind != FileKind::Folder) {
    // Renaming over a device node would put a regular file in its place
    // (as root, /dev/full would become a file); a pipe's reader would never
    // see the data.
    direct_ = std::make_unique<QFile>(path_);
    return direct_->open(mode);
  }
  save_ = std::make_unique<QSaveFile>(path_);
  save_->setDirectWriteFallback(directFallback);
  return !path_.isEmpty() && save_->open(mode);
}

QFileDevice& WholeFileWriter::device() {
  if (direct_) return *direct_;
  return *save_;
}

bool WholeFileWriter::commit() {
  if (direct_) {
    const bool ok = direct_->flush() && direct_->error() == QFileDevice::NoError;
    direct_->close();
    return ok && direct_->error() == QFileDevice::NoError;
  }
  return save_ && save_->commit();
}

void WholeFileWriter::cancel() {
  if (direct_) {
    direct_->close();
  } else if (save_) {
    save_->cancelWriting();
  }
}

QString WholeFileWriter::errorString() const {
  if (direct_) return direct_->errorString();
  return save_ ? save_->errorString() : QString();
}

bool WriteWholeFile(const QString& path, const QByteArray& bytes, QString* why) {
  WholeFileWriter file(path);
  if (!file.open(QIODevice::WriteOnly) || file.device().write(bytes) != bytes.size() ||
      !file.commit()) {
    *why = QStringLiteral("%1: %2").arg(QDir::toNativeSeparators(path), file.errorString());
    file.cancel();
    return false;
  }
  return true;
}

}  // namespace hygro
