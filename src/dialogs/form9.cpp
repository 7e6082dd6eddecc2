#include "dialogs/form9.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPrintDialog>
#include <QPrinter>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QStandardPaths>
#include <QVBoxLayout>

#include "data/csv.h"
#include "dialogs/qtprompt.h"
#include "graph/render_ticks.h"
#include "logger/session.h"

namespace hygro {

namespace {

const QString kPdfFilter = QStringLiteral("PDF(*.pdf)|*.pdf");

}  // namespace

PrintDialog::PrintDialog(Session* session, QtPrompt* prompt, bool dump, QWidget* parent)
    : QDialog(parent), session_(session), prompt_(prompt), dump_(dump), set_(session->shownSet()) {
  const QString what = dump ? QStringLiteral("Print list") : QStringLiteral("Print graphs");
  setWindowTitle(what);
  const int points = qMax<int>(1, session_->data().info(set_).Points);

  auto* caption = new QLabel(QStringLiteral("%1 of %2 data").arg(what, DataSetName(set_)), this);
  caption->setObjectName(QStringLiteral("Label1"));
  QFont bold = caption->font();
  bold.setBold(true);
  caption->setFont(bold);

  auto* records = new QGroupBox(QStringLiteral("Records"), this);
  records->setObjectName(QStringLiteral("Frame1"));
  Option1 = new QRadioButton(QStringLiteral("All records"), records);
  Option1->setObjectName(QStringLiteral("Option1"));
  Option2 = new QRadioButton(QStringLiteral("Range of selection"), records);
  Option2->setObjectName(QStringLiteral("Option2"));
  Text1 = new QSpinBox(records);
  Text1->setObjectName(QStringLiteral("Text1"));
  Text2 = new QSpinBox(records);
  Text2->setObjectName(QStringLiteral("Text2"));
  for (QSpinBox* box : {Text1, Text2}) box->setRange(1, points);
  Text1->setValue(1);
  Text2->setValue(points);
  auto* range = new QHBoxLayout;
  range->addSpacing(20);
  range->addWidget(new QLabel(QStringLiteral("First"), records));
  range->addWidget(Text1, 1);
  range->addWidget(new QLabel(QStringLiteral("Last"), records));
  range->addWidget(Text2, 1);
  auto* recordsCol = new QVBoxLayout(records);
  recordsCol->addWidget(Option1);
  recordsCol->addWidget(Option2);
  recordsCol->addLayout(range);
  Option1->setChecked(true);
  const auto followRange = [this] {
    Text1->setEnabled(Option2->isChecked());
    Text2->setEnabled(Option2->isChecked());
  };
  connect(Option2, &QRadioButton::toggled, this, followRange);
  followRange();

  auto* destination = new QGroupBox(QStringLiteral("Destination"), this);
  destination->setObjectName(QStringLiteral("Frame2"));
  Option3 = new QRadioButton(QStringLiteral("Printer"), destination);
  Option3->setObjectName(QStringLiteral("Option3"));
  Option4 = new QRadioButton(QStringLiteral("Save as PDF"), destination);
  Option4->setObjectName(QStringLiteral("Option4"));
  auto* destCol = new QVBoxLayout(destination);
  destCol->addWidget(Option3);
  destCol->addWidget(Option4);
  Option3->setChecked(true);

  CheckSummary = new QCheckBox(QStringLiteral("Summary page"), this);
  CheckSummary->setObjectName(QStringLiteral("CheckSummary"));
  CheckSummary->setToolTip(
      QStringLiteral("After the report, a page with the statistics of the records printed, "
                     "their excursions outside the limits and lines to sign"));

  Command1 = new QPushButton(QStringLiteral("Print"), this);
  Command1->setObjectName(QStringLiteral("Command1"));
  Command1->setDefault(true);
  Command2 = new QPushButton(QStringLiteral("Cancel"), this);
  Command2->setObjectName(QStringLiteral("Command2"));
  auto* buttons = new QDialogButtonBox(this);
  buttons->addButton(Command1, QDialogButtonBox::AcceptRole);
  buttons->addButton(Command2, QDialogButtonBox::RejectRole);
  connect(Option4, &QRadioButton::toggled, this, &PrintDialog::followDestination);

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(caption);
  layout->addWidget(records);
  layout->addWidget(destination);
  layout->addWidget(CheckSummary);
  layout->addStretch(1);
  layout->addWidget(buttons);
  setMinimumWidth(320);

  choosePrinter = [this](QPrinter& printer) {
    QPrintDialog dialog(&printer, this);
    return dialog.exec() == QDialog::Accepted;
  };
  connect(Command1, &QPushButton::clicked, this, &PrintDialog::Command1_Click);
  connect(Command2, &QPushButton::clicked, this, &QDialog::reject);
}

void PrintDialog::setDefaultRange(int first, int last) {
  if (first <= 0) {
    Option1->setChecked(true);
    return;
  }
  Text1->setValue(first);
  Text2->setValue(last);
  Option2->setChecked(true);
}

bool PrintDialog::allRecords() const { return Option1->isChecked(); }
bool PrintDialog::toPdf() const { return Option4->isChecked(); }
bool PrintDialog::summaryPage() const { return CheckSummary->isChecked(); }

void PrintDialog::setSummaryOptions(const QString& company, analysis::Unit unit) {
  summary_.company = company;
  summary_.unit = unit;
}

std::pair<int, int> PrintDialog::records() const {
  if (allRecords()) return {1, qMax<int>(1, session_->data().info(set_).Points)};
  return std::minmax(Text1->value(), Text2->value());
}

void PrintDialog::followDestination() {
  Command1->setText(toPdf() ? QStringLiteral("Save") : QStringLiteral("Print"));
}

void PrintDialog::Command1_Click() {
  // The set may have been emptied meanwhile (a new measurement started).
  if (session_->data().info(set_).Points <= 0) {
    prompt_->message(QStringLiteral("There is no data to print."), session_->windowTitle());
    reject();
    return;
  }
  const auto [first, last] = records();
  if (toPdf() ? printToPdf(first, last) : printOnPrinter(first, last)) accept();
}

bool PrintDialog::printOnPrinter(int first, int last) {
  QPrinter printer(QPrinter::HighResolution);
  printer.setDocName(windowTitle());
  if (!choosePrinter || !choosePrinter(printer)) return false;
  bool printed = false;
  {
    PagedOutput out(printer);
    printed = out.active() && print(out, first, last) && out.finish();
  }
  if (!printed)
    prompt_->message(QStringLiteral("The printer could not print."), session_->windowTitle());
  return printed;
}

bool PrintDialog::print(PageOutput& out, int first, int last) {
  PrintJob job;
  job.set = set_;
  job.recognitionName = session_->setName(set_);
  job.first = qMax(1, first);
  job.last = qMax(0, last);
  job.dump = dump_;
  Q_EMIT printStarted(PrintProcedure(job), job);
  SummaryOptions summary = summary_;
  summary.on = summaryPage();
  return PrintReport(out, session_->data(), session_->dataView(), job, summary);
}

QString PrintDialog::proposedPdfName() const {
  const QString name =
      Csv_ProposedName(session_->data(), set_, session_->setName(set_)) + QStringLiteral(".pdf");
  // Where the CSV files go, when a file has been chosen before.
  if (!prompt_->startFolder.isEmpty()) return name;
  const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
  return documents.isEmpty() ? name : QDir(documents).filePath(name);
}

bool PrintDialog::printToPdf(int first, int last) {
  bool dialogFailed = false;
  std::optional<QString> path = prompt_->saveFileName(proposedPdfName(), kPdfFilter, &dialogFailed);
  if (!path && dialogFailed) {
    // A name the file system refuses: the time part alone.
    path = prompt_->saveFileName(
        Csv_ProposedName(session_->data(), set_, QString()) + QStringLiteral(".pdf"), kPdfFilter,
        &dialogFailed);
  }
  if (!path) return false;
  QString file = *path;
  if (QFileInfo(file).suffix().isEmpty()) file += QStringLiteral(".pdf");
  QString error;
  const bool written = WritePdf(
      file, [this, first, last](PageOutput& out) { return print(out, first, last); }, &error);
  if (!written)
    prompt_->message(error.isEmpty() ? QStringLiteral("File error") : error,
                     session_->windowTitle());
  return written;
}

// ---- the graph print

Form9::Form9(Session* session, QtPrompt* prompt, QWidget* parent)
    : PrintDialog(session, prompt, false, parent) {
  setObjectName(QStringLiteral("Form9"));
  const auto [first, last] =
      ticks::WindowRecords(session->data(), dataSet(), session->dataView().scrollState());
  const int points = session->data().info(dataSet()).Points;
  // A window that shows every record is simply all of them.
  if (first > 0 && !(first == 1 && last == points))
    setDefaultRange(first, last);
  else
    setDefaultRange(0, 0);
}

}  // namespace hygro
