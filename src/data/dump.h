#pragma once
// The dump list: one row per record of a data set, five columns.
// Rows hold only their record number; cell texts are made when a view asks
// for them, so filling with 32767 records costs next to nothing.
#include <QAbstractTableModel>
#include <QString>
#include <memory>
#include <vector>

#include "data/datasets.h"
#include "data/dataview.h"

namespace hygro {

class DumpModel : public QAbstractTableModel {
  Q_OBJECT

 public:
  enum Column { RecordNoColumn, DateColumn, TempColumn, HumiColumn, RemarksColumn, ColumnCount };

  // The list shown in `view`: its order and the extremes' texts are the
  // view's, and follow it.
  DumpModel(const DataSets& sets, DataView& view, QObject* parent = nullptr);
  // A list of its own, in record order until sorted.
  explicit DumpModel(const DataSets& sets, QObject* parent = nullptr);
  ~DumpModel() override;

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QVariant headerData(int section, Qt::Orientation orientation,
                      int role = Qt::DisplayRole) const override;

  // Rows can carry a mark, read through MarkRole (the window tints them);
  // an unmarked row has no value in that role.
  enum Mark : quint8 { NoMark = 0, MarkAbove = 1, MarkBelow = 2 };
  static constexpr int MarkRole = Qt::UserRole + 1;
  // The marks of the records of the list's set, by record number (index 0
  // is record 1); empty clears them all. Records past the end are unmarked.
  void setMarks(std::vector<quint8> byRecord);
  // The mark of the row's record.
  Mark markAt(int row) const;

  // "Record No", "Date", "Temp (C)", "Humi (%RH)", "Remarks"
  static QString heading(int column);
  // The cell as shown ("" outside the table); printing reads rows through it.
  QString cellText(int row, int column) const;
  // The record number a row shows, 0 outside the table.
  int recordAt(int row) const;
  // The set the rows were filled from.
  int dataSet() const { return set_; }
  DataView& view() const { return view_; }

  // Removes every row, then adds one per record 1..Points of `set`, in
  // sorted position when the list is sorted.
  void Dump_Fill(int set);
  // Removes every row (the list cleared before a new measurement or download).
  void clear();
  // Adds the row of record `recordNo` of the list's set, at the end or, when
  // the list is sorted, where it belongs.
  void Dump_Add(int recordNo);

  // "Date <date>   Temperature <t> C   Humidity <h> %RH" for the status bar.
  QString itemClickText(int row) const;

  // Sort by the clicked column's cell texts; clicking the column the list is
  // already sorted by flips the order (DumpSort::clicked, in the view).
  void columnClick(int column);
  // Back to unsorted, key "Record No", ascending.
  void resetSort();
  bool isSorted() const { return view_.dumpSort().sorted; }
  int sortColumn() const { return view_.dumpSort().key; }
  Qt::SortOrder sortOrder() const { return view_.dumpSort().order; }

  // After Stats_Mark, on a list filled with the set: the remark of each row
  // holding an extreme becomes the extreme's text ("Maximum temperature"…)
  // followed by the row's remark as it was, for as long as the rows stay;
  // the next fill shows the remarks as stored.
  void Stats_Label(const DataSetStats& stats);

 private:
  QString cellOf(int recordNo, int column) const;
  bool lessThan(const QString& a, const QString& b) const;
  void sortRows();
  // The view's order changed: the rows take it, a view's selection with them.
  void followSort();
  // The view's extremes' texts changed: the rows that show one are redrawn.
  void followLabels();
  // Forgets the texts while the rows are rebuilt anyway.
  void dropLabels();

  const DataSets& sets_;
  std::unique_ptr<DataView> own_;
  DataView& view_;
  int set_ = LogData;
  std::vector<qint16> rows_;  // record number of each row, in display order
  std::vector<quint8> marks_;  // by record number - 1
  bool rebuilding_ = false;
};

inline void Stats_Label(DumpModel& dump, const DataSetStats& stats) { dump.Stats_Label(stats); }

}  // namespace hygro
