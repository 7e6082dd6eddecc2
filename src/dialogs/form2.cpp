#include "dialogs/form2.h"

#include <QDialogButtonBox>
#include <QEvent>
#include <QFormLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include "dialogs/dialogparts.h"
#include "logger/session.h"

namespace hygro {

Form2::Form2(Session* session, QWidget* parent) : QDialog(parent), session_(session) {
  setObjectName(QStringLiteral("Form2"));
  setWindowTitle(QStringLiteral("Recognition name setting"));

  // Trailing blanks are only the padding to four characters; they are added
  // again when the name is sent, and left out here so typing can go on.
  if (session_) {
    current_ = session_->status().IdentName;
    while (current_.endsWith(QLatin1Char(' '))) current_.chop(1);
  }
  Text1 = new QLineEdit(current_, this);
  Text1->setObjectName(QStringLiteral("Text1"));
  Text1->setMaxLength(kNameLength);
  QFont mono = Text1->font();
  mono.setPointSizeF(mono.pointSizeF() * 1.4);
  Text1->setFont(mono);
  Text1->setMinimumWidth(Text1->fontMetrics().horizontalAdvance(QStringLiteral("WWWWWW")) + 16);
  Text1->installEventFilter(this);

  // Enter in the box presses OK.
  const OkCancelRow row = MakeOkCancelRow(this, "Command1", "CancelButton");
  Command1 = row.ok;
  QPushButton* cancel = row.cancel;
  QDialogButtonBox* buttons = row.box;

  auto* form = new QFormLayout;
  form->addRow(QStringLiteral("Recognition name"), Text1);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addStretch(1);
  layout->addWidget(buttons);
  setMinimumWidth(320);

  connect(Command1, &QPushButton::clicked, this, &Form2::Command1_Click);
  connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
}

void Form2::showEvent(QShowEvent* event) {
  QDialog::showEvent(event);
  Text1->setFocus();
  Text1_GotFocus();
}

bool Form2::eventFilter(QObject* watched, QEvent* event) {
  // Selected after the click that gave the focus has placed its cursor.
  if (watched == Text1 && event->type() == QEvent::FocusIn)
    QTimer::singleShot(0, this, &Form2::Text1_GotFocus);
  return QDialog::eventFilter(watched, event);
}

void Form2::Text1_GotFocus() { Text1->selectAll(); }

void Form2::Command1_Click() {
  const QString name = Text1->text();
  if (session_ && !session_->settings().IdentNameCheck(name)) {
    Text1->setText(current_);
    Text1->setFocus();
    Text1_GotFocus();
    return;
  }
  if (session_) session_->settings().Set_HGName(name);
  accept();
}

}  // namespace hygro
