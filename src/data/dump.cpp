#include "data/dump.h"

#include <algorithm>

#include "data/formats.h"

namespace hygro {

DumpModel::DumpModel(DataSets& sets, QObject* parent)
    : QAbstractTableModel(parent),
      sets_(sets),
      set_(sets.DataSetIndex < kDataSetCount ? sets.DataSetIndex : static_cast<int>(LogData)) {}

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
  if (role != Qt::DisplayRole || !index.isValid()) return {};
  return cellText(index.row(), index.column());
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
    case RemarksColumn:
      if (const auto label = labels_.find(static_cast<qint16>(recordNo)); label != labels_.end())
        return label->second;
      return r->remarks();
    default:
      return {};
  }
}

QString DumpModel::cellText(int row, int column) const {
  const int n = recordAt(row);
  if (n == 0 || column < 0 || column >= ColumnCount) return {};
  return cellOf(n, column);
}

void DumpModel::clear() {
  beginResetModel();
  rows_.clear();
  labels_.clear();
  endResetModel();
}

void DumpModel::Dump_Fill() {
  beginResetModel();
  labels_.clear();
  set_ = sets_.DataSetIndex;
  const int points = qMax<int>(0, sets_.info(set_).Points);
  rows_.resize(static_cast<size_t>(points));
  for (int n = 1; n <= points; ++n) rows_[static_cast<size_t>(n) - 1] = static_cast<qint16>(n);
  if (sorted_) sortRows();
  endResetModel();
}

void DumpModel::Dump_Add(int recordNo) {
  if (recordNo < 1 || recordNo > kMaxPoints) return;
  set_ = sets_.DataSetIndex;
  auto pos = rows_.end();
  if (sorted_) {
    const QString key = cellOf(recordNo, sortKey_);
    // After the rows that sort before or equal to it, as an inserted item lands.
    pos = std::upper_bound(rows_.begin(), rows_.end(), key, [this](const QString& k, qint16 n) {
      return lessThan(k, cellOf(n, sortKey_));
    });
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
  return order_ == Qt::AscendingOrder ? c < 0 : c > 0;
}

void DumpModel::sortRows() {
  std::vector<std::pair<QString, qint16>> keyed;
  keyed.reserve(rows_.size());
  for (qint16 n : rows_) keyed.emplace_back(cellOf(n, sortKey_), n);
  std::stable_sort(keyed.begin(), keyed.end(),
                   [this](const auto& a, const auto& b) { return lessThan(a.first, b.first); });
  for (size_t i = 0; i < keyed.size(); ++i) rows_[i] = keyed[i].second;
}

void DumpModel::columnClick(int column) {
  if (column < 0 || column >= ColumnCount) return;
  if (column == sortKey_)
    order_ = order_ == Qt::AscendingOrder ? Qt::DescendingOrder : Qt::AscendingOrder;
  sortKey_ = column;
  sorted_ = true;
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

void DumpModel::resetSort() {
  sorted_ = false;
  sortKey_ = RecordNoColumn;
  order_ = Qt::AscendingOrder;
}

void DumpModel::Stats_Label(const DataSetStats& stats) {
  for (size_t row = 0; row < rows_.size(); ++row) {
    const qint16 n = rows_[row];
    const MeasurementRecord* rec = sets_.at(set_, n);
    if (!rec) continue;
    // The row showed the remark from before the marking: each extreme's text
    // goes in front of what the row shows, in the statistics' order.
    QString text = RemarkBeforeMark(rec->remarks(), n, stats);
    bool extreme = false;
    for (int k = 0; k < 4; ++k) {
      if (stats.e[static_cast<size_t>(k)].RecordNo != n) continue;
      text = ExtremeText(k) + text;
      extreme = true;
    }
    if (!extreme) continue;
    labels_[n] = text;
    const QModelIndex cell = index(static_cast<int>(row), RemarksColumn);
    emit dataChanged(cell, cell, {Qt::DisplayRole});
  }
}

}  // namespace hygro
