#pragma once
// The two print dialogs: the graphs (Form9) or the list (Form10) of the set
// on display, all records or a range of them for the "Range of selection"
// block, to a printer or into a PDF file. They print through the main
// window's print procedures.
#include <QDialog>
#include <functional>
#include <utility>

#include "graph/render_graph.h"

class QGroupBox;
class QPrinter;
class QPushButton;
class QRadioButton;
class QSpinBox;

namespace hygro {

class DataSets;
class Form1;
class Session;

class PrintDialog : public QDialog {
  Q_OBJECT
 public:
  // The set printed: the one on display when the dialog opened.
  int dataSet() const { return set_; }
  bool allRecords() const;
  // The range as chosen (first <= last), or 1..Points for all records.
  std::pair<int, int> records() const;
  bool toPdf() const;

  // Lets the user choose and set up the printer; false when cancelled. Qt's
  // print dialog unless replaced (a test has no one to answer it).
  std::function<bool(QPrinter&)> choosePrinter;

 protected:
  PrintDialog(Session* session, Form1* window, bool dump, QWidget* parent);
  // The range offered at first: first..last, or all records when first is 0.
  void setDefaultRange(int first, int last);
  Form1* window() const { return window_; }

 private:
  void Command1_Click();
  void followDestination();
  bool printOnPrinter(int first, int last);
  bool printToPdf(int first, int last);
  QString proposedPdfName() const;

  Session* session_;
  Form1* window_;
  bool dump_;
  int set_;
  QRadioButton* Option1;  // all records
  QRadioButton* Option2;  // range of selection
  QSpinBox* Text1;        // first
  QSpinBox* Text2;        // last
  QRadioButton* Option3;  // printer
  QRadioButton* Option4;  // PDF
  QPushButton* Command1;  // print / save
  QPushButton* Command2;  // cancel
};

// The graph print: the records inside the time window the graphs show are
// offered as the range.
class Form9 : public PrintDialog {
  Q_OBJECT
 public:
  Form9(Session* session, Form1* window, QWidget* parent = nullptr);

  // The lowest and highest record whose time lies in the temperature graph's
  // window of `bars`; {0, 0} when none does.
  static std::pair<int, int> WindowRecords(const DataSets& sets, int set, const ScrollState& bars);
};

}  // namespace hygro
