#include "dialogs/form4.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "logger/session.h"

namespace hygro {

QString Form4::CompanyName() { return QStringLiteral("Hygrotab"); }

QString Form4::ApplicationVersionText() {
  return QStringLiteral("Application Ver.") + QStringLiteral(HYGROTAB_VERSION);
}

Form4::Form4(Session* session, QWidget* parent) : QDialog(parent) {
  setObjectName(QStringLiteral("Form4"));
  setWindowTitle(QStringLiteral("Version"));

  const auto label = [this](const char* name) {
    auto* l = new QLabel(this);
    l->setObjectName(QString::fromLatin1(name));
    l->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return l;
  };
  Label1 = label("Label1");
  Label2 = label("Label2");
  Label3 = label("Label3");
  Label4 = label("Label4");
  Label5 = label("Label5");

  QFont heading = Label3->font();
  heading.setPointSizeF(heading.pointSizeF() * 1.5);
  heading.setBold(true);
  Label3->setFont(heading);

  Label2->hide();
  Label3->setText(session ? session->ModelName() : QString());
  const QString hardware = session ? session->status().FirmwareVersion : QString();
  if (!hardware.isEmpty()) {
    Label4->setText(QStringLiteral("Hardware    Ver.") + hardware);
  } else {
    Label4->hide();
  }
  Label5->setText(ApplicationVersionText());
  Label1->setText(CompanyName());

  Command_ok = new QPushButton(QStringLiteral("OK"), this);
  Command_ok->setObjectName(QStringLiteral("Command_ok"));
  Command_ok->setDefault(true);
  auto* buttons = new QDialogButtonBox(this);
  buttons->addButton(Command_ok, QDialogButtonBox::AcceptRole);
  connect(Command_ok, &QPushButton::clicked, this, &QDialog::accept);

  auto* layout = new QVBoxLayout(this);
  layout->setSpacing(6);
  layout->addWidget(Label3);
  layout->addWidget(Label4);
  layout->addWidget(Label5);
  layout->addSpacing(10);
  layout->addWidget(Label1);
  layout->addWidget(Label2);
  layout->addStretch(1);
  layout->addWidget(buttons);
  setMinimumWidth(320);
  Command_ok->setFocus();
}

}  // namespace hygro
