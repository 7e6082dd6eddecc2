#include "dialogs/archivedialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDialogButtonBox>
#include <QDir>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSaveFile>
#include <QScreen>
#include <QSet>
#include <QStandardItemModel>
#include <QTableView>
#include <QVBoxLayout>

#include "analysis/spreadsheet.h"
#include "archive/archivecsv.h"
#include "data/csv.h"
#include "data/formats.h"
#include "data/userprompt.h"
#include "dialogs/dialogparts.h"
#include "logger/session.h"

namespace hygro {

namespace {

constexpr int kSortRole = Qt::UserRole + 1;
constexpr int kIdRole = Qt::UserRole + 2;
const QString kTitle = QStringLiteral("Archive");
const QString kXlsxFilter = QStringLiteral("Excel workbook(*.xlsx)|*.xlsx");

QString loggerKey(const ArchiveLogSummary& l) {
  return l.name.trimmed() + QLatin1Char('\n') + l.model + QLatin1Char('\n') + l.bridgeSerial;
}

QString loggerText(const ArchiveLogSummary& l) {
  const QString name = l.name.trimmed().isEmpty() ? QStringLiteral("(no name)") : l.name.trimmed();
  return l.bridgeSerial.isEmpty() ? QStringLiteral("%1, %2").arg(name, l.model)
                                  : QStringLiteral("%1, %2, %3").arg(name, l.model, l.bridgeSerial);
}

QString timeText(const std::optional<qint64>& t) {
  return t ? fmt::formatDateTime(SerialFromArchiveTime(*t)) : QString();
}

QStandardItem* cell(const QString& text, const QVariant& sortKey) {
  auto* item = new QStandardItem(text);
  item->setData(sortKey, kSortRole);
  item->setEditable(false);
  return item;
}

QDateTime editTime(qint64 t) {
  return QDateTime::fromSecsSinceEpoch(t, Qt::UTC);
}

qint64 timeOfEdit(const QDateTimeEdit* e) { return e->dateTime().toSecsSinceEpoch(); }

}  // namespace

ArchiveDialog::ArchiveDialog(Session* session, Archive* archive, UserPrompt* prompt,
                             QWidget* parent)
    : QDialog(parent), session_(session), archive_(archive), prompt_(prompt) {
  setObjectName(QStringLiteral("ArchiveDialog"));
  setWindowTitle(QStringLiteral("Archive – ") + archive_->display());

  loggerFilter_ = named<QComboBox>("ArchiveLogger");
  fromOn_ = named<QCheckBox>("ArchiveFromOn", QStringLiteral("From"));
  toOn_ = named<QCheckBox>("ArchiveToOn", QStringLiteral("To"));
  // Times are the logger's own wall clock: shown and compared without a zone.
  from_ = named<QDateTimeEdit>("ArchiveFrom");
  to_ = named<QDateTimeEdit>("ArchiveTo");
  for (QDateTimeEdit* e : {from_, to_}) {
    e->setTimeSpec(Qt::UTC);
    e->setDisplayFormat(QStringLiteral("yyyy/MM/dd HH:mm"));
    e->setCalendarPopup(true);
    e->setEnabled(false);
    e->setMinimumWidth(e->fontMetrics().horizontalAdvance(QStringLiteral("8888/88/88 88:88")) +
                       e->fontMetrics().height() * 3);
  }
  connect(fromOn_, &QCheckBox::toggled, from_, &QWidget::setEnabled);
  connect(toOn_, &QCheckBox::toggled, to_, &QWidget::setEnabled);

  model_ = new QStandardItemModel(0, Columns, this);
  model_->setHorizontalHeaderLabels({QStringLiteral("Name"), QStringLiteral("Model"),
                                     QStringLiteral("Bridge serial"), QStringLiteral("Start"),
                                     QStringLiteral("Interval"), QStringLiteral("Records"),
                                     QStringLiteral("First"), QStringLiteral("Last"),
                                     QStringLiteral("Downloaded at")});
  model_->setSortRole(kSortRole);
  table_ = named<QTableView>("ArchiveLogs");
  table_->setModel(model_);
  table_->setSortingEnabled(true);
  table_->sortByColumn(Downloaded, Qt::DescendingOrder);
  table_->setSelectionBehavior(QAbstractItemView::SelectRows);
  table_->setSelectionMode(QAbstractItemView::SingleSelection);
  table_->verticalHeader()->hide();
  table_->horizontalHeader()->setStretchLastSection(true);
  table_->setAlternatingRowColors(true);
  connect(table_, &QTableView::doubleClicked, this, [this] { openSelected(); });

  count_ = named<QLabel>("ArchiveCount");
  open_ = named<QPushButton>("ArchiveOpen", QStringLiteral("Open"));
  exportCsv_ = named<QPushButton>("ArchiveExportCsv", QStringLiteral("Export CSV…"));
  exportXlsx_ = named<QPushButton>("ArchiveExportXlsx", QStringLiteral("Export workbook…"));
  delete_ = named<QPushButton>("ArchiveDelete", QStringLiteral("Delete…"));
  auto* close = named<QPushButton>("ArchiveClose", QStringLiteral("Close"));
  connect(open_, &QPushButton::clicked, this, [this] { openSelected(); });
  connect(exportCsv_, &QPushButton::clicked, this, [this] { exportCsv(); });
  connect(exportXlsx_, &QPushButton::clicked, this, [this] { exportXlsx(); });
  connect(delete_, &QPushButton::clicked, this, [this] { deleteSelected(); });
  connect(close, &QPushButton::clicked, this, &QDialog::reject);

  connect(loggerFilter_, &QComboBox::currentIndexChanged, this, [this] { refill(); });
  for (QCheckBox* c : {fromOn_, toOn_}) connect(c, &QCheckBox::toggled, this, [this] { refill(); });
  for (QDateTimeEdit* e : {from_, to_})
    connect(e, &QDateTimeEdit::dateTimeChanged, this, [this] { refill(); });

  auto* filters = new QHBoxLayout;
  filters->addWidget(new QLabel(QStringLiteral("Logger")));
  filters->addWidget(loggerFilter_, 1);
  filters->addSpacing(12);
  filters->addWidget(fromOn_);
  filters->addWidget(from_);
  filters->addWidget(toOn_);
  filters->addWidget(to_);

  auto* buttons = new QHBoxLayout;
  buttons->addWidget(count_, 1);
  for (QPushButton* b : {open_, exportCsv_, exportXlsx_, delete_, close}) {
    b->setAutoDefault(false);
    buttons->addWidget(b);
  }
  open_->setDefault(true);

  auto* layout = new QVBoxLayout(this);
  layout->addLayout(filters);
  layout->addWidget(table_, 1);
  layout->addLayout(buttons);
  // Wide enough for every column where the screen allows.
  const QScreen* screen = parent ? parent->screen() : QGuiApplication::primaryScreen();
  const QRect room = screen ? screen->availableGeometry() : QRect(0, 0, 1024, 768);
  resize(qMin(1000, room.width() * 9 / 10), qMin(460, room.height() * 8 / 10));

  reload();
}

void ArchiveDialog::message(const QString& text) { prompt_->message(text, kTitle); }

bool ArchiveDialog::reload() {
  QString why;
  std::vector<ArchiveLogSummary> logs;
  const bool ok = archive_->list(QString(), &logs, &why);
  if (!ok) message(why + QLatin1Char('.'));
  logs_ = std::move(logs);

  // The loggers the archive knows, the one chosen kept where it still is.
  const QString chosen = loggerFilter_->currentData().toString();
  QSignalBlocker quiet(loggerFilter_);
  loggerFilter_->clear();
  loggerFilter_->addItem(QStringLiteral("All loggers"), QString());
  QSet<QString> seen;
  qint64 earliest = 0, latest = 0;
  for (const ArchiveLogSummary& l : logs_) {
    const QString key = loggerKey(l);
    if (!seen.contains(key)) {
      seen.insert(key);
      loggerFilter_->addItem(loggerText(l), key);
    }
    if (l.first && (earliest == 0 || *l.first < earliest)) earliest = *l.first;
    if (l.last && *l.last > latest) latest = *l.last;
  }
  loggerFilter_->setCurrentIndex(qMax(0, loggerFilter_->findData(chosen)));
  // The time filter starts out spanning the whole archive.
  if (!fromOn_->isChecked() && earliest != 0) {
    QSignalBlocker q(from_);
    from_->setDateTime(editTime(earliest));
  }
  if (!toOn_->isChecked() && latest != 0) {
    QSignalBlocker q(to_);
    to_->setDateTime(editTime(latest + 60));
  }
  refill();
  return ok;
}

bool ArchiveDialog::accepts(const ArchiveLogSummary& l) const {
  const QString key = loggerFilter_->currentData().toString();
  if (!key.isEmpty() && loggerKey(l) != key) return false;
  // A log is in the period when any of its records may be.
  if (fromOn_->isChecked() && l.last && *l.last < timeOfEdit(from_)) return false;
  if (toOn_->isChecked() && l.first && *l.first > timeOfEdit(to_)) return false;
  return true;
}

void ArchiveDialog::refill() {
  const qint64 keep = selectedLog();
  model_->removeRows(0, model_->rowCount());
  int shown = 0;
  for (const ArchiveLogSummary& l : logs_) {
    if (!accepts(l)) continue;
    const qint64 downloaded = l.downloadedAt ? l.downloadedAt->toSecsSinceEpoch() : 0;
    QList<QStandardItem*> row{
        cell(l.name, l.name),
        cell(l.model, l.model),
        cell(l.bridgeSerial, l.bridgeSerial),
        cell(fmt::formatDateTime(SerialFromArchiveTime(l.start)), l.start),
        cell(fmt::intervalText(l.interval), l.interval),
        cell(QString::number(l.records), l.records),
        cell(timeText(l.first), l.first.value_or(0)),
        cell(timeText(l.last), l.last.value_or(0)),
        // The PC's local time: when the user downloaded it.
        cell(l.downloadedAt ? fmt::formatDateTime(fmt::fromDateTime(l.downloadedAt->toLocalTime()))
                            : QString(),
             downloaded)};
    row[0]->setData(l.id, kIdRole);
    for (int c : {Interval, Records}) row[c]->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
    model_->appendRow(row);
    ++shown;
  }
  const QHeaderView* header = table_->horizontalHeader();
  model_->sort(header->sortIndicatorSection(), header->sortIndicatorOrder());
  table_->resizeColumnsToContents();
  for (int r = 0; r < model_->rowCount(); ++r) {
    if (model_->item(r, 0)->data(kIdRole).toLongLong() == keep) {
      table_->selectRow(r);
      break;
    }
  }
  count_->setText(shown == int(logs_.size())
                      ? QStringLiteral("%1 logs").arg(shown)
                      : QStringLiteral("%1 of %2 logs").arg(shown).arg(logs_.size()));
  if (table_->selectionModel())
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &ArchiveDialog::updateButtons, Qt::UniqueConnection);
  updateButtons();
}

