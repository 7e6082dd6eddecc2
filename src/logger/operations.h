#pragma once
// The logger operations, one object per family. Each owns its state, its
// timers and its signals; the session front holds the link, the data sets and
// the logger's status that they share. A window attaches to the object whose
// operation it shows (the progress window to the download, a dialog to its
// family); the command-line tool drives the same objects.
#include <QObject>
#include <QTimer>
#include <array>
#include <functional>
#include <vector>

#include "data/datasets.h"
#include "link/exchange.h"
#include "logger/clock.h"
#include "logger/statusview.h"

namespace hygro {

class Session;
class UserPrompt;
struct LoggerStatus;

// What the logger is doing, as last read; Continuous while this program runs
// a real-time series itself. The words are those the logger operations have
// always used for these states.
enum class RecState { Idle, Recording, Reserving, Continuous };
QString RecStateWord(RecState state);  // "", "kirokucyu", "yoyakucyu", "renzoku"

// The logger's state as last read; filled only by the status read.
struct LoggerStatus {
  QString FirmwareVersion;
  QString IdentName;
  hygro::RecState RecState = hygro::RecState::Idle;
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
  // The log the logger holds, as the next download will describe it. A log
  // already downloaded keeps the descriptor it came with (in its data set);
  // what is read here belongs to the logger's present log only.
  qint32 LogInterval = 0;  // seconds
  qint32 UpperRaw = 0;
  bool UpperOn = false;
  qint32 LowerRaw = 0;
  bool LowerOn = false;
  // The logger holds points never downloaded (cleared by the mark after a
  // download). Whether the PC holds a download nobody saved is the log set's
  // own Modified flag.
  bool NeverDownloaded = false;
  // Whether a status read has filled this since the port was opened.
  bool read = false;
};

// Whether the start time read from the logger is a date at all: an erased
// start time (a logger fresh from the factory, all bytes 0xFF) is none, and
// neither is a year before 2000.
bool LogStartValid(const LoggerStatus& st);
// Whether the logger holds a log to download: a valid start and points in
// use, or a memory that has wrapped. Without a start time the other words of
// the log's descriptor are erased memory too, and describe nothing.
bool LogHeld(const LoggerStatus& st);

// The logger's clock as read back after it was set.
struct ClockReadBack {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  QString text() const;  // yyyy/mm/dd hh:nn:ss, whatever the parts hold
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

// What every operation reaches through the session front.
class Operation : public QObject {
 public:
  explicit Operation(Session& session);

 protected:
  const SessionClock& clock() const;
  Exchange& x() const;
  DataSets& data() const;
  LoggerStatus& st() const;
  UserPrompt* prompt() const;
  QString model() const;
  bool busy() const;
  bool connected() const;
  Session& s_;
};

// ---- the status read and the status display
class StatusOperation : public Operation {
  Q_OBJECT
 public:
  explicit StatusOperation(Session& session);
  // Queues the status read; the caller sends.
  void Status_Read(CommMode mode = CommMode::None);
  // Recomputes the status display (and the few values it normalises) and
  // announces it.
  void Status_Disp();
  void Command11_Click();  // "Update": read the status again
  const StatusView& view() const { return view_; }

 Q_SIGNALS:
  void statusDisplayed(const hygro::StatusView& view);

 private:
  void registerBranches();
  StatusView view_;
};

// ---- real-time measurement
class RealtimeOperation : public Operation {
  Q_OBJECT
 public:
  explicit RealtimeOperation(Session& session);
  struct Labels {
    QString Label2, Label4, Label10;
  };
  void Command1_Click();
  void Command2_Click();
  // The interval of the next continuous run and of the run going on: the
  // value of the interval box ("Combo5") and its unit ("Min" or "Sec"). A
  // value that is no number counts as 0.
  void setContinuousInterval(const QString& value, bool minutes);
  int continuousIntervalSeconds() const;
  bool running() const;
  const Labels& labels() const { return labels_; }
  void clearLabels() { labels_ = {}; }
  // Ends a run without a question: the program is closing or the logger went.
  void endRun();
  // The continuation timer's tick, every ContinuationIntervalMs while a run
  // is on: counts the seconds and takes a sample when one is due.
  void continuation_Timer();
  // Tests lengthen it and tick by hand on a clock of their own.
  int ContinuationIntervalMs = 1000;

