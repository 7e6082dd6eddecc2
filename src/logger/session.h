#pragma once
// The headless session: the link, the three data sets, what was last read of
// the logger, and the logger operations that work on them. The window and
// the command-line tool both drive it; neither keeps logger state of its own.
#include <QObject>
#include <memory>

#include "data/csv.h"
#include "data/datasets.h"
#include "data/dataview.h"
#include "link/bridge.h"
#include "link/connection.h"
#include "link/exchange.h"
#include "link/plugback.h"
#include "link/promptgate.h"
#include "link/transport.h"
#include "logger/clock.h"
#include "logger/clockoffset.h"
#include "logger/download.h"
#include "logger/loggerstatus.h"
#include "logger/realtime.h"
#include "logger/recording.h"
#include "logger/settings.h"
#include "logger/status.h"
#include "logger/statusview.h"

namespace hygro {

class UserPrompt;

// How the connect button looks for the logger.
enum class PortSearch { Once, Search };

class Session : public QObject {
  Q_OBJECT
 public:
  // The session takes ownership of `transport` and `bridge`.
  Session(std::unique_ptr<Transport> transport, std::unique_ptr<BridgePins> bridge,
          UserPrompt* prompt, QObject* parent = nullptr);
  ~Session() override;

  // The clock the operations read: the system's, unless one is given (it is
  // not taken over and must outlive the session; null goes back to the
  // system's).
  void setClock(const SessionClock* clock);
  const SessionClock& clock() const { return *clock_; }

  Transport* transport() const { return transport_.get(); }
  Exchange& exchange() { return *exchange_; }
  Connection& connection() { return *connection_; }
  // Connecting again by itself when a pulled-out bridge comes back.
  PlugBack& plugBack() { return *plugBack_; }
  DataSets& data() { return data_; }
  const DataSets& data() const { return data_; }
  // What the user sees of the data.
  DataView& dataView() { return dataView_; }
  const DataView& dataView() const { return dataView_; }
  const LoggerStatus& status() const { return status_; }
  // The prompt every part of the core talks to (messages raised while an
  // answer is handled wait for its end).
  UserPrompt* prompt() { return &gate_; }
  QString ModelName() const { return connection_->ModelName; }
  bool busy() const { return exchange_->busy(); }
  bool connected() const;
  // Starts the queued exchange, announcing the lock first.
  void send();

  StatusOperation& statusOp() { return *status_op_; }
  RealtimeOperation& realtime() { return *realtime_; }
  RecordingOperation& recording() { return *recording_; }
  DownloadOperation& download() { return *download_; }
  SettingsOperation& settings() { return *settings_; }
  ClockOffsetOperation& clockOffset() { return *clockOffset_; }

  // The status display as last computed.
  const StatusView& view() const;
  QString windowTitle() const { return view().caption; }

  // ---- connecting
  // The connect/disconnect toggle (the stored port once, or a search), with
  // the unsaved-data questions.
  bool Port_Set_Command(PortSearch mode, const QString& port);
  // Offers a set holding unsaved records for saving as CSV (Yes/No), with
  // the question `id` names.
  void Data_Save_Ask(int set, QuestionId id);
  static QString QuestionText(QuestionId id);
  // Ends whatever runs with the logger: a continuous run, an exchange, a
  // download; the port is closed. Nothing is asked.
  void shutDown();

  // ---- the data sets as the menus reach them
  // Saves a set as CSV through the prompt's file dialog; false when nothing
  // was written (cancelled or failed, the prompt has said why).
  bool saveSet(int set);
  // Asks for a CSV file and reads it into the file set, which is then shown.
  bool openFile();
  // Reads `path` into the file set, which is then shown; false (after the
  // message) when it cannot be read, and the file set is then as it was.
  // The event loop runs while the file is read (without user input).
  bool openFile(const QString& path);
  // Puts a file read whole (or a log read as one) into the file set and
  // shows it, as opening its file does.
  void showFileSet(const CsvImport& file);
  // The logger model and identification name a set's file and report carry:
  // a downloaded log keeps those it was downloaded with, an opened file those
  // its header gave, and real-time samples belong to the logger connected.
  QString setModel(int set) const;
  QString setName(int set) const;
  // At start: offers the data a run that did not end normally left behind
  // (OfferRecovery, asking through `prompt`) and shows the last set loaded.
  // Returns how many were loaded.
  int offerRecovery(UserPrompt& prompt);
  // The set the data area shows (log, real-time or file).
  int shownSet() const { return dataView_.DataSetIndex(); }
  // The user's choice of the set shown: the view, then the status display.
  void showSet(int set);

 Q_SIGNALS:
  void statusBarText(const QString& text);
  void busyCursor(bool busy);
  // An exchange is about to start: the window locks its controls.
  void controlsLocked();
  // The dump list must be emptied; a continuous run's start also puts its
  // sort back to record order (nothing else touches the sort).
  void dumpCleared(bool resetSort);
  // The extremes of a completed measurement or download have been written
  // into the remarks of `set`.
  void extremesMarked(int set);
  // A set was filled or replaced: the graph and the dump list are rebuilt.
  void dataSetChanged(int set);
  // Another set is shown.
  void shownSetChanged(int set);
  void exchangeEnded();
  // Something the user should read in passing (the status bar): the logger
  // was connected again after its bridge was plugged back in.
  void notice(const QString& text);

 private:
  // The port has closed: the model and the real-time readings of the logger
  // that was there go with it.
  void forgetLogger();

  const SessionClock* clock_;
  std::unique_ptr<Transport> transport_;
  std::unique_ptr<BridgePins> bridge_;
  PromptGate gate_;
  DataSets data_;
  DataView dataView_;
  std::unique_ptr<Exchange> exchange_;
  std::unique_ptr<Connection> connection_;
  std::unique_ptr<PlugBack> plugBack_;
  LoggerStatus status_;
  std::unique_ptr<StatusOperation> status_op_;
  std::unique_ptr<RealtimeOperation> realtime_;
  std::unique_ptr<RecordingOperation> recording_;
  std::unique_ptr<DownloadOperation> download_;
  std::unique_ptr<SettingsOperation> settings_;
  std::unique_ptr<ClockOffsetOperation> clockOffset_;
  bool readingFile_ = false;
};

}  // namespace hygro
