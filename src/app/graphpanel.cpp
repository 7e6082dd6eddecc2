#include "app/graphpanel.h"

#include <QGridLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QWheelEvent>
#include <cmath>

#include "data/datasets.h"
#include "data/dataview.h"
#include "data/formats.h"

namespace hygro {

namespace {

// The plot background of the screen's dark scheme.
const QColor kBackground(Qt::black);

// One notch of the wheel narrows the span to this share (or widens it by
// its inverse).
constexpr double kWheelZoom = 0.8;

// The plot's share of the picture's height (the rest holds the time labels).
double plotHeight(int height) { return height * 10.0 / 11.0; }

}  // namespace

// ---- GraphPicture

GraphPicture::GraphPicture(const QString& name, QWidget* parent) : QWidget(parent) {
  setObjectName(name);
  setMouseTracking(true);
  setAttribute(Qt::WA_OpaquePaintEvent);
  setMinimumSize(200, 90);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

QImage& GraphPicture::buffer() {
  const QSize want = size().expandedTo(QSize(1, 1));
  if (buffer_.size() != want) {
    buffer_ = QImage(want, QImage::Format_RGB32);
    buffer_.fill(kBackground);
  }
  return buffer_;
}

void GraphPicture::setCrosshair(QPointF at, const QString& text) {
  if (at == cross_ && text == crossText_) return;
  cross_ = at;
  crossText_ = text;
  update();
}

void GraphPicture::paintEvent(QPaintEvent*) {
  QPainter p(this);
  if (buffer_.isNull())
    p.fillRect(rect(), kBackground);
  else
    p.drawImage(0, 0, buffer_);
  const double plotBottom = plotHeight(height());
  if (dragging_) {
    const QRectF band(QPointF(std::min(bandFrom_, bandTo_), 0),
                      QPointF(std::max(bandFrom_, bandTo_), plotBottom));
    p.fillRect(band, QColor(90, 160, 255, 70));
    p.setPen(QColor(90, 160, 255, 200));
    p.drawLine(QPointF(band.left(), 0), QPointF(band.left(), plotBottom));
    p.drawLine(QPointF(band.right(), 0), QPointF(band.right(), plotBottom));
  }
  if (crossText_.isEmpty()) return;
  QPen dashed(QColor(200, 200, 200, 160));
  dashed.setStyle(Qt::DashLine);
  p.setPen(dashed);
  p.drawLine(QPointF(cross_.x() + 0.5, 0), QPointF(cross_.x() + 0.5, plotBottom));
  p.drawLine(QPointF(0, cross_.y() + 0.5), QPointF(width(), cross_.y() + 0.5));
  // The values beside the pointer, turned to stay inside the picture.
  const QFontMetrics fm = p.fontMetrics();
  QRectF box(0, 0, fm.horizontalAdvance(crossText_) + 8, fm.height() + 4);
  QPointF corner = cross_ + QPointF(10, 10);
  if (corner.x() + box.width() > width()) corner.setX(cross_.x() - 10 - box.width());
  if (corner.y() + box.height() > plotBottom) corner.setY(cross_.y() - 10 - box.height());
  box.moveTopLeft(corner);
  p.fillRect(box, QColor(0, 0, 0, 190));
  p.setPen(QColor(230, 230, 230));
  p.drawText(box, Qt::AlignCenter, crossText_);
}

void GraphPicture::mouseMoveEvent(QMouseEvent* event) {
  const QPointF at = event->position();
  Q_EMIT mouseMoved(qRound(at.x()), width());
  if (pressX_ && (event->buttons() & Qt::LeftButton)) {
    dragging_ = dragging_ || std::abs(at.x() - *pressX_) >= kMinDragPixels;
    if (dragging_) {
      bandFrom_ = *pressX_;
      bandTo_ = std::clamp(at.x(), 0.0, static_cast<double>(width()));
      update();
    }
  }
  Q_EMIT pointerAt(at);
  QWidget::mouseMoveEvent(event);
}

std::optional<std::pair<double, double>> GraphPicture::band() const {
  if (!dragging_) return std::nullopt;
  return std::pair{bandFrom_, bandTo_};
}

void GraphPicture::mousePressEvent(QMouseEvent* event) {
  if (event->button() == Qt::LeftButton) pressX_ = event->position().x();
  QWidget::mousePressEvent(event);
}

void GraphPicture::mouseReleaseEvent(QMouseEvent* event) {
  if (event->button() == Qt::LeftButton && pressX_) {
    const double from = *pressX_;
    const double to = std::clamp(event->position().x(), 0.0, static_cast<double>(width()));
    pressX_.reset();
    dragging_ = false;
    update();
    // Dragged out and back to where it began is no stretch either.
    if (std::abs(to - from) >= kMinDragPixels) Q_EMIT stretchChosen(from, to);
  }
  QWidget::mouseReleaseEvent(event);
}

void GraphPicture::mouseDoubleClickEvent(QMouseEvent* event) {
  if (event->button() == Qt::LeftButton) {
    pressX_.reset();
    dragging_ = false;
    Q_EMIT doubleClicked(event->position().x());
  }
}

void GraphPicture::wheelEvent(QWheelEvent* event) {
  event->accept();
  wheelEighths_ += event->angleDelta().y();
  const int notches = wheelEighths_ / 120;
  if (notches == 0) return;
  wheelEighths_ -= notches * 120;
  Q_EMIT wheelTurned(event->position().x(), notches);
}

void GraphPicture::leaveEvent(QEvent* event) {
  Q_EMIT pointerLeft();
  QWidget::leaveEvent(event);
}

void GraphPicture::resizeEvent(QResizeEvent* event) {
  QWidget::resizeEvent(event);
  Q_EMIT resized();
}

// ---- GraphPanel

GraphPanel::GraphPanel(const DataSets& sets, DataView& view, QWidget* parent)
    : QWidget(parent), sets_(sets), view_(view), colors_(Graph_Color_Set()) {
  ondo_ = new GraphPicture(QStringLiteral("ondo"));
  situdo_ = new GraphPicture(QStringLiteral("situdo"));

  // The time bars also move with the mouse on the graph; the tips say so.
  const auto spanTip = [](const char* graph) {
    return QStringLiteral("%1 graph: how long a stretch of time is shown.\n"
                          "Left: longer, right: shorter. The mouse wheel over the graph "
                          "does the same around the pointer.")
        .arg(QLatin1String(graph));
  };
  const auto posTip = [](const char* graph) {
    return QStringLiteral("%1 graph: which stretch of time is shown.\n"
                          "Left: older, right end: the newest record. Drag across the graph "
                          "to show a stretch, double-click to show everything.")
        .arg(QLatin1String(graph));
  };
  makeBar(HScroll1, "HScroll1", Qt::Horizontal, spanTip("Temperature"));
  makeBar(HScroll2, "HScroll2", Qt::Horizontal, posTip("Temperature"));
  makeBar(VScroll1, "VScroll1", Qt::Vertical,
          QStringLiteral("Temperature graph: how many degrees the axis spans.\n"
                         "Top: more, bottom: fewer."));
  makeBar(VScroll2, "VScroll2", Qt::Vertical,
          QStringLiteral("Temperature graph: the temperature at the middle of the axis.\n"
                         "Top: higher, bottom: lower."));
  makeBar(HScroll3, "HScroll3", Qt::Horizontal, spanTip("Humidity"));
  makeBar(HScroll4, "HScroll4", Qt::Horizontal, posTip("Humidity"));
  makeBar(VScroll3, "VScroll3", Qt::Vertical,
          QStringLiteral("Humidity graph: how many %RH the axis spans.\n"
                         "Top: more, bottom: fewer."));
  makeBar(VScroll4, "VScroll4", Qt::Vertical,
          QStringLiteral("Humidity graph: the humidity at the middle of the axis.\n"
                         "Top: higher, bottom: lower."));

  auto* grid = new QGridLayout(this);
  grid->setContentsMargins(0, 0, 0, 0);
  grid->setHorizontalSpacing(2);
  grid->setVerticalSpacing(2);
  const auto small = [](const QString& text) {
    auto* l = new QLabel(text);
    QFont f = l->font();
    f.setPointSizeF(f.pointSizeF() * 0.85);
    l->setFont(f);
    return l;
  };
  const auto addGraph = [&](int row, GraphPicture* view, Bar span, Bar pos, Bar range, Bar centre) {
    grid->addWidget(view, row, 0);
    grid->addWidget(bars_[range], row, 1);
    grid->addWidget(bars_[centre], row, 2);
    auto* timeRow = new QHBoxLayout;
    timeRow->setSpacing(4);
    timeRow->addWidget(small(QStringLiteral("Span")));
    timeRow->addWidget(bars_[span], 1);
    timeRow->addSpacing(8);
    timeRow->addWidget(small(QStringLiteral("Position")));
    timeRow->addWidget(bars_[pos], 3);
    grid->addLayout(timeRow, row + 1, 0);
  };
  addGraph(0, ondo_, HScroll1, HScroll2, VScroll1, VScroll2);
  grid->setRowMinimumHeight(2, 6);
  addGraph(3, situdo_, HScroll3, HScroll4, VScroll3, VScroll4);
  grid->setRowStretch(0, 1);
  grid->setRowStretch(3, 1);

  showBars(view_.scrollState());
  connect(&view_, &DataView::scrollStateChanged, this, &GraphPanel::viewChanged);

  connect(ondo_, &GraphPicture::mouseMoved, this,
          [this](int x, int width) { Graph_Cursor_Disp(x, width, false); });
  connect(situdo_, &GraphPicture::mouseMoved, this,
          [this](int x, int width) { Graph_Cursor_Disp(x, width, true); });
  connectNavigation(ondo_, Graph::Temperature);
  connectNavigation(situdo_, Graph::Humidity);
  // A new size needs a new picture; the limits do not change with it.
  connect(ondo_, &GraphPicture::resized, this, [this] {
    if (Temp_Graph()) ondo_->update();
  });
  connect(situdo_, &GraphPicture::resized, this, [this] {
    if (Humi_Graph()) situdo_->update();
  });
}

QScrollBar* GraphPanel::makeBar(Bar which, const char* name, Qt::Orientation o,
                                const QString& tip) {
  auto* bar = new QScrollBar(o);
  bar->setObjectName(QString::fromLatin1(name));
  bar->setToolTip(tip);
  // Dragging the thumb changes nothing until it is released.
  bar->setTracking(false);
  // Qt moves the thumb of a reversed bar away from the arrow pressed; the
  // step is turned round so arrows and trough clicks go the way they point.
  // It is taken from the value, not from Qt's position, which is already
  // clamped at the bar's end and would leave the bar stuck there.
  connect(bar, &QAbstractSlider::actionTriggered, this, [this, which, bar](int action) {
    if (!reversed_[which]) return;
    switch (action) {
      case QAbstractSlider::SliderSingleStepAdd:
        bar->setSliderPosition(bar->value() - bar->singleStep());
        break;
      case QAbstractSlider::SliderSingleStepSub:
        bar->setSliderPosition(bar->value() + bar->singleStep());
        break;
      case QAbstractSlider::SliderPageStepAdd:
        bar->setSliderPosition(bar->value() - bar->pageStep());
        break;
      case QAbstractSlider::SliderPageStepSub:
        bar->setSliderPosition(bar->value() + bar->pageStep());
        break;
      default:
        break;
    }
  });
  const bool temperature = which == HScroll1 || which == HScroll2;
  const bool both = temperature;  // the temperature time bars redraw both graphs
  const bool tempOnly = which == VScroll1 || which == VScroll2;
  connect(bar, &QAbstractSlider::valueChanged, this,
          [this, which, both, tempOnly] { barChanged(which, both || tempOnly, !tempOnly); });
  bars_[which] = bar;
  return bar;
}

BarState& GraphPanel::barOf(ScrollState& s, Bar which) {
  switch (which) {
    case HScroll1:
      return s.HScroll1;
    case HScroll2:
      return s.HScroll2;
    case HScroll3:
      return s.HScroll3;
    case HScroll4:
      return s.HScroll4;
    case VScroll1:
      return s.VScroll1;
    case VScroll2:
      return s.VScroll2;
    case VScroll3:
      return s.VScroll3;
    case VScroll4:
      break;
  }
  return s.VScroll4;
}

const ScrollState& GraphPanel::state() const { return view_.scrollState(); }

void GraphPanel::showBars(const ScrollState& s) {
  ScrollState copy = s;
  for (int i = 0; i < 8; ++i) {
    QScrollBar* bar = bars_[static_cast<size_t>(i)];
    const BarState& b = barOf(copy, static_cast<Bar>(i));
    const QSignalBlocker quiet(bar);
    if (b.min != b.max) reversed_[static_cast<size_t>(i)] = b.min > b.max;
    bar->setInvertedAppearance(reversed_[static_cast<size_t>(i)]);
    bar->setRange(qMin(b.min, b.max), qMax(b.min, b.max));
    bar->setSingleStep(qMax(1, b.smallStep));
    bar->setPageStep(qMax(1, b.largeStep));
    bar->setValue(b.value);
  }
}

void GraphPanel::write(const ScrollState& s) {
  writing_ = true;
  view_.setScrollState(s);
  writing_ = false;
  showBars(s);
}

void GraphPanel::viewChanged() {
  if (writing_) return;
  showBars(view_.scrollState());
  if (!continuousRun()) redraw();
}

int GraphPanel::shownSet() const { return view_.DataSetIndex(); }

void GraphPanel::Scroll_Set() {
  write(hygro::Scroll_Set(sets_, shownSet(), state(), continuousRun()));
}

void GraphPanel::redraw() {
  if (graphBusy()) return;
  Scroll_Set();
  if (Temp_Graph()) ondo_->update();
  if (Humi_Graph()) situdo_->update();
}

void GraphPanel::barChanged(Bar which, bool temperature, bool humidity) {
  ScrollState s = state();
  barOf(s, which).value = bars_[which]->value();
  if (link_ && which <= HScroll4) {
    s = LinkTime(s, which <= HScroll2 ? Graph::Temperature : Graph::Humidity);
    temperature = humidity = true;
  }
  // A continuous run draws after each sample by itself; meanwhile the bars
  // only take their new places.
  if (continuousRun() || graphBusy()) {
    write(s);
    return;
  }
  write(hygro::Scroll_Set(sets_, shownSet(), s, continuousRun()));
  if (temperature && Temp_Graph()) ondo_->update();
  if (humidity && Humi_Graph()) situdo_->update();
}

bool GraphPanel::drawInto(GraphPicture* view, bool temperature) {
  if (graphBusy()) return false;
  const int set = shownSet();
  if (sets_.info(set).Points <= 0) return false;
  graphBusy_ = true;
  // Drawn aside, then swapped in whole, so a failed drawing leaves the
  // picture as it was.
  QImage next(view->buffer().size(), QImage::Format_RGB32);
  next.fill(kBackground);
  bool drawn = false;
  {
    Surface surface(next);
    const ScrollState s = state();
    drawn = temperature ? hygro::Temp_Graph(surface, sets_, set, s, colors_, extras_)
                        : hygro::Humi_Graph(surface, sets_, set, s, colors_);
  }
  if (drawn) view->buffer() = std::move(next);
  graphBusy_ = false;
  return drawn;
}

bool GraphPanel::Temp_Graph() { return drawInto(ondo_, true); }

void GraphPanel::setExtras(const GraphExtras& extras) {
  extras_ = extras;
  if (Temp_Graph()) ondo_->update();
}

bool GraphPanel::Humi_Graph() { return drawInto(situdo_, false); }

void GraphPanel::Graph_Cursor_Disp(int x, int width, bool humidityGraph) {
  if (graphBusy()) {
    Q_EMIT cursorText(QString());
    return;
  }
  Q_EMIT cursorText(hygro::Graph_Cursor_Disp(x, width, sets_, shownSet(), state(), humidityGraph,
                                             continuousRun()));
}

QImage GraphPanel::graphsImage() const {
  const QImage& top = ondo_->image();
  const QImage& bottom = situdo_->image();
  const int gap = 4;
  QImage out(qMax(top.width(), bottom.width()), top.height() + gap + bottom.height(),
             QImage::Format_RGB32);
  out.fill(Qt::white);
  QPainter p(&out);
  p.drawImage(0, 0, top);
  p.drawImage(0, top.height() + gap, bottom);
  return out;
}

void GraphPanel::setLinkTimeAxes(bool on) {
  if (on == link_) return;
  link_ = on;
  if (on) navigate(state(), Graph::Temperature);
}

std::optional<ScrollState> GraphPanel::navigable() const {
  if (graphBusy() || sets_.info(shownSet()).Points <= 0) return std::nullopt;
  return hygro::Scroll_Set(sets_, shownSet(), state(), continuousRun());
}

void GraphPanel::navigate(ScrollState s, Graph graph) {
  if (link_) s = LinkTime(s, graph);
  // Through the view, which shows the bars and redraws as for any change
  // made from outside.
  view_.setScrollState(s);
  // The values beside a crosshair belong to the window just left.
  for (auto [picture, g] : {std::pair{ondo_, Graph::Temperature}, {situdo_, Graph::Humidity}})
    if (!picture->crosshairText().isEmpty()) crosshair(picture, g, picture->crosshairAt());
}

void GraphPanel::connectNavigation(GraphPicture* picture, Graph graph) {
  connect(picture, &GraphPicture::wheelTurned, this, [this, picture, graph](double x, double n) {
    const auto s = navigable();
    if (!s) return;
    const double age = AgeAt(x, picture->width(), ViewOf(*s, graph).S);
    navigate(ZoomTime(*s, graph, std::pow(kWheelZoom, n), age), graph);
  });
  connect(picture, &GraphPicture::stretchChosen, this,
          [this, picture, graph](double x1, double x2) {
            const auto s = navigable();
            if (!s) return;
            const double S = ViewOf(*s, graph).S;
            const int w = picture->width();
            navigate(ZoomToStretch(*s, graph, AgeAt(x1, w, S), AgeAt(x2, w, S)), graph);
          });
  connect(picture, &GraphPicture::doubleClicked, this, [this, graph] {
    const auto s = navigable();
    if (!s) return;
    ScrollState fitted = FitTime(*s, graph);
    if (const auto extent = ValueExtent(sets_, shownSet(), graph))
      fitted = FitValues(fitted, graph, extent->first, extent->second);
    navigate(fitted, graph);
  });
  connect(picture, &GraphPicture::pointerAt, this,
          [this, picture, graph](QPointF at) { crosshair(picture, graph, at); });
  connect(picture, &GraphPicture::pointerLeft, this,
          [picture] { picture->setCrosshair({}, QString()); });
}

void GraphPanel::crosshair(GraphPicture* picture, Graph graph, QPointF at) {
  const ScrollState& s = state();
  const GraphView v = ViewOf(s, graph);
  const double age = AgeAt(at.x(), picture->width(), v.S);
  const double value = ValueAt(at.y(), picture->height(), v.B(), v.T());
  if (sets_.info(shownSet()).Points <= 0 || v.S <= 0 || age < 0 || age > v.S || value < v.B()) {
    picture->setCrosshair({}, QString());
    return;
  }
  const double t = s.GraphEndTime - (age + static_cast<double>(v.P)) / fmt::kSecondsPerDay;
  const QString unit = graph == Graph::Temperature ? QStringLiteral(" C") : QStringLiteral(" %RH");
  picture->setCrosshair(at, fmt::formatDateTime(t) + QStringLiteral("   ") +
                                QString::number(value, 'f', 1) + unit);
}

}  // namespace hygro
