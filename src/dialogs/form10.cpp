#include "dialogs/form10.h"

namespace hygro {

Form10::Form10(Session* session, QtPrompt* prompt, std::pair<int, int> selected, QWidget* parent)
    : PrintDialog(session, prompt, true, parent) {
  setObjectName(QStringLiteral("Form10"));
  setDefaultRange(selected.first, selected.second);
}

}  // namespace hygro
