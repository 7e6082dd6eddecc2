#pragma once
// The main window: shows what the session knows and forwards the user's
// clicks to it. What it shows of the data (the set, graphs or list, the
// graphs' window, the list's order) is the session's data view; the window
// keeps only the settings file's values of its own.
#include <QHash>
#include <QLabel>
#include <QMainWindow>
#include <QPointer>
#include <QTimer>

#include "analysis/analysis.h"
#include "logger/statusview.h"
#include "print/render_print.h"

class QAction;
class QComboBox;
class QMenu;
class QPushButton;
class QRadioButton;
class QStackedWidget;
class QStatusBar;
class QTreeView;
class QDragEnterEvent;
class QDropEvent;
class QDockWidget;

namespace hygro {

class ArchiveSetting;
class DumpModel;
class DownloadProgress;
class StatsPanel;
class GraphPanel;
class Session;
class QtPrompt;
class ControlTable;
struct ControlState;

class Form1 : public QMainWindow {
  Q_OBJECT
 public:
  Form1(Session* session, QtPrompt* prompt, QWidget* parent = nullptr);
  ~Form1() override;

  // Connects on the port in the port box (the demo's logger, or the stored one).
  void connectOnce();
  // Connects once on `port` (a number or a device path), shown in the port box.
  void connectOnce(const QString& port);

  // At start: offers the real-time and log data a run that did not end
  // normally left behind, each with a Yes/No question; Yes shows it as the
  // set it was. Returns how many were loaded.
  int offerRecovery();
  // Ends the window for a signal: closed as by the user, but with nobody
  // there to answer, nothing is asked and the scratch files of sets holding
  // unsaved data stay for the next start to offer (their paths are
  // returned); the other scratch files and the folder's lock go.
  QStringList endBySignal();

  // The window's archive: File > Archive… shows it, Tool > Archive… chooses
  // it (kept in the settings). Without one both are hidden.
  void setArchive(ArchiveSetting* archive);
  void openArchiveDialog();
  void openArchiveTargetDialog();

  // "Logger.ini" in the data folder; empty while no folder is open.
  QString loggerIniPath() const;
  // Writes the port, the kept option value and the last folder.
  bool Save();

  // The set on display (0 log, 1 real-time, 2 file) and whether the dump
  // list is shown instead of the graphs.
  int shownSet() const;
  bool dumpView() const;

  GraphPanel* graphs() const { return graphs_; }
  StatsPanel* statsPanel() const { return stats_; }

  // Writes the two graphs as shown into one PNG (temperature above
  // humidity); false when nothing was written.
  bool saveGraphImage(const QString& path);

 Q_SIGNALS:
  // A print dialog has made its job and is about to draw it.
  void printStarted(const QString& procedure, const hygro::PrintJob& job);

 protected:
  void closeEvent(QCloseEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private Q_SLOTS:
  // Dialog entry points.
  void openStartDialog();
  void openReservationDialog();
  void openClockDialog();
  void openAlarmDialog();
  void openMemoryModeDialog();
  void openNameDialog();
  void openCommDialog();
  void openVersionDialog();
  void showDownloadProgress();
  void openPrintDialog();

 private:
  template <typename Dialog, typename... Args>
  Dialog* showDialog(Args&&... args);
  DownloadProgress* progress_ = nullptr;
  void buildMenus();
  // The evidence additions (form1_analysis.cpp): the statistics panel and
  // their entries in the File, Tool and Display menus.
  void buildAnalysis(QMenu* file, QMenu* tool, QMenu* display);
  // The graph's shading and the list's marks as "Show excursions" says.
  void followExcursions();
  void setUnit(analysis::Unit unit);
  // "Export for spreadsheets…": the set on display as an .xlsx workbook.
  void exportSpreadsheet();
  QWidget* buildLoggerPanel();
  QWidget* buildDataArea();
  void registerControls();

  void Command20_Click();
  void Combo4_Click(const QString& text);
  void m11_Click();
  void mSaveGraph_Click();
  void showFilePanel();
  void saveSet(int set);
  void m14_Click();

  void onStatusDisplayed(const StatusView& v);
  // Sets the controls' enabled state, visibility, caption and colour by
  // objectName: widgets, actions, and menus (through their menu action).
  void applyControls(const ControlTable& table);
  void applyControl(const QString& name, const ControlState& state);
  void lockControls();
  void applyRealtime();
  void followDataSet();
  // The lowest and highest record of the rows selected in the list.
  std::pair<int, int> selectedRecords() const;

  // The view selection: which set, graph or dump.
  void showSet(int set);
  void showView(bool dump);
  void onDumpViewChanged(bool dump);
  void refreshDataArea();
  // The list filled anew with the set on display.
  void fillList();
  void onDataSetChanged(int set);
  void onExtremesMarked(int set);

  void stopEverything();
  void closeOtherWindows();

  Session* session_;
  QtPrompt* prompt_;
  DumpModel* dump_ = nullptr;
  QHash<QString, QObject*> controls_;
  bool searching_ = false;
  bool locked_ = false;
  bool closed_ = false;
  qint16 iniOption_ = 0;

  QComboBox* Combo1;  // baud
  QComboBox* Combo2;
  QComboBox* Combo3;  // model
  QComboBox* Combo4;  // port
  QComboBox* Combo5;  // continuous interval
  QRadioButton* Option3;
  QRadioButton* Option4;
  QRadioButton* Option5;
  QRadioButton* Option6;
  QRadioButton* Option7;
  QRadioButton* Option8;
  QRadioButton* Option9;
  QPushButton* Command20;  // connect / disconnect
  QPushButton* Command11;  // update
  QPushButton* Command1;   // one time
  QPushButton* Command2;   // continuous
  QPushButton* Command4;   // record
  QPushButton* Command5;   // download
  QPushButton* Command23;  // print
  QPushButton* Command24;
  QPushButton* Command25;
  QPushButton* Command26;  // alarm
  QPushButton* Command27;  // initialise
  QPushButton* Command28;  // memory mode
  QLabel* Label49;
  QLabel* Label2;
  QLabel* Label4;
  QLabel* Label10;
  QLabel* Label3;
  QPushButton* Command14;  // open a CSV file
  QLabel* fileInfo;
  GraphPanel* graphs_ = nullptr;
  QStackedWidget* dataStack;
  QTreeView* ListView1;
  QStatusBar* StatusBar1;
  QLabel* panel1;
  QLabel* panel2;
  QLabel* panel3;
  QAction* alarmAction;
  QAction* downloadAction;
  QTimer tokei;
  bool endingBySignal_ = false;
  ArchiveSetting* archive_ = nullptr;
  QAction* archiveAction_ = nullptr;
  QAction* archiveTargetAction_ = nullptr;
  bool saveArchiveIni();
  QDockWidget* statsDock_ = nullptr;
  StatsPanel* stats_ = nullptr;
  bool statsPlaced_ = false;  // the floating panel has had its first place
  QAction* excursionsAction_ = nullptr;
  QTimer excursionsDue_;  // one recomputation for changes that come together
  analysis::Unit unit_ = analysis::Unit::Celsius;
  QString company_;  // for the summary page
};

}  // namespace hygro