 Q_SIGNALS:
  // A sample of a real-time measurement has been completed.
  void sample(int recordNo);

 private:
  friend class Session;
  void registerBranches();
  void putPlaceholder(double time);
  void finishRun();
  // The end of a continuous run: extremes marked, the status read, the save
  // question.
  void completeStop();
  // Stops the continuation timer and leaves the run; false when none was on.
  bool stopContinuation();
  bool askBeforeOverwrite();

  QString intervalText_ = QStringLiteral("5");
  bool minutes_ = false;
  int ContinuationSeconds = 0;
  QTimer continuation;
  bool stopPending_ = false;  // stopped while a sample was on its way
  MeasurementRecord sample_;  // the sample being assembled
  // A run's stamps: the wall clock at a whole second of the run, and that
  // second, counted on the steady clock from the run's start.
  qint64 runStartMs_ = 0;
  double anchorWall_ = 0;
  qint64 anchorSecond_ = 0;
  qint64 lastTickSecond_ = 0;
  Labels labels_;
};

// ---- recording control, reservation and the logger's clock
class RecordingOperation : public Operation {
  Q_OBJECT
 public:
  explicit RecordingOperation(Session& session);
  RecordButton Command4_Click();
  // The start dialog's values when it opens: what the logger holds.
  StartSettings startDefaults() const;
  static StartSettings StartDefaultsFrom(const LoggerStatus& status);
  // False when nothing was sent: busy, or (after the message) a present year
  // the logger's clock cannot keep.
  bool Log_Start(const StartSettings& settings);
  // False when refused (low battery, or the year as for Log_Start).
  bool Yoyaku_Set(const ReservationSettings& settings);

  // The logger keeps only the day of the month, the hour and the minute of a
  // reserved start, and starts the first time its clock shows them. So a
  // time can be reserved from the present minute up to the minute before
  // that first comes round again: LastReservable().
  static double LastReservable(double now);
  // When the logger, its clock set to `now`, starts a reservation for `at`.
  static double ReservedStartFor(double at, double now);
  // True when `at` may be reserved now: the present minute up to LastReservable().
  static bool ReservationTimeValid(double at, double now);
  // The check before a reservation is sent: false after the message when
  // `at` lies before the present minute or after LastReservable().
  bool Reservation_Check(double at);
  // The same against a given present time (a dialog with its own clock).
  bool Reservation_Check(double at, double now);
  static QString ReservationTooFarText(double at, double now);

  // False when nothing was sent, as for Log_Start.
  bool Now_Time_set();
  const ClockReadBack& clockReadBack() const { return clock_; }
  // Whether the clock read back after the last setting is the time that was
  // sent (counted on by the time the exchange took).
  bool clockSet() const { return clockSet_; }
  static QString SetCompletionText();

 Q_SIGNALS:
  void startDialogRequested();

