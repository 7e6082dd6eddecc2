#pragma once
// The version dialog: the connected model, the logger's firmware version once
// a status read has brought it, and the application's own version.
#include <QDialog>

class QLabel;
class QPushButton;

namespace hygro {

class Session;

class Form4 : public QDialog {
  Q_OBJECT
 public:
  explicit Form4(Session* session, QWidget* parent = nullptr);

  static QString CompanyName();
  static QString ApplicationVersionText();  // "Application Ver.1.02"

 private:
  QLabel* Label1;  // company
  QLabel* Label2;  // web address, kept hidden
  QLabel* Label3;  // model
  QLabel* Label4;  // hardware version
  QLabel* Label5;  // application version
  QPushButton* Command_ok;
};

}  // namespace hygro
