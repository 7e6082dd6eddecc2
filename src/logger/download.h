#pragma once
// Log download: the segment table first, then the points as one stream.
#include <QTimer>
#include <array>
#include <functional>
#include <vector>

#include "link/exchange.h"
#include "logger/operation.h"

namespace hygro {

class DownloadOperation : public Operation {
  Q_OBJECT
 public:
  DownloadOperation(Session& session, LoggerStatus& status);
  static constexpr int kWatchdogTicks = 10;
  // The watchdog's tick; tests may shorten it.
  void setWatchdogInterval(int ms) {
    watchdogMs_ = ms;
    if (Download_Timer.isActive()) Download_Timer.setInterval(ms);
  }
  void Command5_Click();
  // Stops the download's watchdog, and only that: points already asked for
  // still arrive and complete the download, however slowly they come.
  void Download_Cancel();
  bool downloading() const { return downloading_; }
  // The window has the logger mark its log downloaded (56) as soon as the
  // last point is in. A client that first saves the log elsewhere turns this
  // off and calls Download_Mark() once the log is safe, so a failed save
  // never leaves the logger free to erase a log nobody kept.
  void setMarkAtOnce(bool atOnce) { markAtOnce_ = atOnce; }
  // Queues and sends the mark. False (nothing sent) while an exchange runs,
  // without a logger, or when the keeper could not keep the last download.
  bool Download_Mark();
  // Keeps a completed download (the archive) before the logger may be told
  // it is downloaded: called once the last point is in. While it returns
  // false, having said why, no mark is sent for that download.
  void setKeeper(std::function<bool()> keep) { keep_ = std::move(keep); }
  // A download cut short from outside (the logger gone or disconnected, the
  // program closing) keeps no part of the log: the logger still holds all of
  // it, never marked downloaded. `say` is false only when nobody is left to
  // tell. Nothing happens when no download runs.
  void cutShort(bool say = true);
  // An exchange has ended: a download still running was cut short.
  void exchangeEnded();
  struct Segment {
    double start = 0;
    qint32 count = 0;
  };
  const std::vector<Segment>& segments() const { return segments_; }

 Q_SIGNALS:
  void started();
  void progress(int done, int total, const QString& caption);
  void finished(bool ok);

 private:
  void registerBranches();
  void watchdog();
  // A download that ends before its last point (the watchdog, the logger
  // gone, the exchange given up or disconnected) keeps no part of the log.
  void failed(bool endExchange, bool say = true);
  BranchResult segmentAnswer(QueuedCommand& entry, const ReceiveBuffer& rx);
  BranchResult pointAnswer(QueuedCommand& entry, const ReceiveBuffer& rx);
  void beginPointStream();
  void finish();
  double pointTime(int index) const;

  int watchdogMs_ = 100;
  QTimer Download_Timer;
  bool markAtOnce_ = true;
  std::function<bool()> keep_;
  bool kept_ = false;  // the last download is kept, so it may be marked
  bool downloading_ = false;
  bool cancelled_ = false;  // the watchdog was turned off
  int watchdogCount_ = 0;
  std::array<quint8, 8> collect_{};
  int collectCount_ = 0;
  int entriesRead_ = 0;
  std::vector<Segment> table_;     // as read
  std::vector<Segment> segments_;  // of the current log, counts settled
  qint32 total_ = 0;
  qint32 endAddress_ = 0;
};

}  // namespace hygro
