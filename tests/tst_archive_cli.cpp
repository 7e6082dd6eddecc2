// hygrotab-cli and the archive: downloads kept before they are marked, the
// archive commands, and watch reading loggers as they are plugged in and
// pulled out (emulated loggers on pseudo-terminals).
#include <QDeadlineTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QtTest>

#include "archive/archive.h"
#include "support/cli_runner.h"
#include "support/data_fixtures.h"
#include "support/data_table.h"

using hygro::test::CliResult;
using hygro::test::SimLogger;
using hygro::test::words;

namespace {

// Runs the tool with `input` on its stdin.
CliResult runWithInput(const QStringList& args, const QByteArray& input) {
  QProcess p;
  hygro::test::prepareCli(p, args, {});
  p.start();
  CliResult r;
  if (!p.waitForStarted(5000)) return r;
  p.write(input);
  p.closeWriteChannel();
  if (!p.waitForFinished(30000)) p.kill();
  r.out = QString::fromUtf8(p.readAllStandardOutput());
  r.err = QString::fromUtf8(p.readAllStandardError());
  r.exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
  return r;
}

// Waits for a line of `p`'s stdout that matches; collects what came.
bool waitForLine(QProcess& p, const QString& part, QString* seen, int ms = 60000) {
  const QDeadlineTimer deadline(ms);
  while (!deadline.hasExpired()) {
    while (p.canReadLine()) {
      const QString line = QString::fromUtf8(p.readLine());
      *seen += line;
      if (line.contains(part)) return true;
    }
    if (p.state() == QProcess::NotRunning) return false;
    p.waitForReadyRead(200);
  }
  return false;
}

}  // namespace

