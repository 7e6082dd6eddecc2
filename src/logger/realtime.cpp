// Real-time measurement: one sample, or a continuous run at an interval.
#include "logger/realtime.h"

#include <cmath>

#include "data/dataview.h"
#include "data/formats.h"
#include "data/userprompt.h"
#include "logger/conversions.h"
#include "logger/session.h"

namespace hygro {

namespace {
qint32 Raw16(const ReceiveBuffer& rx) { return rx.R(2) * 256 + rx.R(3); }

using fmt::kSecondsPerDay;
// How far the wall clock may drift from the steady count before it counts as
// set (a daylight-saving change, the user, a time service stepping it).
constexpr double kClockJumpSeconds = 2.0;

double WholeSecond(double serial) { return std::round(serial * kSecondsPerDay) / kSecondsPerDay; }
}  // namespace

RealtimeOperation::RealtimeOperation(Session& session, LoggerStatus& status)
    : Operation(session, status) {
  continuation.setObjectName(QStringLiteral("continuation"));
  // A coarse timer may fire early and make a second of the run too short.
  continuation.setTimerType(Qt::PreciseTimer);
  connect(&continuation, &QTimer::timeout, this, &RealtimeOperation::continuation_Timer);
  registerBranches();
}

void RealtimeOperation::setContinuousInterval(const QString& value, bool minutes) {
  intervalText_ = value;
  minutes_ = minutes;
}

int RealtimeOperation::continuousIntervalSeconds() const {
  const int value = static_cast<int>(fmt::val(intervalText_));
  return minutes_ ? value * 60 : value;
}

bool RealtimeOperation::running() const { return st().RecState == RecState::Continuous; }

void RealtimeOperation::endRun() {
  if (stopContinuation()) finishRun();
}

bool RealtimeOperation::askBeforeOverwrite() {
  // A single sample is replaced by the next without a word; the samples of a
  // run are worth a question.
  if (data().info(RealTimeData).Points > 1)
    s_.Data_Save_Ask(RealTimeData, QuestionId::SaveRealBeforeRun);
  // The question's dialogs run the event loop: something else may have
  // started meanwhile.
  return !busy() && connected();
}

void RealtimeOperation::putPlaceholder(double time) {
  // The sample is assembled here across the temperature and humidity
  // answers, never in a buffer a reader could load another record into
  // between the two.
  sample_ = MeasurementRecord{};
  sample_.Time = time;
  // The answers overwrite it; a failed exchange leaves it behind Points, so
  // the next measurement takes its place.
  data().Put(RealTimeData, data().info(RealTimeData).Points + 1, sample_);
}

void RealtimeOperation::Command1_Click() {
  if (busy() || !connected()) return;
  if (!askBeforeOverwrite()) return;
  Q_EMIT s_.dumpCleared(false);
  data().Empty(RealTimeData);
  putPlaceholder(clock().now());
  x().Queue_Reset();
  x().Command_Add(1, 25, 0, 0, CommMode::Real, 0);
  x().Real_Read_Add(CommMode::Real, 0);
  send();
}

bool RealtimeOperation::stopContinuation() {
  if (st().RecState != RecState::Continuous) return false;
  continuation.stop();
  st().RecState = RecState::Idle;
  return true;
}

void RealtimeOperation::Command2_Click() {
  if (stopContinuation()) {
    if (busy()) {
      // A sample is on its way: the run ends once it has landed, so that it
      // is marked and offered for saving with the others.
      stopPending_ = true;
      s_.statusOp().Status_Disp();
      return;
    }
    completeStop();
    return;
  }
  if (busy() || !connected()) return;
  if (!askBeforeOverwrite()) return;
  Q_EMIT s_.dumpCleared(true);
  data().Empty(RealTimeData);
  labels_ = {};
  continuation.start(ContinuationIntervalMs);
  ContinuationSeconds = 0;
  st().RecState = RecState::Continuous;
  // On a whole second: a start half-way through one would let the
  // rounding of each stamp fall either way.
  runStartMs_ = clock().steadyMs();
  anchorWall_ = WholeSecond(clock().now());
  anchorSecond_ = 0;
  lastTickSecond_ = 0;
  putPlaceholder(anchorWall_);
  const int value = static_cast<int>(fmt::val(intervalText_));
  data().info(RealTimeData).Interval = continuousIntervalSeconds();
  const quint8 fast = (value == 2 && !minutes_) ? 1 : 0;
  x().Queue_Reset();
  x().Command_Add(1, 25, fast, fast, CommMode::RealCon, 0);
  x().Real_Read_Add(CommMode::RealCon, 0);
  send();
  s_.statusOp().Status_Disp();
}

void RealtimeOperation::continuation_Timer() {
  if (!running()) return;
  // Whole seconds since the run started, by the steady clock: a tick that
  // comes a little early or up to most of a second late still counts as its
  // own second, and ticks lost to a busy event loop are made up. Stamping
  // with whole seconds from a wall-clock anchor keeps the samples exactly the
  // interval apart once rounded to the second, unless an exchange really
  // held a sample back.
  const qint64 ms = clock().steadyMs() - runStartMs_;
  const qint64 second = (ms + 100) / 1000;
  // A sample carries the wall-clock time it was taken: when the wall clock
  // has left the steady count (set back at the end of summer time, or set
  // by hand), the anchor moves to where it shows now.
  const double wall = clock().now();
  const double counted =
      anchorWall_ + static_cast<double>(ms - anchorSecond_ * 1000) / (kSecondsPerDay * 1000.0);
  if (std::abs(wall - counted) * kSecondsPerDay > kClockJumpSeconds) {
    anchorWall_ =
        WholeSecond(wall - static_cast<double>(ms - second * 1000) / (kSecondsPerDay * 1000.0));
    anchorSecond_ = second;
  }
  const double now = anchorWall_ + static_cast<double>(second - anchorSecond_) / kSecondsPerDay;
  ContinuationSeconds += static_cast<int>(qMax<qint64>(1, second - lastTickSecond_));
  lastTickSecond_ = second;
  if (continuousIntervalSeconds() <= ContinuationSeconds && !busy()) {
    if (!connected()) return;
    putPlaceholder(now);
    x().Queue_Reset();
    x().Real_Read_Add(CommMode::RealCon, 0);
    send();
    ContinuationSeconds = 0;
    return;
  }
  const int shownSet = dataView().DataSetIndex();
  DataSetInfo& shown = data().info(shownSet);
  if (shown.DisplayedPoints != shown.Points) {
    shown.DisplayedPoints = shown.Points;
    Q_EMIT s_.dataSetChanged(shownSet);
  }
}

void RealtimeOperation::exchangeEnded() {
  if (!stopPending_) return;
  stopPending_ = false;
  QTimer::singleShot(0, this, &RealtimeOperation::completeStop);
}

void RealtimeOperation::completeStop() {
  finishRun();
  if (connected() && !busy()) {
    x().Queue_Reset();
    s_.statusOp().Status_Read();
    send();
  }
  s_.Data_Save_Ask(RealTimeData, QuestionId::SaveRunAtStop);
  s_.statusOp().Status_Disp();
}

void RealtimeOperation::finishRun() {
  if (data().info(RealTimeData).Points > 0) {
    Stats_Mark(data(), RealTimeData);
    Q_EMIT s_.extremesMarked(RealTimeData);
    Q_EMIT s_.dataSetChanged(RealTimeData);
  }
}

void RealtimeOperation::completeSample(CommMode mode) {
  MeasurementRecord& rec = sample_;
  DataSetInfo& rt = data().info(RealTimeData);
  labels_.Label2 = fmt::singleToString(rec.Temperature) + QStringLiteral(" C");
  labels_.Label4 = fmt::formatHashDot00(rec.Humidity) + QStringLiteral(" %RH");
  labels_.Label10 = fmt::formatDateTime(rec.Time);
  rec.Block = 1.0f;
  data().Put(RealTimeData, rt.Points, rec);
  // The measurement brings the real-time set on display with each sample.
  dataView().setDataSetIndex(RealTimeData);
  // A new measurement or run starts with all of it in the window.
  if (rt.Points == 1) dataView().fitTime(data(), RealTimeData);
  rt.Modified = true;
  Stats_Add(rec, rt.Points, rt.Stats);
  Q_EMIT sample(rt.Points);
  // A single measurement is complete here; a run is marked when it stops.
  if (mode == CommMode::Real) finishRun();
}

void RealtimeOperation::registerBranches() {
  x().setBranch(22, [this](QueuedCommand& e, const ReceiveBuffer& rx) {
    DataSetInfo& rt = data().info(RealTimeData);
    if (rt.Points >= kMaxPoints) {
      // No room for another sample: the run ends here rather than overwrite
      // its last one again and again.
      prompt()->message(QStringLiteral("The real-time data are full.\r\rThe measurement was "
                                       "stopped at %1 points.")
                            .arg(kMaxPoints),
                        model());
      if (stopContinuation()) stopPending_ = true;
      x().Pro_End();
      return BranchResult::Ended;
    }
    ++rt.Points;
    qint32 raw = Raw16(rx);
    const bool lowRes = e.CommMode != CommMode::Real && rt.Interval == 2;
    const bool plausible = TemperatureCountPlausible(raw, lowRes);
    if (lowRes) raw *= kLowResTemperatureFactor;
    if (!plausible) {
      --rt.Points;
      x().Answer_Reject(ImplausibleAnswerText(
          QStringLiteral("temperature %1 C").arg(double(TemperatureFromRaw(raw)), 0, 'f', 2)));
      return BranchResult::Ended;
    }
    sample_.Temperature = TemperatureFromRaw(raw);
    data().Put(RealTimeData, rt.Points, sample_);
    return BranchResult::Advance;
  });
  x().setBranch(21, [this](QueuedCommand& e, const ReceiveBuffer& rx) {
    DataSetInfo& rt = data().info(RealTimeData);
    if (rt.Points <= 0) return BranchResult::Advance;
    qint32 raw = Raw16(rx);
    const bool lowRes = e.CommMode != CommMode::Real && rt.Interval == 2;
    const bool plausible = HumidityCountPlausible(raw, lowRes);
    if (lowRes) raw *= kLowResHumidityFactor;
    MeasurementRecord& rec = sample_;
    rec.Humidity = HumidityFromRaw(raw, rec.Temperature);
    if (!plausible) {
      --rt.Points;
      x().Answer_Reject(ImplausibleAnswerText(
          QStringLiteral("humidity %1 %RH").arg(double(rec.Humidity), 0, 'f', 2)));
      return BranchResult::Ended;
    }
    completeSample(e.CommMode);
    return BranchResult::Advance;
  });
}

}  // namespace hygro
