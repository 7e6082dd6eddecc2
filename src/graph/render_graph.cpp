#include "graph/render_graph.h"

#include <QFontMetricsF>
#include <QLine>
#include <QPaintDevice>
#include <QPaintEngine>
#include <QPen>
#include <QVarLengthArray>
#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "data/formats.h"
#include "graph/render_ticks.h"

namespace hygro {

namespace {

using fmt::kSecondsPerDay;
// Device coordinates are cut to this before they become whole pixels, so a
// sample far outside the window cannot overflow.
constexpr double kPixelLimit = 1.0e7;

const QString kUnitC = QStringLiteral("C");
const QString kUnitPercent = QStringLiteral(u"\uFF05");

bool busy = false;

struct BusyGuard {
  BusyGuard() { busy = true; }
  ~BusyGuard() { busy = false; }
};

}  // namespace

// ------------------------------------------------------------------ colours

GraphColorTable Graph_Color_Set() {
  GraphColorTable c{};
  c[0] = 0x702070;
  c[1] = 0x702020;
  c[2] = 0x202070;
  c[3] = 0x202050;
  c[4] = 0x105010;
  c[5] = 0x103C10;
  c[6] = 0x202020;
  c[7] = 0xC0C0C0;
  c[8] = 0xA0A0A0;
  c[9] = 0x808080;
  c[10] = 0x606060;
  c[11] = 0x404040;
  c[12] = 0x202020;
  c[13] = 0x0000FF;
  c[14] = 0x80A020;
  c[15] = 0x0FFFFFFF;
  c[16] = 0x0000FF;
  c[17] = 0x0000FF;
  c[18] = 0x00FF00;
  c[19] = 0xFFFFFF;
  c[20] = 0x0000FF;
  c[21] = 0x00FFFF;
  c[28] = 0x0000FF;
  c[29] = 0x00FFFF;
  c[30] = 0;
  return c;
}

GraphColorTable Gray_Color_Set() {
  GraphColorTable c{};
  c[0] = 0x202020;
  c[1] = 0x404040;
  c[2] = 0x606060;
  for (int i = 3; i <= 6; ++i) c[i] = 0x808080;
  c[7] = 0x404040;
  c[8] = 0x606060;
  for (int i = 9; i <= 12; ++i) c[i] = 0x808080;
  c[30] = 0xFFFFFF;
  return c;
}

QColor ColorFromNumber(quint32 bgr) {
  return QColor(int(bgr & 0xFF), int((bgr >> 8) & 0xFF), int((bgr >> 16) & 0xFF));
}

// ------------------------------------------------------------------ surface

Surface::Surface(QPaintDevice& device, QRect area)
    : own_(std::make_unique<QPainter>(&device)), painter_(own_.get()) {
  area_ = area.isEmpty() ? QRect(0, 0, device.width(), device.height()) : area;
  painter_->setRenderHint(QPainter::Antialiasing, false);
  font_ = painter_->font();
  setFontSize(9);
}

Surface::Surface(QPainter& painter, QRect area) : painter_(&painter), area_(area) {
  font_ = painter_->font();
  setFontSize(9);
}

Surface::~Surface() = default;

void Surface::Scale(double x1, double y1, double x2, double y2) {
  // A zero-sized system would divide by zero; keep the old one instead.
  if (x1 == x2 || y1 == y2 || !std::isfinite(x1 + x2 + y1 + y2)) return;
  x1_ = x1;
  y1_ = y1;
  x2_ = x2;
  y2_ = y2;
}

double Surface::deviceX(double x) const {
  return area_.left() + (x - x1_) * area_.width() / (x2_ - x1_);
}
double Surface::deviceY(double y) const {
  return area_.top() + (y - y1_) * area_.height() / (y2_ - y1_);
}
int Surface::pixelX(double x) const {
  return static_cast<int>(std::floor(std::clamp(deviceX(x), -kPixelLimit, kPixelLimit)));
}
int Surface::pixelY(double y) const {
  return static_cast<int>(std::floor(std::clamp(deviceY(y), -kPixelLimit, kPixelLimit)));
}

void Surface::applyPen(quint32 color) {
  QPen pen(ColorFromNumber(color));
  pen.setWidth(DrawWidth > 1 ? DrawWidth : 0);
  static constexpr Qt::PenStyle styles[] = {Qt::SolidLine, Qt::DashLine, Qt::DotLine,
                                            Qt::DashDotLine, Qt::DashDotDotLine};
  pen.setStyle(DrawStyle >= 0 && DrawStyle < 5 ? styles[DrawStyle] : Qt::SolidLine);
  pen.setCapStyle(Qt::SquareCap);
  painter_->setPen(pen);
  painter_->setBrush(Qt::NoBrush);
  applyMode();
}

void Surface::applyMode() {
  const bool raster =
      painter_->paintEngine() && painter_->paintEngine()->type() == QPaintEngine::Raster;
  painter_->setCompositionMode(DrawMode == 7 && raster ? QPainter::RasterOp_SourceXorDestination
                                                       : QPainter::CompositionMode_SourceOver);
}

void Surface::Line(double x1, double y1, double x2, double y2) { Line(x1, y1, x2, y2, ForeColor); }

void Surface::Line(double x1, double y1, double x2, double y2, quint32 color) {
  applyPen(color);
  painter_->drawLine(QPoint(pixelX(x1), pixelY(y1)), QPoint(pixelX(x2), pixelY(y2)));
}

void Surface::Box(double x1, double y1, double x2, double y2, quint32 color) {
  const int l = std::min(pixelX(x1), pixelX(x2)), r = std::max(pixelX(x1), pixelX(x2));
  const int t = std::min(pixelY(y1), pixelY(y2)), b = std::max(pixelY(y1), pixelY(y2));
  applyPen(color);
  painter_->drawLine(l, t, r, t);
  painter_->drawLine(r, t, r, b);
  painter_->drawLine(r, b, l, b);
  painter_->drawLine(l, b, l, t);
}

void Surface::FilledBox(double x1, double y1, double x2, double y2, quint32 color) {
  const int l = std::min(pixelX(x1), pixelX(x2)), r = std::max(pixelX(x1), pixelX(x2));
  const int t = std::min(pixelY(y1), pixelY(y2)), b = std::max(pixelY(y1), pixelY(y2));
  applyMode();
  painter_->fillRect(QRect(QPoint(l, t), QPoint(r, b)), ColorFromNumber(color));
}

void Surface::PSet(double x, double y) { PSet(x, y, ForeColor); }

void Surface::PSet(double x, double y, quint32 color) {
  const int w = std::max(1, DrawWidth);
  applyMode();
  // The dot is centred on the pixel of (x, y); an even width leans up-left.
  painter_->fillRect(QRect(pixelX(x) - w / 2, pixelY(y) - w / 2, w, w), ColorFromNumber(color));
}

void Surface::Cls() {
  painter_->setCompositionMode(QPainter::CompositionMode_Source);
  painter_->fillRect(area_, ColorFromNumber(BackColor));
  painter_->setCompositionMode(QPainter::CompositionMode_SourceOver);
  CurrentX = x1_;
  CurrentY = y1_;
}

void Surface::setFontSize(double points) {
  if (!(points > 0) || !std::isfinite(points)) return;
  fontSize_ = points;
  font_.setPointSizeF(points);
  metrics_.reset();
}

const QFontMetricsF& Surface::metrics() {
  if (!metrics_) metrics_ = std::make_unique<QFontMetricsF>(font_, painter_->device());
  return *metrics_;
}

double Surface::TextWidth(const QString& text) {
  return metrics().horizontalAdvance(text) * ScaleWidth() / area_.width();
}

double Surface::TextHeight(const QString&) {
  return metrics().height() * ScaleHeight() / area_.height();
}

void Surface::Print(const QString& text) {
  painter_->setFont(font_);
  painter_->setPen(ColorFromNumber(ForeColor));
  applyMode();
  const double dx = std::clamp(deviceX(CurrentX), -kPixelLimit, kPixelLimit);
  const double dy = std::clamp(deviceY(CurrentY), -kPixelLimit, kPixelLimit);
  painter_->drawText(QPointF(dx, dy + metrics().ascent()), text);
  CurrentY += TextHeight(text);
  CurrentX = x1_;
}

void Surface::ClipTo(double x1, double y1, double x2, double y2) {
  const int l = std::min(pixelX(x1), pixelX(x2)), r = std::max(pixelX(x1), pixelX(x2));
  const int t = std::min(pixelY(y1), pixelY(y2)), b = std::max(pixelY(y1), pixelY(y2));
  painter_->setClipRect(QRect(QPoint(l, t), QPoint(r, b)));
}

void Surface::NoClip() { painter_->setClipping(false); }

// ------------------------------------------------------------------ graphs

bool Graph_Busy() { return busy; }

namespace {

// The excursions among the records the window shows, each as a band over
// the plot's whole height.
void shadeExcursions(Surface& surface, const DataSets& sets, int set, const ScrollState& bars,
                     const GraphView& v, const GraphExtras& extras) {
  const auto [first, last] = ticks::WindowRecords(sets, set, bars, Graph::Temperature);
  if (first <= 0) return;
  analysis::Options options;
  options.limits = extras.limits.value_or(analysis::SetLimits(sets.info(set)));
  const analysis::Statistics st = analysis::Analyse(sets, set, first, last, options);
  const double end = sets.Get(set, sets.info(set).Points).Time;
  const double B = v.B(), T = v.T(), P = static_cast<double>(v.P);
  surface.ClipTo(v.S, T, 0, B);
  for (const analysis::Excursion& e : st.excursions) {
    const double x1 = fmt::secondsBetween(e.start, end) - P;
    const double x2 = fmt::secondsBetween(e.end, end) - P;
    surface.FilledBox(x1, B, x2, T,
                      e.side == analysis::Side::Above ? extras.aboveColor : extras.belowColor);
  }
  surface.NoClip();
}

bool drawGraph(Surface& surface, const DataSets& sets, int set, const GraphView& v,
               const QString& unit, const QString& title, const GraphColorTable& colors,
               const std::function<void()>& underlay = {}) {
  if (busy || sets.info(set).Points <= 0) return false;
  BusyGuard guard;
  const double S = v.S, B = v.B(), T = v.T();
  surface.Cls();
  surface.ForeColor = colors[ticks::kText];
  surface.setFontSize(9);
  surface.Scale(S, T, -S / 20, B - (T - B) / 10);
  if (underlay) underlay();
  surface.Box(S, T, 0, B, colors[ticks::kFrame]);
  surface.setFontSize(12);
  const double tw = surface.TextWidth(kUnitC);
  const double titleWidth = std::abs(0.25 * tw + surface.TextWidth(title));
  surface.setFontSize(9);
  Graph_Grid_Draw(surface, S, v.P, B, T, v.halfRangeValue, unit, sets, set,
                  // Scroll_Set has put the newest record's time in the bars.
                  sets.Get(set, sets.info(set).Points).Time, colors, titleWidth);
  surface.setFontSize(12);
  surface.FilledBox(S + 1.5 * tw, B, S, B - (T - B) / 10, surface.BackColor);
  surface.CurrentX = S + 0.25 * tw;
  surface.CurrentY = B;
  surface.ForeColor = colors[ticks::kTitle];
  surface.Print(title);
  surface.ForeColor = colors[ticks::kText];
  surface.setFontSize(9);
  return true;
}

}  // namespace

bool Temp_Graph(Surface& surface, const DataSets& sets, int set, const ScrollState& bars,
                const GraphColorTable& colors, const GraphExtras& extras) {
  const GraphView v = TemperatureView(bars);
  std::function<void()> underlay;
  if (extras.shadeExcursions)
    underlay = [&] { shadeExcursions(surface, sets, set, bars, v, extras); };
  return drawGraph(surface, sets, set, v, kUnitC, QStringLiteral("Temperature"), colors, underlay);
}

bool Humi_Graph(Surface& surface, const DataSets& sets, int set, const ScrollState& bars,
                const GraphColorTable& colors) {
  return drawGraph(surface, sets, set, HumidityView(bars), kUnitPercent, QStringLiteral("Humidity"),
                   colors);
}

namespace {

// Where a text printed from x runs along the (reversed) time axis, as
// [low, high] in x units.
struct Extent {
  double low, high;
  bool overlaps(const Extent& o, double gap) const {
    return low < o.high + gap && o.low < high + gap;
  }
};

Extent extentFrom(Surface& surface, double x, const QString& text) {
  const double end = x + surface.TextWidth(text);
  return {std::min(x, end), std::max(x, end)};
}

// The date under the right edge starts three quarters of its width left of
// the edge, so a quarter of it reaches into the margin.
double edgeLabelX(Surface& surface, const QString& text) { return -0.75 * surface.TextWidth(text); }

}  // namespace

void Graph_Grid_Draw(Surface& surface, double S, qint64 P, double B, double T, int halfRangeValue,
                     const QString& unit, const DataSets& sets, int set, double graphEndTime,
                     const GraphColorTable& colors, double titleWidth) {
  const bool temperature = unit == kUnitC;
  const int points = sets.info(set).Points;
  surface.ClipTo(S, T, 0, B);

  // Time grid.
  const ticks::TimeVisit visit = ticks::TimeGridVisit(S, P, graphEndTime);
  for (qint64 i = visit.start; i <= visit.end; i += visit.step) {
    const int role = ticks::TimeGridColor(ticks::MomentAt(graphEndTime, i), S);
    if (role != ticks::kNoLine) {
      const double x = static_cast<double>(i - P);
      surface.Line(x, B, x, T, colors[role]);
    }
  }

  // Value grid.
  const ticks::ValueVisit values = ticks::ValueGridVisit(B, T);
  for (qint64 k = values.firstK; k <= values.lastK; ++k) {
    const int role = ticks::ValueGridColor(k, halfRangeValue);
    if (role != ticks::kNoLine) {
      const double y = static_cast<double>(k) / 10.0;
      surface.Line(0, y, S, y, colors[role]);
    }
  }

  // Bound lines: only the model that keeps bounds, only for temperature.
  const DataSetInfo& info = sets.info(set);
  if (temperature && HasAlarmBounds(info.Model)) {
    const std::pair<bool, std::pair<qint32, int>> bounds[] = {
        {info.UpperOn, {info.UpperRaw, ticks::kUpperBound}},
        {info.LowerOn, {info.LowerRaw, ticks::kLowerBound}}};
    for (const auto& [on, b] : bounds) {
      if (!on) continue;
      const double v = fmt::celsiusFromCount(b.first);
      surface.DrawStyle = 2;
      surface.Line(S, v, 0, v, colors[b.second]);
      surface.DrawStyle = 0;
    }
  }

  Graph_Data_Draw(surface, S, P, B, T, unit, sets, set, graphEndTime, colors);
  surface.DrawMode = 13;

  // Axis lines: the right edge that carries the value labels and the bottom
  // edge above the time labels.
  surface.Line(0, B, 0, T, colors[ticks::kFrame]);
  surface.Line(S, B, 0, B, colors[ticks::kFrame]);
  surface.NoClip();

  // Time labels. The date under the right edge and the title share their
  // row; a label that would run into either is left out rather than printed
  // over it, where neither could be read.
  const QString edgeText =
      fmt::formatDateTime(P > 0 ? ticks::MomentAt(graphEndTime, P) : graphEndTime);
  const Extent edge = extentFrom(surface, edgeLabelX(surface, edgeText), edgeText);
  const Extent title{S - titleWidth, S};
  const double gap = std::abs(surface.TextWidth(QStringLiteral(" ")));
  for (qint64 i = visit.start; i <= visit.end; i += visit.step) {
    const QString text = ticks::TimeLabel(ticks::MomentAt(graphEndTime, i), S);
    if (text.isEmpty()) continue;
    const double x = static_cast<double>(i - P) - surface.TextWidth(text) / 2;
    const Extent label = extentFrom(surface, x, text);
    if (label.overlaps(edge, gap) || (titleWidth > 0 && label.overlaps(title, gap))) continue;
    surface.CurrentX = x;
    surface.CurrentY = B;
    surface.Print(text);
  }

  // Value labels, in the right margin; none below the plot, where the time
  // labels are.
  const double tw = surface.TextWidth(QStringLiteral("0"));
  const double th = surface.TextHeight(QStringLiteral("0"));
  for (qint64 k = values.firstK; k <= values.lastK; ++k) {
    const double y = static_cast<double>(k) / 10.0;
    if (y < B - 1e-9) continue;
    const QString text = ticks::ValueLabel(k, halfRangeValue, unit);
    if (text.isEmpty()) continue;
    surface.CurrentX = tw / 2;
    // Centred on its line, but never cut by the top edge or pushed down
    // into the row of time labels.
    surface.CurrentY = std::clamp(y - th / 2, std::min(B - th, T), T);
    surface.Print(text);
  }

  // End of the window: a line when scrolled back, else the newest sample's
  // dot; the moment at the edge is printed under it either way.
  if (P > 0) {
    surface.Line(0, B, 0, T, colors[ticks::kCurve]);
  } else if (points > 0) {
    const MeasurementRecord newest = sets.Get(set, points);
    const double value = temperature ? newest.Temperature : newest.Humidity;
    if (value >= B && value <= T) {
      surface.DrawWidth = 2;
      surface.PSet(0, value, colors[ticks::kNewestDot]);
      surface.DrawWidth = 1;
    }
  }
  surface.CurrentX = edgeLabelX(surface, edgeText);
  surface.CurrentY = B;
  surface.Print(edgeText);
}

void Graph_Data_Draw(Surface& surface, double S, qint64 P, double, double, const QString& unit,
                     const DataSets& sets, int set, double graphEndTime,
                     const GraphColorTable& colors, bool perRecord) {
  const bool temperature = unit == kUnitC;
  const int points = sets.info(set).Points;
  if (points <= 0) return;
  const int colLeft = surface.pixelX(S);
  const int colRight = surface.pixelX(0);
  if (colRight < colLeft) return;
  const int columns = colRight - colLeft + 1;

  // Per column, the rows that samples joined inside that column cover.
  std::vector<int> top(columns, std::numeric_limits<int>::max());
  std::vector<int> bottom(columns, std::numeric_limits<int>::min());
  std::vector<QLine> lines;
  lines.reserve(perRecord ? points : 2 * columns + 16);
  std::vector<QPoint> dots;

  const double toX = surface.area().width() / surface.ScaleWidth();
  const double x0 = surface.deviceX(0);
  const auto devX = [&](double t) {
    // Age in seconds before the right edge of the window.
    return x0 + (fmt::secondsBetween(t, graphEndTime) - static_cast<double>(P)) * toX;
  };
  const auto devY = [&](float v) { return surface.deviceY(v); };
  const auto toPixel = [](double d) {
    return static_cast<int>(std::floor(std::clamp(d, -kPixelLimit, kPixelLimit)));
  };

  bool havePrev = false;
  double px = 0, py = 0;
  float prevBlock = 0;
  int runLength = 0;
  QPoint lastAlone;
  for (int n = 1; n <= points; ++n) {
    const MeasurementRecord* rec = sets.at(set, n);
    if (!rec) {
      havePrev = false;
      continue;
    }
    const double x = devX(rec->Time);
    const double y = devY(temperature ? rec->Temperature : rec->Humidity);
    if (!std::isfinite(x) || !std::isfinite(y)) {
      havePrev = false;
      continue;
    }
    const bool joined = havePrev && rec->Block == prevBlock;
    if (!joined) {
      if (runLength == 1) dots.push_back(lastAlone);
      runLength = 0;
    }
    ++runLength;
    lastAlone = QPoint(toPixel(x), toPixel(y));
    if (joined) {
      const bool bothLeft = px < colLeft && x < colLeft;
      const bool bothRight = px >= colRight + 1 && x >= colRight + 1;
      if (!bothLeft && !bothRight) {
        // Cut the segment to the columns just around the plot so its ends stay
        // whole numbers that mean the same line.
        double ax = px, ay = py, bx = x, by = y;
        const double lo = colLeft - 1, hi = colRight + 2;
        const auto cut = [&](double& cx, double& cy, double ox, double oy) {
          const double edge = cx < lo ? lo : hi;
          cy = cy + (oy - cy) * (edge - cx) / (ox - cx);
          cx = edge;
        };
        if (ax < lo || ax > hi) cut(ax, ay, bx, by);
        if (bx < lo || bx > hi) cut(bx, by, ax, ay);
        const QPoint a(toPixel(ax), toPixel(ay)), b(toPixel(bx), toPixel(by));
        if (!perRecord && a.x() == b.x() && a.x() >= colLeft && a.x() <= colRight) {
          const int c = a.x() - colLeft;
          top[c] = std::min({top[c], a.y(), b.y()});
          bottom[c] = std::max({bottom[c], a.y(), b.y()});
        } else {
          lines.emplace_back(a, b);
        }
      }
    }
    havePrev = true;
    px = x;
    py = y;
    prevBlock = rec->Block;
  }
  if (runLength == 1) dots.push_back(lastAlone);

  for (int c = 0; c < columns; ++c)
    if (top[c] <= bottom[c]) lines.emplace_back(colLeft + c, top[c], colLeft + c, bottom[c]);

  surface.DrawWidth = 1;
  surface.DrawStyle = 0;
  QPen pen(ColorFromNumber(colors[ticks::kCurve]));
  pen.setWidth(0);
  pen.setCapStyle(Qt::SquareCap);
  QPainter& p = surface.painter();
  p.setPen(pen);
  p.drawLines(lines.data(), static_cast<int>(lines.size()));
  // A sample alone in its run has no neighbour to join: a dot shows it.
  const QColor dot = ColorFromNumber(colors[ticks::kCurve]);
  for (const QPoint& d : dots)
    if (d.x() >= colLeft - 1 && d.x() <= colRight + 1) p.fillRect(d.x() - 1, d.y() - 1, 2, 2, dot);
}

// ------------------------------------------------------------------ read-out

QString Graph_Cursor_Disp(int x, int widthPixels, const DataSets& sets, int set,
                          const ScrollState& bars, bool humidityGraph, bool continuousRun) {
  const int points = sets.info(set).Points;
  if (continuousRun || busy || points <= 0 || widthPixels <= 0) return {};
  const GraphView v = humidityGraph ? HumidityView(bars) : TemperatureView(bars);
  if (v.S <= 0) return {};
  // The graph's x runs from S at the left edge to -S/20 at the right.
  const double age = v.S - (x + 0.5) * (v.S * 21.0 / 20.0) / widthPixels;
  if (age < 0 || age > v.S) return {};
  const double t = bars.GraphEndTime - (age + static_cast<double>(v.P)) / kSecondsPerDay;
  int best = 0;
  double bestDistance = std::numeric_limits<double>::infinity();
  for (int n = 1; n <= points; ++n) {
    const MeasurementRecord* rec = sets.at(set, n);
    if (!rec) continue;
    const double d = std::abs(rec->Time - t);
    if (d < bestDistance) {
      bestDistance = d;
      best = n;
    }
  }
  if (best == 0) return {};
  const MeasurementRecord r = sets.Get(set, best);
  return QStringLiteral("Date ") + fmt::formatDateTime(r.Time) + QStringLiteral("   Temperature ") +
         fmt::format0_00(r.Temperature) + QStringLiteral(" C   Humidity ") +
         fmt::format0_00(r.Humidity) + QStringLiteral(" %RH");
}

}  // namespace hygro
