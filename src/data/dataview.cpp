#include "data/dataview.h"

#include <stdexcept>

namespace hygro {

DumpSort DumpSort::clicked(int column) const {
  DumpSort next = *this;
  if (column == key)
    next.order = order == Qt::AscendingOrder ? Qt::DescendingOrder : Qt::AscendingOrder;
  next.key = column;
  next.sorted = true;
  return next;
}

DataView::DataView(QObject* parent) : QObject(parent) {}

void DataView::setDataSetIndex(int set) {
  if (set < LogData || set > FileData) throw std::out_of_range("data set index out of range");
  if (set == set_) return;
  set_ = set;
  Q_EMIT dataSetIndexChanged(set);
}

void DataView::setDumpView(bool dump) {
  if (dump == dump_) return;
  dump_ = dump;
  Q_EMIT dumpViewChanged(dump);
}

void DataView::setScrollState(const ScrollState& bars) {
  if (bars == bars_) return;
  bars_ = bars;
  Q_EMIT scrollStateChanged();
}

void DataView::fitTime(const DataSets& sets, int set) {
  if (sets.info(set).Points <= 0) return;
  ScrollState bars = Scroll_Set(sets, set, bars_, false);
  bars = FitTime(bars, Graph::Temperature);
  setScrollState(FitTime(bars, Graph::Humidity));
}

void DataView::setDumpSort(const DumpSort& sort) {
  if (sort == sort_) return;
  sort_ = sort;
  Q_EMIT dumpSortChanged();
}

void DataView::setDumpLabels(const DumpLabels& labels) {
  if (labels == labels_) return;
  labels_ = labels;
  Q_EMIT dumpLabelsChanged();
}

}  // namespace hygro