class TestArchiveCli : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void theArchiveCommands() {
    START_SIM(sim, "two_segments.json", "");
    QTemporaryDir dir;
    const QString full = dir.filePath(QStringLiteral("full.sqlite"));
    {
      // An archive that opens but takes no record: the log is saved all the
      // same, and the logger is not told it was downloaded.
      hygro::Archive a(hygro::ArchiveTarget::sqliteFile(full));
      QString why;
      QVERIFY2(a.open(&why), qPrintable(why));
      QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("t"));
      db.setDatabaseName(full);
      QVERIFY(db.open());
      QVERIFY(
          QSqlQuery(db).exec(QStringLiteral("CREATE TRIGGER full BEFORE INSERT ON records "
                                            "BEGIN SELECT RAISE(ABORT, 'no room left'); END")));
    }
    QSqlDatabase::removeDatabase(QStringLiteral("t"));
    const QString saved = dir.filePath(QStringLiteral("saved.csv"));
    CLI_RUN(refused, 1, sim.run(words("--archive") << full << words("download --csv") << saved));
    QVERIFY2(refused.err.contains(full + QStringLiteral(" could not be written: no room left")) &&
                 refused.err.contains(QStringLiteral("the logger keeps it as never downloaded")),
             CLI_DIAG(refused));
    QVERIFY(QFile::exists(saved));

    const QString archive = dir.filePath(QStringLiteral("site.sqlite"));
    const QStringList at{QStringLiteral("--archive"), archive};
    CLI_RUN(download, 0, sim.run(at + words("download --overwrite --csv") << saved));
    QVERIFY2(download.err.contains(
                 QStringLiteral("Kept in the archive as log 1 (200 new records): ") + archive),
             CLI_DIAG(download));

    CLI_RUN(json, 0, hygro::test::runCli(at + words("archive list --json")));
    const QJsonArray logs = QJsonDocument::fromJson(json.out.toUtf8()).array();
    QCOMPARE(logs.size(), 1);
    // Every key as written there (a pseudo-terminal has no USB bridge), and
    // the time of the download in UTC.
    QJsonObject log = logs[0].toObject();
    const QString downloadedAt = log.take(QStringLiteral("downloaded_at")).toString();
    QCOMPARE(log, QJsonDocument::fromJson(
                      hygro::test::dataText(QStringLiteral("archive/list_seg2.json")).toUtf8())
                      .object());
    QVERIFY2(
        downloadedAt.endsWith(u'Z') && qAbs(QDateTime::fromString(downloadedAt, Qt::ISODate)
                                                .secsTo(QDateTime::currentDateTimeUtc())) < 300,
        qPrintable(downloadedAt));

    CLI_RUN(byName, 0, hygro::test::runCli(at + words("archive list --logger SEG2")));
    QCOMPARE(byName.outLines().size(), 1);
    QVERIFY(byName.outLines()[0].startsWith(QStringLiteral("1\tSEG2\tQM720-XC\t-\t")));
    CLI_RUN(none, 0, hygro::test::runCli(at + words("archive list --logger OTHR")));
    QVERIFY(none.out.isEmpty());

    const QString exported = dir.filePath(QStringLiteral("exported.csv"));
    CLI_RUN(exp, 0, hygro::test::runCli(at + words("archive export 1 --csv") << exported));
    QCOMPARE(hygro::test::readFile(exported), hygro::test::readFile(saved));
    CLI_RUN(imp, 0, hygro::test::runCli(at + words("archive import") << saved));
    QCOMPARE(imp.out, saved + QStringLiteral(": log 1, 200 records (0 new)\n"));

    // Deleting asks, and anything but yes keeps the log.
    const CliResult kept = runWithInput(at + words("archive delete 1"), "\n");
    QVERIFY2(kept.exitCode == 1 && kept.err.contains(QStringLiteral("[y/N]")), CLI_DIAG(kept));
    const CliResult gone = runWithInput(at + words("archive delete 1"), "y\n");
    QVERIFY2(gone.exitCode == 0, CLI_DIAG(gone));
    CLI_RUN(missing, 1, hygro::test::runCli(at + words("archive delete 1 --yes")));
    QVERIFY2(missing.err.contains(QStringLiteral("holds no log 1")), CLI_DIAG(missing));
  }

  void watchReadsEachLoggerPluggedInOnce() {
    QTemporaryDir dir;
    const QString link = dir.filePath(QStringLiteral("logger"));
    const QString data = dir.filePath(QStringLiteral("data"));
    QDir().mkpath(data);
    QProcess watch;
    hygro::test::prepareCli(watch, {"--data-dir", data, "--port", link, "watch"}, {});
    watch.start();
    QVERIFY(watch.waitForStarted(5000));
    QString seen;
    const auto plugIn = [&](hygro::test::SimProcess& sim, const QString& state,
                            const QStringList& extra) {
      QString error;
      return sim.start(QStringList{"--no-pace", "--link", link, "--state",
                                   hygro::test::SimProcess::state(state)} +
                           extra,
                       &error);
    };
    {
      // Pulled out after 3000 of its 15000 points...
      hygro::test::SimProcess cut;
      QVERIFY(
          plugIn(cut, QStringLiteral("download_15000.json"), {"--unplug-after-points", "3000"}));
      QVERIFY2(waitForLine(watch, QStringLiteral("the download did not complete"), &seen),
               qPrintable(seen));
      QVERIFY(cut.process().waitForFinished(5000));
    }
    QTest::qWait(1500);  // out long enough to be seen gone
    {
      // ... and plugged back in: read whole.
      hygro::test::SimProcess back;
      QVERIFY(plugIn(back, QStringLiteral("download_15000.json"), {}));
      QVERIFY2(waitForLine(watch, QStringLiteral("FULL: 15000 points, log 1 (15000 new)"), &seen),
               qPrintable(seen));
      QTest::qWait(1500);  // still plugged in: not read again
    }
    QTest::qWait(1500);
    {
      hygro::test::SimProcess other;
      QVERIFY(plugIn(other, QStringLiteral("two_segments.json"), {}));
      QVERIFY2(waitForLine(watch, QStringLiteral("SEG2: 200 points, log 2 (200 new)"), &seen),
               qPrintable(seen));
    }
    watch.terminate();
    QVERIFY(watch.waitForFinished(10000));
    seen += QString::fromUtf8(watch.readAllStandardOutput());
    QCOMPARE(watch.exitCode(), 0);
    QCOMPARE(seen.count(QStringLiteral(" points, log ")), 2);
  }
};

QTEST_GUILESS_MAIN(TestArchiveCli)
#include "tst_archive_cli.moc"
