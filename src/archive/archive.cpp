#include "archive/archive.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QThread>
#include <QUrl>
#include <QVariant>
#include <algorithm>
#include <atomic>
#include <cmath>

#include "data/formats.h"

namespace hygro {

namespace {

// 1970-01-01 as whole seconds from serial 0 (serial 25569).
constexpr qint64 kEpochSeconds = static_cast<qint64>(25569 * fmt::kSecondsPerDay);
// Records per INSERT: one statement for many rows costs far less than one
// each, and 8 values a row stay well inside either server's limit.
constexpr int kRowsPerInsert = 256;
constexpr int kValuesPerRecord = 8;
// PostgreSQL: one schema change at a time, whoever else starts up.
constexpr qint64 kMigrationLock = 0x48796772;  // "Hygr"

// How long SQLite waits for another program's transaction.
constexpr int kBusyTimeoutMs = 15000;
// PostgreSQL: records per statement, as arrays.
constexpr size_t kRecordsPerArray = 50000;

std::atomic_int g_connections{0};

// An element of a PostgreSQL text array: NULL, or quoted with \ and " escaped.
QString arrayText(const QString& text) {
  if (text.isEmpty()) return QStringLiteral("NULL");
  QString v = text;
  v.replace(QLatin1String("\\"), QLatin1String("\\\\"));
  v.replace(QLatin1String("\""), QLatin1String("\\\""));
  return QLatin1Char('"') + v + QLatin1Char('"');
}

QString native(const QString& path) { return QDir::toNativeSeparators(path); }

QVariant nullOf(QMetaType::Type type) { return QVariant(QMetaType(type)); }

// A text column that may be empty but is never NULL: a null QString binds as
// NULL.
QVariant textOf(const QString& s) {
  return s.isNull() ? QVariant(QStringLiteral("")) : QVariant(s);
}

QVariant optionalInt(const std::optional<qint64>& v) {
  return v ? QVariant::fromValue<qint64>(*v) : nullOf(QMetaType::LongLong);
}

std::optional<qint64> optionalFrom(const QVariant& v) {
  if (v.isNull()) return std::nullopt;
  return v.toLongLong();
}

// ---- PostgreSQL connection strings

bool isPostgresUrl(const QString& text) {
  return text.startsWith(QLatin1String("postgresql://"), Qt::CaseInsensitive) ||
         text.startsWith(QLatin1String("postgres://"), Qt::CaseInsensitive);
}

bool looksLikeKeyValue(const QString& text) {
  static const QRegularExpression form(QStringLiteral("^\\s*[A-Za-z_]+\\s*="));
  return form.match(text).hasMatch();
}

QString decoded(const QString& part) { return QUrl::fromPercentEncoding(part.toUtf8()); }

// libpq's URL form: postgresql://[user[:password]@][host[:port][,...]][/dbname][?key=value&...]
bool parseUrl(const QString& text, std::vector<std::pair<QString, QString>>* params, QString* why) {
  QString rest = text.mid(text.indexOf(QLatin1String("://")) + 3);
  QString query;
  if (const qsizetype q = rest.indexOf(QLatin1Char('?')); q >= 0) {
    query = rest.mid(q + 1);
    rest = rest.left(q);
  }
  QString authority = rest;
  QString dbname;
  if (const qsizetype slash = rest.indexOf(QLatin1Char('/')); slash >= 0) {
    authority = rest.left(slash);
    dbname = decoded(rest.mid(slash + 1));
  }
  if (const qsizetype at = authority.lastIndexOf(QLatin1Char('@')); at >= 0) {
    const QString userinfo = authority.left(at);
    authority = authority.mid(at + 1);
    const qsizetype colon = userinfo.indexOf(QLatin1Char(':'));
    const QString user = decoded(colon < 0 ? userinfo : userinfo.left(colon));
    if (!user.isEmpty()) params->emplace_back(QStringLiteral("user"), user);
    if (colon >= 0)
      params->emplace_back(QStringLiteral("password"), decoded(userinfo.mid(colon + 1)));
  }
  QStringList hosts, ports;
  for (const QString& hostPort : authority.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
    QString host = hostPort;
    QString port;
    if (hostPort.startsWith(QLatin1Char('['))) {
      const qsizetype close = hostPort.indexOf(QLatin1Char(']'));
      if (close < 0) {
        *why = QStringLiteral("the host '%1' lacks its closing ']'").arg(hostPort);
        return false;
      }
      host = hostPort.mid(1, close - 1);
      if (hostPort.mid(close + 1).startsWith(QLatin1Char(':'))) port = hostPort.mid(close + 2);
    } else if (const qsizetype colon = hostPort.lastIndexOf(QLatin1Char(':')); colon >= 0) {
      host = hostPort.left(colon);
      port = hostPort.mid(colon + 1);
    }
    bool numeric = true;
    if (!port.isEmpty()) port.toUShort(&numeric);
    if (!numeric) {
      *why = QStringLiteral("the port '%1' is not a number").arg(port);
      return false;
    }
    hosts << decoded(host);
    ports << port;
  }
  if (!hosts.isEmpty() && !hosts.join(QString()).isEmpty())
    params->emplace_back(QStringLiteral("host"), hosts.join(QLatin1Char(',')));
  if (!ports.join(QString()).isEmpty())
    params->emplace_back(QStringLiteral("port"), ports.join(QLatin1Char(',')));
  if (!dbname.isEmpty()) params->emplace_back(QStringLiteral("dbname"), dbname);
  for (const QString& pair : query.split(QLatin1Char('&'), Qt::SkipEmptyParts)) {
    const qsizetype eq = pair.indexOf(QLatin1Char('='));
    if (eq <= 0) {
      *why = QStringLiteral("'%1' is not a key=value parameter").arg(pair);
      return false;
    }
    params->emplace_back(decoded(pair.left(eq)), decoded(pair.mid(eq + 1)));
  }
  return true;
}

// libpq's key=value form: blanks between pairs, a value quoted with ' where
// it holds blanks, \' and \\ inside it.
bool parseKeyValues(const QString& text, std::vector<std::pair<QString, QString>>* params,
                    QString* why) {
  qsizetype i = 0;
  const qsizetype n = text.size();
  auto skipBlanks = [&] {
    while (i < n && text[i].isSpace()) ++i;
  };
  for (skipBlanks(); i < n; skipBlanks()) {
    const qsizetype keyStart = i;
    while (i < n && (text[i].isLetterOrNumber() || text[i] == QLatin1Char('_'))) ++i;
    const QString key = text.mid(keyStart, i - keyStart);
    skipBlanks();
    if (key.isEmpty() || i >= n || text[i] != QLatin1Char('=')) {
      *why = QStringLiteral("'%1' is not a key=value pair")
                 .arg(text.mid(keyStart).section(u' ', 0, 0));
      return false;
    }
    ++i;
    skipBlanks();
    QString value;
    if (i < n && text[i] == QLatin1Char('\'')) {
      ++i;
      bool closed = false;
      for (; i < n; ++i) {
        if (text[i] == QLatin1Char('\\') && i + 1 < n) {
          value += text[++i];
        } else if (text[i] == QLatin1Char('\'')) {
          closed = true;
          ++i;
          break;
        } else {
          value += text[i];
        }
      }
      if (!closed) {
        *why = QStringLiteral("the value of %1 lacks its closing quote").arg(key);
        return false;
      }
    } else {
      for (; i < n && !text[i].isSpace(); ++i) {
        if (text[i] == QLatin1Char('\\') && i + 1 < n) ++i;
        value += text[i];
      }
    }
    params->emplace_back(key, value);
  }
  if (params->empty()) {
    *why = QStringLiteral("no key=value pair");
    return false;
  }
  return true;
}

QString quotedValue(const QString& value) {
  QString v = value;
  v.replace(QLatin1String("\\"), QLatin1String("\\\\"));
  v.replace(QLatin1String("'"), QLatin1String("\\'"));
  return QLatin1Char('\'') + v + QLatin1Char('\'');
}

// ---- the schema, one list of statements per version

QStringList schemaV1(bool postgres) {
  const QString id = postgres
                         ? QStringLiteral("BIGINT GENERATED BY DEFAULT AS IDENTITY PRIMARY KEY")
                         : QStringLiteral("INTEGER PRIMARY KEY");
  // SQLite keeps the records in their key's order, without a second copy of it.
  const QString clustered = postgres ? QString() : QStringLiteral(" WITHOUT ROWID");
  return {
      QStringLiteral("CREATE TABLE loggers ("
                     " id %1,"
                     " model TEXT NOT NULL,"
                     " name TEXT NOT NULL,"
                     " bridge_serial TEXT NOT NULL DEFAULT '',"  // '' where unknown
                     " firmware TEXT NOT NULL DEFAULT '',"
                     " UNIQUE (model, name, bridge_serial))")
          .arg(id),
      QStringLiteral("CREATE TABLE logs ("
                     " id %1,"
                     " logger_id BIGINT NOT NULL REFERENCES loggers (id),"
                     " source SMALLINT NOT NULL,"  // 0 the logger's memory, 1 real-time
                     " start_t BIGINT NOT NULL,"
                     " interval_s INTEGER NOT NULL,"
                     " upper_raw INTEGER NOT NULL,"
                     " upper_on SMALLINT NOT NULL,"
                     " lower_raw INTEGER NOT NULL,"
                     " lower_on SMALLINT NOT NULL,"
                     " loop_mode SMALLINT,"  // NULL where unknown
                     " records BIGINT NOT NULL DEFAULT 0,"
                     " first_t BIGINT,"
                     " last_t BIGINT,"
                     " UNIQUE (logger_id, source, start_t))")
          .arg(id),
      // One row for each download, real-time run or imported file.
      QStringLiteral("CREATE TABLE downloads ("
                     " id %1,"
                     " log_id BIGINT NOT NULL REFERENCES logs (id),"
                     " kind SMALLINT NOT NULL,"  // 0 download, 1 real-time run, 2 import
                     " at_utc BIGINT NOT NULL,"  // Unix time
                     " utc_offset_s INTEGER NOT NULL,"
                     " clock_offset_s BIGINT,"
                     " firmware TEXT NOT NULL DEFAULT '',"
                     " given BIGINT NOT NULL,"
                     " added BIGINT NOT NULL,"
                     " file TEXT)")
          .arg(id),
      QStringLiteral("CREATE INDEX downloads_log ON downloads (log_id)"),
      QStringLiteral("CREATE TABLE records ("
                     " logger_id BIGINT NOT NULL,"
                     " source SMALLINT NOT NULL,"
                     " t BIGINT NOT NULL,"
                     " log_id BIGINT NOT NULL,"
                     " temperature REAL NOT NULL,"
                     " humidity REAL NOT NULL,"
                     " run INTEGER NOT NULL,"
                     " remarks TEXT,"
                     " PRIMARY KEY (logger_id, source, t))%1")
          .arg(clustered),
  };
}

std::vector<QStringList> schemaSteps(bool postgres) { return {schemaV1(postgres)}; }

}  // namespace

// ---------------------------------------------------------------- targets

bool ArchiveTarget::parse(const QString& text, ArchiveTarget* out, QString* why) {
  *out = {};
  const QString t = text.trimmed();
  if (t.isEmpty()) {
    *why = QStringLiteral("no archive named");
    return false;
  }
  if (isPostgresUrl(t) || looksLikeKeyValue(t)) {
    out->kind = Kind::Postgres;
    QString problem;
    const bool ok = isPostgresUrl(t) ? parseUrl(t, &out->params, &problem)
                                     : parseKeyValues(t, &out->params, &problem);
    if (!ok) {
      // The text may hold a password: it is not repeated.
      *why = QStringLiteral("the PostgreSQL connection cannot be read: %1").arg(problem);
      return false;
    }
    return true;
  }
  out->kind = Kind::Sqlite;
  out->path = text;
  return true;
}

ArchiveTarget ArchiveTarget::sqliteFile(const QString& path, bool createFolder) {
  ArchiveTarget t;
  t.path = path;
  t.createFolder = createFolder;
  return t;
}

QString ArchiveTarget::display() const {
  if (kind == Kind::Sqlite) return native(path);
  QStringList shown;
  for (const auto& [key, value] : params) {
    if (key == QLatin1String("password")) continue;
    shown << key + QLatin1Char('=') +
                 (value.contains(QLatin1Char(' ')) || value.isEmpty() ? quotedValue(value) : value);
  }
  return QStringLiteral("PostgreSQL ") + shown.join(QLatin1Char(' '));
}

QString DefaultArchivePath(const QString& dataFolder) {
  return QDir(dataFolder).filePath(QStringLiteral("archive.sqlite"));
}

// ---------------------------------------------------------------- times

qint64 ArchiveTimeFromSerial(double serial) {
  return fmt::serialToSeconds(serial) - kEpochSeconds;
}

double SerialFromArchiveTime(qint64 t) {
  return fmt::secondsToSerial(t + kEpochSeconds);
}

QString ArchiveTimeText(qint64 t) {
  return QDateTime::fromSecsSinceEpoch(t, Qt::UTC).toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss"));
}

// ---------------------------------------------------------------- the archive

Archive::Archive(ArchiveTarget target)
    : target_(std::move(target)),
      connection_(QStringLiteral("hygrotab-archive-%1").arg(++g_connections)) {}

Archive::~Archive() { close(); }

QSqlDatabase Archive::db() const { return QSqlDatabase::database(connection_, false); }

bool Archive::isOpen() const { return open_; }

void Archive::close() {
  open_ = false;
  stale_ = false;
  if (!QSqlDatabase::contains(connection_)) return;
  {
    QSqlDatabase d = db();
    d.close();
  }
  QSqlDatabase::removeDatabase(connection_);
}

bool Archive::fail(const QString& what, const QString& error, QString* why) {
  if (why) *why = QStringLiteral("The archive %1 %2: %3").arg(display(), what, error.trimmed());
  return false;
}

bool Archive::open(QString* why) {
  close();
  // Programs that open a new SQLite file at the same moment may find it
  // locked beyond what the busy time-out waits for (turning it to WAL, the
  // first schema): they try again for a while.
  const QDeadlineTimer deadline(kBusyTimeoutMs);
  for (;;) {
    busy_ = false;
    if (connectAndMigrate(why)) break;
    // Closed only once every handle on the connection is gone.
    close();
    if (!busy_ || deadline.hasExpired()) return false;
    QThread::msleep(20 + QRandomGenerator::global()->bounded(80));
  }
  open_ = true;
  return true;
}

bool Archive::openFailed(const QSqlError& error, QString* why) {
  // SQLITE_BUSY and SQLITE_LOCKED, with their extended codes.
  bool numeric = false;
  const int code = error.nativeErrorCode().toInt(&numeric);
  busy_ = !postgres() && numeric && ((code & 0xFF) == 5 || (code & 0xFF) == 6);
  return fail(QStringLiteral("could not be opened"), error.text(), why);
}

bool Archive::connectAndMigrate(QString* why) {
  const bool pg = postgres();
  const QString driver = pg ? QStringLiteral("QPSQL") : QStringLiteral("QSQLITE");
  if (!QSqlDatabase::isDriverAvailable(driver))
    return fail(QStringLiteral("could not be opened"),
                QStringLiteral("Qt's %1 driver is not installed (Debian: %2)")
                    .arg(driver, pg ? QStringLiteral("libqt6sql6-psql")
                                    : QStringLiteral("libqt6sql6-sqlite")),
                why);
  QSqlDatabase d = QSqlDatabase::addDatabase(driver, connection_);
  if (pg) {
    QStringList options;
    bool timeoutGiven = false;
    for (const auto& [key, value] : target_.params) {
      // The driver quotes these itself.
      if (key == QLatin1String("password")) {
        d.setPassword(value);
      } else if (key == QLatin1String("host") && !value.contains(QLatin1Char(';'))) {
        d.setHostName(value);
      } else if (key == QLatin1String("dbname")) {
        d.setDatabaseName(value);
      } else if (key == QLatin1String("user")) {
        d.setUserName(value);
      } else {
        timeoutGiven = timeoutGiven || key == QLatin1String("connect_timeout");
        options << key + QLatin1Char('=') + quotedValue(value);
      }
    }
    // A server that does not answer is said within seconds, not minutes.
    if (!timeoutGiven) options << QStringLiteral("connect_timeout=10");
    d.setConnectOptions(options.join(QLatin1Char(';')));
  } else {
    const QFileInfo file(target_.path);
    if (file.isDir())
      return fail(QStringLiteral("could not be opened"), QStringLiteral("it is a folder"), why);
    if (target_.createFolder) QDir().mkpath(file.absolutePath());
    if (!file.absoluteDir().exists())
      return fail(QStringLiteral("could not be opened"),
                  QStringLiteral("the folder %1 does not exist").arg(native(file.absolutePath())),
                  why);
    d.setDatabaseName(target_.path);
    // Another program may be writing: wait for it rather than fail.
    d.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(kBusyTimeoutMs));
  }
  if (!d.open()) return openFailed(d.lastError(), why);
  QSqlQuery q(d);
  if (!pg) {
    // WAL: readers and one writer at a time, across programs. FULL: a
    // download that was stored survives a power cut, before the logger is
    // told it may forget it.
    for (const char* pragma : {"PRAGMA journal_mode=WAL", "PRAGMA synchronous=FULL"}) {
      if (!q.exec(QLatin1String(pragma))) return openFailed(q.lastError(), why);
    }
  }
  q.finish();
  return migrate(why);
}

