#pragma once
// The list print dialog: the rows selected in the list are offered as the
// range (their lowest to highest record number), otherwise all records.
#include "dialogs/form9.h"

namespace hygro {

class Form10 : public PrintDialog {
  Q_OBJECT
 public:
  Form10(Session* session, Form1* window, QWidget* parent = nullptr);
};

}  // namespace hygro
