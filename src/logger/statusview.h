#pragma once
// What the status area shows, computed once in the core so that the window
// and the command-line tool show the same strings.
#include <QString>

#include "logger/loggerstatus.h"

namespace hygro {

enum class DisplayState { NotConnected, Idle, Recording, Reserving, Continuous };

struct StatusView {
  DisplayState state = DisplayState::NotConnected;
  QString caption;    // window caption
  QString statusBar;  // first panel of the status bar
  QString Label49;    // "Unconnection" / "Communicating"
  QString Label16;    // "Recording", "Reserving", "Record stop" or "----"
  QString Label26;    // start time, or the reservation text
  QString Label48;    // "Loop" / "One Time"
  QString Label29;    // upper bound
  QString Label46;    // lower bound
  bool boundsVisible = false;
  QString Label21;            // points
  QString Label19;            // interval in seconds
  QString Label6;             // interval text
  QString Label7;             // battery
  bool batteryAlarm = false;  // red back colour
  QString Label8;             // end message
  bool endAlarm = false;
  QString Label14;   // identification name
  QString Command4;  // record button caption ("" when locked)
  QString Command2;  // continuous button caption
  QString Label3;    // shown data set: "Log", "RealTime", "File"
  // The state word of the command-line tool: "Recording", "Reserving",
  // "Record stop".
  QString stateWord() const;
};

// What the display needs besides the logger's status.
struct StatusLink {
  bool connected = false;
  QString model;       // the model of the logger connected
  QString statusText;  // the status bar's text while connected
  int shownSet = 0;    // the data set on display
};

// What the window (and the command-line tool) shows for the logger's status:
// a function of its arguments alone, so the order of redraws never matters.
StatusView StatusDisplay(const LoggerStatus& status, const StatusLink& link);

}  // namespace hygro
