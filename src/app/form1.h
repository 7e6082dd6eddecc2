#pragma once
// The main window: shows what the session knows and forwards the user's
// clicks to it. It keeps no logger state of its own.
#include <QLabel>
#include <QMainWindow>
#include <QTimer>

#include "logger/statusview.h"

class QComboBox;
class QPushButton;
class QStatusBar;
class QRadioButton;

namespace hygro {

class Session;
class QtPrompt;

class Form1 : public QMainWindow {
  Q_OBJECT
 public:
  Form1(Session* session, QtPrompt* prompt, QWidget* parent = nullptr);

  // Connects on the port in the port box (the demo's logger, or the stored one).
  void connectOnce();

  // At start: offers the real-time and log data a run that did not end
  // normally left behind, each with a Yes/No question; Yes shows it as the
  // set it was. Returns how many were loaded.
  int offerRecovery();
  // Ends the window for a signal: closed as by the user, but with nobody
  // there to answer, nothing is asked and the scratch files of sets holding
  // unsaved data stay for the next start to offer (their paths are
  // returned); the other scratch files and the folder's lock go.
  QStringList endBySignal();

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void Command20_Click();
  void applyStatus(const StatusView& v);
  void applyRealtime();
  QLabel* valueLabel(const char* name);

  Session* session_;
  QtPrompt* prompt_;
  QComboBox* Combo1;  // baud
  QComboBox* Combo3;  // model
  QComboBox* Combo4;  // port
  QComboBox* Combo5;  // continuous interval
  QRadioButton* Option3;
  QRadioButton* Option4;
  QPushButton* Command20;  // connect / disconnect
  QPushButton* Command11;  // update
  QPushButton* Command1;   // one time
  QPushButton* Command2;   // continuous
  QLabel* Label49;
  QLabel* Label16;
  QLabel* Label26;
  QLabel* Label21;
  QLabel* Label6;
  QLabel* Label48;
  QLabel* Label29;
  QLabel* Label46;
  QLabel* Label31;
  QLabel* Label32;
  QLabel* Label7;
  QLabel* Label8;
  QLabel* Label14;
  QLabel* Label2;
  QLabel* Label4;
  QLabel* Label10;
  QStatusBar* StatusBar1;
  QLabel* panel1;
  QLabel* panel2;
  QLabel* panel3;
  QTimer tokei;
  bool endingBySignal_ = false;
};

}  // namespace hygro
