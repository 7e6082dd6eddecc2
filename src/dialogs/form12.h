#pragma once
// The recording-start dialog: name, interval, alarm bounds (QM720-XC only),
// memory mode and an optional reserved start, sent together by Log_Start.
#include <QDialog>

#include "dialogs/form7.h"
#include "logger/session.h"

class QButtonGroup;
class QCheckBox;
class QGroupBox;
class QLineEdit;

namespace hygro {

class Form12 : public QDialog {
  Q_OBJECT
 public:
  explicit Form12(Session* session, QWidget* parent = nullptr, DialogClock clock = SystemClock());

  // What the dialog opens with: the logger's name, interval, bounds and
  // memory mode as last read.

  // Fills every control from the session (and shows the bound frame only for
  // the model that has bounds).
  void Command100_Click();
  // What the controls say now.
  StartSettings settings() const;
  void Command1_Click();
  // Leaves for the reservation dialog, which keeps the logger's settings.
  void Command3_Click();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void Text1_LostFocus();
  void nameRefused();
  void VScroll4_Change();
  void VScroll5_Change();

  Session* session_;
  DialogClock clock_;
  QString goodName_;           // what Text1 falls back to after a refusal
  bool checkingName_ = false;  // the refusal's message takes the focus too
  bool refusedPending_ = false;

  QLineEdit* Text1;
  IntervalPicker* interval_;
  QGroupBox* Frame3;  // the bounds
  QScrollBar* VScroll4;
  QScrollBar* VScroll5;
  QLabel* Label1;
  QLabel* Label2;
  QRadioButton* Option3;
  QRadioButton* Option4;
  QRadioButton* Option5;
  QRadioButton* Option6;
  QRadioButton* Option7;  // one time
  QRadioButton* Option8;  // loop
  QCheckBox* Check1;
  ReservationPicker* picker_;
  QPushButton* Command1;
  QPushButton* Command2;
  QPushButton* Command3;
};

}  // namespace hygro
