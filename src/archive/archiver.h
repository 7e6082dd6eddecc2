#pragma once
// Puts what a session takes from the logger into the archive: every completed
// download before the logger is told it is downloaded (the download's keeper),
// with the logger clock's offset read afterwards, and every continuous
// real-time run once it has ended. The window and the command-line tool
// attach one to their session.
#include <QObject>
#include <QString>
#include <optional>

#include "archive/archive.h"

namespace hygro {

class Session;

class SessionArchiver : public QObject {
  Q_OBJECT
 public:
  SessionArchiver(Session& session, Archive& archive, QObject* parent = nullptr);
  ~SessionArchiver() override;

  // The window reads the logger's clock as soon as the download's exchange
  // has ended; the tool, which tells the logger later, reads it itself with
  // readClock() once it is done with the logger.
  bool readClockAfterDownload = true;

  // Reads the logger's clock for the download kept last and stores its
  // offset; false when there is nothing to read for or the line is not free.
  // clockDone() follows a true.
  bool readClock();
  bool clockPending() const { return pendingClock_ != 0; }

  // Keeps into `archive` from now on (the window's choice changed).
  void setArchive(Archive& archive);

  // The last download's fate: kept (and where), or why not.
  const std::optional<ArchiveStored>& lastKept() const { return lastKept_; }
  const QString& lastError() const { return lastError_; }

  // The logger as the session knows it now, and the USB serial of its bridge.
  static ArchiveLogger LoggerOf(Session& session, int set);
  static QString BridgeSerial(Session& session);

  static QString NotKeptText(const QString& why);
  static QString RunNotKeptText(const QString& why);

 Q_SIGNALS:
  void kept(const hygro::ArchiveStored& stored, hygro::ArrivalKind kind);
  void clockDone(std::optional<qint64> offsetSeconds);

 private:
  bool keepDownload();
  void keepRun();

  Session& s_;
  Archive* archive_;
  bool reading_ = false;  // the clock reading asked for by readClock()
  std::optional<ArchiveStored> lastKept_;
  QString lastError_;
  qint64 pendingClock_ = 0;  // the arrival waiting for the clock's offset
  bool runSeen_ = false;     // samples of a continuous run since the last kept run
};

}  // namespace hygro
