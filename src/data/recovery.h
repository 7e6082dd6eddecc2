#pragma once
// The leftovers of runs that did not end normally: scratch files moved aside
// as "<name>.rand.crash-..." when the next program took the folder. They hold
// measurements nobody saved; here they are listed, described and loaded back
// into a data set. The files themselves are never changed or deleted.
#include <QList>
#include <QString>
#include <vector>

#include "data/datasets.h"

namespace hygro {

class UserPrompt;

struct Leftover {
  enum class Kind {
    RealTime,    // real.rand: real-time samples
    Log,         // log.rand: a downloaded log
    OpenedFile,  // read.rand: a copy of a CSV file that was opened
    NoDataSet,   // disp.rand
  };
  QString path;
  Kind kind = Kind::NoDataSet;
  int records = 0;       // whole, completed records (see ReadLeftover)
  double firstTime = 0;  // date serials of the first and last of them
  double lastTime = 0;

  // LogData, RealTimeData, or -1 when no set takes it.
  int dataSet() const;
  QString fileName() const;
};

// "real-time samples", "log", "opened CSV file", "no data set".
QString LeftoverKindText(Leftover::Kind kind);

// The leftovers in `folder`, ordered by file name. A folder that does not
// exist has none.
QList<Leftover> FindLeftovers(const QString& folder);

// Reads a scratch file: every whole 80-byte record it holds, without a torn
// last record (the file cut in the middle of one) and without records whose
// run number was never filled (Block below 1: a sample still waiting for its
// answers, or a hole). At most 32767. False with *error when the file cannot
// be read.
bool ReadLeftover(const QString& path, std::vector<MeasurementRecord>* records, QString* error);
// Describes one leftover file by its name and contents.
bool DescribeLeftover(const QString& path, Leftover* out, QString* error);

// Loads a real-time or log leftover into its set (which is emptied first):
// statistics recomputed, the interval taken from
// the records' time steps, and the set marked Modified so the
// shutdown guard offers to save it. The remarks stay as they were written.
bool LoadLeftover(const Leftover& leftover, DataSets& sets, QString* error);

// The most frequent whole-second step between consecutive records of the
// same run (the smaller one on a tie); 0 when there is no such step.
qint32 IntervalFromSteps(const std::vector<MeasurementRecord>& records);

// The question asked for a leftover at start.
QString RecoveryQuestion(const Leftover& leftover);

// At start: for each real-time or log leftover just moved aside by
// sets.open(), asks whether to show it, and loads it on Yes. Leftovers that
// cannot be offered are named in one message. Returns the sets loaded, in
// the order they were; the caller shows the last.
QList<int> OfferRecovery(DataSets& sets, UserPrompt& prompt, const QString& title);

}  // namespace hygro
