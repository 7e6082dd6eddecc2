#pragma once
// The data set a command reads: a CSV file, read as the window's File open
// reads it, or the logger's log, downloaded as print downloads it (the logger
// keeps it marked as never downloaded, since nothing here saves it).
#include <QString>
#include <memory>

#include "cli/cli.h"
#include "data/datasets.h"

namespace hygro::cli {

class SetSource {
 public:
  SetSource();
  ~SetSource();
  SetSource(const SetSource&) = delete;
  SetSource& operator=(const SetSource&) = delete;

  // Reads `csv`, or with an empty `csv` downloads the log. kExitOk, or the
  // exit status after the message: a file that is not the program's CSV, a
  // logger that fails.
  int load(const GlobalOptions& global, const QString& csv);

  const DataSets& sets() const;
  int set() const { return set_; }
  QString model() const { return model_; }
  QString recognitionName() const { return name_; }

 private:
  CliPrompt prompt_;
  std::unique_ptr<DataSets> file_;
  std::unique_ptr<Tool> tool_;
  int set_ = FileData;
  QString model_;
  QString name_;
};

}  // namespace hygro::cli
