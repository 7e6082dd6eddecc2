#pragma once
// The communication setting: "Online" talks to the logger on the port the
// main window holds (a single attempt on that port, or the search when the
// port box is empty); "Offline" closes the port, and the program works on
// the data it already holds. OK brings the connection to the chosen state;
// online() tells the main window what was chosen (for instance to keep it
// with the settings).
#include <QDialog>

#include "logger/session.h"

class QPushButton;
class QRadioButton;

namespace hygro {

class Session;

class Form5 : public QDialog {
  Q_OBJECT
 public:
  // `port` is the port to use when going online ("" searches).
  Form5(Session* session, const QString& port, QWidget* parent = nullptr);

  // The choice: true for "Online". Before OK, the state the dialog opened in.
  bool online() const;
  // The mode Session::Port_Set_Command takes for `port`.
  static PortSearch PortSetMode(const QString& port);

 private:
  void Command1_Click();

  Session* session_;
  QString port_;
  QRadioButton* Option1;  // online
  QRadioButton* Option2;  // offline
  QPushButton* Command1;
  QPushButton* Command2;
};

}  // namespace hygro
