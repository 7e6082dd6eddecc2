#pragma once
// The three data sets (LogData, RealTimeData, FileData), their headers and
// the scratch files that back them.
//
// Records are kept in memory as well as written through to the set's scratch
// file at once, so reading (the graph, the dump list, export) never touches
// the disk, while the file on disk always holds everything put so far and
// survives a crash. Until open() succeeds the sets live in memory only.
#include <QFile>
#include <QString>
#include <QStringList>
#include <array>
#include <memory>
#include <vector>

#include "data/datafolder.h"
#include "data/record.h"

namespace hygro {

class UserPrompt;

enum DataSetId : quint8 { LogData = 0, RealTimeData = 1, FileData = 2 };
constexpr int kDataSetCount = 3;
constexpr qint16 kMaxPoints = 32767;

struct DataSetStats {
  struct Extreme {
    qint16 RecordNo = 0;
    double Value = 0;
    bool operator==(const Extreme&) const = default;
  };
  // maximum temperature, minimum temperature, maximum humidity, minimum humidity
  std::array<Extreme, 4> e;
  bool operator==(const DataSetStats&) const = default;
};

// The set's name as the window shows it: "Log", "RealTime" or "File"; the
// log's name for any other number.
QString DataSetName(int set);

// Only this model keeps alarm bounds: they are sent, shown, printed and saved
// for it alone.
inline const QString& ModelWithBounds() {
  static const QString model = QStringLiteral("QM720-XC");
  return model;
}
inline bool HasAlarmBounds(const QString& model) { return model == ModelWithBounds(); }

struct DataSetInfo {
  qint16 FileNo = 0;
  qint16 Points = 0;
  qint16 DisplayedPoints = 0;  // how many of Points the graphs already show
  qint32 Interval = 0;         // seconds
  qint32 UpperRaw = 0;
  bool UpperOn = false;
  qint32 LowerRaw = 0;
  bool LowerOn = false;
  DataSetStats Stats;
  // Holds records nobody has saved yet: set as a set is filled, cleared when
  // it is saved. (Whether the logger still holds points never downloaded is
  // the logger's state, not the PC's.)
  bool Modified = false;
  QString Model;
  // The file data panel, filled by CSV import.
  QString Name;
  double StartTime = 0;
  qint32 PointsShown = 0;  // "Recording points" as the file states it
};

// "Maximum temperature", "Minimum temperature", "Maximum humidity",
// "Minimum humidity": the four extremes in the order the statistics keep them.
QString ExtremeText(int k);

void Stats_Clear(DataSetStats& stats);
void Stats_Add(const MeasurementRecord& rec, qint16 recordNo, DataSetStats& stats);

class DataSets {
 public:
  // Scratch file names, in the order they are opened and in the order they
  // are removed at shutdown.
  static const std::array<const char*, 4> kOpenOrder;
  static const std::array<const char*, 4> kRemoveOrder;
  static const char* scratchName(int set);  // "log.rand", "real.rand", "read.rand"

  explicit DataSets(UserPrompt* prompt = nullptr);
  // Closes the files but keeps them (only closeAndRemove() deletes) and
  // releases the folder: what a crash leaves.
  ~DataSets();
  DataSets(const DataSets&) = delete;
  DataSets& operator=(const DataSets&) = delete;

  // Takes the folder's lock (DataFolder) and opens the four scratch files in
  // it. Non-empty scratch files found there were left by a run that did not
  // end normally and hold data nobody saved: they are renamed aside (name +
  // ".crash-yyyyMMdd_hhmmss"), listed in recoveredFiles(), and, when
  // announceLeftovers is set, reported through the prompt. False with *error
  // set when the folder is held by another running program (openError()
  // InUse; nothing is touched then) or a file cannot be created or moved
  // aside.
  bool open(const QString& folder, QString* error);
  enum class OpenError { None, InUse, Unusable };
  OpenError openError() const { return openError_; }
  bool isOpen() const { return open_; }
  QString folder() const { return folder_; }
  QStringList recoveredFiles() const { return recovered_; }
  // The window offers the leftovers itself instead.
  bool announceLeftovers = true;
  // Closes and deletes the four scratch files in shutdown order, then
  // releases the folder.
  void closeAndRemove();
  // The same, except that the scratch files of the log and real-time sets
  // holding records nobody saved stay, complete, for the next start to offer:
  // for an ending nobody is there to ask about saving (a signal). Returns the
  // paths kept.
  QStringList closeKeepingUnsaved();
  // Whether the set holds records the shutdown guard would offer for saving.
  bool holdsUnsaved(int set) const;

  // Throws std::out_of_range for a set outside 0..2.
  DataSetInfo& info(int set);
  const DataSetInfo& info(int set) const;

  // Record n (1-based) of the set, by value: readers never share a buffer
  // with the operations that are still assembling a record. Past the highest
  // record ever put, and for a record skipped below it, a blank record.
  MeasurementRecord Get(int set, int n) const;
  // Writes `rec` as record n of the set. The record is held even when the
  // scratch file cannot be written; then the result is false and the prompt
  // gets one clear message (not one per record).
  bool Put(int set, int n, const MeasurementRecord& rec);
  // A writer that puts many records in a row (import, download) may bracket
  // them with these: records are then written in groups of up to 512 instead
  // of one by one, and all of them are on disk when endBulk() returns. A
  // write failure is reported once, by Put or by endBulk (false).
  void beginBulk(int set);
  bool endBulk(int set);

  // Points and DisplayedPoints to 0, statistics cleared, the rest of the
  // header reset; FileNo stays.
  void Empty(int set);
  // Points and DisplayedPoints to 0 and statistics cleared, the rest of the
  // header kept: for the log set it describes what the logger holds (interval,
  // bounds, data never downloaded), which a failed download does not change.
  void EmptyPoints(int set);

  // Read-only view of record n; nullptr when the record was never put.
  const MeasurementRecord* at(int set, int n) const;

 private:
  static void checkSet(int set);
  bool writeRange(int set, int first, int last);
  bool flushPending(int set);

  void closeFiles();
  void truncateFile(int set);

  UserPrompt* prompt_;
  DataFolder lock_;
  OpenError openError_ = OpenError::None;
  bool open_ = false;
  QString folder_;
  QStringList recovered_;
  std::array<DataSetInfo, kDataSetCount> info_{};
  std::array<std::vector<MeasurementRecord>, kDataSetCount> records_;
  std::array<std::unique_ptr<QFile>, kDataSetCount> files_;
  std::unique_ptr<QFile> disp_;
  std::array<bool, kDataSetCount> writeFailed_{};
  std::array<bool, kDataSetCount> bulk_{};
  // Records put in bulk mode and not yet written, first..last (0: none).
  std::array<int, kDataSetCount> pendingFirst_{};
  std::array<int, kDataSetCount> pendingLast_{};
};

// Writes the four extreme texts into the remarks of the extreme records of
// `set` (trimmed remark + blank + text, cut at 50). Skips extremes no record
// holds.
void Stats_Mark(DataSets& sets, int set);
// The remark record `n` had before Stats_Mark wrote its extreme texts into
// `remark` (blank-padded to 50); `remark` itself when none were written.
QString RemarkBeforeMark(const QString& remark, int n, const DataSetStats& stats);

}  // namespace hygro
