#pragma once
// The evidence figures of the set on display, beside those of the records the
// temperature graph's window shows, with the set's excursions below. It
// follows the data, the set on display and the graph window (a continuous
// run included); changes that come together are computed once, when the
// event loop next runs, and not at all while the panel is hidden.
#include <QTimer>
#include <QWidget>

#include "analysis/analysis.h"

class QLabel;
class QTableWidget;

namespace hygro {

class Session;

class StatsPanel : public QWidget {
  Q_OBJECT
 public:
  explicit StatsPanel(Session* session, QWidget* parent = nullptr);

  // Temperatures in degrees Celsius or Fahrenheit.
  void setUnit(analysis::Unit unit);
  analysis::Unit unit() const { return unit_; }

  QSize sizeHint() const override;

  // Computes and shows the figures now.
  void refresh();

  const analysis::Statistics& setStatistics() const { return set_; }
  const analysis::Statistics& windowStatistics() const { return window_; }

  // The table's columns.
  enum Column { CaptionColumn, SetColumn, WindowColumn };

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  // Something changed; `whole` when the set's own figures change too.
  void changed(bool whole);
  // The table anew; the excursions too when `excursions`.
  void fill(bool excursions);

  Session* session_;
  analysis::Unit unit_ = analysis::Unit::Celsius;
  analysis::Statistics set_;
  analysis::Statistics window_;
  bool setStale_ = true;
  QTimer due_;
  QLabel* caption_;
  QTableWidget* figures_;
  QTableWidget* excursions_;
};

}  // namespace hygro
