#include "dialogs/archivetargetdialog.h"

#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "archive/archivesetting.h"
#include "data/userprompt.h"
#include "dialogs/dialogparts.h"

namespace hygro {

namespace {
const QString kTitle = QStringLiteral("Archive");
}

ArchiveTargetDialog::ArchiveTargetDialog(Session*, ArchiveSetting* setting, UserPrompt* prompt,
                                         QWidget* parent)
    : QDialog(parent), setting_(setting), prompt_(prompt) {
  setObjectName(QStringLiteral("ArchiveTargetDialog"));
  setWindowTitle(kTitle);

  default_ = named<QRadioButton>(
      "ArchiveDefault",
      QStringLiteral("The data folder's archive (%1)")
          .arg(QDir::toNativeSeparators(DefaultArchivePath(setting_->dataFolder()))));
  other_ = named<QRadioButton>("ArchiveOther",
                               QStringLiteral("Another SQLite file, or a PostgreSQL database:"));
  text_ = named<QLineEdit>("ArchiveTarget");
  text_->setPlaceholderText(
      QStringLiteral("a file, postgresql://user@host/db or host=… dbname=…"));
  text_->setMinimumWidth(text_->fontMetrics().horizontalAdvance(text_->placeholderText()) +
                         text_->fontMetrics().height() * 2);
  browse_ = named<QPushButton>("ArchiveBrowse", QStringLiteral("Browse…"));
  browse_->setAutoDefault(false);
  auto* note = new QLabel(
      QStringLiteral("Every download is kept in the archive before the logger is told it is "
                     "downloaded; while the archive cannot be used, the logger keeps its log."));
  note->setWordWrap(true);

  const bool custom = !setting_->text().isEmpty();
  (custom ? other_ : default_)->setChecked(true);
  text_->setText(setting_->text());
  text_->setEnabled(custom);
  browse_->setEnabled(custom);
  connect(other_, &QRadioButton::toggled, text_, &QWidget::setEnabled);
  connect(other_, &QRadioButton::toggled, browse_, &QWidget::setEnabled);
  connect(browse_, &QPushButton::clicked, this, [this] {
    const QString path = QFileDialog::getSaveFileName(
        this, kTitle, text_->text(), QStringLiteral("SQLite archive (*.sqlite);;All files (*)"),
        nullptr, QFileDialog::DontConfirmOverwrite);
    if (!path.isEmpty()) text_->setText(QDir::toNativeSeparators(path));
  });

  const OkCancelRow row = MakeOkCancelRow(this, "ArchiveOk", "ArchiveCancel");
  connect(row.ok, &QPushButton::clicked, this, [this] {
    if (apply()) accept();
  });
  connect(row.cancel, &QPushButton::clicked, this, &QDialog::reject);

  auto* otherRow = new QHBoxLayout;
  otherRow->addSpacing(20);
  otherRow->addWidget(text_, 1);
  otherRow->addWidget(browse_);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(default_);
  layout->addWidget(other_);
  layout->addLayout(otherRow);
  layout->addSpacing(6);
  layout->addWidget(note);
  layout->addStretch(1);
  layout->addWidget(row.box);
}

QString ArchiveTargetDialog::UseAnywayText(const QString& why) {
  return ArchiveSetting::UnusableText(why) + QStringLiteral("\r\rUse it anyway?");
}

bool ArchiveTargetDialog::apply() {
  const QString text = other_->isChecked() ? text_->text().trimmed() : QString();
  if (other_->isChecked() && text.isEmpty()) {
    prompt_->message(QStringLiteral("Name the archive: an SQLite file, or a PostgreSQL database."),
                     kTitle);
    return false;
  }
  ArchiveTarget target;
  QString why;
  if (!setting_->targetOf(text, &target, &why)) {
    prompt_->message(QStringLiteral("The archive cannot be used: %1.").arg(why), kTitle);
    return false;
  }
  if (text == setting_->text()) return true;
  Archive trial(target);
  if (!trial.open(&why) &&
      !prompt_->question(QuestionId::Other, UseAnywayText(why), kTitle, SafeAnswer::No))
    return false;
  trial.close();
  setting_->use(text, target);
  Q_EMIT chosen(text);
  return true;
}

}  // namespace hygro
