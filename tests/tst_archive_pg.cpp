// The archive on a real PostgreSQL server the test starts itself: the same
// schema and results as on SQLite, and ten tools downloading ten loggers into
// it at once, each record kept once.
#include <QDir>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QtTest>
#include <bit>
#include <memory>

#include "archive/archive.h"
#include "archive/archivecsv.h"
#include "data/formats.h"
#include "logger/conversions.h"
#include "support/cli_runner.h"
#include "support/data_table.h"
#include "support/pg_server.h"

using namespace hygro;

namespace {

// Records whose values sit where decimal rounding is most fragile.
ArchiveArrival arrivalOf(const QString& name, qint64 start, int from, int count) {
  ArchiveArrival a;
  a.logger = {QStringLiteral("QM720-XC"), name, QStringLiteral(".02"), QStringLiteral("FT4ZQX1")};
  a.start = start;
  a.interval = 60;
  a.upperRaw = 6960;
  a.upperOn = true;
  a.loop = true;
  a.atUtc = QDateTime::currentDateTimeUtc();
  a.clockOffset = -42;
  for (int i = from; i < from + count; ++i) {
    const float t = TemperatureFromRaw(5000 + i * 7);
    a.records.push_back({start + i * 60, t, HumidityFromRaw(1000 + i * 3, t), 1 + i / 100,
                         i % 50 == 0 ? QStringLiteral("door \"A\" \\ open") : QString()});
  }
  return a;
}

// An emulated logger of its own name and day in June 2024, 2000 points.
QString simState(const QString& name, int day) {
  return test::dataText(QStringLiteral("archive/pg_logger.json"))
      .arg(name)
      .arg(day, 2, 10, QLatin1Char('0'))
      .arg(15 + day);
}

}  // namespace

class TestArchivePg : public QObject {
  Q_OBJECT
  test::PgServer server_;
  int databases_ = 0;

