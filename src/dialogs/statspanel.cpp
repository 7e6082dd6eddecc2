#include "dialogs/statspanel.h"

#include <QHeaderView>
#include <QLabel>
#include <QScrollBar>
#include <QTableWidget>
#include <QVBoxLayout>

#include "data/formats.h"
#include "graph/render_ticks.h"
#include "logger/realtime.h"
#include "logger/session.h"

namespace hygro {

using namespace analysis;

namespace {

QTableWidget* table(const QString& name, const QStringList& heads, QWidget* parent) {
  auto* t = new QTableWidget(0, static_cast<int>(heads.size()), parent);
  t->setObjectName(name);
  t->setHorizontalHeaderLabels(heads);
  t->verticalHeader()->hide();
  t->setEditTriggers(QAbstractItemView::NoEditTriggers);
  t->setSelectionBehavior(QAbstractItemView::SelectRows);
  t->setWordWrap(false);
  t->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  t->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  t->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
  return t;
}

// Writes `text` into the cell, reusing its item: the table is refilled on
// every scroll step.
void put(QTableWidget* t, int row, int column, const QString& text) {
  if (QTableWidgetItem* item = t->item(row, column)) {
    if (item->text() != text) item->setText(text);
  } else {
    t->setItem(row, column, new QTableWidgetItem(text));
  }
}

void resizeRows(QTableWidget* t, int rows) {
  if (t->rowCount() != rows) t->setRowCount(rows);
}

}  // namespace

StatsPanel::StatsPanel(Session* session, QWidget* parent) : QWidget(parent), session_(session) {
  setObjectName(QStringLiteral("StatsPanel"));
  caption_ = new QLabel(this);
  caption_->setObjectName(QStringLiteral("StatsCaption"));
  figures_ =
      table(QStringLiteral("StatsTable"),
            {QStringLiteral("Figure"), QStringLiteral("Shown set"), QStringLiteral("Graph window")},
            this);
  // Narrow enough for a dock beside the graphs; the whole line of each
  // excursion is its tooltip.
  excursions_ = table(QStringLiteral("ExcursionTable"),
                      {QStringLiteral("Side"), QStringLiteral("Start"), QStringLiteral("End"),
                       QStringLiteral("Peak")},
                      this);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(4, 4, 4, 4);
  layout->addWidget(caption_);
  layout->addWidget(figures_, 4);
  layout->addWidget(new QLabel(QStringLiteral("Excursions in the shown set"), this));
  layout->addWidget(excursions_, 1);

  due_.setSingleShot(true);
  due_.setInterval(0);
  connect(&due_, &QTimer::timeout, this, &StatsPanel::refresh);

  const auto whole = [this] { changed(true); };
  connect(session_, &Session::dataSetChanged, this, whole);
  connect(session_, &Session::shownSetChanged, this, whole);
  connect(&session_->realtime(), &RealtimeOperation::sample, this, whole);
  DataView& view = session_->dataView();
  connect(&view, &DataView::dataSetIndexChanged, this, whole);
  connect(&view, &DataView::scrollStateChanged, this, [this] { changed(false); });
}

QSize StatsPanel::sizeHint() const {
  // The caption column and two of the widest values ("2024/07/01 12:40:00").
  const QFontMetrics m(figures_->font());
  const int value = m.horizontalAdvance(QStringLiteral("at 2024/07/01 12:40:00")) + 16;
  const int width = m.horizontalAdvance(QStringLiteral("Absolute humidity minimum")) + 16 +
                    2 * value + figures_->verticalScrollBar()->sizeHint().width() + 24;
  return {width, 32 * m.height()};
}

void StatsPanel::setUnit(Unit unit) {
  if (unit == unit_) return;
  unit_ = unit;
  fill(true);
}

void StatsPanel::changed(bool whole) {
  setStale_ = setStale_ || whole;
  if (isVisible()) due_.start();
}

void StatsPanel::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  refresh();
}

void StatsPanel::refresh() {
  due_.stop();
  const DataSets& sets = session_->data();
  const int set = session_->shownSet();
  const DataSetInfo& info = sets.info(set);
  Options options;
  options.limits = SetLimits(info);
  const bool whole = setStale_;
  if (whole) {
    set_ = Analyse(sets, set, 1, info.Points, options);
    setStale_ = false;
  }
  // The window as the graph draws it, limits brought up to the set's newest
  // record.
  const ScrollState bars = Scroll_Set(sets, set, session_->dataView().scrollState(), false);
  const auto [first, last] = ticks::WindowRecords(sets, set, bars, Graph::Temperature);
  window_ = Analyse(sets, set, first, first > 0 ? last : 0, options);
  fill(whole);
}

void StatsPanel::fill(bool excursions) {
  caption_->setText(QStringLiteral("Statistics of %1 data").arg(DataSetName(session_->shownSet())));
  const std::vector<Figure> whole = Figures(set_, unit_);
  const std::vector<Figure> shown = Figures(window_, unit_);
  resizeRows(figures_, static_cast<int>(whole.size()));
  // An extreme's time on a line of its own keeps the columns narrow.
  const auto text = [](const Figure& f) {
    return FigureText(f).replace(QStringLiteral(" at "), QStringLiteral("\nat "));
  };
  for (size_t i = 0; i < whole.size(); ++i) {
    const int row = static_cast<int>(i);
    put(figures_, row, CaptionColumn, whole[i].caption);
    put(figures_, row, SetColumn, text(whole[i]));
    put(figures_, row, WindowColumn, i < shown.size() ? text(shown[i]) : QString());
  }
  if (!excursions) return;
  resizeRows(excursions_, static_cast<int>(set_.excursions.size()));
  int row = 0;
  for (const Excursion& e : set_.excursions) {
    put(excursions_, row, 0, SideText(e.side));
    put(excursions_, row, 1, fmt::formatDateTime(e.start));
    put(excursions_, row, 2, fmt::formatDateTime(e.end));
    put(excursions_, row, 3,
        QString::number(ToUnit(e.peak, unit_), 'f', 3) + u' ' + UnitSymbol(unit_));
    const QString whole = ExcursionText(e, unit_);
    for (int c = 0; c < excursions_->columnCount(); ++c)
      excursions_->item(row, c)->setToolTip(whole);
    ++row;
  }
}

}  // namespace hygro
