// The main window's evidence additions: the statistics panel, the excursions
// shown on the graph and in the list, the unit of what they show, the
// spreadsheet export, and their entries in the File, Tool and Display menus. Kept apart from the
// window's own controls, which they never change.
#include <QAction>
#include <QActionGroup>
#include <QDir>
#include <QDockWidget>
#include <QInputDialog>
#include <QMenu>
#include <QMenuBar>
#include <QPainter>
#include <QStyledItemDelegate>
#include <QTreeView>
#include <algorithm>

#include "analysis/spreadsheet.h"
#include "app/form1.h"
#include "app/graphpanel.h"
#include "data/csv.h"
#include "data/dump.h"
#include "dialogs/qtprompt.h"
#include "dialogs/statspanel.h"
#include "logger/realtime.h"
#include "logger/session.h"

namespace hygro {

namespace {

// Tints the rows the list marks as outside the limits.
class MarkDelegate : public QStyledItemDelegate {
 public:
  using QStyledItemDelegate::QStyledItemDelegate;

 protected:
  void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
    QStyledItemDelegate::initStyleOption(option, index);
    const QVariant mark = index.data(DumpModel::MarkRole);
    if (!mark.isValid()) return;
    option->backgroundBrush =
        mark.toInt() == DumpModel::MarkAbove ? QColor(255, 216, 216) : QColor(216, 228, 255);
  }
};

}  // namespace

void Form1::buildAnalysis(QMenu* file, QMenu* tool, QMenu* display) {
  // Beside the graph image: another way out of the program for a set.
  QAction* exportXlsx = new QAction(QStringLiteral("Export for spreadsheets(&X)…"), file);
  exportXlsx->setObjectName(QStringLiteral("mExportXlsx"));
  const QList<QAction*> entries = file->actions();
  const auto graphImage = std::find_if(entries.begin(), entries.end(), [](QAction* a) {
    return a->objectName() == QLatin1String("mSaveGraph");
  });
  file->insertAction(
      graphImage == entries.end() || graphImage + 1 == entries.end() ? nullptr : *(graphImage + 1),
      exportXlsx);
  connect(exportXlsx, &QAction::triggered, this, &Form1::exportSpreadsheet);
  // A dock that starts floating: on a screen of 1366 pixels the two columns
  // of figures beside the graphs would squeeze the data area, so it first
  // opens as a window of its own over the logger's panel; where there is
  // room, the user docks it beside the graphs (a double click on its title).
  stats_ = new StatsPanel(session_);
  statsDock_ = new QDockWidget(QStringLiteral("Statistics"), this);
  statsDock_->setObjectName(QStringLiteral("StatsDock"));
  statsDock_->setWidget(stats_);
  statsDock_->setAllowedAreas(Qt::RightDockWidgetArea | Qt::BottomDockWidgetArea);
  addDockWidget(Qt::RightDockWidgetArea, statsDock_);
  statsDock_->setFloating(true);
  statsDock_->hide();
  connect(statsDock_->toggleViewAction(), &QAction::toggled, this, [this](bool on) {
    if (!on || !statsDock_->isFloating() || statsPlaced_) return;
    statsPlaced_ = true;
    statsDock_->resize(stats_->sizeHint());
    statsDock_->move(mapToGlobal(QPoint(8, menuBar()->height() + 8)));
  });

  tool->addSeparator();
  QAction* company = tool->addAction(QStringLiteral("Company name(&O)…"));
  company->setObjectName(QStringLiteral("mCompany"));
  connect(company, &QAction::triggered, this, [this] {
    // Shown without a nested event loop, as the window's other dialogs.
    auto* d = new QInputDialog(this);
    d->setObjectName(QStringLiteral("CompanyDialog"));
    d->setAttribute(Qt::WA_DeleteOnClose);
    d->setWindowModality(Qt::ApplicationModal);
    d->setWindowTitle(QStringLiteral("Company name"));
    d->setLabelText(QStringLiteral("The company named on the printed summary:"));
    d->setTextValue(company_);
    connect(d, &QInputDialog::textValueSelected, this,
            [this](const QString& text) { company_ = text.simplified(); });
    d->show();
  });

  display->addSeparator();
  QAction* show = statsDock_->toggleViewAction();
  show->setText(QStringLiteral("Statistics(&S)"));
  show->setObjectName(QStringLiteral("mStatistics"));
  display->addAction(show);

  excursionsAction_ = display->addAction(QStringLiteral("Show excursions(&E)"));
  excursionsAction_->setObjectName(QStringLiteral("mExcursions"));
  excursionsAction_->setCheckable(true);
  connect(excursionsAction_, &QAction::toggled, this, &Form1::followExcursions);
  ListView1->setItemDelegate(new MarkDelegate(ListView1));
  excursionsDue_.setSingleShot(true);
  excursionsDue_.setInterval(0);
  connect(&excursionsDue_, &QTimer::timeout, this, &Form1::followExcursions);
  const auto due = [this] {
    if (excursionsAction_->isChecked()) excursionsDue_.start();
  };
  connect(session_, &Session::dataSetChanged, this, due);
  connect(session_, &Session::shownSetChanged, this, due);
  connect(&session_->realtime(), &RealtimeOperation::sample, this, due);
  connect(&session_->dataView(), &DataView::dataSetIndexChanged, this, due);

  QMenu* units = display->addMenu(QStringLiteral("Temperature unit(&U)"));
  units->setObjectName(QStringLiteral("mUnit"));
  auto* group = new QActionGroup(units);
  const struct {
    const char* name;
    const char* text;
    analysis::Unit unit;
  } choices[] = {{"mUnitC", "\u00B0C", analysis::Unit::Celsius},
                 {"mUnitF", "\u00B0F", analysis::Unit::Fahrenheit}};
  for (const auto& c : choices) {
    QAction* a = units->addAction(QString::fromUtf8(c.text));
    a->setObjectName(QString::fromLatin1(c.name));
    a->setCheckable(true);
    a->setChecked(c.unit == unit_);
    group->addAction(a);
    const analysis::Unit unit = c.unit;
    connect(a, &QAction::triggered, this, [this, unit] { setUnit(unit); });
  }
}

