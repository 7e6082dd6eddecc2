#pragma once
// The clock setting dialog: shows the computer's time and sets the logger's
// clock to it.
#include <QDialog>
#include <QTimer>

#include "dialogs/form7.h"

class QLabel;
class QPushButton;

namespace hygro {

class Session;

class Form6 : public QDialog {
  Q_OBJECT
 public:
  explicit Form6(Session* session, QWidget* parent = nullptr, DialogClock clock = SystemClock());

  void tokei_Timer();
  void Command1_Click();

  QTimer* tokei;

 private:
  Session* session_;
  DialogClock clock_;
  QLabel* Label1;
  QPushButton* Command1;
  QPushButton* Command2;
};

}  // namespace hygro
