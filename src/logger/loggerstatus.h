#pragma once
// The logger's state as last read, and what follows from it alone.
#include <QString>
#include <array>

namespace hygro {

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
// Whether the battery lets the logger record: at least 2.5 V and no error
// mark.
bool BatteryOk(const LoggerStatus& st);

}  // namespace hygro
