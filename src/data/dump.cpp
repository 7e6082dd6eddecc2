#include "data/dump.h"

#include <algorithm>

#include "data/formats.h"

namespace hygro {

DumpModel::DumpModel(const DataSets& sets, DataView& view, QObject* parent)
    : QAbstractTableModel(parent), sets_(sets), view_(view) {
  connect(&view_, &DataView::dumpSortChanged, this, &DumpModel::followSort);
  connect(&view_, &DataView::dumpLabelsChanged, this, &DumpModel::followLabels);
}

DumpModel::DumpModel(const DataSets& sets, QObject* parent)
    : DumpModel(sets, *new DataView, parent) {
  own_.reset(&view_);
}

DumpModel::~DumpModel() = default;

int DumpModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int DumpModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : ColumnCount;
}

QString DumpModel::heading(int column) {
  switch (column) {
    case RecordNoColumn:
      return QStringLiteral("Record No");
    case DateColumn:
      return QStringLiteral("Date");
    case TempColumn:
      return QStringLiteral("Temp (C)");
    case HumiColumn:
      return QStringLiteral("Humi (%RH)");
    case RemarksColumn:
      return QStringLiteral("Remarks");
    default:
      return {};
  }
}

QVariant DumpModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
  const QString h = heading(section);
  return h.isEmpty() ? QVariant() : QVariant(h);
}

QVariant DumpModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid()) return {};
  if (role == MarkRole) {
    const Mark m = markAt(index.row());
    return m == NoMark ? QVariant() : QVariant(static_cast<int>(m));
  }
  if (role != Qt::DisplayRole) return {};
  return cellText(index.row(), index.column());
}

DumpModel::Mark DumpModel::markAt(int row) const {
  const int n = recordAt(row);
  if (n <= 0 || static_cast<size_t>(n) > marks_.size()) return NoMark;
  return static_cast<Mark>(marks_[static_cast<size_t>(n - 1)]);
}

void DumpModel::setMarks(std::vector<quint8> byRecord) {
  if (byRecord == marks_) return;
  marks_ = std::move(byRecord);
  if (!rows_.empty())
    Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount - 1), {MarkRole});
}

int DumpModel::recordAt(int row) const {
  if (row < 0 || static_cast<size_t>(row) >= rows_.size()) return 0;
  return rows_[static_cast<size_t>(row)];
}

QString DumpModel::cellOf(int recordNo, int column) const {
  if (column == RecordNoColumn) return fmt::format00000(recordNo);
  const MeasurementRecord* r = sets_.at(set_, recordNo);
  if (!r) return {};
  switch (column) {
    case DateColumn:
      return fmt::formatDateTime(r->Time);
    case TempColumn:
      return fmt::format0_00(r->Temperature);
    case HumiColumn:
      return fmt::format0_00(r->Humidity);
    case RemarksColumn: {
      // The extremes' texts go in front of the remark as it was before the
      // marking (which stores them behind a blank), in the statistics' order.
      const DumpLabels& labels = view_.dumpLabels();
      if (labels.set != set_) return r->remarks();
      QString text = RemarkBeforeMark(r->remarks(), recordNo, labels.stats);
      bool extreme = false;
      for (int k = 0; k < 4; ++k) {
        if (labels.stats.e[static_cast<size_t>(k)].RecordNo != recordNo) continue;
        text = ExtremeText(k) + text;
        extreme = true;
      }
      return extreme ? text : r->remarks();
    }
    default:
      return {};
  }
}

QString DumpModel::cellText(int row, int column) const {
  const int n = recordAt(row);
  if (n == 0 || column < 0 || column >= ColumnCount) return {};
  return cellOf(n, column);
}

void DumpModel::dropLabels() {
  rebuilding_ = true;
  view_.setDumpLabels({});
  rebuilding_ = false;
}

void DumpModel::clear() {
  beginResetModel();
  rows_.clear();
  dropLabels();
  endResetModel();
}

void DumpModel::Dump_Fill(int set) {
  beginResetModel();
  dropLabels();
  set_ = set >= 0 && set < kDataSetCount ? set : static_cast<int>(LogData);
  const int points = qMax<int>(0, sets_.info(set_).Points);
  rows_.resize(static_cast<size_t>(points));
  for (int n = 1; n <= points; ++n) rows_[static_cast<size_t>(n) - 1] = static_cast<qint16>(n);
  if (isSorted()) sortRows();
  endResetModel();
}

