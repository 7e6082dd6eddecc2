#pragma once
// The two graphs of the window, temperature (`ondo`) above humidity
// (`situdo`), each with its span, position, half-range and centre bars. The
// bars show the data view's graph window and write to it; the view is where
// the window lives, so code can set it as well as the user.
//
// Each graph is drawn into a back buffer only when something it shows has
// changed (the data, the set, a scroll bar, its size); painting the widget
// copies the buffer, so exposing or moving the window never redraws.
#include <QImage>
#include <QWidget>
#include <array>
#include <functional>

#include "graph/render_graph.h"

class QScrollBar;

namespace hygro {

class DataSets;
class DataView;

// One graph's picture: the back buffer, and the pointer's x for the read-out.
class GraphPicture : public QWidget {
  Q_OBJECT
 public:
  explicit GraphPicture(const QString& name, QWidget* parent = nullptr);
  const QImage& image() const { return buffer_; }
  // The buffer at the widget's size; a new one starts on the background.
  QImage& buffer();
  QSize sizeHint() const override { return {600, 220}; }

 Q_SIGNALS:
  void mouseMoved(int x, int width);
  void resized();

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  QImage buffer_;
};

class GraphPanel : public QWidget {
  Q_OBJECT
 public:
  GraphPanel(const DataSets& sets, DataView& view, QWidget* parent = nullptr);

  // Whether the continuous real-time run is on: it redraws after each sample
  // by itself, so the bars only move meanwhile.
  void setContinuousRun(std::function<bool()> running) { continuousRun_ = std::move(running); }

  // What the window adds to the temperature graph (nothing by default);
  // redraws it.
  void setExtras(const GraphExtras& extras);
  const GraphExtras& extras() const { return extras_; }

  // After the data or the set on display changed: the limits anew, then both
  // graphs. A set without records leaves limits and pictures as they were.
  void redraw();

  // The bars as they stand, with the times of the last limits computed: the
  // view's graph window.
  const ScrollState& state() const;

  // A graph is being drawn (here or by the renderer for anyone else).
  bool graphBusy() const { return graphBusy_ || Graph_Busy(); }
  GraphPicture* ondo() const { return ondo_; }
  GraphPicture* situdo() const { return situdo_; }
  // Both pictures as shown, temperature above humidity.
  QImage graphsImage() const;

 Q_SIGNALS:
  // The read-out for the status bar ("" when there is nothing to read).
  void cursorText(const QString& text);

 private:
  enum Bar { HScroll1, HScroll2, HScroll3, HScroll4, VScroll1, VScroll2, VScroll3, VScroll4 };
  QScrollBar* makeBar(Bar which, const char* name, Qt::Orientation o, const QString& tip);
  static BarState& barOf(ScrollState& s, Bar which);
  bool continuousRun() const { return continuousRun_ && continuousRun_(); }
  int shownSet() const;
  // A bar's Change: the view takes the value, the limits anew, then the
  // graphs it belongs to.
  void barChanged(Bar which, bool temperature, bool humidity);
  // The window set from elsewhere: shown in the bars, and drawn.
  void viewChanged();
  // Writes `s` into the view and shows it in the bars.
  void write(const ScrollState& s);
  // Sets values, limits and steps of the eight bars without their handlers.
  void showBars(const ScrollState& s);
  void Scroll_Set();
  bool Temp_Graph();
  bool Humi_Graph();
  bool drawInto(GraphPicture* view, bool temperature);
  void Graph_Cursor_Disp(int x, int width, bool humidityGraph);

  const DataSets& sets_;
  DataView& view_;
  GraphColorTable colors_;
  GraphPicture* ondo_;
  GraphPicture* situdo_;
  std::array<QScrollBar*, 8> bars_{};
  // The time bars count backwards (the larger limit at the left or top end).
  std::array<bool, 8> reversed_{};
  bool graphBusy_ = false;
  bool writing_ = false;  // the view's change is this panel's own
  std::function<bool()> continuousRun_;
  GraphExtras extras_;
};

}  // namespace hygro
