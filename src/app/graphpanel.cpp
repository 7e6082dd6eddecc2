#include "app/graphpanel.h"

#include <QGridLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QSignalBlocker>

#include "data/datasets.h"
#include "data/dataview.h"

namespace hygro {

namespace {

// The plot background of the screen's dark scheme.
const QColor kBackground(Qt::black);

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

void GraphPicture::paintEvent(QPaintEvent*) {
  QPainter p(this);
  if (buffer_.isNull())
    p.fillRect(rect(), kBackground);
  else
    p.drawImage(0, 0, buffer_);
}

void GraphPicture::mouseMoveEvent(QMouseEvent* event) {
  Q_EMIT mouseMoved(qRound(event->position().x()), width());
  QWidget::mouseMoveEvent(event);
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

  const QString spanTip = QStringLiteral("Time span shown (left: wider)");
  const QString posTip = QStringLiteral("Position in time (right: newest)");
  const QString rangeTip = QStringLiteral("Value range (top: wider)");
  const QString centreTip = QStringLiteral("Centre of the value axis");
  makeBar(HScroll1, "HScroll1", Qt::Horizontal, spanTip);
  makeBar(HScroll2, "HScroll2", Qt::Horizontal, posTip);
  makeBar(VScroll1, "VScroll1", Qt::Vertical, rangeTip);
  makeBar(VScroll2, "VScroll2", Qt::Vertical, centreTip);
  makeBar(HScroll3, "HScroll3", Qt::Horizontal, spanTip);
  makeBar(HScroll4, "HScroll4", Qt::Horizontal, posTip);
  makeBar(VScroll3, "VScroll3", Qt::Vertical, rangeTip);
  makeBar(VScroll4, "VScroll4", Qt::Vertical, centreTip);

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

}  // namespace hygro