bool Archive::ensureOpen(QString* why) {
  // After a failure the connection is opened anew: a server may have been
  // restarted, a file put back. No query of the last use is alive here.
  if (stale_) close();
  return open_ || open(why);
}

bool Archive::begin(QSqlQuery& q) {
  // SQLite: the write lock at once, so two writers never meet half way.
  return q.exec(postgres() ? QStringLiteral("BEGIN") : QStringLiteral("BEGIN IMMEDIATE"));
}

bool Archive::migrate(QString* why) {
  QSqlDatabase d = db();
  QSqlQuery q(d);
  // Usually the schema is current: one read, no lock.
  if (q.exec(QStringLiteral("SELECT max(version) FROM schema_version")) && q.next()) {
    version_ = q.value(0).toInt();
    q.finish();
    if (version_ == kSchemaVersion) return true;
  }
  q.finish();
  const auto rollback = [&](const QSqlError& error) {
    QSqlQuery r(d);
    r.exec(QStringLiteral("ROLLBACK"));
    return openFailed(error, why);
  };
  if (!begin(q)) return openFailed(q.lastError(), why);
  if (postgres() && !q.exec(QStringLiteral("SELECT pg_advisory_xact_lock(%1)").arg(kMigrationLock)))
    return rollback(q.lastError());
  if (!q.exec(
          QStringLiteral("CREATE TABLE IF NOT EXISTS schema_version (version INTEGER NOT NULL)")))
    return rollback(q.lastError());
  if (!q.exec(QStringLiteral("SELECT max(version) FROM schema_version")) || !q.next())
    return rollback(q.lastError());
  version_ = q.value(0).toInt();  // 0 for a new archive
  q.finish();
  if (version_ > kSchemaVersion)
    return rollback(QSqlError(QStringLiteral("it was made by a newer version of this program "
                                             "(schema %1; this one knows schema %2 at most)")
                                  .arg(version_)
                                  .arg(kSchemaVersion)));
  const std::vector<QStringList> steps = schemaSteps(postgres());
  for (int v = version_ + 1; v <= kSchemaVersion; ++v) {
    for (const QString& statement : steps[static_cast<size_t>(v - 1)]) {
      if (!q.exec(statement)) return rollback(q.lastError());
    }
  }
  if (!q.exec(QStringLiteral("DELETE FROM schema_version")) ||
      !q.exec(
          QStringLiteral("INSERT INTO schema_version (version) VALUES (%1)").arg(kSchemaVersion)) ||
      !q.exec(QStringLiteral("COMMIT")))
    return rollback(q.lastError());
  version_ = kSchemaVersion;
  return true;
}

