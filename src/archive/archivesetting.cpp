#include "archive/archivesetting.h"

namespace hygro {

ArchiveSetting::ArchiveSetting(Session& session, const QString& dataFolder)
    : s_(session),
      folder_(dataFolder),
      archive_(std::make_unique<Archive>(ArchiveTarget::sqliteFile(DefaultArchivePath(dataFolder)))),
      archiver_(std::make_unique<SessionArchiver>(session, *archive_)) {}

ArchiveSetting::~ArchiveSetting() = default;

bool ArchiveSetting::targetOf(const QString& text, ArchiveTarget* out, QString* why) const {
  if (text.trimmed().isEmpty()) {
    *out = ArchiveTarget::sqliteFile(DefaultArchivePath(folder_));
    return true;
  }
  return ArchiveTarget::parse(text.trimmed(), out, why);
}

void ArchiveSetting::use(const QString& text, const ArchiveTarget& target) {
  auto next = std::make_unique<Archive>(target);
  archiver_->setArchive(*next);
  archive_ = std::move(next);
  text_ = text.trimmed();
}

bool ArchiveSetting::tryOpen(QString* why) { return archive_->open(why); }

QString ArchiveSetting::UnusableText(const QString& why) {
  // The driver's text comes in indented lines of its own.
  return why.simplified() +
         QStringLiteral(
             ".\r\rUntil it can be used, a download is not kept and the logger is not told it "
             "is downloaded: the logger keeps its log. Tool > Archive… chooses another.");
}

}  // namespace hygro
