#pragma once
// What the user sees of the data, held in one place: the set on display
// (DataSetIndex), graphs or list (DumpView), each graph's time window and
// value band (the eight scroll bars), and the list's order and the extremes'
// texts it shows. The session owns one; the window shows it and writes to it,
// printing reads it, and the operations that bring in a set (a download, a
// real-time measurement, an opened file) ask it to show that set. Readers,
// parsers and answer branches never touch it. Each setter announces a change
// (and only a change) with its signal, and does nothing else.
#include <QObject>

#include "data/datasets.h"
#include "data/graphwindow.h"

namespace hygro {

// The list's order: by the cell texts of one column, either way, or
// unsorted (record order).
struct DumpSort {
  int key = 0;  // a DumpModel column; "Record No" until a heading is clicked
  Qt::SortOrder order = Qt::AscendingOrder;
  bool sorted = false;
  // The order after a click on the heading of `column`: the same column
  // again flips the order, another keeps it; sorted either way.
  DumpSort clicked(int column) const;
  bool operator==(const DumpSort&) const = default;
};

// The extremes' texts the list shows in front of the remarks of `set`'s
// extreme records since the extremes were marked (until the list is filled
// again); `set` is -1 when it shows none.
struct DumpLabels {
  int set = -1;
  DataSetStats stats;
  bool operator==(const DumpLabels&) const = default;
};

class DataView : public QObject {
  Q_OBJECT
 public:
  explicit DataView(QObject* parent = nullptr);

  // The set on display: LogData, RealTimeData or FileData (std::out_of_range
  // for any other).
  int DataSetIndex() const { return set_; }
  void setDataSetIndex(int set);
  // The list instead of the graphs.
  bool DumpView() const { return dump_; }
  void setDumpView(bool dump);

  // The eight bars, with the limits and times Scroll_Set last computed.
  const ScrollState& scrollState() const { return bars_; }
  void setScrollState(const ScrollState& bars);
  // One graph's four bars, read on their own.
  GraphWindow window(Graph graph) const { return WindowOf(bars_, graph); }
  // Both graphs' time windows take in the whole of `set` (its limits
  // computed first), the value bands as they are: how a set that has just
  // been brought in is first shown, so that a zoom left from another set does
  // not hide most of it. Nothing changes for a set without records.
  void fitTime(const DataSets& sets, int set);

  const DumpSort& dumpSort() const { return sort_; }
  void setDumpSort(const DumpSort& sort);
  const DumpLabels& dumpLabels() const { return labels_; }
  void setDumpLabels(const DumpLabels& labels);

 Q_SIGNALS:
  void dataSetIndexChanged(int set);
  void dumpViewChanged(bool dump);
  void scrollStateChanged();
  void dumpSortChanged();
  void dumpLabelsChanged();

 private:
  int set_ = LogData;
  bool dump_ = false;
  ScrollState bars_ = InitialScrollState();
  DumpSort sort_;
  DumpLabels labels_;
};

}  // namespace hygro