bool Archive::store(const ArchiveArrival& a, ArchiveStored* stored, QString* why) {
  *stored = {};
  {
    // One record for each time: a log that gives two records the same time
    // would lose one of them here, so it is not taken at all.
    std::vector<qint64> times;
    times.reserve(a.records.size());
    for (const ArchiveRecord& r : a.records) times.push_back(r.t);
    std::sort(times.begin(), times.end());
    const auto twin = std::adjacent_find(times.begin(), times.end());
    if (twin != times.end())
      return fail(QStringLiteral("cannot take the log"),
                  QStringLiteral("two of its records have the same time, %1, and the archive "
                                 "keeps one record for each time")
                      .arg(ArchiveTimeText(*twin)),
                  why);
  }
  if (!ensureOpen(why)) return false;
  QSqlDatabase d = db();
  QSqlQuery q(d);
  const auto failWrite = [&](const QSqlQuery& failed) {
    *stored = {};
    return writeFailed(failed, why);
  };
  if (!begin(q)) return failWrite(q);

  // The logger.
  q.prepare(QStringLiteral(
      "INSERT INTO loggers (model, name, bridge_serial, firmware) VALUES (?, ?, ?, ?) "
      "ON CONFLICT (model, name, bridge_serial) DO NOTHING"));
  for (const QString& v : {a.logger.model, a.logger.name, a.logger.bridgeSerial, a.logger.firmware})
    q.addBindValue(textOf(v));
  if (!q.exec()) return failWrite(q);
  q.prepare(QStringLiteral(
      "SELECT id, firmware FROM loggers WHERE model = ? AND name = ? AND bridge_serial = ?"));
  for (const QString& v : {a.logger.model, a.logger.name, a.logger.bridgeSerial})
    q.addBindValue(textOf(v));
  if (!q.exec() || !q.next()) return failWrite(q);
  const qint64 loggerId = q.value(0).toLongLong();
  const QString firmware = q.value(1).toString();
  q.finish();
  if (!a.logger.firmware.isEmpty() && firmware != a.logger.firmware) {
    q.prepare(QStringLiteral("UPDATE loggers SET firmware = ? WHERE id = ?"));
    q.addBindValue(a.logger.firmware);
    q.addBindValue(loggerId);
    if (!q.exec()) return failWrite(q);
  }

  // The log: the first arrival of a recording describes it.
  const int source = static_cast<int>(a.source);
  q.prepare(QStringLiteral(
      "INSERT INTO logs (logger_id, source, start_t, interval_s, upper_raw, upper_on, lower_raw, "
      "lower_on, loop_mode) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?) "
      "ON CONFLICT (logger_id, source, start_t) DO NOTHING"));
  q.addBindValue(loggerId);
  q.addBindValue(source);
  q.addBindValue(a.start);
  q.addBindValue(a.interval);
  q.addBindValue(a.upperRaw);
  q.addBindValue(a.upperOn ? 1 : 0);
  q.addBindValue(a.lowerRaw);
  q.addBindValue(a.lowerOn ? 1 : 0);
  q.addBindValue(a.loop ? QVariant(*a.loop ? 1 : 0) : nullOf(QMetaType::Int));
  if (!q.exec()) return failWrite(q);
  stored->newLog = q.numRowsAffected() > 0;
  q.prepare(
      QStringLiteral("SELECT id FROM logs WHERE logger_id = ? AND source = ? AND start_t = ?"));
  q.addBindValue(loggerId);
  q.addBindValue(source);
  q.addBindValue(a.start);
  if (!q.exec() || !q.next()) return failWrite(q);
  const qint64 logId = q.value(0).toLongLong();
  q.finish();

  // The records: a time the archive holds already for this logger keeps
  // what it holds.
  const size_t total = a.records.size();
  qint64 lo = 0, hi = 0;
  for (size_t at = 0; at < total; ++at) {
    const qint64 t = a.records[at].t;
    if (at == 0 || t < lo) lo = t;
    if (at == 0 || t > hi) hi = t;
  }
  qint64 added = 0;
  if (postgres()) {
    // One statement for many records, its columns as arrays: far less for
    // the server to parse than a row of values for each.
    q.prepare(QStringLiteral(
        "INSERT INTO records (logger_id, source, t, log_id, temperature, humidity, run, remarks) "
        "SELECT ?, ?, x.t, ?, x.temperature, x.humidity, x.run, x.remarks FROM unnest("
        "CAST(? AS BIGINT[]), CAST(? AS REAL[]), CAST(? AS REAL[]), CAST(? AS INTEGER[]), "
        "CAST(? AS TEXT[])) AS x (t, temperature, humidity, run, remarks) "
        "ON CONFLICT DO NOTHING"));
    for (size_t at = 0; at < total;) {
      const size_t end = std::min(total, at + kRecordsPerArray);
      QString times, temperatures, humidities, runs, remarks;
      for (size_t i = at; i < end; ++i) {
        const ArchiveRecord& rec = a.records[i];
        const QChar sep = i == at ? QLatin1Char('{') : QLatin1Char(',');
        times += sep + QString::number(rec.t);
        // Nine digits give a single-precision value back to the bit.
        temperatures += sep + QString::number(static_cast<double>(rec.temperature), 'g', 9);
        humidities += sep + QString::number(static_cast<double>(rec.humidity), 'g', 9);
        runs += sep + QString::number(rec.run);
        remarks += sep + arrayText(rec.remarks);
      }
      for (QString* column : {&times, &temperatures, &humidities, &runs, &remarks})
        *column += QLatin1Char('}');
      q.addBindValue(loggerId);
      q.addBindValue(source);
      q.addBindValue(logId);
      for (const QString* column : {&times, &temperatures, &humidities, &runs, &remarks})
        q.addBindValue(*column);
      if (!q.exec()) return failWrite(q);
      added += std::max(0, q.numRowsAffected());
      at = end;
    }
  } else {
    auto insertSql = [](int rows) {
      QString sql = QStringLiteral(
          "INSERT INTO records (logger_id, source, t, log_id, temperature, humidity, run, "
          "remarks) VALUES ");
      for (int r = 0; r < rows; ++r)
        sql += r == 0 ? QStringLiteral("(?,?,?,?,?,?,?,?)") : QStringLiteral(",(?,?,?,?,?,?,?,?)");
      return sql + QStringLiteral(" ON CONFLICT DO NOTHING");
    };
    QSqlQuery full(d);
    if (total >= static_cast<size_t>(kRowsPerInsert) && !full.prepare(insertSql(kRowsPerInsert)))
      return failWrite(full);
    for (size_t at = 0; at < total;) {
      const int rows = static_cast<int>(std::min<size_t>(kRowsPerInsert, total - at));
      QSqlQuery part(d);
      QSqlQuery& ins = rows == kRowsPerInsert ? full : part;
      if (rows != kRowsPerInsert && !ins.prepare(insertSql(rows))) return failWrite(ins);
      int k = 0;
      for (int r = 0; r < rows; ++r, ++at) {
        const ArchiveRecord& rec = a.records[at];
        ins.bindValue(k++, loggerId);
        ins.bindValue(k++, source);
        ins.bindValue(k++, rec.t);
        ins.bindValue(k++, logId);
        ins.bindValue(k++, static_cast<double>(rec.temperature));
        ins.bindValue(k++, static_cast<double>(rec.humidity));
        ins.bindValue(k++, rec.run);
        ins.bindValue(k++,
                      rec.remarks.isEmpty() ? nullOf(QMetaType::QString) : QVariant(rec.remarks));
      }
      if (!ins.exec()) return failWrite(ins);
      added += std::max(0, ins.numRowsAffected());
    }
  }
  static_assert(kRowsPerInsert * kValuesPerRecord < 32766);

  // What the log holds now, from the span just stored.
  std::optional<qint64> first, last;
  if (total > 0) {
    q.prepare(QStringLiteral(
        "SELECT min(t), max(t) FROM records WHERE logger_id = ? AND source = ? AND t >= ? AND "
        "t <= ? AND log_id = ?"));
    q.addBindValue(loggerId);
    q.addBindValue(source);
    q.addBindValue(lo);
    q.addBindValue(hi);
    q.addBindValue(logId);
    if (!q.exec() || !q.next()) return failWrite(q);
    first = optionalFrom(q.value(0));
    last = optionalFrom(q.value(1));
    q.finish();
  }
  q.prepare(
      QStringLiteral("UPDATE logs SET records = records + ?,"
                     " first_t = CASE WHEN first_t IS NULL OR first_t > ? THEN ? ELSE first_t END,"
                     " last_t = CASE WHEN last_t IS NULL OR last_t < ? THEN ? ELSE last_t END"
                     " WHERE id = ?"));
  q.addBindValue(added);
  q.addBindValue(optionalInt(first));
  q.addBindValue(optionalInt(first));
  q.addBindValue(optionalInt(last));
  q.addBindValue(optionalInt(last));
  q.addBindValue(logId);
  if (!q.exec()) return failWrite(q);

  q.prepare(QStringLiteral(
      "INSERT INTO downloads (log_id, kind, at_utc, utc_offset_s, clock_offset_s, firmware, given, "
      "added, file) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?) RETURNING id"));
  q.addBindValue(logId);
  q.addBindValue(static_cast<int>(a.kind));
  q.addBindValue(a.atUtc.toSecsSinceEpoch());
  q.addBindValue(a.utcOffset);
  q.addBindValue(optionalInt(a.clockOffset));
  q.addBindValue(textOf(a.logger.firmware));
  q.addBindValue(static_cast<qint64>(total));
  q.addBindValue(added);
  q.addBindValue(a.file.isEmpty() ? nullOf(QMetaType::QString) : QVariant(a.file));
  if (!q.exec() || !q.next()) return failWrite(q);
  const qint64 arrivalId = q.value(0).toLongLong();
  q.finish();
  if (!q.exec(QStringLiteral("COMMIT"))) return failWrite(q);

  stored->logId = logId;
  stored->arrivalId = arrivalId;
  stored->given = static_cast<qint64>(total);
  stored->added = added;
  return true;
}

