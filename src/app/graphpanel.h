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
#include <optional>
#include <utility>

#include "graph/render_graph.h"

class QScrollBar;

namespace hygro {

class DataSets;
class DataView;

// One graph's picture: the back buffer, the pointer's x for the read-out,
// and what the mouse asks of the time window (wheel, drag, double-click).
// The crosshair and the band of a drag are painted over the buffer, never
// into it.
class GraphPicture : public QWidget {
  Q_OBJECT
 public:
  explicit GraphPicture(const QString& name, QWidget* parent = nullptr);
  const QImage& image() const { return buffer_; }
  // The buffer at the widget's size; a new one starts on the background.
  QImage& buffer();
  QSize sizeHint() const override { return {600, 220}; }

  // A press and release closer together than this is a click, not a drag.
  static constexpr int kMinDragPixels = 5;
  // The crosshair at `at` with `text` beside it; none with an empty text.
  void setCrosshair(QPointF at, const QString& text);
  QString crosshairText() const { return crossText_; }
  QPointF crosshairAt() const { return cross_; }
  // The stretch being dragged across, in pixels; nothing while not dragging.
  std::optional<std::pair<double, double>> band() const;

 Q_SIGNALS:
  void mouseMoved(int x, int width);
  void pointerAt(QPointF at);
  void pointerLeft();
  // Wheel turned by `notches` (positive: away from the user) at column x.
  void wheelTurned(double x, double notches);
  // A drag released: the columns where it began and ended.
  void stretchChosen(double x1, double x2);
  void doubleClicked(double x);
  void resized();

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;
  void leaveEvent(QEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  QImage buffer_;
  QPointF cross_;
  QString crossText_;
  std::optional<double> pressX_;  // the left button is down, pressed here
  bool dragging_ = false;        // ... and has moved far enough to drag
  double bandFrom_ = 0, bandTo_ = 0;
  int wheelEighths_ = 0;  // a touchpad's turn builds up to whole notches
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

  // "Link time axes": a time zoom or scroll of one graph moves the other
  // too. Switching it on gives the humidity graph the temperature graph's
  // window.
  void setLinkTimeAxes(bool on);
  bool linkTimeAxes() const { return link_; }

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
  // The mouse on one graph.
  void connectNavigation(GraphPicture* picture, Graph graph);
  // The bars with their limits for the set on display, or nothing when it
  // has no records to navigate.
  std::optional<ScrollState> navigable() const;
  // `s` with the other graph following `graph` when the axes are linked,
  // into the view.
  void navigate(ScrollState s, Graph graph);
  void crosshair(GraphPicture* picture, Graph graph, QPointF at);

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
  bool link_ = false;
  std::function<bool()> continuousRun_;
  GraphExtras extras_;
};

}  // namespace hygro