void ArchiveDialog::updateButtons() {
  const bool any = selectedLog() != 0;
  for (QPushButton* b : {open_, exportCsv_, exportXlsx_, delete_}) b->setEnabled(any);
}

qint64 ArchiveDialog::selectedLog() const {
  if (!table_->selectionModel()) return 0;
  const QModelIndexList rows = table_->selectionModel()->selectedRows();
  if (rows.isEmpty()) return 0;
  return model_->item(rows.first().row(), 0)->data(kIdRole).toLongLong();
}

const ArchiveLogSummary* ArchiveDialog::selectedSummary() const {
  const qint64 id = selectedLog();
  for (const ArchiveLogSummary& l : logs_)
    if (l.id == id) return &l;
  return nullptr;
}

bool ArchiveDialog::readSelected(ArchiveLog* log) {
  const qint64 id = selectedLog();
  if (id == 0) return false;
  QString why;
  if (archive_->read(id, log, &why)) return true;
  message(why + QLatin1Char('.'));
  reload();  // gone meanwhile (another program), or the archive is away
  return false;
}

bool ArchiveDialog::openSelected() {
  ArchiveLog log;
  if (!readSelected(&log)) return false;
  CsvImport file;
  QString why;
  if (!ArchiveImport(log, &file, &why)) {
    message(why + QStringLiteral(". Export it instead."));
    return false;
  }
  session_->showFileSet(file);
  accept();
  return true;
}

