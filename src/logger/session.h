#pragma once
// The headless session: the link, the logger operations, the three data sets
// and what was last read of the logger. The window and the command-line tool
// both drive it; neither keeps logger state of its own.
#include <QElapsedTimer>
#include <QObject>
#include <QTimer>
#include <array>
#include <memory>

#include "data/datasets.h"
#include "link/bridge.h"
#include "link/connection.h"
#include "link/exchange.h"
#include "link/transport.h"
#include "logger/statusview.h"

namespace hygro {

class UserPrompt;

// The logger's state as last read; filled only by the status read.
struct LoggerStatus {
  QString FirmwareVersion;
  QString IdentName;
  QString RecState;  // "kirokucyu", "yoyakucyu", "renzoku" or empty
  QString ErrorMark;
  QString StopMark;
  double StartTime = 0;
  double RecordedBytes = 0;
  quint8 LogIntervalUnit = 0;
  quint8 LogIntervalValue = 0;
  quint8 ReserveDay = 0;
  quint8 ReserveHour = 0;
  quint8 ReserveMinute = 0;
  qint32 SetInterval = 0;
  quint8 LoopMode = 0;
  quint8 Wrapped = 0;
  QString BatteryVoltage;
  QString BatteryState;  // "Normality" / "Decrease", from the battery read
  std::array<quint8, 6> StartBytes{};
};

// The logger's clock as read back after it was set.
struct ClockReadBack {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
};

// What the recording-start dialog collects.
struct StartSettings {
  QString name;
  int intervalValue = 1;
  bool minutes = false;
  int upperDegrees = 40;
  bool upperOn = false;
  int lowerDegrees = 0;
  bool lowerOn = false;
  bool loop = false;
  bool reserve = false;
  double reserveAt = 0;  // date serial; day, hour and minute are sent
};

// What the reservation dialog collects.
struct ReservationSettings {
  double at = 0;  // date serial of the reserved start (seconds ignored)
  int intervalValue = 1;
  bool minutes = false;
};

// The outcome of the record button for a caller that has no dialog.
enum class RecordButton { Busy, Refused, Declined, ShowStartDialog, Stopping };

class Session : public QObject {
  Q_OBJECT
 public:
  // The session takes ownership of `transport` and `bridge`.
  Session(std::unique_ptr<Transport> transport, std::unique_ptr<BridgePins> bridge,
          UserPrompt* prompt, QObject* parent = nullptr);
  ~Session() override;

  Transport* transport() const { return transport_.get(); }
  Exchange& exchange() { return *exchange_; }
  Connection& connection() { return *connection_; }
  DataSets& data() { return data_; }
  const LoggerStatus& status() const { return status_; }
  LoggerStatus& status() { return status_; }
  UserPrompt* prompt() const { return prompt_; }
  QString ModelName() const { return connection_->ModelName; }
  bool busy() const { return exchange_->busy(); }
  bool connected() const;

  // ---- status
  void Status_Read(const QString& mode = QString());
  // Recomputes the status display (and the few values it normalises) and
  // announces it.
  void Status_Disp();
  const StatusView& view() const { return view_; }
  QString windowTitle() const { return view_.caption; }
  void Command11_Click();  // "Update": read the status again

  // ---- connecting
  // The connect/disconnect toggle ("Once" or search), with the unsaved-data
  // questions.
  bool Port_Set_Command(const QString& mode, const QString& port);
  // Offers a set holding unsaved records for saving as CSV (Yes/No).
  void Data_Save_Ask(int set, const QString& question);

  // ---- real-time measurement
  QString Combo5Text = QStringLiteral("5");  // continuous interval value
  bool Option4Minutes = false;               // "Min" chosen instead of "Sec"
  int ContinuationSeconds = 0;
  QTimer continuation;
  void Command1_Click();
  void Command2_Click();
  struct RealtimeLabels {
    QString Label2, Label4, Label10;
  };
  const RealtimeLabels& realtimeLabels() const { return realtime_; }

  // ---- recording
  RecordButton Command4_Click();
  void Log_Start(const StartSettings& settings);
  // False when refused (low battery, or the time is past).
  bool Yoyaku_Set(const ReservationSettings& settings);
  // True when `at` may be reserved now (the present minute counts).
  static bool ReservationTimeValid(double at, double now);
  // The reservation dialog's check before Yoyaku_Set: false after the
  // message when `at` lies before the present minute.
  bool Reservation_Check(double at);
  // The same against a given present time (a dialog with its own clock).
  bool Reservation_Check(double at, double now);
  void Clock_Send(const QString& mode);
  // Clock_Send followed by the clock read-back.
  void Clock_Set_Queue(const QString& mode);
  void Now_Time_set();
  const ClockReadBack& clockReadBack() const { return clock_; }

