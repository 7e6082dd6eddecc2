#pragma once
// The archive: every log the program has downloaded, every real-time run it
// has ended and every CSV file it was told to import, in one database reached
// through Qt SQL. SQLite (one file, by default archive.sqlite in the data
// folder) for a PC of its own; PostgreSQL for a site whose PCs share one.
//
// The schema is the same on both and the program creates and upgrades it
// itself (the version table). A log is one recording of one logger: the
// logger (model, name, the USB serial of its bridge), where its records come
// from (the logger's memory or the PC's real-time samples) and its start. A
// record is kept once per logger, source and time: the unique keys make two
// downloads of the same memory one log holding each record once, whatever
// order they arrive in and however many programs write at once.
#include <QDateTime>
#include <QString>
#include <QStringList>
#include <memory>
#include <optional>
#include <vector>

class QSqlDatabase;
class QSqlError;
class QSqlQuery;

namespace hygro {

// Where the archive is: an SQLite file, or a PostgreSQL database given as a
// URL ("postgresql://user@host/db") or a libpq key=value string
// ("host=/run/postgresql dbname=site").
struct ArchiveTarget {
  enum class Kind { Sqlite, Postgres };
  Kind kind = Kind::Sqlite;
  QString path;                                     // SQLite: the file
  std::vector<std::pair<QString, QString>> params;  // PostgreSQL: libpq's keys and values
  // Creates the SQLite file's folder when it is missing (the default archive
  // of a data folder nobody has used yet).
  bool createFolder = false;

  // Takes what the user typed. False with *why for a URL or a key=value
  // string that cannot be read; anything else is an SQLite file name.
  static bool parse(const QString& text, ArchiveTarget* out, QString* why);
  static ArchiveTarget sqliteFile(const QString& path, bool createFolder = false);
  // The name messages give it: the native path, or the URL / key=value
  // string without its password.
  QString display() const;
};

// "archive.sqlite" in `dataFolder`.
QString DefaultArchivePath(const QString& dataFolder);

// Times in the archive are whole seconds, held as the seconds since
// 1970-01-01 00:00 of the same naive wall clock the records were taken on
// (the logger's own, or the PC's local time for real-time samples): no time
// zone is applied either way.
qint64 ArchiveTimeFromSerial(double serial);
double SerialFromArchiveTime(qint64 t);
// yyyy-mm-ddThh:mm:ss
QString ArchiveTimeText(qint64 t);

// Where a log's records come from, which decides the clock their times are on.
enum class LogSource { Logger = 0, RealTime = 1 };
// How one set of records came in.
enum class ArrivalKind { Download = 0, RealTimeRun = 1, Import = 2 };

struct ArchiveLogger {
  QString model;
  QString name;          // the identification name as the logger gives it
  QString firmware;      // empty where unknown
  QString bridgeSerial;  // the USB serial of the logger's bridge; empty where unknown
};

struct ArchiveRecord {
  qint64 t = 0;  // ArchiveTimeFromSerial of the record's time
  float temperature = 0;
  float humidity = 0;
  qint32 run = 1;
  QString remarks;  // without the extremes' texts, trailing blanks dropped
};

// One download, real-time run or imported file, as it is handed in.
struct ArchiveArrival {
  ArchiveLogger logger;
  LogSource source = LogSource::Logger;
  ArrivalKind kind = ArrivalKind::Download;
  // The log's descriptor as it came: start, interval, bounds and memory mode
  // (unknown for a run or a file).
  qint64 start = 0;
  qint32 interval = 0;  // seconds
  qint32 upperRaw = 0;
  bool upperOn = false;
  qint32 lowerRaw = 0;
  bool lowerOn = false;
  std::optional<bool> loop;
  QDateTime atUtc;                     // when it came in
  int utcOffset = 0;                   // the PC's offset from UTC then, in seconds
  std::optional<qint64> clockOffset;   // the logger's clock minus the PC's, in seconds
  QString file;                        // an imported file's name
  std::vector<ArchiveRecord> records;  // in time order
};

struct ArchiveStored {
  qint64 logId = 0;
  qint64 arrivalId = 0;
  qint64 given = 0;  // records handed in
  qint64 added = 0;  // of those, records the archive did not hold yet
  bool newLog = false;
};

struct ArchiveLogSummary {
  qint64 id = 0;
  QString name;
  QString model;
  QString bridgeSerial;  // empty where unknown
  QString firmware;
  LogSource source = LogSource::Logger;
  qint64 start = 0;
  qint32 interval = 0;
  qint64 records = 0;
  std::optional<qint64> first, last;
  std::optional<QDateTime> downloadedAt;  // the latest arrival, UTC
};

// A log read back whole: what its CSV file needs.
struct ArchiveLog {
  ArchiveLogSummary summary;
  qint32 upperRaw = 0;
  bool upperOn = false;
  qint32 lowerRaw = 0;
  bool lowerOn = false;
  std::optional<bool> loop;
  std::vector<ArchiveRecord> records;  // in time order
};

class Archive {
 public:
  static constexpr int kSchemaVersion = 1;

  explicit Archive(ArchiveTarget target);
  ~Archive();
  Archive(const Archive&) = delete;
  Archive& operator=(const Archive&) = delete;

  const ArchiveTarget& target() const { return target_; }
  QString display() const { return target_.display(); }

  // Connects and creates or upgrades the schema. Every other call opens the
  // archive itself when needed, and after a failure opens it anew the next
  // time (a server that was restarted, a file that came back). False with
  // *why, a whole sentence that names the archive.
  bool open(QString* why);
  bool isOpen() const;
  void close();

  // Stores one arrival in one transaction: all of it, or (false, with *why)
  // nothing. Records the archive holds already, for the same logger, source
  // and time, are left as they are.
  bool store(const ArchiveArrival& arrival, ArchiveStored* stored, QString* why);
  // Sets the logger clock's offset of an arrival stored before it was read.
  bool setClockOffset(qint64 arrivalId, qint64 offset, QString* why);

  // Every log, oldest first; only those of loggers named `name` (blanks at
  // either end do not count) when it is not empty.
  bool list(const QString& name, std::vector<ArchiveLogSummary>* out, QString* why);
  // One log with its records; false with *why when there is no such log.
  bool read(qint64 id, ArchiveLog* out, QString* why);
  // Removes a log, its records and its arrivals; false with *why when there
  // is no such log.
  bool remove(qint64 id, QString* why);
  // The schema version the archive holds (after open()).
  int schemaVersion() const { return version_; }

 private:
  bool ensureOpen(QString* why);
  bool connectAndMigrate(QString* why);
  bool openFailed(const QSqlError& error, QString* why);
  bool fail(const QString& what, const QString& error, QString* why);
  // Rolls the transaction back and says why the write failed.
  bool writeFailed(const QSqlQuery& failed, QString* why);
  bool migrate(QString* why);
  bool begin(QSqlQuery& q);
  bool postgres() const { return target_.kind == ArchiveTarget::Kind::Postgres; }
  QSqlDatabase db() const;

  ArchiveTarget target_;
  QString connection_;
  int version_ = 0;
  bool open_ = false;
  bool stale_ = false;  // failed: open anew before the next use
  bool busy_ = false;   // the last open failed on another program's lock
};

}  // namespace hygro