QString ArchiveDialog::proposedName(const ArchiveLogSummary& l, const QString& extension) const {
  QString name = l.name.trimmed();
  for (QChar& c : name)
    if (!c.isLetterOrNumber()) c = QLatin1Char('_');
  if (name.isEmpty()) name = QStringLiteral("log");
  return QStringLiteral("%1_%2.%3")
      .arg(name,
           QDateTime::fromSecsSinceEpoch(l.start, Qt::UTC).toString(QStringLiteral("yyyyMMdd_HHmm")),
           extension);
}

bool ArchiveDialog::exportCsv() {
  const ArchiveLogSummary* summary = selectedSummary();
  if (!summary) return false;
  const std::optional<QString> path =
      prompt_->saveFileName(proposedName(*summary, QStringLiteral("csv")), kCsvSaveFilter, nullptr);
  if (!path) return false;
  ArchiveLog log;
  if (!readSelected(&log)) return false;
  QSaveFile out(*path);
  const QByteArray bytes = ArchiveCsv(log);
  if (!out.open(QIODevice::WriteOnly) || out.write(bytes) != bytes.size() || !out.commit()) {
    message(QStringLiteral("File error\r\r%1: %2").arg(QDir::toNativeSeparators(*path),
                                                       out.errorString()));
    return false;
  }
  return true;
}