  // ---- download
  int DownloadWatchdogMs = 100;
  static constexpr int kWatchdogTicks = 10;
  QTimer Download_Timer;
  void Command5_Click();
  // Stops the watching of a download. Points already asked for still arrive
  // and are kept; the download ends when the logger has sent them all, or
  // quietly with what came when it falls silent.
  void Download_Cancel();
  bool downloading() const { return downloading_; }
  // The window has the logger mark its log downloaded (56) as soon as the
  // last point is in. A client that first saves the log elsewhere turns this
  // off and calls Download_Mark() once the log is safe, so a failed save
  // never leaves the logger free to erase a log nobody kept.
  bool MarkDownloadedAtOnce = true;
  // Queues and sends the mark. False (nothing sent) while an exchange runs
  // or without a logger.
  bool Download_Mark();
  struct Segment {
    double start = 0;
    qint32 count = 0;
  };
  const std::vector<Segment>& segments() const { return segments_; }

  // ---- device settings and name
  void Alarm_set(int upperDegrees, bool upperOn, int lowerDegrees, bool lowerOn);
  void M_Mode_Set(bool loop);
  bool BlockPortOutput = false;
  void Command27_Click();  // initialise
  void Set_HGName(const QString& name);
  // The check of a name typed by the user; false (after the message) when it
  // holds a forbidden character.
  bool IdentNameCheck(const QString& name);
  static QString ForbiddenNameMessage();
  static QString SingleByteNameMessage();
  static QString PaddedName(const QString& name);
  // The four bytes of a name on the logger (padded with blanks, cut to four).
  static std::array<quint8, 4> NameBytes(const QString& name);

  static QString SetCompletionText();

 Q_SIGNALS:
  void statusDisplayed(const hygro::StatusView& view);
  void statusBarText(const QString& text);
  void busyCursor(bool busy);
  void controlsLocked();
  // A sample of a real-time measurement has been completed.
  void realtimeSample(int recordNo);
  // The dump list must be emptied (and its sort reset).
  void dumpCleared();
  // A set was filled or replaced: the graph and the dump list are rebuilt.
  void dataSetChanged(int set);
  void downloadStarted();
  void downloadProgress(int done, int total, const QString& caption);
  void downloadFinished(bool ok);
  void startDialogRequested();
  void exchangeEnded();

 private:
  void registerBranches();
  void registerStatusBranches();
  void registerRealtimeBranches();
  void registerRecordingBranches();
  void registerDownloadBranches();
  void registerSettingsBranches();
  void continuationTick();
  void downloadWatchdog();
  // The stream stopped (watchdog) or the logger went away: "It failed in
  // download." and the partial log goes, unless the download was cancelled.
  void downloadFailed(bool endExchange);
  // A download ends without completing; the points that came stay.
  void downloadCutShort();
  BranchResult segmentAnswer(QueuedCommand& entry, const ReceiveBuffer& rx);
  BranchResult pointAnswer(QueuedCommand& entry, const ReceiveBuffer& rx);
  void beginPointStream();
  void finishDownload();
  void finishRealtimeRun();
  // The end of a continuous run: extremes marked, the status read, the save
  // question.
  void completeRunStop();
  // Stops the continuation timer and leaves "renzoku"; false when no run was on.
  bool stopContinuation();
  bool stopPending_ = false;  // stopped while a sample was on its way
  MeasurementRecord sample_;  // the real-time sample being assembled
  double runStart_ = 0;       // date serial at the start of a continuous run
  QElapsedTimer runClock_;
  qint64 lastTickSecond_ = 0;
  void putPlaceholder(double time);
  double pointTime(int index) const;
  bool batteryOk() const;

  std::unique_ptr<Transport> transport_;
  std::unique_ptr<BridgePins> bridge_;
  UserPrompt* prompt_;
  DataSets data_;
  std::unique_ptr<Exchange> exchange_;
  std::unique_ptr<Connection> connection_;
  LoggerStatus status_;
  StatusView view_;
  RealtimeLabels realtime_;
  ClockReadBack clock_;

  // download
  bool downloading_ = false;
  bool cancelled_ = false;  // nobody watches the progress any more
  int watchdogCount_ = 0;
  std::array<quint8, 8> collect_{};
  int collectCount_ = 0;
  int entriesRead_ = 0;
  std::vector<Segment> table_;     // as read
  std::vector<Segment> segments_;  // of the current log, counts settled
  qint32 downloadTotal_ = 0;
  qint32 endAddress_ = 0;
};

}  // namespace hygro
