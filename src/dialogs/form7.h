#pragma once
// The reservation dialog: a reserved start of recording with the logger's own
// name, bounds and memory mode. Also the date/time and interval pickers the
// recording-start dialog shares with it.
#include <QDateTime>
#include <QDialog>
#include <QScrollBar>
#include <QTimer>
#include <functional>

class QComboBox;
class QLabel;
class QPushButton;
class QRadioButton;

namespace hygro {

class Session;

// The present time as a dialog sees it; tests set a fixed one.
using DialogClock = std::function<QDateTime()>;
DialogClock SystemClock();

// A vertical bar whose top is its maximum, for the arrows, the trough, the
// keys and the wheel alike (a plain inverted QScrollBar steps its arrows the
// other way).
class RaisingScrollBar : public QScrollBar {
  Q_OBJECT
 public:
  explicit RaisingScrollBar(QWidget* parent = nullptr);

 protected:
  void mousePressEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;

 private:
  bool byMouse_ = false;
};

// Day, hour and minute of a reserved start: three scroll bars and their
// captions. The captions are what counts; the date-time is read back from them.
class ReservationPicker : public QWidget {
  Q_OBJECT
 public:
  explicit ReservationPicker(QWidget* parent = nullptr);
  // Back to the present date, hour and minute; the date bar reaches the
  // day of the last time that can be reserved from `now`.
  void reset(const QDateTime& now);
  // False when the captions make no date-time.
  bool at(double* serial) const;
  // The three captions joined, as they are read.
  QString captions() const;

  QScrollBar* VScroll1;  // day, counted from the date of reset()
  QScrollBar* VScroll2;  // hour
  QScrollBar* VScroll3;  // minute
  QLabel* Label5;
  QLabel* Label6;
  QLabel* Label7;

 private:
  void showValues();
  QDate today_;
};

// The record interval: value box and unit options; the list of values follows
// the unit.
class IntervalPicker : public QWidget {
  Q_OBJECT
 public:
  // Option names for seconds and minutes.
  IntervalPicker(const char* secondsName, const char* minutesName, QWidget* parent = nullptr);
  // Chooses the unit and value that show `seconds` (the logger's setting).
  void setSeconds(qint32 seconds);
  void set(int value, bool minutes);
  int value() const;
  bool minutes() const;

  static QStringList items(bool minutes);

  QComboBox* Combo2;
  QRadioButton* seconds;
  QRadioButton* minutesOption;
  QLabel* unitCaption;  // the chosen option's caption beside the box

 private:
  void refill();
};

class Form7 : public QDialog {
  Q_OBJECT
 public:
  explicit Form7(Session* session, QWidget* parent = nullptr, DialogClock clock = SystemClock());

  // Fills the dialog from the present time and the logger's interval.
  void Form_Load();
  void Command1_Click();
  // The timer's refresh of the clock caption.
  void Timer1_Timer();

  QTimer* Timer1;

 private:
  Session* session_;
  DialogClock clock_;
  QLabel* Label1;
  ReservationPicker* picker_;
  IntervalPicker* interval_;
  QPushButton* Command1;
  QPushButton* Command2;
};

}  // namespace hygro
