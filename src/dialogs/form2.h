#pragma once
// The identification name dialog: the name the logger holds, edited and
// written back. A name with a character the logger's files cannot carry is
// refused and the held name comes back into the box.
#include <QDialog>

class QLineEdit;
class QPushButton;

namespace hygro {

class Session;

class Form2 : public QDialog {
  Q_OBJECT
 public:
  explicit Form2(Session* session, QWidget* parent = nullptr);

  // The logger holds four characters; the box takes no more.
  static constexpr int kNameLength = 4;

 protected:
  void showEvent(QShowEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void Command1_Click();
  void Text1_GotFocus();

  Session* session_;
  QString current_;  // the name as the dialog opened with it
  QLineEdit* Text1;
  QPushButton* Command1;
};

}  // namespace hygro
