// Small pieces the windows and dialogs build themselves from.
#pragma once

#include <QString>
#include <utility>

class QDialogButtonBox;
class QPushButton;
class QWidget;

namespace hygro {

// A new widget with the object name the tests and the control tables find it by.
template <typename W, typename... Args>
W* named(const char* name, Args&&... args) {
  auto* w = new W(std::forward<Args>(args)...);
  w->setObjectName(QString::fromLatin1(name));
  return w;
}

struct OkCancelRow {
  QPushButton* ok = nullptr;
  QPushButton* cancel = nullptr;
  QDialogButtonBox* box = nullptr;
};

// The OK and Cancel buttons of a dialog, OK the default so Enter presses it.
OkCancelRow MakeOkCancelRow(QWidget* parent, const char* okName, const char* cancelName);

}  // namespace hygro
