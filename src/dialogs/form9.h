#pragma once
// The two print dialogs: the graphs (Form9) or the list (Form10) of the set
// on display, all records or a range of them for the "Range of selection"
// block, to a printer or into a PDF file. They print the session's data as
// its view shows them (PrintReport).
#include <QDialog>
#include <functional>
#include <utility>

#include "print/render_print.h"

class QCheckBox;
class QGroupBox;
class QPrinter;
class QPushButton;
class QRadioButton;
class QSpinBox;

namespace hygro {

class QtPrompt;
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
  // The summary after the report ("Summary page"), off at first; the
  // company it names and the unit of its temperatures come from the window.
  bool summaryPage() const;
  void setSummaryOptions(const QString& company, analysis::Unit unit);

  // Lets the user choose and set up the printer; false when cancelled. Qt's
  // print dialog unless replaced (a test has no one to answer it).
  std::function<bool(QPrinter&)> choosePrinter;

 Q_SIGNALS:
  // A print has its job and is about to draw it (`procedure` names it:
  // PrintProcedure).
  void printStarted(const QString& procedure, const hygro::PrintJob& job);

 protected:
  PrintDialog(Session* session, QtPrompt* prompt, bool dump, QWidget* parent);
  // The range offered at first: first..last, or all records when first is 0.
  void setDefaultRange(int first, int last);

 private:
  void Command1_Click();
  void followDestination();
  bool printOnPrinter(int first, int last);
  bool printToPdf(int first, int last);
  // Draws the report of records first..last on `out`.
  bool print(PageOutput& out, int first, int last);
  QString proposedPdfName() const;

  Session* session_;
  QtPrompt* prompt_;
  bool dump_;
  int set_;
  QRadioButton* Option1;  // all records
  QRadioButton* Option2;  // range of selection
  QSpinBox* Text1;        // first
  QSpinBox* Text2;        // last
  QRadioButton* Option3;  // printer
  QRadioButton* Option4;  // PDF
  QCheckBox* CheckSummary;
  SummaryOptions summary_;
  QPushButton* Command1;  // print / save
  QPushButton* Command2;  // cancel
};

// The graph print: the records inside the time window the temperature graph
// shows are offered as the range.
class Form9 : public PrintDialog {
  Q_OBJECT
 public:
  Form9(Session* session, QtPrompt* prompt, QWidget* parent = nullptr);
};

}  // namespace hygro
