#include "data/datasets.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "data/userprompt.h"

namespace hygro {
namespace {

const QString kWindowTitle = QStringLiteral("[Hygrotab] Temperature and Humidity Logger");
constexpr qint64 kRecordSize = sizeof(MeasurementRecord);

// A stored value as the 32-bit float it is compared as. Values too large for
// a float become infinities instead of an undefined conversion.
float asFloat(double v) {
  constexpr double kMax = std::numeric_limits<float>::max();
  if (v > kMax) return std::numeric_limits<float>::infinity();
  if (v < -kMax) return -std::numeric_limits<float>::infinity();
  return static_cast<float>(v);
}

const MeasurementRecord kBlankRecord{};

}  // namespace

const std::array<const char*, 4> DataSets::kOpenOrder = {"real.rand", "log.rand", "read.rand",
                                                         "disp.rand"};
const std::array<const char*, 4> DataSets::kRemoveOrder = {"real.rand", "log.rand", "disp.rand",
                                                           "read.rand"};

const char* DataSets::scratchName(int set) {
  checkSet(set);
  static const char* const names[kDataSetCount] = {"log.rand", "real.rand", "read.rand"};
  return names[set];
}

QString DataSetName(int set) {
  static const char* const names[kDataSetCount] = {"Log", "RealTime", "File"};
  return QLatin1String(names[set >= 0 && set < kDataSetCount ? set : LogData]);
}

void Stats_Clear(DataSetStats& stats) {
  stats.e[0].Value = -10000;
  stats.e[1].Value = 10000;
  stats.e[2].Value = -10000;
  stats.e[3].Value = 10000;
}

void Stats_Add(const MeasurementRecord& rec, qint16 recordNo, DataSetStats& stats) {
  auto& e = stats.e;
  if (rec.Temperature > asFloat(e[0].Value)) e[0] = {recordNo, rec.Temperature};
  if (rec.Temperature < asFloat(e[1].Value)) e[1] = {recordNo, rec.Temperature};
  if (rec.Humidity > asFloat(e[2].Value)) e[2] = {recordNo, rec.Humidity};
  if (rec.Humidity < asFloat(e[3].Value)) e[3] = {recordNo, rec.Humidity};
  if (e[0].Value > 100) e[0].Value = 100;
  if (e[1].Value < -40) e[1].Value = -40;
  if (e[2].Value > 100) e[2].Value = 100;
  if (e[3].Value < 0) e[3].Value = 0;
}

QString ExtremeText(int k) {
  static const char* const texts[4] = {"Maximum temperature", "Minimum temperature",
                                       "Maximum humidity", "Minimum humidity"};
  return k >= 0 && k < 4 ? QLatin1String(texts[k]) : QString();
}

void Stats_Mark(DataSets& sets, int set) {
  const DataSetInfo& info = sets.info(set);
  for (int k = 0; k < 4; ++k) {
    const qint16 n = info.Stats.e[static_cast<size_t>(k)].RecordNo;
    if (n < 1 || n > info.Points) continue;
    MeasurementRecord rec = sets.Get(set, n);
    rec.setRemarks(rec.remarks().trimmed() + QLatin1Char(' ') + ExtremeText(k));
    sets.Put(set, n, rec);
  }
}

QString RemarkBeforeMark(const QString& remark, int n, const DataSetStats& stats) {
  QString written;
  for (int k = 0; k < 4; ++k)
    if (stats.e[static_cast<size_t>(k)].RecordNo == n) written += QLatin1Char(' ') + ExtremeText(k);
  written = written.trimmed();
  const QString kept = remark.trimmed();
  if (written.isEmpty() || !kept.endsWith(written)) return remark;
  return kept.chopped(written.size())
      .trimmed()
      .leftJustified(MeasurementRecord::kRemarksLength, QLatin1Char(' '));
}

DataSets::DataSets(UserPrompt* prompt) : prompt_(prompt) {
  for (int s = 0; s < kDataSetCount; ++s) Stats_Clear(info_[static_cast<size_t>(s)].Stats);
}

DataSets::~DataSets() {
  for (int s = 0; s < kDataSetCount; ++s) flushPending(s);
  closeFiles();
  lock_.unlock();
}

void DataSets::checkSet(int set) {
  if (set < 0 || set >= kDataSetCount) throw std::out_of_range("data set index out of range");
}

DataSetInfo& DataSets::info(int set) {
  checkSet(set);
  return info_[static_cast<size_t>(set)];
}

const DataSetInfo& DataSets::info(int set) const {
  checkSet(set);
  return info_[static_cast<size_t>(set)];
}

bool DataSets::open(const QString& folder, QString* error) {
  auto fail = [&](const QString& text) {
    if (error) *error = text;
    files_ = {};
    disp_.reset();
    open_ = false;
    if (openError_ == OpenError::None) openError_ = OpenError::Unusable;
    lock_.unlock();
    return false;
  };
  if (open_) closeAndRemove();
  openError_ = OpenError::None;
  folder_ = folder;
  recovered_.clear();
  QString why;
  switch (lock_.lock(folder, &why)) {
    case DataFolder::Lock::Locked:
      break;
    case DataFolder::Lock::InUse:
      openError_ = OpenError::InUse;
      return fail(why);
    case DataFolder::Lock::Failed:
      return fail(why);
  }
  // Only now, with the folder ours, is a non-empty scratch file known to be
  // a leftover rather than another program's live file.
  const QString hint = QStringLiteral("\r\rChoose another folder with --data-dir.");
  if (!MoveLeftoversAside(folder, &recovered_, &why)) return fail(why + hint);

  const QDir dir(folder);
  for (const char* name : kOpenOrder) {
    const QString path = dir.filePath(QLatin1String(name));
    auto file = std::make_unique<QFile>(path);
    if (!file->open(QIODevice::ReadWrite | QIODevice::Truncate | QIODevice::Unbuffered))
      return fail(QStringLiteral("The scratch file %1 could not be opened: %2")
                      .arg(QDir::toNativeSeparators(path), file->errorString()) +
                  hint);
    if (qstrcmp(name, "disp.rand") == 0) {
      disp_ = std::move(file);
      continue;
    }
    for (int s = 0; s < kDataSetCount; ++s) {
      if (qstrcmp(scratchName(s), name) == 0) files_[static_cast<size_t>(s)] = std::move(file);
    }
  }

  static const qint16 fileNumbers[kDataSetCount] = {2, 1, 4};
  for (int s = 0; s < kDataSetCount; ++s) {
    info_[static_cast<size_t>(s)].FileNo = fileNumbers[s];
    info_[static_cast<size_t>(s)].Points = 0;
    records_[static_cast<size_t>(s)].clear();
    writeFailed_[static_cast<size_t>(s)] = false;
    bulk_[static_cast<size_t>(s)] = false;
    pendingFirst_[static_cast<size_t>(s)] = pendingLast_[static_cast<size_t>(s)] = 0;
  }
  open_ = true;

  if (!recovered_.isEmpty() && prompt_ && announceLeftovers) {
    QStringList native;
    for (const QString& p : recovered_) native << QDir::toNativeSeparators(p);
    prompt_->message(QStringLiteral("Data of an earlier run that did not end normally was kept.") +
                         QStringLiteral("\r\r") + QStringLiteral("It was moved to: ") +
                         native.join(QStringLiteral(", ")),
                     kWindowTitle);
  }
  return true;
}

void DataSets::closeFiles() {
  for (auto& f : files_) {
    if (f) f->close();
  }
  if (disp_) disp_->close();
  files_ = {};
  disp_.reset();
  open_ = false;
}

void DataSets::closeAndRemove() {
  const bool wasOpen = open_;
  closeFiles();
  if (wasOpen) {
    const QDir dir(folder_);
    for (const char* name : kRemoveOrder) QFile::remove(dir.filePath(QLatin1String(name)));
  }
  // The files are gone before the folder is given up, so no program that
  // takes it next can see them as leftovers.
  lock_.unlock();
}

bool DataSets::holdsUnsaved(int set) const {
  const DataSetInfo& i = info(set);
  return (set == LogData || set == RealTimeData) && i.Points > 0 && i.Modified;
}

QStringList DataSets::closeKeepingUnsaved() {
  QStringList kept;
  if (!open_) {
    lock_.unlock();
    return kept;
  }
  const QDir dir(folder_);
  QStringList keepNames;
  for (int s = 0; s < kDataSetCount; ++s) {
    if (!holdsUnsaved(s)) continue;
    flushPending(s);
    // Records past Points (a sample that never got its answers) are no
    // part of the set; the file ends with the set.
    if (QFile* f = files_[static_cast<size_t>(s)].get())
      f->resize(qMin<qint64>(f->size(), info(s).Points * kRecordSize));
    keepNames << QLatin1String(scratchName(s));
    kept << dir.filePath(QLatin1String(scratchName(s)));
  }
  closeFiles();
  for (const char* name : kRemoveOrder) {
    if (!keepNames.contains(QLatin1String(name))) QFile::remove(dir.filePath(QLatin1String(name)));
  }
  lock_.unlock();
  return kept;
}

MeasurementRecord DataSets::Get(int set, int n) const {
  const MeasurementRecord* r = at(set, n);
  return r ? *r : kBlankRecord;
}

const MeasurementRecord* DataSets::at(int set, int n) const {
  checkSet(set);
  const auto& recs = records_[static_cast<size_t>(set)];
  if (n < 1 || static_cast<size_t>(n) > recs.size()) return nullptr;
  return &recs[static_cast<size_t>(n) - 1];
}

bool DataSets::Put(int set, int n, const MeasurementRecord& rec) {
  checkSet(set);
  if (n < 1 || n > kMaxPoints) return false;
  auto& recs = records_[static_cast<size_t>(set)];
  if (static_cast<size_t>(n) > recs.size()) {
    if (recs.capacity() < static_cast<size_t>(n)) recs.reserve(qMax<size_t>(1024, recs.size() * 2));
    recs.resize(static_cast<size_t>(n), kBlankRecord);
  }
  recs[static_cast<size_t>(n) - 1] = rec;
  const size_t s = static_cast<size_t>(set);
  if (!bulk_[s]) return writeRange(set, n, n);

  constexpr int kGroup = 512;
  bool ok = true;
  int& first = pendingFirst_[s];
  int& last = pendingLast_[s];
  if (first == 0) {
    first = last = n;
  } else if (n == last + 1) {
    last = n;
  } else if (n < first || n > last) {
    ok = flushPending(set);
    first = last = n;
  }
  if (last - first + 1 >= kGroup) ok = flushPending(set) && ok;
  return ok;
}

void DataSets::beginBulk(int set) {
  checkSet(set);
  bulk_[static_cast<size_t>(set)] = true;
}

bool DataSets::endBulk(int set) {
  checkSet(set);
  bulk_[static_cast<size_t>(set)] = false;
  return flushPending(set);
}

bool DataSets::flushPending(int set) {
  const size_t s = static_cast<size_t>(set);
  const int first = pendingFirst_[s];
  const int last = pendingLast_[s];
  pendingFirst_[s] = pendingLast_[s] = 0;
  return first == 0 || writeRange(set, first, last);
}

bool DataSets::writeRange(int set, int first, int last) {
  QFile* f = files_[static_cast<size_t>(set)].get();
  if (!f) return true;
  const auto& recs = records_[static_cast<size_t>(set)];
  const qint64 offset = (first - 1) * kRecordSize;
  const qint64 size = (last - first + 1) * kRecordSize;
  const char* data = reinterpret_cast<const char*>(&recs[static_cast<size_t>(first) - 1]);
  // A full disk often first shows as a short write, which QFile reports
  // without a reason ("Unknown error"); writing the rest makes the system
  // say what is wrong, and errno names it.
  int error = 0;
  qint64 written = 0;
  if (f->seek(offset)) {
    while (written < size) {
      errno = 0;
      const qint64 n = f->write(data + written, size - written);
      if (n <= 0) {
        error = errno;
        break;
      }
      written += n;
    }
  }
  bool& failed = writeFailed_[static_cast<size_t>(set)];
  if (written == size) {
    // Only a write that reaches the end of the set ends a failing stretch:
    // the extremes' remarks rewrite records further back, and their success
    // says nothing about the room for new records.
    if (static_cast<size_t>(last) == recs.size()) failed = false;
    return true;
  }
  if (!failed && prompt_) {
#ifdef Q_OS_UNIX
    const QString reason =
        error != 0 ? QString::fromLocal8Bit(std::strerror(error)) : f->errorString();
#else
    Q_UNUSED(error);
    const QString reason = f->errorString();
#endif
    prompt_->message(QStringLiteral("The scratch file could not be written.") +
                         QStringLiteral("\r\r") + QDir::toNativeSeparators(f->fileName()) +
                         QStringLiteral(": ") + reason +
                         QStringLiteral(". The data stay in memory until the program ends; "
                                        "free some disk space and save them as CSV."),
                     kWindowTitle);
  }
  failed = true;
  // A failed write leaves the device in an error state; clear it so that the
  // next record gets a fresh try once space is available again.
  f->unsetError();
  return false;
}

void DataSets::truncateFile(int set) {
  // The file holds the set, not the set and the tail of an earlier, longer
  // one: a crash leftover must not bring old records back as part of it.
  const size_t s = static_cast<size_t>(set);
  pendingFirst_[s] = pendingLast_[s] = 0;
  if (QFile* f = files_[s].get()) f->resize(0);
}

void DataSets::EmptyPoints(int set) {
  DataSetInfo& i = info(set);
  truncateFile(set);
  i.Points = 0;
  i.DisplayedPoints = 0;
  i.Modified = false;
  Stats_Clear(i.Stats);
}

void DataSets::Empty(int set) {
  DataSetInfo& i = info(set);
  truncateFile(set);
  DataSetInfo fresh;
  fresh.FileNo = i.FileNo;
  Stats_Clear(fresh.Stats);
  i = fresh;
}

}  // namespace hygro
