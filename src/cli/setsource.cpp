#include "cli/setsource.h"

#include <QDir>
#include <QFileInfo>

#include "data/csv.h"
#include "data/filekind.h"

namespace hygro::cli {

SetSource::SetSource() = default;
SetSource::~SetSource() = default;

const DataSets& SetSource::sets() const { return file_ ? *file_ : tool_->session().data(); }

int SetSource::load(const GlobalOptions& global, const QString& csv) {
  if (!csv.isEmpty()) {
    CsvImport file;
    QString why;
    const CsvOpenResult result = Csv_Parse(csv, &file, &why);
    if (result != CsvOpenResult::Opened) {
      err(terminalText(Csv_RefusalText(result, why)));
      // Said plainly: a file the user took for a log is not one (a
      // spreadsheet's own CSV, a text file) or is damaged.
      const QString shown = QDir::toNativeSeparators(csv);
      if (result == CsvOpenResult::WrongForm)
        err(QStringLiteral("%1: %2 is not a CSV file saved by Hygrotab Logger")
                .arg(kProgram, shown));
      else if (KindOfPath(csv) == FileKind::Regular && QFileInfo(csv).isReadable())
        err(QStringLiteral("%1: %2 cannot be read as a CSV file saved by Hygrotab Logger")
                .arg(kProgram, shown));
      return kExitFailure;
    }
    // In memory only: nothing here is ever saved.
    file_ = std::make_unique<DataSets>(&prompt_);
    Csv_Commit(*file_, file);
    set_ = FileData;
    model_ = file.model;
    name_ = file.name;
    return kExitOk;
  }

  tool_ = std::make_unique<Tool>(global);
  if (const int rc = tool_->open()) return rc;
  Session& s = tool_->session();
  if (!tool_->connectForDownload()) return kExitFailure;
  bool finished = false, ok = false;
  const QMetaObject::Connection watch =
      QObject::connect(&s.download(), &DownloadOperation::finished, [&](bool success) {
        finished = true;
        ok = success;
      });
  const int messagesBefore = tool_->prompt().messages;
  const bool started = tool_->startDownload();
  if (started) tool_->runUntilIdle();
  QObject::disconnect(watch);
  if (!started) return kExitFailure;
  if (tool_->failed() || !finished || !ok) {
    if (tool_->prompt().messages == messagesBefore)
      err(QStringLiteral("%1: the download did not complete").arg(kProgram));
    return kExitFailure;
  }
  set_ = LogData;
  model_ = s.data().info(LogData).Model;
  name_ = s.setName(LogData);
  return kExitOk;
}

}  // namespace hygro::cli
