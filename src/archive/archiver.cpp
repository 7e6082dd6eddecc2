#include "archive/archiver.h"

#include <QTimer>

#include "archive/archivecsv.h"
#include "data/userprompt.h"
#include "logger/session.h"

namespace hygro {

namespace {
const QString kUsbSerialIdentity = QStringLiteral("usb-serial:");

void stamp(ArchiveArrival& a) {
  const QDateTime now = QDateTime::currentDateTime();
  a.atUtc = now.toUTC();
  a.utcOffset = now.offsetFromUtc();
}
}  // namespace

SessionArchiver::SessionArchiver(Session& session, Archive& archive, QObject* parent)
    : QObject(parent), s_(session), archive_(&archive) {
  s_.download().setKeeper([this] { return keepDownload(); });
  connect(&s_, &Session::exchangeEnded, this, [this] {
    if (!readClockAfterDownload || pendingClock_ == 0) return;
    // Once the exchange has let go of the line.
    QTimer::singleShot(0, this, [this] { readClock(); });
  });
  connect(&s_.clockOffset(), &ClockOffsetOperation::offsetRead, this,
          [this](std::optional<qint64> offset) {
    if (!reading_) return;  // a reading someone else asked for
    reading_ = false;
    const qint64 arrival = std::exchange(pendingClock_, 0);
    QString why;
    // The log is kept whatever happens here: an offset that cannot be stored
    // is only left out.
    if (offset && arrival != 0) archive_->setClockOffset(arrival, *offset, &why);
    Q_EMIT clockDone(offset);
  });
  connect(&s_.realtime(), &RealtimeOperation::sample, this, [this] {
    if (s_.realtime().running()) runSeen_ = true;
  });
  connect(&s_, &Session::extremesMarked, this, [this](int set) {
    if (set == RealTimeData && std::exchange(runSeen_, false)) keepRun();
  });
}

SessionArchiver::~SessionArchiver() { s_.download().setKeeper({}); }

QString SessionArchiver::BridgeSerial(Session& session) {
  const QString identity = session.transport()->bridgeIdentity();
  return identity.startsWith(kUsbSerialIdentity) ? identity.mid(kUsbSerialIdentity.size())
                                                 : QString();
}

ArchiveLogger SessionArchiver::LoggerOf(Session& session, int set) {
  ArchiveLogger l;
  l.model = session.setModel(set);
  l.name = session.setName(set);
  l.firmware = session.status().FirmwareVersion;
  l.bridgeSerial = BridgeSerial(session);
  return l;
}

QString SessionArchiver::NotKeptText(const QString& why) {
  return QStringLiteral(
             "The log could not be kept in the archive, so the logger was not told it "
             "is downloaded: it still holds the log.") +
         QStringLiteral("\r\r") + why + QStringLiteral(".");
}

QString SessionArchiver::RunNotKeptText(const QString& why) {
  return QStringLiteral("The real-time run could not be kept in the archive.") +
         QStringLiteral("\r\r") + why + QStringLiteral(".");
}

bool SessionArchiver::keepDownload() {
  lastKept_.reset();
  lastError_.clear();
  pendingClock_ = 0;
  const LoggerStatus& st = s_.status();
  ArchiveArrival a =
      ArrivalFromSet(s_.data(), LogData, LoggerOf(s_, LogData),
                     LogStartValid(st) ? std::optional<double>(st.StartTime) : std::nullopt);
  if (a.records.empty()) return true;  // nothing the logger could lose
  a.loop = st.LoopMode != 0;
  stamp(a);
  ArchiveStored stored;
  if (!archive_->store(a, &stored, &lastError_)) {
    s_.prompt()->message(NotKeptText(lastError_), s_.ModelName());
    return false;
  }
  lastKept_ = stored;
  pendingClock_ = stored.arrivalId;
  Q_EMIT kept(stored, ArrivalKind::Download);
  return true;
}

void SessionArchiver::keepRun() {
  ArchiveArrival a = ArrivalFromSet(s_.data(), RealTimeData, LoggerOf(s_, RealTimeData));
  if (a.records.empty()) return;
  stamp(a);
  ArchiveStored stored;
  QString why;
  if (!archive_->store(a, &stored, &why)) {
    s_.prompt()->message(RunNotKeptText(why), s_.ModelName());
    return;
  }
  Q_EMIT kept(stored, ArrivalKind::RealTimeRun);
}

void SessionArchiver::setArchive(Archive& archive) {
  archive_ = &archive;
  pendingClock_ = 0;  // an arrival of the archive left behind
}

bool SessionArchiver::readClock() {
  if (pendingClock_ == 0 || reading_) return false;
  reading_ = true;
  if (!s_.clockOffset().Clock_Read()) {
    reading_ = false;
    pendingClock_ = 0;
    return false;
  }
  return true;
}

}  // namespace hygro