  // A fresh database on the server, as a connection string.
  QString freshDatabase() {
    const QString name = QStringLiteral("t%1").arg(++databases_);
    {
      QSqlDatabase admin =
          QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), QStringLiteral("admin"));
      admin.setConnectOptions(server_.conninfo().replace(u' ', u';'));
      if (admin.open()) QSqlQuery(admin).exec(QStringLiteral("CREATE DATABASE ") + name);
    }
    QSqlDatabase::removeDatabase(QStringLiteral("admin"));
    return server_.conninfo(name);
  }

 private Q_SLOTS:
  void initTestCase() {
    QString why;
    QVERIFY2(server_.start(&why), qPrintable(why));
  }
  void cleanupTestCase() { server_.stop(); }

  void theSameArchiveAsOnSqlite() {
    QTemporaryDir dir;
    Archive lite(ArchiveTarget::sqliteFile(dir.filePath(QStringLiteral("a.sqlite"))));
    ArchiveTarget target;
    QString why;
    QVERIFY2(ArchiveTarget::parse(freshDatabase(), &target, &why), qPrintable(why));
    Archive pg(target);
    const qint64 start = ArchiveTimeFromSerial(fmt::dateSerial(2024, 6, 1, 0, 0, 0));
    for (Archive* a : {&lite, &pg}) {
      ArchiveStored first, second;
      QVERIFY2(a->store(arrivalOf(QStringLiteral("SITE"), start, 100, 300), &first, &why),
               qPrintable(why));
      QVERIFY2(a->store(arrivalOf(QStringLiteral("SITE"), start, 0, 250), &second, &why),
               qPrintable(why));
      QCOMPARE(second.logId, first.logId);
      QCOMPARE(second.added, qint64(100));
    }
    std::vector<ArchiveLogSummary> lites, pgs;
    QVERIFY(lite.list(QString(), &lites, &why));
    QVERIFY2(pg.list(QString(), &pgs, &why), qPrintable(why));
    QCOMPARE(pgs.size(), size_t(1));
    QCOMPARE(pgs[0].records, qint64(400));
    QCOMPARE(pgs[0].bridgeSerial, QStringLiteral("FT4ZQX1"));
    QCOMPARE(pgs[0].first, std::optional<qint64>(start));
    QCOMPARE(pgs[0].last, std::optional<qint64>(start + 399 * 60));
    ArchiveLog fromLite, fromPg;
    QVERIFY(lite.read(lites[0].id, &fromLite, &why));
    QVERIFY2(pg.read(pgs[0].id, &fromPg, &why), qPrintable(why));
    QCOMPARE(fromPg.records.size(), size_t(400));
    for (size_t i = 0; i < fromPg.records.size(); ++i) {
      // Single precision as it was handed in, to the bit.
      QCOMPARE(std::bit_cast<quint32>(fromPg.records[i].temperature),
               std::bit_cast<quint32>(fromLite.records[i].temperature));
      QCOMPARE(std::bit_cast<quint32>(fromPg.records[i].humidity),
               std::bit_cast<quint32>(fromLite.records[i].humidity));
    }
    QCOMPARE(ArchiveCsv(fromPg), ArchiveCsv(fromLite));
  }

  void tenToolsAtOnce_data() {
    QTest::addColumn<bool>("postgres");
    QTest::newRow("PostgreSQL") << true;
    QTest::newRow("one SQLite file") << false;
  }
  void tenToolsAtOnce() {
    // Ten emulated loggers read by ten tools into one archive at once; the
    // last two are one logger read by two PCs, so every record of it comes
    // twice.
    QFETCH(bool, postgres);
    QTemporaryDir dir;
    const QString conninfo =
        postgres ? freshDatabase() : dir.filePath(QStringLiteral("site.sqlite"));
    constexpr int kTools = 10;
    std::vector<std::unique_ptr<test::SimLogger>> sims;
    std::vector<std::unique_ptr<QProcess>> tools;
    for (int k = 0; k < kTools; ++k) {
      const int logger = qMin(k, kTools - 2);
      const QString state = dir.filePath(QStringLiteral("state%1.json").arg(k));
      QFile f(state);
      QVERIFY(f.open(QIODevice::WriteOnly));
      f.write(simState(QStringLiteral("PG%1").arg(logger, 2, 10, QLatin1Char('0')), logger + 1)
                  .toUtf8());
      f.close();
      sims.push_back(std::make_unique<test::SimLogger>());
      QString why;
      QVERIFY2(sims.back()->start(state, {}, &why), qPrintable(why));
    }
    for (int k = 0; k < kTools; ++k) {
      const QString data = dir.filePath(QStringLiteral("data%1").arg(k));
      QDir().mkpath(data);
      tools.push_back(std::make_unique<QProcess>());
      test::prepareCli(
          *tools.back(),
          sims[size_t(k)]->portArgs() +
              // Twenty processes on a busy machine: a logger slow to
              // answer its first identification is asked again.
              QStringList{"--wait-for-logger", "60", "--data-dir", data, "--archive", conninfo,
                          "download", "--csv", dir.filePath(QStringLiteral("%1.csv").arg(k))},
          {});
    }
    for (auto& t : tools) t->start();
    for (int k = 0; k < kTools; ++k) {
      QProcess& t = *tools[size_t(k)];
      QVERIFY(t.waitForFinished(120000));
      QVERIFY2(t.exitStatus() == QProcess::NormalExit && t.exitCode() == 0,
               t.readAllStandardError().constData());
    }

    ArchiveTarget target;
    QString why;
    QVERIFY(ArchiveTarget::parse(conninfo, &target, &why));
    Archive archive(target);
    std::vector<ArchiveLogSummary> logs;
    QVERIFY2(archive.list(QString(), &logs, &why), qPrintable(why));
    QCOMPARE(logs.size(), size_t(kTools - 1));
    for (int k = 0; k < kTools; ++k) {
      const QString name = QStringLiteral("PG%1").arg(qMin(k, kTools - 2), 2, 10, QLatin1Char('0'));
      const auto it = std::find_if(logs.begin(), logs.end(),
                                   [&](const ArchiveLogSummary& l) { return l.name == name; });
      QVERIFY2(it != logs.end(), qPrintable(name));
      QCOMPARE(it->records, qint64(2000));
      ArchiveLog log;
      QVERIFY(archive.read(it->id, &log, &why));
      QFile saved(dir.filePath(QStringLiteral("%1.csv").arg(k)));
      QVERIFY(saved.open(QIODevice::ReadOnly));
      QCOMPARE(ArchiveCsv(log), saved.readAll());
    }
  }
};

QTEST_GUILESS_MAIN(TestArchivePg)
#include "tst_archive_pg.moc"
