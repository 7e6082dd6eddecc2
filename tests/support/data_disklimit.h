#pragma once
// Makes the disk look full for this process: while an instance lives, no
// file can grow beyond `bytes` (writes past it fail with EFBIG, as a full
// disk fails with ENOSPC). POSIX only.
#include <QtGlobal>

namespace hygro::test {

class FileSizeLimit {
 public:
  explicit FileSizeLimit(qint64 bytes);
  ~FileSizeLimit();
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  bool active() const { return active_; }

 private:
  bool active_ = false;
  quint64 oldSoft_ = 0;
};

}  // namespace hygro::test
