#pragma once
// What a path names, asked before a file is read or written: the program
// reads only regular files (a device such as /dev/zero never ends, a pipe
// waits for a writer), and writes a device or a pipe in place instead of
// renaming a new regular file over it.
#include <QFileDevice>
#include <QString>
#include <memory>

class QSaveFile;
class QFile;

namespace hygro {

enum class FileKind { Missing, Regular, Folder, Pipe, Device, Socket, Other };

// Follows symbolic links.
FileKind KindOfPath(const QString& path);
// What an open file descriptor refers to.
FileKind KindOfHandle(int fd);
// "a folder", "a pipe (FIFO)", "a device", "a socket", "not a regular file".
QString FileKindText(FileKind kind);
// True for what the kernel itself holds open: the same device or file seen
// under two names (a hard link, "./x" and "x", a symbolic link). False when
// either does not exist.
bool SameFile(const QString& a, const QString& b);

// A whole file written at once. A regular file (or a new name) is written
// beside the old one and takes its place only on commit(), so a failure
// leaves the old file as it was; a device or a pipe is written to in place.
class WholeFileWriter {
 public:
  explicit WholeFileWriter(const QString& path);
  ~WholeFileWriter();
  WholeFileWriter(const WholeFileWriter&) = delete;
  WholeFileWriter& operator=(const WholeFileWriter&) = delete;

  // `directFallback`: write a regular file in place when no new file can be
  // made beside it (a folder that takes no new files).
  bool open(QIODevice::OpenMode mode, bool directFallback = false);
  QFileDevice& device();
  bool commit();
  void cancel();
  QString errorString() const;
  bool inPlace() const { return direct_ != nullptr; }

 private:
  QString path_;
  std::unique_ptr<QSaveFile> save_;
  std::unique_ptr<QFile> direct_;
};

// Writes `bytes` as the whole file at `path` through a WholeFileWriter; false
// with *why ("path: error") when it could not.
bool WriteWholeFile(const QString& path, const QByteArray& bytes, QString* why);

}  // namespace hygro
