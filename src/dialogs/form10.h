#pragma once
// The list print dialog: the records of the rows selected in the list are
// offered as the range (lowest to highest record number), otherwise all
// records.
#include "dialogs/form9.h"

namespace hygro {

class Form10 : public PrintDialog {
  Q_OBJECT
 public:
  // `selected` is the lowest and highest record of the rows selected in the
  // list, {0, 0} when none is.
  Form10(Session* session, QtPrompt* prompt, std::pair<int, int> selected,
         QWidget* parent = nullptr);
};

}  // namespace hygro
