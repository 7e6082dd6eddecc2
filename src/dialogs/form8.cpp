#include "dialogs/form8.h"

#include <QDialogButtonBox>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "dialogs/dialogparts.h"
#include "logger/session.h"

namespace hygro {

Form8::Form8(Session* session, QWidget* parent) : QDialog(parent), session_(session) {
  setObjectName(QStringLiteral("Form8"));
  setWindowTitle(QStringLiteral("Memory Mode"));

  Option1 = new QRadioButton(QStringLiteral("Endless Mode"), this);
  Option1->setObjectName(QStringLiteral("Option1"));
  Option2 = new QRadioButton(QStringLiteral("One Time Mode"), this);
  Option2->setObjectName(QStringLiteral("Option2"));
  // The mode the logger holds, as last read (a logger never read is in one
  // time mode, as a fresh one is).
  const bool loop = session_ && session_->connected() && session_->status().LoopMode != 0;
  (loop ? Option1 : Option2)->setChecked(true);

  const OkCancelRow row = MakeOkCancelRow(this, "Command1", "CancelButton");
  Command1 = row.ok;
  QPushButton* cancel = row.cancel;
  QDialogButtonBox* buttons = row.box;

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(Option1);
  layout->addWidget(Option2);
  layout->addSpacing(12);
  layout->addStretch(1);
  layout->addWidget(buttons);
  setMinimumWidth(300);

  connect(Command1, &QPushButton::clicked, this, &Form8::Command1_Click);
  connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
  (loop ? Option1 : Option2)->setFocus();
}

void Form8::Command1_Click() {
  // Anything but "One Time Mode" is the endless mode.
  if (session_) session_->settings().M_Mode_Set(!Option2->isChecked());
  accept();
}

}  // namespace hygro