void DumpModel::Dump_Add(int recordNo) {
  if (recordNo < 1 || recordNo > kMaxPoints) return;
  auto pos = rows_.end();
  if (isSorted()) {
    const int key = sortColumn();
    const QString text = cellOf(recordNo, key);
    // After the rows that sort before or equal to it, as an inserted item lands.
    pos = std::upper_bound(
        rows_.begin(), rows_.end(), text,
        [this, key](const QString& k, qint16 n) { return lessThan(k, cellOf(n, key)); });
  }
  const int row = static_cast<int>(pos - rows_.begin());
  beginInsertRows({}, row, row);
  rows_.insert(pos, static_cast<qint16>(recordNo));
  endInsertRows();
}

QString DumpModel::itemClickText(int row) const {
  if (recordAt(row) == 0) return {};
  return QStringLiteral("Date ") + cellText(row, DateColumn) + QStringLiteral("   Temperature ") +
         cellText(row, TempColumn) + QStringLiteral(" C   Humidity ") + cellText(row, HumiColumn) +
         QStringLiteral(" %RH");
}

bool DumpModel::lessThan(const QString& a, const QString& b) const {
  // The list compares cell texts without regard to case.
  const int c = QString::compare(a, b, Qt::CaseInsensitive);
  return sortOrder() == Qt::AscendingOrder ? c < 0 : c > 0;
}

void DumpModel::sortRows() {
  if (!isSorted()) {
    std::sort(rows_.begin(), rows_.end());
    return;
  }
  const int key = sortColumn();
  std::vector<std::pair<QString, qint16>> keyed;
  keyed.reserve(rows_.size());
  for (qint16 n : rows_) keyed.emplace_back(cellOf(n, key), n);
  std::stable_sort(keyed.begin(), keyed.end(),
                   [this](const auto& a, const auto& b) { return lessThan(a.first, b.first); });
  for (size_t i = 0; i < keyed.size(); ++i) rows_[i] = keyed[i].second;
}

void DumpModel::columnClick(int column) {
  if (column < 0 || column >= ColumnCount) return;
  view_.setDumpSort(view_.dumpSort().clicked(column));
}

void DumpModel::resetSort() { view_.setDumpSort({}); }

void DumpModel::followSort() {
  if (rows_.empty()) return;
  emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
  const QModelIndexList before = persistentIndexList();
  std::vector<int> oldRecords;
  oldRecords.reserve(static_cast<size_t>(before.size()));
  for (const QModelIndex& i : before) oldRecords.push_back(recordAt(i.row()));
  sortRows();
  if (!before.isEmpty()) {
    std::vector<int> rowOf(static_cast<size_t>(kMaxPoints) + 1, -1);
    for (size_t r = 0; r < rows_.size(); ++r)
      rowOf[static_cast<size_t>(rows_[r])] = static_cast<int>(r);
    QModelIndexList after;
    for (qsizetype k = 0; k < before.size(); ++k) {
      const int rec = oldRecords[static_cast<size_t>(k)];
      after << (rec ? index(rowOf[static_cast<size_t>(rec)], before[k].column()) : QModelIndex());
    }
    changePersistentIndexList(before, after);
  }
  emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

void DumpModel::Stats_Label(const DataSetStats& stats) { view_.setDumpLabels({set_, stats}); }

void DumpModel::followLabels() {
  if (rebuilding_ || rows_.empty()) return;
  const DumpLabels& labels = view_.dumpLabels();
  if (labels.set != set_) {
    emit dataChanged(index(0, RemarksColumn), index(rowCount() - 1, RemarksColumn),
                     {Qt::DisplayRole});
    return;
  }
  for (size_t row = 0; row < rows_.size(); ++row) {
    const qint16 n = rows_[row];
    if (!sets_.at(set_, n)) continue;
    const bool extreme =
        std::any_of(labels.stats.e.begin(), labels.stats.e.end(),
                    [n](const DataSetStats::Extreme& e) { return e.RecordNo == n; });
    if (!extreme) continue;
    const QModelIndex cell = index(static_cast<int>(row), RemarksColumn);
    emit dataChanged(cell, cell, {Qt::DisplayRole});
  }
}

}  // namespace hygro