bool Archive::setClockOffset(qint64 arrivalId, qint64 offset, QString* why) {
  if (!ensureOpen(why)) return false;
  QSqlQuery q(db());
  q.prepare(QStringLiteral("UPDATE downloads SET clock_offset_s = ? WHERE id = ?"));
  q.addBindValue(offset);
  q.addBindValue(arrivalId);
  if (q.exec()) return true;
  stale_ = true;
  return fail(QStringLiteral("could not be written"), q.lastError().text(), why);
}

namespace {

const QString kSummaryColumns = QStringLiteral(
    "l.id, g.name, g.model, g.bridge_serial, g.firmware, l.source, l.start_t, l.interval_s, "
    "l.records, l.first_t, l.last_t, "
    "(SELECT max(d.at_utc) FROM downloads d WHERE d.log_id = l.id), "
    "l.upper_raw, l.upper_on, l.lower_raw, l.lower_on, l.loop_mode, l.logger_id");

ArchiveLogSummary summaryFrom(const QSqlQuery& q) {
  ArchiveLogSummary s;
  s.id = q.value(0).toLongLong();
  s.name = q.value(1).toString();
  s.model = q.value(2).toString();
  s.bridgeSerial = q.value(3).toString();
  s.firmware = q.value(4).toString();
  s.source = q.value(5).toInt() == 1 ? LogSource::RealTime : LogSource::Logger;
  s.start = q.value(6).toLongLong();
  s.interval = q.value(7).toInt();
  s.records = q.value(8).toLongLong();
  s.first = optionalFrom(q.value(9));
  s.last = optionalFrom(q.value(10));
  if (const std::optional<qint64> at = optionalFrom(q.value(11)))
    s.downloadedAt = QDateTime::fromSecsSinceEpoch(*at, Qt::UTC);
  return s;
}

}  // namespace

