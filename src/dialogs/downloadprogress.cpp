#include "dialogs/downloadprogress.h"

#include <QCloseEvent>
#include <QDialogButtonBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include "logger/session.h"

namespace hygro {

namespace {
const QString kTitle = QStringLiteral("Download");
}

DownloadProgress::DownloadProgress(Session* session, QWidget* parent)
    : QDialog(parent), session_(session) {
  setObjectName(QStringLiteral("DownloadProgress"));
  setWindowTitle(kTitle);
  setWindowModality(Qt::WindowModal);

  Label1 = new QLabel(kTitle, this);
  Label1->setObjectName(QStringLiteral("Label1"));
  QFont big = Label1->font();
  big.setPointSizeF(big.pointSizeF() * 1.3);
  Label1->setFont(big);
  ProgressBar1 = new QProgressBar(this);
  ProgressBar1->setObjectName(QStringLiteral("ProgressBar1"));
  ProgressBar1->setRange(0, 1);
  ProgressBar1->setValue(0);
  ProgressBar1->setMinimumWidth(360);
  Command1 = new QPushButton(QStringLiteral("Cancel"), this);
  Command1->setObjectName(QStringLiteral("Command1"));
  Command1->setEnabled(false);
  Command1->setAutoDefault(false);
  auto* buttons = new QDialogButtonBox(this);
  buttons->addButton(Command1, QDialogButtonBox::RejectRole);

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(Label1);
  layout->addWidget(ProgressBar1);
  layout->addStretch(1);
  layout->addWidget(buttons);

  redraw_.setSingleShot(true);
  connect(&redraw_, &QTimer::timeout, this, &DownloadProgress::applyPending);
  connect(Command1, &QPushButton::clicked, this, &DownloadProgress::Command1_Click);
  if (session_) {
    connect(&session_->download(), &DownloadOperation::started, this, &DownloadProgress::started);
    connect(&session_->download(), &DownloadOperation::progress, this, &DownloadProgress::progress);
    connect(&session_->download(), &DownloadOperation::finished, this, &DownloadProgress::finished);
  }
}

void DownloadProgress::started() {
  redraw_.stop();
  pending_ = false;
  done_ = total_ = 0;
  caption_ = kTitle;
  setWindowTitle(kTitle);
  Label1->setText(kTitle);
  ProgressBar1->setRange(0, 1);
  ProgressBar1->setValue(0);
  Command1->setEnabled(false);
  watching_ = true;
  show();
  raise();
}

void DownloadProgress::progress(int done, int total, const QString& caption) {
  // A cancelled download streams on unwatched.
  if (!watching_) return;
  done_ = done;
  total_ = total;
  caption_ = caption;
  pending_ = true;
  // Cancelling means something only once the points are on their way.
  Command1->setEnabled(true);
  if (!redraw_.isActive()) {
    applyPending();
    redraw_.start(RedrawMs);
  }
}

void DownloadProgress::applyPending() {
  if (!pending_) return;
  pending_ = false;
  setWindowTitle(caption_);
  Label1->setText(caption_);
  ProgressBar1->setRange(0, qMax(total_, 1));
  ProgressBar1->setValue(qBound(0, done_, qMax(total_, 1)));
}

void DownloadProgress::finished() {
  applyPending();
  watching_ = false;
  redraw_.stop();
  Command1->setEnabled(false);
  hide();
}

void DownloadProgress::Command1_Click() {
  if (!Command1->isEnabled()) return;
  Command1->setEnabled(false);
  redraw_.stop();
  pending_ = false;
  watching_ = false;
  hide();
  if (session_) session_->download().Download_Cancel();
}

void DownloadProgress::reject() {
  if (Command1->isEnabled()) Command1_Click();
}

void DownloadProgress::closeEvent(QCloseEvent* event) {
  // A download that cannot be cancelled yet keeps its window.
  if (Command1->isEnabled()) {
    Command1_Click();
    event->accept();
  } else if (watching_) {
    event->ignore();
  }
}

}  // namespace hygro
