#include "dialogs/form5.h"

#include <QDialogButtonBox>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "dialogs/dialogparts.h"
#include "logger/session.h"

namespace hygro {

Form5::Form5(Session* session, const QString& port, QWidget* parent)
    : QDialog(parent), session_(session), port_(port.trimmed()) {
  setObjectName(QStringLiteral("Form5"));
  setWindowTitle(QStringLiteral("Communication setting"));

  auto* frame = new QGroupBox(this);
  Option1 = new QRadioButton(QStringLiteral("Online"), frame);
  Option1->setObjectName(QStringLiteral("Option1"));
  Option2 = new QRadioButton(QStringLiteral("Offline"), frame);
  Option2->setObjectName(QStringLiteral("Option2"));
  const bool connected = session_ && session_->connected();
  (connected ? Option1 : Option2)->setChecked(true);
  auto* options = new QVBoxLayout(frame);
  options->addWidget(Option1);
  options->addWidget(Option2);
  auto* where =
      new QLabel(port_.isEmpty() ? QStringLiteral("Online searches the ports for the logger.")
                                 : QStringLiteral("Online uses port %1.").arg(port_),
                 frame);
  options->addWidget(where);

  const OkCancelRow row = MakeOkCancelRow(this, "Command1", "Command2");
  Command1 = row.ok;
  Command2 = row.cancel;
  QDialogButtonBox* buttons = row.box;

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(frame);
  layout->addStretch(1);
  layout->addWidget(buttons);
  setMinimumWidth(300);

  connect(Command1, &QPushButton::clicked, this, &Form5::Command1_Click);
  connect(Command2, &QPushButton::clicked, this, &QDialog::reject);
  (connected ? Option1 : Option2)->setFocus();
}

bool Form5::online() const { return Option1->isChecked(); }

PortSearch Form5::PortSetMode(const QString& port) {
  return port.trimmed().isEmpty() ? PortSearch::Search : PortSearch::Once;
}

void Form5::Command1_Click() {
  // The connect toggle both opens and closes; it runs only when the state
  // must change. A connection refused while an exchange runs leaves the
  // dialog open, so the choice is not silently lost.
  if (session_ && online() != session_->connected()) {
    if (!session_->Port_Set_Command(PortSetMode(port_), port_)) return;
  }
  accept();
}

}  // namespace hygro