bool Archive::list(const QString& name, std::vector<ArchiveLogSummary>* out, QString* why) {
  out->clear();
  if (!ensureOpen(why)) return false;
  QSqlQuery q(db());
  q.setForwardOnly(true);
  if (!q.exec(QStringLiteral("SELECT %1 FROM logs l JOIN loggers g ON g.id = l.logger_id "
                             "ORDER BY l.id")
                  .arg(kSummaryColumns))) {
    stale_ = true;
    return fail(QStringLiteral("could not be read"), q.lastError().text(), why);
  }
  const QString wanted = name.trimmed();
  while (q.next()) {
    ArchiveLogSummary s = summaryFrom(q);
    if (!wanted.isEmpty() && s.name.trimmed() != wanted) continue;
    out->push_back(std::move(s));
  }
  return true;
}

bool Archive::read(qint64 id, ArchiveLog* out, QString* why) {
  *out = {};
  if (!ensureOpen(why)) return false;
  QSqlDatabase d = db();
  QSqlQuery q(d);
  const auto failRead = [&](const QSqlQuery& failed) {
    stale_ = true;
    return fail(QStringLiteral("could not be read"), failed.lastError().text(), why);
  };
  // One snapshot for the log and its records, while others write.
  if (!q.exec(postgres() ? QStringLiteral("BEGIN ISOLATION LEVEL REPEATABLE READ")
                         : QStringLiteral("BEGIN")))
    return failRead(q);
  const auto done = [&](bool ok) {
    QSqlQuery e(d);
    e.exec(QStringLiteral("COMMIT"));
    return ok;
  };
  q.prepare(QStringLiteral("SELECT %1 FROM logs l JOIN loggers g ON g.id = l.logger_id "
                           "WHERE l.id = ?")
                .arg(kSummaryColumns));
  q.addBindValue(id);
  if (!q.exec()) return done(failRead(q));
  if (!q.next()) {
    if (why) *why = QStringLiteral("The archive %1 holds no log %2").arg(display()).arg(id);
    return done(false);
  }
  out->summary = summaryFrom(q);
  out->upperRaw = q.value(12).toInt();
  out->upperOn = q.value(13).toInt() != 0;
  out->lowerRaw = q.value(14).toInt();
  out->lowerOn = q.value(15).toInt() != 0;
  if (!q.value(16).isNull()) out->loop = q.value(16).toInt() != 0;
  const qint64 loggerId = q.value(17).toLongLong();
  q.finish();
  const ArchiveLogSummary& s = out->summary;
  if (!s.first || !s.last) return done(true);
  QSqlQuery r(d);
  r.setForwardOnly(true);
  r.prepare(QStringLiteral(
      "SELECT t, temperature, humidity, run, remarks FROM records WHERE logger_id = ? AND "
      "source = ? AND t >= ? AND t <= ? AND log_id = ? ORDER BY t"));
  r.addBindValue(loggerId);
  r.addBindValue(static_cast<int>(s.source));
  r.addBindValue(*s.first);
  r.addBindValue(*s.last);
  r.addBindValue(id);
  if (!r.exec()) return done(failRead(r));
  out->records.reserve(static_cast<size_t>(std::max<qint64>(0, s.records)));
  while (r.next()) {
    ArchiveRecord rec;
    rec.t = r.value(0).toLongLong();
    rec.temperature = static_cast<float>(r.value(1).toDouble());
    rec.humidity = static_cast<float>(r.value(2).toDouble());
    rec.run = r.value(3).toInt();
    const QVariant remarks = r.value(4);
    if (!remarks.isNull()) rec.remarks = remarks.toString();
    out->records.push_back(std::move(rec));
  }
  if (r.lastError().isValid()) return done(failRead(r));
  return done(true);
}

