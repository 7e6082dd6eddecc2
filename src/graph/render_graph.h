#pragma once
// The temperature and humidity graphs, drawn on any paint device through a
// small drawing surface, in the window their scroll bars choose
// (data/graphwindow.h).
#include <QColor>
#include <QFont>
#include <QFontMetricsF>
#include <QPainter>
#include <QRect>
#include <QString>
#include <array>
#include <memory>

#include "analysis/analysis.h"
#include "data/datasets.h"
#include "data/graphwindow.h"

class QPaintDevice;

namespace hygro {

// Colour numbers in the 0x00BBGGRR layout; only the low 24 bits are drawn.
using GraphColorTable = std::array<quint32, 31>;
// The dark scheme, for the screen. Entry 15 is kept as 0x0FFFFFFF.
GraphColorTable Graph_Color_Set();
// The light scheme, for paper.
GraphColorTable Gray_Color_Set();
// 0x00BBGGRR -> QColor (low 24 bits).
QColor ColorFromNumber(quint32 bgr);

// The drawing operations the graphs use, over a QPainter. Coordinates are in
// the user system that Scale sets up; either axis may run reversed, and then
// TextWidth / TextHeight / ScaleWidth / ScaleHeight are negative, as
// coordinates measured along that axis are.
class Surface {
 public:
  // Paints on `device` within `area` (device pixels; empty: all of it).
  explicit Surface(QPaintDevice& device, QRect area = {});
  // Paints with a painter that is already active (a printer page).
  explicit Surface(QPainter& painter, QRect area);
  ~Surface();
  Surface(const Surface&) = delete;
  Surface& operator=(const Surface&) = delete;

  // (x1, y1) is the upper-left corner of the area, (x2, y2) the lower-right.
  void Scale(double x1, double y1, double x2, double y2);
  double ScaleLeft() const { return x1_; }
  double ScaleTop() const { return y1_; }
  double ScaleWidth() const { return x2_ - x1_; }
  double ScaleHeight() const { return y2_ - y1_; }

  // A line in ForeColor (or `color` when given) with DrawWidth and DrawStyle.
  void Line(double x1, double y1, double x2, double y2);
  void Line(double x1, double y1, double x2, double y2, quint32 color);
  // The outline of the box with corners (x1, y1) and (x2, y2).
  void Box(double x1, double y1, double x2, double y2, quint32 color);
  // The filled box with those corners, outline included.
  void FilledBox(double x1, double y1, double x2, double y2, quint32 color);
  // A dot DrawWidth pixels wide in ForeColor (or `color`).
  void PSet(double x, double y);
  void PSet(double x, double y, quint32 color);
  // Fills the whole area with BackColor.
  void Cls();

  // Prints `text` with its upper-left corner at the current position, then
  // moves to the start of the next line.
  void Print(const QString& text);
  double TextWidth(const QString& text);
  double TextHeight(const QString& text);

  double CurrentX = 0, CurrentY = 0;
  int DrawWidth = 1;
  int DrawStyle = 0;  // 0 solid, 1 dashed, 2 dotted, 3 dash-dot, 4 dash-dot-dot
  int DrawMode = 13;  // 13 copy pen, 7 exclusive or (raster devices only)
  quint32 ForeColor = 0xFFFFFF;
  quint32 BackColor = 0;
  void setFontSize(double points);
  double FontSize() const { return fontSize_; }

  // Device pixel of a user coordinate: the column or row it falls in.
  int pixelX(double x) const;
  int pixelY(double y) const;
  double deviceX(double x) const;
  double deviceY(double y) const;
  QRect area() const { return area_; }
  QPainter& painter() { return *painter_; }
  // Lines and dots outside the box of these corners are cut off; an empty
  // call lifts the limit.
  void ClipTo(double x1, double y1, double x2, double y2);
  void NoClip();

 private:
  void applyPen(quint32 color);
  void applyMode();
  const QFontMetricsF& metrics();

  std::unique_ptr<QPainter> own_;
  QPainter* painter_ = nullptr;
  QRect area_;
  double x1_ = 0, y1_ = 0, x2_ = 1, y2_ = 1;
  double fontSize_ = 9;
  QFont font_;
  std::unique_ptr<QFontMetricsF> metrics_;
};

// What the window may add to the temperature graph. The default adds
// nothing: the picture is the graph's own, pixel for pixel.
struct GraphExtras {
  // Shades the time of every excursion outside `limits` (the set's own
  // bounds where they are on, when none are given) behind the grid and the
  // curve, from its first record to one interval past its last.
  bool shadeExcursions = false;
  std::optional<analysis::Limits> limits;
  quint32 aboveColor = 0x00181850;  // 0x00BBGGRR, dim on the dark scheme
  quint32 belowColor = 0x00582818;
};

// Whole graphs of `set` from the bars. False (nothing drawn, the picture
// left as it was) when the set has no records or a graph is being drawn.
bool Temp_Graph(Surface& surface, const DataSets& sets, int set, const ScrollState& bars,
                const GraphColorTable& colors, const GraphExtras& extras = {});
bool Humi_Graph(Surface& surface, const DataSets& sets, int set, const ScrollState& bars,
                const GraphColorTable& colors);
// True while Temp_Graph or Humi_Graph runs.
bool Graph_Busy();

// The grid, bound lines, curve, labels and end marker of one graph, for a
// surface already scaled to the graph (printing uses it directly). `unit` is
// "C" for temperature, "％" for humidity. `titleWidth` (in the surface's
// x units, as a magnitude) is kept free of time labels at the left end of
// the label row, where the caller prints a title.
void Graph_Grid_Draw(Surface& surface, double S, qint64 P, double B, double T, int halfRangeValue,
                     const QString& unit, const DataSets& sets, int set, double graphEndTime,
                     const GraphColorTable& colors, double titleWidth = 0);

// The curve of the records inside the window. With `perRecord` every pair of
// neighbours gets its own line; otherwise a column crossed by many records
// is drawn once as the span they cover, which lights the same pixels.
void Graph_Data_Draw(Surface& surface, double S, qint64 P, double B, double T, const QString& unit,
                     const DataSets& sets, int set, double graphEndTime,
                     const GraphColorTable& colors, bool perRecord = false);

// The status bar text for the pointer at column `x` of a graph `widthPixels`
// wide: the record nearest to that moment, on the time axis of the graph
// pointed at (the humidity graph has span and position bars of its own).
// Empty during a continuous run, without records, or outside the plot.
QString Graph_Cursor_Disp(int x, int widthPixels, const DataSets& sets, int set,
                          const ScrollState& bars, bool humidityGraph, bool continuousRun);

}  // namespace hygro
