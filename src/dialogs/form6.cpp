#include "dialogs/form6.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "logger/session.h"

namespace hygro {

Form6::Form6(Session* session, QWidget* parent, DialogClock clock)
    : QDialog(parent), session_(session), clock_(std::move(clock)) {
  setObjectName(QStringLiteral("Form6"));
  setWindowTitle(QStringLiteral("Clock setting"));

  auto* intro = new QLabel(QStringLiteral("The logger's clock is set to this computer's time:"));
  Label1 = new QLabel;
  Label1->setObjectName(QStringLiteral("Label1"));
  Label1->setAlignment(Qt::AlignCenter);
  QFont f = Label1->font();
  f.setPointSizeF(f.pointSizeF() * 1.6);
  f.setBold(true);
  Label1->setFont(f);
  Label1->setMinimumWidth(
      Label1->fontMetrics().horizontalAdvance(QStringLiteral("8888/88/88 88:88:88")) + 24);

  Command1 = new QPushButton(QStringLiteral("OK"));
  Command1->setObjectName(QStringLiteral("Command1"));
  Command1->setDefault(true);
  Command2 = new QPushButton(QStringLiteral("Cancel"));
  Command2->setObjectName(QStringLiteral("Command2"));
  auto* buttons = new QDialogButtonBox;
  buttons->addButton(Command1, QDialogButtonBox::AcceptRole);
  buttons->addButton(Command2, QDialogButtonBox::RejectRole);

  auto* root = new QVBoxLayout(this);
  root->setContentsMargins(18, 16, 18, 12);
  root->addWidget(intro);
  root->addSpacing(6);
  root->addWidget(Label1);
  root->addSpacing(6);
  root->addStretch(1);
  root->addWidget(buttons);

  connect(Command1, &QPushButton::clicked, this, &Form6::Command1_Click);
  connect(Command2, &QPushButton::clicked, this, &QDialog::reject);

  tokei = new QTimer(this);
  tokei->setObjectName(QStringLiteral("tokei"));
  tokei->setInterval(1000);
  connect(tokei, &QTimer::timeout, this, &Form6::tokei_Timer);
  tokei->start();
  tokei_Timer();
}

void Form6::tokei_Timer() {
  Label1->setText(clock_().toString(QStringLiteral("yyyy/MM/dd HH:mm:ss")));
}

void Form6::Command1_Click() {
  hide();
  tokei->stop();
  // "Set completion" with the clock as read back comes when the exchange ends.
  // A year the logger's clock cannot keep is refused with a message.
  if (session_ && session_->recording().Now_Time_set())
    accept();
  else
    reject();
}

}  // namespace hygro
