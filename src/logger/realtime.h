#pragma once
// Real-time measurement: one sample, or a continuous run at an interval.
#include <QTimer>

#include "data/record.h"
#include "link/frame.h"
#include "logger/operation.h"

namespace hygro {

class RealtimeOperation : public Operation {
  Q_OBJECT
 public:
  RealtimeOperation(Session& session, LoggerStatus& status);
  struct Labels {
    QString Label2, Label4, Label10;
  };
  void Command1_Click();
  void Command2_Click();
  // The interval of the next continuous run and of the run going on: the
  // value of the interval box ("Combo5") and its unit ("Min" or "Sec"). A
  // value that is no number counts as 0.
  void setContinuousInterval(const QString& value, bool minutes);
  int continuousIntervalSeconds() const;
  bool running() const;
  const Labels& labels() const { return labels_; }
  void clearLabels() { labels_ = {}; }
  // Ends a run without a question: the program is closing or the logger went.
  void endRun();
  // An exchange has ended: a run stopped while its last sample was on its
  // way ends now, outside the answer's handling (its end asks a question).
  void exchangeEnded();
  // The continuation timer's tick, every ContinuationIntervalMs while a run
  // is on: counts the seconds and takes a sample when one is due.
  void continuation_Timer();
  // Tests lengthen it and tick by hand on a clock of their own.
  int ContinuationIntervalMs = 1000;

 Q_SIGNALS:
  // A sample of a real-time measurement has been completed.
  void sample(int recordNo);

 private:
  void registerBranches();
  void putPlaceholder(double time);
  // Both values of the sample are in: it joins the set, which is shown.
  void completeSample(CommMode mode);
  void finishRun();
  // The end of a continuous run: extremes marked, the status read, the save
  // question.
  void completeStop();
  // Stops the continuation timer and leaves the run; false when none was on.
  bool stopContinuation();
  bool askBeforeOverwrite();

  QString intervalText_ = QStringLiteral("5");
  bool minutes_ = false;
  int ContinuationSeconds = 0;
  QTimer continuation;
  bool stopPending_ = false;  // stopped while a sample was on its way
  MeasurementRecord sample_;  // the sample being assembled
  // A run's stamps: the wall clock at a whole second of the run, and that
  // second, counted on the steady clock from the run's start.
  qint64 runStartMs_ = 0;
  double anchorWall_ = 0;
  qint64 anchorSecond_ = 0;
  qint64 lastTickSecond_ = 0;
  Labels labels_;
};

}  // namespace hygro
