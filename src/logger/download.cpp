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
#include "logger/download.h"

#include <algorithm>

#include "data/dataview.h"
#include "data/formats.h"
#include "data/userprompt.h"
#include "logger/conversions.h"
#include "logger/session.h"

namespace hygro {

namespace {
constexpr CommMode kDownload = CommMode::Download;
constexpr CommMode kKiroten = CommMode::Kiroten;
constexpr int kSegmentTableAddress = 0xF000;
constexpr int kMaxTableEntries = 150;
constexpr int kMaxSegments = 101;  // entries 0..100 count for the current log
const QChar kIdeographicSpace(0x3000);
}  // namespace

DownloadOperation::DownloadOperation(Session& session, LoggerStatus& status)
    : Operation(session, status) {
  Download_Timer.setObjectName(QStringLiteral("Download_Timer"));
  connect(&Download_Timer, &QTimer::timeout, this, &DownloadOperation::watchdog);
  registerBranches();
}

void DownloadOperation::Command5_Click() {
  if (busy() || !connected()) return;
  if (!LogHeld(st())) {
    prompt()->message(QStringLiteral("No download data."), model());
    return;
  }
  s_.Data_Save_Ask(LogData, QuestionId::SaveLogBeforeDownload);
  // The question's dialogs run the event loop: something else may have
  // started meanwhile, or the logger gone.
  if (busy() || !connected()) return;
  Q_EMIT started();
  data().EmptyPoints(LogData);
  Q_EMIT s_.dumpCleared(false);
  s_.realtime().clearLabels();
  s_.statusOp().Status_Disp();
  collectCount_ = 0;
  entriesRead_ = 0;
  endAddress_ = 0;
  cancelled_ = false;
  table_.clear();
  segments_.clear();
  watchdogCount_ = 0;
  kept_ = false;
  downloading_ = true;

  Exchange& x = this->x();
  x.Queue_Reset();
  x.Command_Add(1, 12, 14, 0, kDownload);
  s_.statusOp().Status_Read(kDownload);
  x.Command_Add(1, 8, kSegmentTableAddress >> 8, kSegmentTableAddress & 0xFF, kKiroten);
  send();
}

void DownloadOperation::Download_Cancel() {
  // Once asked for, the points stream in whatever the program does, and any
  // exchange started meanwhile would take them for its answers. So a cancel
  // stops the watchdog and nothing else: the download completes as the points
  // arrive, however slowly. Should they stop coming, the log is not kept in
  // part: the download ends when the logger goes or is disconnected, with
  // its message.
  if (!downloading_) return;
  cancelled_ = true;
  Download_Timer.stop();
}

bool DownloadOperation::Download_Mark() {
  if (busy() || !connected() || !kept_) return false;
  x().Queue_Reset();
  x().Command_Add(1, 56, 0, 0, CommMode::None);
  send();
  return true;
}

void DownloadOperation::registerBranches() {
  x().setBranch(8,
                [this](QueuedCommand& e, const ReceiveBuffer& rx) { return segmentAnswer(e, rx); });
  x().setBranch(44,
                [this](QueuedCommand& e, const ReceiveBuffer& rx) { return pointAnswer(e, rx); });
  x().setBranch(56, [this](QueuedCommand&, const ReceiveBuffer&) {
    st().NeverDownloaded = false;
    return BranchResult::Advance;
  });
}

BranchResult DownloadOperation::segmentAnswer(QueuedCommand& e, const ReceiveBuffer& rx) {
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
  seg.start = erased ? st().StartTime : LoggerTimeFromBcd(collect_.data());
  if (seg.start == 0) seg.start = st().StartTime;
  seg.count = collect_[6] * 256 + collect_[7];
  ++entriesRead_;
  const bool older = seg.start < st().StartTime;
  if (!older && !erased && static_cast<int>(table_.size()) < kMaxSegments) table_.push_back(seg);
  const bool more = address < 0xFFFF && !older && !erased && entriesRead_ < kMaxTableEntries;
  if (more) return sendAt(address);
  beginPointStream();
  return BranchResult::Advance;
}

void DownloadOperation::beginPointStream() {
  // The log keeps the descriptor it is downloaded with: the status read just
  // queued before the table describes it. What a later status read finds
  // belongs to the logger's next log, never to this one.
  DataSetInfo& log = data().info(LogData);
  log.Interval = st().LogInterval;
  log.UpperRaw = st().UpperRaw;
  log.UpperOn = st().UpperOn;
  log.LowerRaw = st().LowerRaw;
  log.LowerOn = st().LowerOn;
  log.Model = model();
  log.Name = st().IdentName;
  const bool wrapped = st().LoopMode != 0 && st().Wrapped != 0;
  total_ =
      wrapped ? kLoggerCapacityPoints : static_cast<qint32>(st().RecordedBytes / kBytesPerPoint);
  total_ = std::min(total_, kLoggerCapacityPoints);
  endAddress_ = total_ * kBytesPerPoint;

  // Settle the counts: every segment but the last keeps its own count (never
  // more than is left); the last takes the rest.
  segments_ = table_;
  if (segments_.empty()) segments_.push_back({st().StartTime, 0});
  qint32 left = total_;
  for (size_t i = 0; i + 1 < segments_.size(); ++i) {
    segments_[i].count = std::clamp<qint32>(segments_[i].count, 0, left);
    left -= segments_[i].count;
  }
  segments_.back().count = left;

  Q_EMIT progress(0, total_,
                  QStringLiteral("ダウンロード") + kIdeographicSpace + QStringLiteral("(0/") +
                      QString::number(total_) + QLatin1Char(')'));
  watchdogCount_ = 0;
  if (total_ == 0) {
    finish();
    return;
  }
  if (!cancelled_) Download_Timer.start(watchdogMs_);
  // Points are written to the scratch file in groups: one write per point
  // cost more than the rest of the download. A crash loses at most a group,
  // and the logger still holds them, marked as never downloaded.
  data().beginBulk(LogData);
  x().Command_Add(1, 44, static_cast<quint8>(endAddress_ >> 8),
                  static_cast<quint8>(endAddress_ & 0xFF), kDownload, 0);
}

double DownloadOperation::pointTime(int index) const {
  const double interval = data().info(LogData).Interval / fmt::kSecondsPerDay;
  for (const Segment& s : segments_) {
    if (index < s.count) return s.start + index * interval;
    index -= s.count;
  }
  return segments_.empty() ? 0 : segments_.back().start + index * interval;
}

BranchResult DownloadOperation::pointAnswer(QueuedCommand& e, const ReceiveBuffer& rx) {
  if (!downloading_) return BranchResult::Hold;  // a straggler of a stream already given up
  DataSetInfo& log = data().info(LogData);
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
  log.Modified = true;
  // A scratch file that refuses the record (a full disk) has said so once;
  // the record is held in memory all the same, so the download goes on and
  // the log can still be saved where there is room.
  data().Put(LogData, log.Points, rec);
  Stats_Add(rec, log.Points, log.Stats);
  e.Tag += kBytesPerPoint;
  watchdogCount_ = 0;
  Q_EMIT progress(log.Points, total_,
                  QStringLiteral("Download") + kIdeographicSpace + QLatin1Char('(') +
                      QString::number(log.Points) + QLatin1Char('/') + QString::number(total_) +
                      QLatin1Char(')'));
  if (e.Tag < endAddress_) return BranchResult::Hold;
  finish();
  return BranchResult::Advance;
}

void DownloadOperation::finish() {
  data().endBulk(LogData);
  Download_Timer.stop();
  downloading_ = false;
  cancelled_ = false;
  // Only a log kept elsewhere (the archive) may be forgotten by the logger.
  kept_ = !keep_ || keep_();
  if (markAtOnce_ && kept_) x().Command_Add(1, 56, 0, 0, CommMode::None);
  // The log just downloaded is what the user sees next, all of it.
  dataView().setDataSetIndex(LogData);
  dataView().fitTime(data(), LogData);
  if (data().info(LogData).Points > 0) {
    Stats_Mark(data(), LogData);
    Q_EMIT s_.extremesMarked(LogData);
  }
  Q_EMIT s_.dataSetChanged(LogData);
  Q_EMIT finished(true);
}

void DownloadOperation::watchdog() {
  if (++watchdogCount_ <= kWatchdogTicks) return;
  failed(true);
}

void DownloadOperation::cutShort(bool say) {
  Download_Timer.stop();
  failed(false, say);
}

void DownloadOperation::exchangeEnded() { cutShort(); }

void DownloadOperation::failed(bool endExchange, bool say) {
  if (!downloading_) return;
  data().endBulk(LogData);
  Download_Timer.stop();
  watchdogCount_ = 0;
  downloading_ = false;
  cancelled_ = false;
  if (say) prompt()->message(QStringLiteral("It failed in download."), model());
  data().EmptyPoints(LogData);
  Q_EMIT finished(false);
  Q_EMIT s_.dataSetChanged(LogData);
  if (endExchange) x().Pro_End();
}

}  // namespace hygro
