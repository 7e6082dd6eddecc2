// The archive on SQLite: downloads kept before the logger is told, exported
// byte for byte as saving them writes, joined without duplicates, refused
// whole when they cannot be kept.
#include <QSignalSpy>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QtTest>

#include "archive/archive.h"
#include "archive/archivecsv.h"
#include "archive/archiver.h"
#include "data/formats.h"
#include "support/data_fixtures.h"
#include "support/data_table.h"
#include "support/emulator_rig.h"
#include "support/fake_clock.h"

using namespace hygro;

namespace {

// Reads one value straight from an SQLite archive file.
QVariant sqlValue(const QString& path, const QString& sql) {
  QVariant v;
  {
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("peek"));
    db.setDatabaseName(path);
    if (db.open()) {
      QSqlQuery q(db);
      if (q.exec(sql) && q.next()) v = q.value(0);
    }
  }
  QSqlDatabase::removeDatabase(QStringLiteral("peek"));
  return v;
}

// The one log `archive` holds under `name` (any name when empty), read back
// whole; an empty log, which no test expects, when there is not exactly one.
ArchiveLog onlyLog(Archive& archive, const QString& name = QString()) {
  std::vector<ArchiveLogSummary> logs;
  ArchiveLog log;
  QString why;
  if (archive.list(name, &logs, &why) && logs.size() == 1) archive.read(logs[0].id, &log, &why);
  return log;
}

struct Fixture {
  QTemporaryDir dir;
  QString path = dir.filePath(QStringLiteral("archive.sqlite"));
  Archive archive{ArchiveTarget::sqliteFile(path)};
};

}  // namespace

