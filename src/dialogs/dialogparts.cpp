#include "dialogs/dialogparts.h"

#include <QDialogButtonBox>
#include <QPushButton>

namespace hygro {

OkCancelRow MakeOkCancelRow(QWidget* parent, const char* okName, const char* cancelName) {
  OkCancelRow row;
  row.ok = named<QPushButton>(okName, QStringLiteral("OK"), parent);
  row.ok->setDefault(true);
  row.cancel = named<QPushButton>(cancelName, QStringLiteral("Cancel"), parent);
  row.box = new QDialogButtonBox(parent);
  row.box->addButton(row.ok, QDialogButtonBox::AcceptRole);
  row.box->addButton(row.cancel, QDialogButtonBox::RejectRole);
  return row;
}

}  // namespace hygro
