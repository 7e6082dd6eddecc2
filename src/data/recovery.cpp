#include "data/recovery.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <cmath>
#include <cstring>
#include <map>

#include "data/formats.h"
#include "data/userprompt.h"

namespace hygro {

namespace {

constexpr qint64 kRecordSize = sizeof(MeasurementRecord);

Leftover::Kind kindOf(const QString& fileName) {
  if (fileName.startsWith(QLatin1String("real.rand"))) return Leftover::Kind::RealTime;
  if (fileName.startsWith(QLatin1String("log.rand"))) return Leftover::Kind::Log;
  if (fileName.startsWith(QLatin1String("read.rand"))) return Leftover::Kind::OpenedFile;
  return Leftover::Kind::NoDataSet;
}

bool completed(const MeasurementRecord& r) {
  // Every writer numbers a finished sample's run from 1; a record without a
  // run number never got its values.
  return r.Block >= 1 && std::isfinite(r.Block);
}

// "2026/11/23 10:00:00 to 10:02:00": the date once when both lie on it.
QString span(double first, double last) {
  const QString a = fmt::formatDateTime(first);
  const QString b = fmt::formatDateTime(last);
  if (a == b) return QStringLiteral("at ") + a;
  if (a.left(10) == b.left(10)) return QStringLiteral("from %1 to %2").arg(a, b.mid(11));
  return QStringLiteral("from %1 to %2").arg(a, b);
}

}  // namespace

int Leftover::dataSet() const {
  switch (kind) {
    case Kind::RealTime:
      return RealTimeData;
    case Kind::Log:
      return LogData;
    default:
      return -1;
  }
}

QString Leftover::fileName() const { return QFileInfo(path).fileName(); }

QString LeftoverKindText(Leftover::Kind kind) {
  switch (kind) {
    case Leftover::Kind::RealTime:
      return QStringLiteral("real-time samples");
    case Leftover::Kind::Log:
      return QStringLiteral("log");
    case Leftover::Kind::OpenedFile:
      return QStringLiteral("opened CSV file");
    case Leftover::Kind::NoDataSet:
      break;
  }
  return QStringLiteral("no data set");
}

bool ReadLeftover(const QString& path, std::vector<MeasurementRecord>* records, QString* error) {
  records->clear();
  QFile f(path);
  if (!f.open(QIODevice::ReadOnly)) {
    if (error)
      *error = QStringLiteral("%1 cannot be read: %2")
                   .arg(QDir::toNativeSeparators(path), f.errorString());
    return false;
  }
  // A torn last record (the file cut inside it) is left out.
  const qint64 whole = qMin<qint64>(f.size() / kRecordSize, kMaxPoints);
  records->reserve(static_cast<size_t>(whole));
  for (qint64 n = 0; n < whole; ++n) {
    MeasurementRecord r;
    char buf[kRecordSize];
    if (f.read(buf, kRecordSize) != kRecordSize) {
      if (error)
        *error = QStringLiteral("%1 cannot be read: %2")
                     .arg(QDir::toNativeSeparators(path), f.errorString());
      return false;
    }
    std::memcpy(&r, buf, sizeof r);
    if (completed(r)) records->push_back(r);
  }
  return true;
}

bool DescribeLeftover(const QString& path, Leftover* out, QString* error) {
  std::vector<MeasurementRecord> recs;
  if (!ReadLeftover(path, &recs, error)) return false;
  *out = {};
  out->path = path;
  out->kind = kindOf(QFileInfo(path).fileName());
  out->records = static_cast<int>(recs.size());
  if (!recs.empty()) {
    out->firstTime = recs.front().Time;
    out->lastTime = recs.back().Time;
  }
  return true;
}

QList<Leftover> FindLeftovers(const QString& folder) {
  QList<Leftover> list;
  static const QRegularExpression pattern(
      QStringLiteral("^(real|log|read|disp)\\.rand\\.crash-.+$"));
  const QDir dir(folder);
  if (!dir.exists()) return list;
  const QStringList names = dir.entryList(QDir::Files, QDir::Name);
  for (const QString& name : names) {
    if (!pattern.match(name).hasMatch()) continue;
    Leftover l;
    // An unreadable one is still listed, with no records, so the user knows
    // it is there.
    if (!DescribeLeftover(dir.filePath(name), &l, nullptr)) {
      l.path = dir.filePath(name);
      l.kind = kindOf(name);
    }
    list << l;
  }
  return list;
}

qint32 IntervalFromSteps(const std::vector<MeasurementRecord>& records) {
  std::map<qint64, int> counts;
  for (size_t i = 1; i < records.size(); ++i) {
    if (records[i].Block != records[i - 1].Block) continue;
    const double step = fmt::secondsBetween(records[i - 1].Time, records[i].Time);
    if (!std::isfinite(step) || step < 0.5 || step > fmt::kSecondsPerDay * 366) continue;
    ++counts[static_cast<qint64>(std::floor(step + 0.5))];
  }
  qint64 best = 0;
  int bestCount = 0;
  for (const auto& [step, count] : counts) {
    if (count > bestCount) {
      best = step;
      bestCount = count;
    }
  }
  return static_cast<qint32>(best);
}

bool LoadLeftover(const Leftover& leftover, DataSets& sets, QString* error) {
  const int set = leftover.dataSet();
  if (set < 0) {
    if (error)
      *error = QStringLiteral("%1 holds no real-time samples or log (%2).")
                   .arg(leftover.fileName(), LeftoverKindText(leftover.kind));
    return false;
  }
  std::vector<MeasurementRecord> recs;
  if (!ReadLeftover(leftover.path, &recs, error)) return false;

  sets.Empty(set);
  DataSetInfo& info = sets.info(set);
  info.Interval = IntervalFromSteps(recs);
  sets.beginBulk(set);
  for (const MeasurementRecord& r : recs) {
    ++info.Points;
    sets.Put(set, info.Points, r);
    Stats_Add(r, info.Points, info.Stats);
  }
  // A scratch file that cannot take them is reported by the data sets
  // themselves; the records are held either way.
  sets.endBulk(set);
  info.Modified = true;
  return true;
}

QString RecoveryQuestion(const Leftover& l) {
  const QLatin1String plural(l.records == 1 ? "" : "s");
  const QString what = l.kind == Leftover::Kind::Log
                           ? QStringLiteral("a log of %1 point%2").arg(l.records).arg(plural)
                           : QStringLiteral("%1 real-time sample%2").arg(l.records).arg(plural);
  return QStringLiteral(
             "Data of an earlier run that did not end normally was found: %1 %2.\r\rShow them "
             "now? They stay in %3 either way.")
      .arg(what, span(l.firstTime, l.lastTime), QDir::toNativeSeparators(l.path));
}

QList<int> OfferRecovery(DataSets& sets, UserPrompt& prompt, const QString& title) {
  QList<int> loaded;
  QStringList notOffered;
  for (const QString& path : sets.recoveredFiles()) {
    Leftover l;
    QString error;
    if (!DescribeLeftover(path, &l, &error)) {
      prompt.message(error, title);
      continue;
    }
    if (l.dataSet() < 0 || l.records == 0) {
      // An opened CSV file is still where it was opened from; a file
      // without one whole sample has nothing to show.
      if (l.kind != Leftover::Kind::NoDataSet) notOffered << QDir::toNativeSeparators(path);
      continue;
    }
    if (!prompt.question(QuestionId::ShowLeftover, RecoveryQuestion(l), title)) continue;
    if (LoadLeftover(l, sets, &error))
      loaded << l.dataSet();
    else
      prompt.message(error, title);
  }
  if (!notOffered.isEmpty())
    prompt.message(QStringLiteral("Data of an earlier run that did not end normally was kept.") +
                       QStringLiteral("\r\r") + QStringLiteral("It was moved to: ") +
                       notOffered.join(QStringLiteral(", ")),
                   title);
  return loaded;
}

}  // namespace hygro
