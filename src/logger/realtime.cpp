// Real-time measurement: one sample, or a continuous run at an interval.
#include <cmath>

#include "data/formats.h"
#include "data/userprompt.h"
#include "logger/conversions.h"
#include "logger/session.h"

namespace hygro {

namespace {
const QString kReal = QStringLiteral("real");
const QString kRealCon = QStringLiteral("real_con");
const QString kRenzoku = QStringLiteral("renzoku");

qint32 Raw16(const ReceiveBuffer& rx) { return rx.R(2) * 256 + rx.R(3); }
}  // namespace

void Session::putPlaceholder(double time) {
  // The sample is assembled here across the temperature and humidity
  // answers, never in a buffer a reader could load another record into
  // between the two.
  sample_ = MeasurementRecord{};
  sample_.Time = time;
  // The answers overwrite it; a failed exchange leaves it behind Points, so
  // the next measurement takes its place.
  data_.Put(RealTimeData, data_.info(RealTimeData).Points + 1, sample_);
}

void Session::Command1_Click() {
  if (busy() || !connected()) return;
  Q_EMIT dumpCleared();
  data_.Empty(RealTimeData);
  putPlaceholder(fmt::nowSerial());
  exchange_->Queue_Reset();
  exchange_->Command_Add(1, 25, 0, 0, kReal, 0);
  exchange_->Real_Read_Add(kReal, 0);
  exchange_->Command_Send();
}

bool Session::stopContinuation() {
  if (status_.RecState != kRenzoku) return false;
  continuation.stop();
  status_.RecState.clear();
  return true;
}

void Session::Command2_Click() {
  if (stopContinuation()) {
    if (busy()) {
      // A sample is on its way: the run ends once it has landed, so that it
      // is marked and offered for saving with the others.
      stopPending_ = true;
      Status_Disp();
      return;
    }
    completeRunStop();
    return;
  }
  if (busy() || !connected()) return;
  Q_EMIT dumpCleared();
  data_.Empty(RealTimeData);
  realtime_ = {};
  continuation.start(1000);
  ContinuationSeconds = 0;
  status_.RecState = kRenzoku;
  // On a whole second: a start half-way through one would let the
  // rounding of each stamp fall either way.
  runStart_ = std::round(fmt::nowSerial() * 86400.0) / 86400.0;
  runClock_.start();
  lastTickSecond_ = 0;
  putPlaceholder(runStart_);
  const int value = static_cast<int>(fmt::val(Combo5Text));
  data_.info(RealTimeData).Interval = Option4Minutes ? value * 60 : value;
  const quint8 fast = (value == 2 && !Option4Minutes) ? 1 : 0;
  exchange_->Queue_Reset();
  exchange_->Command_Add(1, 25, fast, fast, kRealCon, 0);
  exchange_->Real_Read_Add(kRealCon, 0);
  exchange_->Command_Send();
  Status_Disp();
}

void Session::continuationTick() {
  // Whole seconds since the run started, by the monotonic clock: a tick that
  // comes a little early or up to most of a second late still counts as its
  // own second, and ticks lost to a busy event loop are made up. Stamping
  // with the run's start plus whole seconds keeps the samples exactly the
  // interval apart once rounded to the second, unless an exchange really
  // held a sample back.
  const qint64 second = (runClock_.elapsed() + 100) / 1000;
  const double now = runStart_ + static_cast<double>(second) / 86400.0;
  ContinuationSeconds += static_cast<int>(qMax<qint64>(1, second - lastTickSecond_));
  lastTickSecond_ = second;
  const int value = static_cast<int>(fmt::val(Combo5Text));
  const int due = Option4Minutes ? value * 60 : value;
  if (due <= ContinuationSeconds && !busy()) {
    if (!connected()) return;
    putPlaceholder(now);
    exchange_->Queue_Reset();
    exchange_->Real_Read_Add(kRealCon, 0);
    exchange_->Command_Send();
    ContinuationSeconds = 0;
    return;
  }
  DataSetInfo& shown = data_.info(data_.DataSetIndex);
  if (shown.DisplayedPoints != shown.Points) {
    shown.DisplayedPoints = shown.Points;
    Q_EMIT dataSetChanged(data_.DataSetIndex);
  }
}

void Session::completeRunStop() {
  finishRealtimeRun();
  if (connected() && !busy()) {
    exchange_->Queue_Reset();
    Status_Read();
    exchange_->Command_Send();
  }
  Data_Save_Ask(RealTimeData, QStringLiteral("Is the measurement data preserved?"));
  Status_Disp();
}

void Session::finishRealtimeRun() {
  if (data_.info(RealTimeData).Points > 0) {
    Stats_Mark(data_, RealTimeData);
    Q_EMIT dataSetChanged(RealTimeData);
  }
}

void Session::registerRealtimeBranches() {
  exchange_->setBranch(22, [this](QueuedCommand& e, const ReceiveBuffer& rx) {
    DataSetInfo& rt = data_.info(RealTimeData);
    if (rt.Points >= kMaxPoints) {
      // No room for another sample: the run ends here rather than overwrite
      // its last one again and again.
      if (prompt_)
        prompt_->message(QStringLiteral("The real-time data are full.\r\rThe measurement was "
                                        "stopped at %1 points.")
                             .arg(kMaxPoints),
                         ModelName());
      if (stopContinuation()) stopPending_ = true;
      exchange_->Pro_End();
      return BranchResult::Ended;
    }
    ++rt.Points;
    qint32 raw = Raw16(rx);
    if (e.CommMode != kReal && rt.Interval == 2) raw *= kLowResTemperatureFactor;
    if (!TemperaturePlausible(TemperatureFromRaw(raw))) {
      --rt.Points;
      exchange_->Answer_Reject(ImplausibleAnswerText(
          QStringLiteral("temperature %1 C").arg(double(TemperatureFromRaw(raw)), 0, 'f', 2)));
      return BranchResult::Ended;
    }
    sample_.Temperature = TemperatureFromRaw(raw);
    data_.Put(RealTimeData, rt.Points, sample_);
    return BranchResult::Advance;
  });
  exchange_->setBranch(21, [this](QueuedCommand& e, const ReceiveBuffer& rx) {
    DataSetInfo& rt = data_.info(RealTimeData);
    if (rt.Points <= 0) return BranchResult::Advance;
    qint32 raw = Raw16(rx);
    if (e.CommMode != kReal && rt.Interval == 2) raw *= kLowResHumidityFactor;
    MeasurementRecord& rec = sample_;
    rec.Humidity = HumidityFromRaw(raw, rec.Temperature);
    if (!HumidityPlausible(rec.Humidity)) {
      --rt.Points;
      exchange_->Answer_Reject(ImplausibleAnswerText(
          QStringLiteral("humidity %1 %RH").arg(double(rec.Humidity), 0, 'f', 2)));
      return BranchResult::Ended;
    }
    realtime_.Label2 = fmt::singleToString(rec.Temperature) + QStringLiteral(" C");
    realtime_.Label4 = fmt::formatHashDot00(rec.Humidity) + QStringLiteral(" %RH");
    realtime_.Label10 = fmt::formatDateTime(rec.Time);
    rec.Block = 1.0f;
    data_.Put(RealTimeData, rt.Points, rec);
    data_.DataSetIndex = RealTimeData;
    rt.Modified = true;
    Stats_Add(rec, rt.Points, rt.Stats);
    Q_EMIT realtimeSample(rt.Points);
    // A single measurement is complete here; a run is marked when it stops.
    if (e.CommMode == kReal) finishRealtimeRun();
    return BranchResult::Advance;
  });
}

}  // namespace hygro
