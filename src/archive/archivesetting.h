#pragma once
// The window's archive: the data folder's SQLite file unless the user named
// another (a file, or a PostgreSQL database), and the session's archiver
// keeping into it. A target that cannot be opened stays the archive: every
// download then fails to be kept and the logger is not told it is
// downloaded, so nothing is lost until the archive can be used again.
#include <QString>
#include <memory>

#include "archive/archive.h"
#include "archive/archiver.h"

namespace hygro {

class Session;

class ArchiveSetting {
 public:
  ArchiveSetting(Session& session, const QString& dataFolder);
  ~ArchiveSetting();
  ArchiveSetting(const ArchiveSetting&) = delete;
  ArchiveSetting& operator=(const ArchiveSetting&) = delete;

  // What the user gave; empty for the data folder's file.
  const QString& text() const { return text_; }
  const QString& dataFolder() const { return folder_; }
  Archive& archive() { return *archive_; }
  SessionArchiver& archiver() { return *archiver_; }

  // What `text` names: empty for the data folder's file. False with *why
  // when it cannot be read as a target.
  bool targetOf(const QString& text, ArchiveTarget* out, QString* why) const;
  // Makes `target` (what `text` named) the archive.
  void use(const QString& text, const ArchiveTarget& target);
  // The archive opened now: false with *why, a sentence naming it.
  bool tryOpen(QString* why);

  // The message for an archive that cannot be opened: what happens to
  // downloads meanwhile.
  static QString UnusableText(const QString& why);

 private:
  Session& s_;
  QString folder_;
  QString text_;
  std::unique_ptr<Archive> archive_;
  std::unique_ptr<SessionArchiver> archiver_;
};

}  // namespace hygro