bool ArchiveDialog::exportXlsx() {
  const ArchiveLogSummary* summary = selectedSummary();
  if (!summary) return false;
  const std::optional<QString> path =
      prompt_->saveFileName(proposedName(*summary, QStringLiteral("xlsx")), kXlsxFilter, nullptr);
  if (!path) return false;
  ArchiveLog log;
  if (!readSelected(&log)) return false;
  DataSets sets;  // in memory only
  analysis::SpreadsheetJob job;
  QString why;
  if (!ArchiveWorkbook(log, &sets, &job, &why)) {
    message(why + QStringLiteral(". Export it as CSV instead."));
    return false;
  }
  if (!analysis::Xlsx_Write(sets, job, *path, &why)) {
    message(QStringLiteral("File error\r\r%1: %2").arg(QDir::toNativeSeparators(*path), why));
    return false;
  }
  return true;
}

QString ArchiveDialog::DeleteQuestionText(const ArchiveLogSummary& l, const QString& archive) {
  return QStringLiteral(
             "Delete log %1 of %2 (%3), %4 records from %5 to %6, from the archive %7?\r\r"
             "Its records are gone from the archive for good; CSV files saved of it stay.")
      .arg(l.id)
      .arg(l.name.trimmed(), l.model)
      .arg(l.records)
      .arg(timeText(l.first), timeText(l.last), archive);
}

bool ArchiveDialog::deleteSelected() {
  const ArchiveLogSummary* summary = selectedSummary();
  if (!summary) return false;
  const qint64 id = summary->id;
  if (!prompt_->question(QuestionId::Other, DeleteQuestionText(*summary, archive_->display()),
                         kTitle, SafeAnswer::No))
    return false;
  QString why;
  const bool ok = archive_->remove(id, &why);
  if (!ok) message(why + QLatin1Char('.'));
  reload();
  return ok;
}

}  // namespace hygro