bool Archive::writeFailed(const QSqlQuery& failed, QString* why) {
  const QString error = failed.lastError().text();
  QSqlQuery r(db());
  r.exec(QStringLiteral("ROLLBACK"));
  // The connection may be gone (a server restart); the next try opens anew.
  stale_ = true;
  return fail(QStringLiteral("could not be written"), error, why);
}

bool Archive::remove(qint64 id, QString* why) {
  if (!ensureOpen(why)) return false;
  QSqlDatabase d = db();
  QSqlQuery q(d);
  const auto failWrite = [&](const QSqlQuery& failed) { return writeFailed(failed, why); };
  if (!begin(q)) return failWrite(q);
  q.prepare(QStringLiteral("SELECT logger_id, source, first_t, last_t FROM logs WHERE id = ?"));
  q.addBindValue(id);
  if (!q.exec()) return failWrite(q);
  if (!q.next()) {
    q.finish();
    QSqlQuery r(d);
    r.exec(QStringLiteral("ROLLBACK"));
    if (why) *why = QStringLiteral("The archive %1 holds no log %2").arg(display()).arg(id);
    return false;
  }
  const qint64 loggerId = q.value(0).toLongLong();
  const int source = q.value(1).toInt();
  const std::optional<qint64> first = optionalFrom(q.value(2));
  const std::optional<qint64> last = optionalFrom(q.value(3));
  q.finish();
  if (first && last) {
    q.prepare(
        QStringLiteral("DELETE FROM records WHERE logger_id = ? AND source = ? AND t >= ? "
                       "AND t <= ? AND log_id = ?"));
    q.addBindValue(loggerId);
    q.addBindValue(source);
    q.addBindValue(*first);
    q.addBindValue(*last);
    q.addBindValue(id);
    if (!q.exec()) return failWrite(q);
  }
  for (const char* sql :
       {"DELETE FROM downloads WHERE log_id = ?", "DELETE FROM logs WHERE id = ?"}) {
    q.prepare(QLatin1String(sql));
    q.addBindValue(id);
    if (!q.exec()) return failWrite(q);
  }
  if (!q.exec(QStringLiteral("COMMIT"))) return failWrite(q);
  return true;
}

}  // namespace hygro
