#pragma once
// Recording control: start now or at a reserved time, stop or cancel, and the
// logger's clock.
#include "link/frame.h"
#include "logger/clock.h"
#include "logger/loggerstatus.h"
#include "logger/operation.h"

namespace hygro {

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

class RecordingOperation : public Operation {
  Q_OBJECT
 public:
  RecordingOperation(Session& session, LoggerStatus& status);
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

}  // namespace hygro
