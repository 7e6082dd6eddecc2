#pragma once
// The alarm bounds dialog: an upper and a lower temperature bound, each with
// its alarm on or off. The two bars keep the upper bound at least one degree
// above the lower one, so the pair written to the logger is always usable.
#include <QDialog>

class QLabel;
class QPushButton;
class QRadioButton;
class QSlider;

namespace hygro {

class Session;

class Form11 : public QDialog {
  Q_OBJECT
 public:
  // Offered when nothing has been read from a logger yet.
  static constexpr int kDefaultUpper = 40;
  static constexpr int kDefaultLower = 0;

  explicit Form11(Session* session, QWidget* parent = nullptr);

 private:
  void fillFromLogger();
  void VScroll1_Change(int value);
  void VScroll2_Change(int value);
  void Command1_Click();

  Session* session_;
  QSlider* VScroll1;
  QSlider* VScroll2;
  QRadioButton* Option1;
  QRadioButton* Option2;
  QRadioButton* Option3;
  QRadioButton* Option4;
  QLabel* Label1;
  QLabel* Label2;
  QPushButton* Command1;
  QPushButton* Command2;
};

}  // namespace hygro