class TestArchive : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void timesKeepTheirText_data() {
    QTest::addColumn<double>("serial");
    QTest::newRow("a logger's point") << fmt::dateSerial(2024, 5, 1, 10, 0, 0) + 119 * 60 / 86400.0;
    QTest::newRow("midnight") << fmt::dateSerial(2026, 3, 29, 0, 0, 0);
    QTest::newRow("before 1899-12-30") << -1.25;
  }
  void timesKeepTheirText() {
    QFETCH(double, serial);
    const qint64 t = ArchiveTimeFromSerial(serial);
    QCOMPARE(fmt::formatGeneralDate(SerialFromArchiveTime(t)), fmt::formatGeneralDate(serial));
    QCOMPARE(ArchiveTimeText(t).replace(u'T', u' ').replace(u'-', u'/'),
             fmt::formatDateTime(serial));
  }

  void targetsAreRead_data() {
    test::addDataRows(QStringLiteral("archive/targets.tsv"), {"text", "kind", "params", "shown"});
  }
  void targetsAreRead() {
    QFETCH(QString, text);
    QFETCH(QString, kind);
    QFETCH(QString, params);
    QFETCH(QString, shown);
    ArchiveTarget t;
    QString why;
    const bool ok = ArchiveTarget::parse(text, &t, &why);
    QCOMPARE(ok, params != QLatin1String("!"));
    if (!ok) {
      QVERIFY(!why.contains(QLatin1String("pw")));
      return;
    }
    QCOMPARE(t.kind == ArchiveTarget::Kind::Postgres, kind == QLatin1String("postgres"));
    QStringList got;
    for (const auto& [k, v] : t.params) got << k + u'=' + v;
    QCOMPARE(got.join(u'|'), params);
    QCOMPARE(t.display(), shown);
  }

  void downloadsAreKeptBeforeTheMarkAndExportAsSaved_data() {
    QTest::addColumn<QString>("state");
    QTest::addColumn<QString>("model");
    QTest::newRow("bounds") << "idle.json" << QString();
    QTest::newRow("2 s, QM720-XCB") << "download_2s.json"
                                    << "QM720-XCB";
    QTest::newRow("wrapped loop") << "wrapped_loop.json" << QString();
  }
  void downloadsAreKeptBeforeTheMarkAndExportAsSaved() {
    QFETCH(QString, state);
    QFETCH(QString, model);
    Fixture f;
    test::EmulatorRig r(state, model);
    QVERIFY(r.connect());
    SessionArchiver archiver(r.session, f.archive);
    QSignalSpy clockDone(&archiver, &SessionArchiver::clockDone);
    // The archive has the log before the logger hears it is downloaded.
    bool unmarkedWhenKept = false;
    connect(&archiver, &SessionArchiver::kept, this,
            [&] { unmarkedWhenKept = !r.codes().contains(56) && !r.sim->model().downloaded(); });
    r.sim->model().setDownloaded(false);
    QVERIFY(r.run(&DownloadOperation::Command5_Click));
    QVERIFY(unmarkedWhenKept);
    QVERIFY(r.sim->model().downloaded());
    QCOMPARE(r.takeCodes().count(56), 1);
    QVERIFY(!r.session.status().NeverDownloaded);

    const ArchiveLog log = onlyLog(f.archive);
    QVERIFY(log.summary.downloadedAt.has_value());
    QCOMPARE(ArchiveCsv(log), Csv_Content(r.session.data(), LogData, r.session.setModel(LogData),
                                          r.session.setName(LogData)));

    // The logger's clock, read after the download without setting it.
    QTRY_COMPARE_WITH_TIMEOUT(clockDone.count(), 1, 5000);
    const qint64 expected = std::llround(
        (fmt::fromDateTime(r.sim->model().clock()) - r.session.clock().now()) * 86400.0);
    const qint64 stored =
        sqlValue(f.path, QStringLiteral("SELECT clock_offset_s FROM downloads")).toLongLong();
    QVERIFY2(qAbs(stored - expected) <= 2,
             qPrintable(QStringLiteral("%1 vs %2").arg(stored).arg(expected)));
  }

  void downloadsOfOneLogJoinWithoutDuplicates() {
    // Downloaded twice (the first never marked), then its CSV file imported:
    // one log, each record once, exported as the first download saved it (a
    // log in two segments).
    Fixture f;
    test::EmulatorRig r(QStringLiteral("two_segments.json"));
    QVERIFY(r.connect());
    SessionArchiver archiver(r.session, f.archive);
    r.session.download().setMarkAtOnce(false);
    QVERIFY(r.run(&DownloadOperation::Command5_Click));
    const QByteArray saved = Csv_Content(r.session.data(), LogData, r.session.setModel(LogData),
                                         r.session.setName(LogData));
    QCOMPARE(archiver.lastKept()->added, qint64(200));
    QVERIFY(r.run(&DownloadOperation::Command5_Click));
    QVERIFY(archiver.lastKept()->added == 0 && !archiver.lastKept()->newLog);

    const QString file = f.dir.filePath(QStringLiteral("saved.csv"));
    QVERIFY(test::writeScratchFile(file, {}, saved));  // no records: the bytes alone
    CsvImport csv;
    QString why;
    QCOMPARE(Csv_Parse(file, &csv, &why), CsvOpenResult::Opened);
    ArchiveStored stored;
    QVERIFY2(f.archive.store(ArrivalFromCsv(csv, file), &stored, &why), qPrintable(why));
    QCOMPARE(stored.added, qint64(0));

    const ArchiveLog log = onlyLog(f.archive, QStringLiteral("SEG2"));
    QCOMPARE(log.summary.records, qint64(200));
    QCOMPARE(sqlValue(f.path, QStringLiteral("SELECT count(*) FROM downloads")).toInt(), 3);
    QCOMPARE(ArchiveCsv(log), saved);

    // Deleted: the log, its records and its arrivals. (Arrivals that overlap
    // in part: tst_archive_pg, on SQLite and PostgreSQL.)
    QVERIFY(f.archive.remove(log.summary.id, &why));
    std::vector<ArchiveLogSummary> logs;
    QVERIFY(f.archive.list(QString(), &logs, &why) && logs.empty());
    QCOMPARE(sqlValue(f.path, QStringLiteral("SELECT count(*) FROM records")).toInt(), 0);
    QCOMPARE(sqlValue(f.path, QStringLiteral("SELECT count(*) FROM downloads")).toInt(), 0);
    QVERIFY(!f.archive.remove(log.summary.id, &why));
    QVERIFY2(why.contains(QStringLiteral("no log %1").arg(log.summary.id)), qPrintable(why));
  }

  void whatCannotBeKeptIsRefusedWhole() {
    Fixture f;
    const qint64 start = ArchiveTimeFromSerial(fmt::dateSerial(2025, 1, 6, 8, 0, 0));
    ArchiveArrival twins;
    twins.logger = {QStringLiteral("QM720-XC"), QStringLiteral("TWIN"), QStringLiteral(".02"), {}};
    twins.start = start;
    twins.interval = 60;
    twins.atUtc = QDateTime::currentDateTimeUtc();
    for (int i = 0; i < 10; ++i) twins.records.push_back({start + i * 60, 20, 50, 1, QString()});
    twins.records[7].t = twins.records[6].t;  // an interval of 0 between them
    ArchiveStored stored;
    QString why;
    QVERIFY(!f.archive.store(twins, &stored, &why));
    QVERIFY2(why.contains(ArchiveTimeText(twins.records[6].t)), qPrintable(why));
    std::vector<ArchiveLogSummary> logs;
    QVERIFY(f.archive.list(QString(), &logs, &why) && logs.empty());

    // An archive of a later program's schema is left alone.
    QVERIFY(sqlValue(f.path, QStringLiteral("UPDATE schema_version SET version = 99")).isNull());
    Archive later(ArchiveTarget::sqliteFile(f.path));
    QVERIFY(!later.open(&why));
    QVERIFY2(why.contains(QLatin1String("newer version")) && why.contains(f.path), qPrintable(why));
  }

  void aFailedArchiveLeavesTheLogUnmarked() {
    QTemporaryDir dir;
    // A folder where the file should be: nothing can be written.
    Archive archive(ArchiveTarget::sqliteFile(dir.path()));
    test::EmulatorRig r(QStringLiteral("two_segments.json"));
    QVERIFY(r.connect());
    SessionArchiver archiver(r.session, archive);
    QVERIFY(r.run(&DownloadOperation::Command5_Click));
    QVERIFY(!r.takeCodes().contains(56));
    QVERIFY(r.session.status().NeverDownloaded);
    QCOMPARE(int(r.session.data().info(LogData).Points), 200);  // still there to be saved
    const QStringList messages = r.prompt.messages();
    QCOMPARE(messages.size(), 1);
    QVERIFY2(messages[0].startsWith(SessionArchiver::NotKeptText(QString()).chopped(1)) &&
                 messages[0].contains(QDir::toNativeSeparators(dir.path())),
             qPrintable(messages[0]));
  }

  void aRealTimeRunIsKeptWhenItEnds() {
    Fixture f;
    test::FakeClock clock(fmt::dateSerial(2026, 5, 4, 10, 0, 0));
    test::EmulatorRig r(QStringLiteral("idle.json"));
    QVERIFY(r.connect());
    r.session.setClock(&clock);
    SessionArchiver archiver(r.session, f.archive);
    QSignalSpy kept(&archiver, &SessionArchiver::kept);
    RealtimeOperation& run = r.session.realtime();
    QVERIFY(r.run(&RealtimeOperation::Command1_Click));  // one sample is no run
    run.ContinuationIntervalMs = 3600 * 1000;
    run.setContinuousInterval(QStringLiteral("2"), false);
    run.Command2_Click();
    QVERIFY(r.waitIdle());
    for (int k = 0; k < 4; ++k) {
      clock.advance(2000);
      run.continuation_Timer();
      QVERIFY(r.waitIdle());
    }
    QCOMPARE(kept.count(), 0);
    run.Command2_Click();
    QVERIFY(r.waitIdle());
    r.session.setClock(nullptr);
    QCOMPARE(kept.count(), 1);
    const ArchiveLog log = onlyLog(f.archive);
    QVERIFY(log.summary.source == LogSource::RealTime);
    QCOMPARE(ArchiveCsv(log),
             Csv_Content(r.session.data(), RealTimeData, r.session.setModel(RealTimeData),
                         r.session.setName(RealTimeData)));
  }
};

QTEST_GUILESS_MAIN(TestArchive)
#include "tst_archive.moc"
