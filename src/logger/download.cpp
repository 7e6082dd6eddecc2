// Log download: the segment table first, then the points as one stream.
//
// Segments: the table at 0xF000 holds one 8-byte entry per start of recording
// (BCD start time, point count). Reading stops at 0xFFFF, at 150 entries, at
// an entry older than the log's start, or at an erased entry: nothing is ever
// written after an erased entry, so reading on would only cost exchanges. A
// table with no written entry at all stands for one segment from the log's
// start time.
// Points are then given to the segments in table order, each taking its
// count; the last segment takes whatever remains, so a table that disagrees
// with the point total can neither lose points nor invent times past the end.
#include <algorithm>

#include "data/formats.h"
#include "data/userprompt.h"
#include "logger/conversions.h"
#include "logger/session.h"

namespace hygro {

namespace {
const QString kDownload = QStringLiteral("download");
const QString kKiroten = QStringLiteral("kiroten");
constexpr int kSegmentTableAddress = 0xF000;
constexpr int kMaxTableEntries = 150;
constexpr int kMaxSegments = 101;  // entries 0..100 count for the current log
const QChar kIdeographicSpace(0x3000);
}  // namespace

void Session::Command5_Click() {
  if (busy() || !connected()) return;
  if (status_.RecordedBytes == 0 && status_.Wrapped == 0) {
    if (prompt_) prompt_->message(QStringLiteral("No download data."), ModelName());
    return;
  }
  Data_Save_Ask(LogData, QStringLiteral("The data previously downloaded is not preserved. \rDo you "
                                        "preserve it?"));
  Q_EMIT downloadStarted();
  data_.EmptyPoints(LogData);
  Q_EMIT dumpCleared();
  realtime_ = {};
  Status_Disp();
  Q_EMIT controlsLocked();
  collectCount_ = 0;
  entriesRead_ = 0;
  endAddress_ = 0;
  cancelled_ = false;
  table_.clear();
  segments_.clear();
  watchdogCount_ = 0;
  downloading_ = true;

  Exchange& x = *exchange_;
  x.Queue_Reset();
  x.Command_Add(1, 12, 14, 0, kDownload);
  Status_Read(kDownload);
  x.Command_Add(1, 8, kSegmentTableAddress >> 8, kSegmentTableAddress & 0xFF, kKiroten);
  x.Command_Send();
}

void Session::Download_Cancel() {
  if (!downloading_ || cancelled_) return;
  if (endAddress_ == 0) {
    // Still reading the status or the segment table: nothing streams yet.
    Download_Timer.stop();
    exchange_->Pro_End();
    return;
  }
  // Once asked for, the points stream in whatever the program does, and any
  // exchange started meanwhile would take them for its answers. So a cancel
  // stops the watching only: the points still coming are kept and the
  // download ends as it would have. A stream that falls silent now ends the
  // download quietly, keeping what came.
  cancelled_ = true;
}

bool Session::Download_Mark() {
  if (busy() || !connected()) return false;
  exchange_->Queue_Reset();
  exchange_->Command_Add(1, 56, 0, 0, QString());
  exchange_->Command_Send();
  return true;
}

void Session::registerDownloadBranches() {
  exchange_->setBranch(
      8, [this](QueuedCommand& e, const ReceiveBuffer& rx) { return segmentAnswer(e, rx); });
  exchange_->setBranch(
      44, [this](QueuedCommand& e, const ReceiveBuffer& rx) { return pointAnswer(e, rx); });
  exchange_->setBranch(56, [this](QueuedCommand&, const ReceiveBuffer&) {
    data_.info(LogData).Modified = false;
    return BranchResult::Advance;
  });
}

BranchResult Session::segmentAnswer(QueuedCommand& e, const ReceiveBuffer& rx) {
  if (e.CommMode != kKiroten) return BranchResult::Advance;
  for (int k = 0; k < 4 && collectCount_ < 8; ++k)
    collect_[static_cast<size_t>(collectCount_++)] = rx.R(k);
  const int address = e.P2 * 256 + e.P3 + 4;
  auto sendAt = [&e](int addr) {
    e.P2 = static_cast<quint8>((addr >> 8) & 0xFF);
    e.P3 = static_cast<quint8>(addr & 0xFF);
    return BranchResult::Resend;
  };
  if (collectCount_ < 8) return sendAt(address);

  collectCount_ = 0;
  const bool erased = collect_[1] == 0xFF;
  Segment seg;
  seg.start = erased ? status_.StartTime : LoggerTimeFromBcd(collect_.data());
  if (seg.start == 0) seg.start = status_.StartTime;
  seg.count = collect_[6] * 256 + collect_[7];
  ++entriesRead_;
  const bool older = seg.start < status_.StartTime;
  if (!older && !erased && static_cast<int>(table_.size()) < kMaxSegments) table_.push_back(seg);
  const bool more = address < 0xFFFF && !older && !erased && entriesRead_ < kMaxTableEntries;
  if (more) return sendAt(address);
  beginPointStream();
  return BranchResult::Advance;
}

void Session::beginPointStream() {
  const bool wrapped = status_.LoopMode != 0 && status_.Wrapped != 0;
  downloadTotal_ =
      wrapped ? kLoggerCapacityPoints : static_cast<qint32>(status_.RecordedBytes / kBytesPerPoint);
  downloadTotal_ = std::min(downloadTotal_, kLoggerCapacityPoints);
  endAddress_ = downloadTotal_ * kBytesPerPoint;

  // Settle the counts: every segment but the last keeps its own count (never
  // more than is left); the last takes the rest.
  segments_ = table_;
  if (segments_.empty()) segments_.push_back({status_.StartTime, 0});
  qint32 left = downloadTotal_;
  for (size_t i = 0; i + 1 < segments_.size(); ++i) {
    segments_[i].count = std::clamp<qint32>(segments_[i].count, 0, left);
    left -= segments_[i].count;
  }
  segments_.back().count = left;

  Q_EMIT downloadProgress(0, downloadTotal_,
                          QStringLiteral("ダウンロード") + kIdeographicSpace +
                              QStringLiteral("(0/") + QString::number(downloadTotal_) +
                              QLatin1Char(')'));
  watchdogCount_ = 0;
  if (downloadTotal_ == 0) {
    finishDownload();
    return;
  }
  Download_Timer.start(DownloadWatchdogMs);
  // Points are written to the scratch file in groups: one write per point
  // cost more than the rest of the download. A crash loses at most a group,
  // and the logger still holds them, marked as never downloaded.
  data_.beginBulk(LogData);
  exchange_->Command_Add(1, 44, static_cast<quint8>(endAddress_ >> 8),
                         static_cast<quint8>(endAddress_ & 0xFF), kDownload, 0);
}

double Session::pointTime(int index) const {
  const double interval = data_.info(LogData).Interval / 86400.0;
  for (const Segment& s : segments_) {
    if (index < s.count) return s.start + index * interval;
    index -= s.count;
  }
  return segments_.empty() ? 0 : segments_.back().start + index * interval;
}

BranchResult Session::pointAnswer(QueuedCommand& e, const ReceiveBuffer& rx) {
  if (!downloading_) return BranchResult::Hold;  // a straggler of a stream already given up
  DataSetInfo& log = data_.info(LogData);
  qint32 st = rx.R(0) * 256 + rx.R(1);
  qint32 sh = rx.R(2) * 256 + rx.R(3);
  if (log.Interval <= 2) {
    st *= kLowResTemperatureFactor;
    sh *= kLowResHumidityFactor;
  }
  MeasurementRecord rec;
  const int index = log.Points;
  rec.Temperature = TemperatureFromRaw(st);
  rec.Humidity = HumidityFromRaw(sh, rec.Temperature);
  rec.Time = pointTime(index);
  int block = 1;
  for (int i = 0, n = index; i < static_cast<int>(segments_.size()); ++i) {
    if (n < segments_[static_cast<size_t>(i)].count) {
      block = i + 1;
      break;
    }
    n -= segments_[static_cast<size_t>(i)].count;
  }
  rec.Block = static_cast<float>(block);
  ++log.Points;
  log.Unsaved = true;
  // A scratch file that refuses the record (a full disk) has said so once;
  // the record is held in memory all the same, so the download goes on and
  // the log can still be saved where there is room.
  data_.Put(LogData, log.Points, rec);
  Stats_Add(rec, log.Points, log.Stats);
  e.Tag += kBytesPerPoint;
  watchdogCount_ = 0;
  Q_EMIT downloadProgress(log.Points, downloadTotal_,
                          QStringLiteral("Download") + kIdeographicSpace + QLatin1Char('(') +
                              QString::number(log.Points) + QLatin1Char('/') +
                              QString::number(downloadTotal_) + QLatin1Char(')'));
  if (e.Tag < endAddress_) return BranchResult::Hold;
  finishDownload();
  return BranchResult::Advance;
}

void Session::finishDownload() {
  data_.endBulk(LogData);
  Download_Timer.stop();
  downloading_ = false;
  cancelled_ = false;
  if (MarkDownloadedAtOnce) exchange_->Command_Add(1, 56, 0, 0, QString());
  data_.DataSetIndex = LogData;
  if (data_.info(LogData).Points > 0) Stats_Mark(data_, LogData);
  Q_EMIT dataSetChanged(LogData);
  Q_EMIT downloadFinished(true);
}

void Session::downloadWatchdog() {
  if (++watchdogCount_ <= kWatchdogTicks) return;
  downloadFailed(true);
}

void Session::downloadFailed(bool endExchange) {
  if (!downloading_) return;
  data_.endBulk(LogData);
  // After a cancel nobody is watching any more: what came stays, without a word.
  if (!cancelled_) {
    if (prompt_) prompt_->message(QStringLiteral("It failed in download."), ModelName());
    data_.EmptyPoints(LogData);
  }
  downloadCutShort();
  if (endExchange) exchange_->Pro_End();
}

void Session::downloadCutShort() {
  data_.endBulk(LogData);
  Download_Timer.stop();
  watchdogCount_ = 0;
  downloading_ = false;
  cancelled_ = false;
  if (data_.info(LogData).Points > 0) data_.DataSetIndex = LogData;
  Q_EMIT downloadFinished(false);
  Q_EMIT dataSetChanged(LogData);
}

}  // namespace hygro