void Form1::exportSpreadsheet() {
  const int set = shownSet();
  const DataSets& sets = session_->data();
  if (sets.info(set).Points <= 0) {
    prompt_->message(QStringLiteral("There is no data to export."), session_->windowTitle());
    return;
  }
  const QString filter = QStringLiteral("Excel workbook(*.xlsx)|*.xlsx");
  bool failed = false;
  std::optional<QString> path =
      prompt_->saveFileName(Csv_ProposedName(sets, set, session_->setName(set)), filter, &failed);
  // A name the file system refuses: the time part alone, as the saving of
  // a set does.
  if (!path && failed)
    path = prompt_->saveFileName(Csv_ProposedName(sets, set, QString()), filter, &failed);
  if (!path) return;
  analysis::SpreadsheetJob job;
  job.set = set;
  job.model = session_->setModel(set);
  job.recognitionName = session_->setName(set);
  job.options.limits = analysis::SetLimits(sets.info(set));
  QString error;
  if (analysis::Xlsx_Write(sets, job, *path, &error)) return;
  prompt_->message(QStringLiteral("The workbook could not be written.\r\r%1\r(%2)")
                       .arg(QDir::toNativeSeparators(*path), error),
                   session_->windowTitle());
}

void Form1::setUnit(analysis::Unit unit) {
  unit_ = unit;
  stats_->setUnit(unit);
  const char* name = unit == analysis::Unit::Fahrenheit ? "mUnitF" : "mUnitC";
  if (auto* a = menuBar()->findChild<QAction*>(QString::fromLatin1(name))) a->setChecked(true);
}

void Form1::followExcursions() {
  excursionsDue_.stop();
  const bool on = excursionsAction_->isChecked();
  GraphExtras extras = graphs_->extras();
  // The graph redraws itself when the data change.
  if (extras.shadeExcursions != on) {
    extras.shadeExcursions = on;
    graphs_->setExtras(extras);
  }
  std::vector<quint8> marks;
  if (on) {
    const int set = shownSet();
    const DataSetInfo& info = session_->data().info(set);
    analysis::Options options;
    options.limits = analysis::SetLimits(info);
    const analysis::Statistics st =
        analysis::Analyse(session_->data(), set, 1, info.Points, options);
    marks.assign(static_cast<size_t>(std::max<int>(0, info.Points)), DumpModel::NoMark);
    for (const analysis::Excursion& e : st.excursions) {
      const quint8 m =
          e.side == analysis::Side::Above ? DumpModel::MarkAbove : DumpModel::MarkBelow;
      for (int n = e.firstRecord; n < e.firstRecord + e.records; ++n)
        marks[static_cast<size_t>(n - 1)] = m;
    }
  }
  dump_->setMarks(std::move(marks));
}

}  // namespace hygro
