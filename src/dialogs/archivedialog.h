#pragma once
// The archive's logs in a table: sorted by any column, filtered by logger and
// by time, each opened as the file set, exported (CSV as saving its download
// writes it, or a workbook) or deleted after a question.
#include <QDialog>
#include <vector>

#include "archive/archive.h"

class QCheckBox;
class QComboBox;
class QDateTimeEdit;
class QLabel;
class QPushButton;
class QStandardItemModel;
class QTableView;

namespace hygro {

class Session;
class UserPrompt;

class ArchiveDialog : public QDialog {
  Q_OBJECT
 public:
  enum Column { Name, Model, Bridge, Start, Interval, Records, First, Last, Downloaded, Columns };

  ArchiveDialog(Session* session, Archive* archive, UserPrompt* prompt, QWidget* parent = nullptr);

  // Reads the list anew; false (after the message) when the archive cannot
  // be read.
  bool reload();
  // The log of the selected row; 0 when none is selected.
  qint64 selectedLog() const;

  // The actions on the selected log; false when nothing was done.
  bool openSelected();
  bool exportCsv();
  bool exportXlsx();
  bool deleteSelected();

  // The text of the question before a log is deleted.
  static QString DeleteQuestionText(const ArchiveLogSummary& log, const QString& archive);

 private:
  void refill();
  bool accepts(const ArchiveLogSummary& log) const;
  const ArchiveLogSummary* selectedSummary() const;
  bool readSelected(ArchiveLog* log);
  QString proposedName(const ArchiveLogSummary& log, const QString& extension) const;
  void updateButtons();
  void message(const QString& text);

  Session* session_;
  Archive* archive_;
  UserPrompt* prompt_;
  std::vector<ArchiveLogSummary> logs_;
  QComboBox* loggerFilter_;
  QCheckBox* fromOn_;
  QDateTimeEdit* from_;
  QCheckBox* toOn_;
  QDateTimeEdit* to_;
  QTableView* table_;
  QStandardItemModel* model_;
  QLabel* count_;
  QPushButton* open_;
  QPushButton* exportCsv_;
  QPushButton* exportXlsx_;
  QPushButton* delete_;
};

}  // namespace hygro