 private:
  friend class Session;
  void registerBranches();
  // Before anything is queued: false after the message when the logger's
  // clock cannot keep the present year.
  bool clockYearKept(CommMode mode);
  void Clock_Send(CommMode mode);
  // Clock_Send followed by the clock read-back.
  void Clock_Set_Queue(CommMode mode);
  bool readBackMatchesSent() const;
  ClockReadBack clock_;
  ClockReadBack sent_;
  qint64 sentAtMs_ = 0;  // steady clock when the setting was queued
  bool clockSet_ = false;
};

// ---- log download
class DownloadOperation : public Operation {
  Q_OBJECT
 public:
  explicit DownloadOperation(Session& session);
  static constexpr int kWatchdogTicks = 10;
  // The watchdog's tick; tests may shorten it.
  void setWatchdogInterval(int ms) {
    watchdogMs_ = ms;
    if (Download_Timer.isActive()) Download_Timer.setInterval(ms);
  }
  void Command5_Click();
  // Stops the download's watchdog, and only that: points already asked for
  // still arrive and complete the download, however slowly they come.
  void Download_Cancel();
  bool downloading() const { return downloading_; }
  // The window has the logger mark its log downloaded (56) as soon as the
  // last point is in. A client that first saves the log elsewhere turns this
  // off and calls Download_Mark() once the log is safe, so a failed save
  // never leaves the logger free to erase a log nobody kept.
  void setMarkAtOnce(bool atOnce) { markAtOnce_ = atOnce; }
  // Queues and sends the mark. False (nothing sent) while an exchange runs,
  // without a logger, or when the keeper could not keep the last download.
  bool Download_Mark();
  // Keeps a completed download (the archive) before the logger may be told
  // it is downloaded: called once the last point is in. While it returns
  // false, having said why, no mark is sent for that download.
  void setKeeper(std::function<bool()> keep) { keep_ = std::move(keep); }
  struct Segment {
    double start = 0;
    qint32 count = 0;
  };
  const std::vector<Segment>& segments() const { return segments_; }

 Q_SIGNALS:
  void started();
  void progress(int done, int total, const QString& caption);
  void finished(bool ok);

 private:
  friend class Session;
  void registerBranches();
  void watchdog();
  // A download that ends before its last point (the watchdog, the logger
  // gone, the exchange given up or disconnected) keeps no part of the log:
  // the logger still holds all of it, never marked downloaded. `say` is false
  // only when nobody is left to tell (the program closing).
  void failed(bool endExchange, bool say = true);
  BranchResult segmentAnswer(QueuedCommand& entry, const ReceiveBuffer& rx);
  BranchResult pointAnswer(QueuedCommand& entry, const ReceiveBuffer& rx);
  void beginPointStream();
  void finish();
  double pointTime(int index) const;

  int watchdogMs_ = 100;
  QTimer Download_Timer;
  bool markAtOnce_ = true;
  std::function<bool()> keep_;
  bool kept_ = false;  // the last download is kept, so it may be marked
  bool downloading_ = false;
  bool cancelled_ = false;  // the watchdog was turned off
  int watchdogCount_ = 0;
  std::array<quint8, 8> collect_{};
  int collectCount_ = 0;
  int entriesRead_ = 0;
  std::vector<Segment> table_;     // as read
  std::vector<Segment> segments_;  // of the current log, counts settled
  qint32 total_ = 0;
  qint32 endAddress_ = 0;
};

// ---- device settings and the identification name
class SettingsOperation : public Operation {
  Q_OBJECT
 public:
  explicit SettingsOperation(Session& session);
  void Alarm_set(int upperDegrees, bool upperOn, int lowerDegrees, bool lowerOn);
  void M_Mode_Set(bool loop);
  // While set, the initialise button sends nothing.
  void setBlockPortOutput(bool block) { blockPortOutput_ = block; }
  void Command27_Click();  // initialise, once the user has agreed
  static QString InitialiseQuestion(const LoggerStatus& status);
  void Set_HGName(const QString& name);
  // The check of a name typed by the user; false (after the message) when it
  // holds a forbidden character.
  bool IdentNameCheck(const QString& name);
  static QString ForbiddenNameMessage();
  static QString SingleByteNameMessage();
  static QString PaddedName(const QString& name);
  // The four bytes of a name on the logger (padded with blanks, cut to four).
  static std::array<quint8, 4> NameBytes(const QString& name);

 private:
  void registerBranches();
  bool blockPortOutput_ = false;
};

}  // namespace hygro
