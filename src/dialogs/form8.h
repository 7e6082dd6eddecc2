#pragma once
// The memory mode dialog: endless (the oldest points are overwritten once
// the memory is full) or one time (recording stops when it is full).
#include <QDialog>

class QPushButton;
class QRadioButton;

namespace hygro {

class Session;

class Form8 : public QDialog {
  Q_OBJECT
 public:
  explicit Form8(Session* session, QWidget* parent = nullptr);

 private:
  void Command1_Click();

  Session* session_;
  QRadioButton* Option1;  // endless
  QRadioButton* Option2;  // one time
  QPushButton* Command1;
};

}  // namespace hygro
