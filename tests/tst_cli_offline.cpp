// hygrotab-cli without a logger on a serial line: help, usage errors (which
// must be caught before the tool talks to any port), a missing port, and the
// built-in demo logger.
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <QDateTime>
#include <QFile>
#include <QRegularExpression>
#include <QtTest>

#include "data/datafolder.h"
#include "data/formats.h"
#include "support/cli_runner.h"
#include "support/data_fixtures.h"
#include "support/data_table.h"

using hygro::test::runCli;
using hygro::test::words;

namespace {
// A port that cannot exist: a command that got as far as connecting would
// fail with exit status 1 on it, so exit status 2 proves it stopped before.
const QString kNoPort = QStringLiteral("/nonexistent/hygrotab-tty");

// Each command, and something its --help text mentions.
QList<QStringList> commands() { return hygro::test::dataRows(QStringLiteral("cli/commands.tsv")); }
}  // namespace

class TestCliOffline : public QObject {
  Q_OBJECT
 private slots:
  void commandHelp_data();
  void commandHelp();
  void stoppedAtOrBeforeThePort_data();
  void stoppedAtOrBeforeThePort();
  void demoLogger();
  void folderInUseIsRefused();
  void recoverWritesLeftovers();
  void outputsNeverDestroyFiles_data();
  void outputsNeverDestroyFiles();
  void outputsToStreams();
  void namesThatAreNotUtf8AreRefused();
};

void TestCliOffline::commandHelp_data() {
  QTest::addColumn<QString>("command");
  QTest::addColumn<QString>("mentions");
  for (const QStringList& c : commands()) QTest::newRow(qPrintable(c[0])) << c[0] << c[1];
}

void TestCliOffline::commandHelp() {
  QFETCH(QString, command);
  QFETCH(QString, mentions);
  // --help wins over everything else on the line, and never touches a port.
  CLI_RUN(r, 0, runCli({QStringLiteral("--port"), kNoPort, command, QStringLiteral("--help")}));
  // plot reads a file and never talks to a logger: no global options.
  const QString usage = command == QLatin1String("plot")
                            ? QStringLiteral("Usage: hygrotab-cli ")
                            : QStringLiteral("Usage: hygrotab-cli [global options] ");
  QVERIFY2(r.out.startsWith(usage + command), CLI_DIAG(r));
  QVERIFY2(r.out.contains(mentions), CLI_DIAG(r));
  // The tool's own help lists it.
  CLI_RUN(tool, 0, runCli(words("--help")));
  QVERIFY2(tool.out.contains(QRegularExpression(
               QStringLiteral("\\n  %1 ").arg(QRegularExpression::escape(command)))),
           qPrintable(tool.out));
}

void TestCliOffline::stoppedAtOrBeforeThePort_data() {
  hygro::test::addDataRows(QStringLiteral("cli/refusals.tsv"), {"args", "exit", "says"});
}

void TestCliOffline::stoppedAtOrBeforeThePort() {
  QFETCH(QString, args);
  QFETCH(QString, exit);
  QFETCH(QString, says);
  QStringList argv = words(args);
  argv.replaceInStrings(QStringLiteral("NOPORT"), kNoPort);
  argv.replaceInStrings(QStringLiteral("IDLE"),
                        QStringLiteral(HYGROTAB_TEST_DATA "/sim/idle.json"));
  argv.replaceInStrings(QStringLiteral("PAST"), QDateTime::currentDateTime().addSecs(-120).toString(
                                                    QStringLiteral("yyyy-MM-dd HH:mm")));
  CLI_RUN(r, exit.toInt(), runCli(argv));
  QVERIFY2(r.err.contains(says), CLI_DIAG(r));
  // An unwritable CSV is all that is said: the port was never tried.
  if (says.startsWith(QStringLiteral("hygrotab-cli: cannot write the CSV")))
    QCOMPARE(r.errLines().size(), 1);
  QVERIFY(r.out.isEmpty());
  QVERIFY(!QFile::exists(QStringLiteral("x.csv")));
}

void TestCliOffline::demoLogger() {
  // --demo: the built-in logger, in place of a port.
  CLI_RUN(status, 0, runCli(words("--demo status")));
  QCOMPARE(status.outLines().size(), 11);  // no End line: the battery is fine
  QCOMPARE(status.field("Name"), QStringLiteral("DEMO"));
  QCOMPARE(status.field("Points"), QStringLiteral("216 point"));
  QVERIFY(status.err.isEmpty());

  // The lowest pair of bounds, the second option in its --name=value form.
  CLI_RUN(alarm, 0, runCli(words("--demo set-alarm --upper -19:on --lower=-20:off")));
  QCOMPARE(alarm.outLines(),
           (QStringList{QStringLiteral("Upper bound: -19 C"), QStringLiteral("Lower bound: OFF")}));
  QCOMPARE(alarm.err, QStringLiteral("Set completion\n"));
}

void TestCliOffline::folderInUseIsRefused() {
  QTemporaryDir dir;
  const QString d = dir.path();
  const QString real = dir.filePath(QStringLiteral("real.rand"));
  const QString lock = dir.filePath(hygro::DataFolder::kLockName);
  // A long continuous run holds the folder.
  QProcess first;
  first.setProgram(hygro::test::cliExecutable());
  first.setArguments(
      words(QStringLiteral("--demo --data-dir %1 measure --count 50 --interval 2").arg(d)));
  first.start();
  QVERIFY(first.waitForStarted(10000));
  QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(lock) && QFileInfo(real).size() >= 80, 30000);

  for (const QString& command : {QStringLiteral("--demo status"), QStringLiteral("recover")}) {
    CLI_RUN(r, 1, runCli(QStringList{QStringLiteral("--data-dir"), d} + words(command)));
    QVERIFY2(r.err.contains(QStringLiteral("The data folder %1 is being used by another Hygrotab "
                                           "program.")
                                .arg(QDir::toNativeSeparators(d))),
             CLI_DIAG(r));
    QVERIFY(r.out.isEmpty());
  }
  // The first run's scratch file was not taken for a leftover.
  QCOMPARE(QDir(d).entryList({QStringLiteral("*.crash-*")}), QStringList());
  QCOMPARE(first.state(), QProcess::Running);

  // (A lock whose process is gone is taken over: tst_data_sets; what recover
  // lists of a killed run: tst_cli_sim, aKilledRunLeavesItsSamples.)
  first.kill();
  QVERIFY(first.waitForFinished(10000));
}

void TestCliOffline::recoverWritesLeftovers() {
  using hygro::test::makeRecord;
  QTemporaryDir dir;
  const QString d = dir.path();
  const double t0 = hygro::fmt::dateSerial(2026, 11, 23, 10, 0, 0);
  const QList<hygro::MeasurementRecord> recs = {makeRecord(21.25f, 40.5f, t0),
                                                makeRecord(-3.5f, 99, t0 + 60 / 86400.0),
                                                makeRecord(22, 41, t0 + 120 / 86400.0)};
  // The three samples, one still waiting for its answers, and a torn record.
  const QString leftover = dir.filePath(QStringLiteral("real.rand.crash-20261123_100300"));
  QVERIFY(hygro::test::writeScratchFile(leftover, recs + QList{makeRecord(0, 0, t0 + 0.01, 0)},
                                        QByteArray(41, 'z')));
  const QStringList base{"--data-dir", d, "recover"};

  CLI_RUN(list, 0, runCli(base));
  QCOMPARE(list.outLines(),
           QStringList{QStringLiteral("1\treal.rand.crash-20261123_100300\treal-time samples\t3\t"
                                      "2026/11/23 10:00:00\t2026/11/23 10:02:00")});

  // The CSV of exactly those three samples.
  const QString csv = dir.filePath(QStringLiteral("out.csv"));
  CLI_RUN(one, 0, runCli(base + QStringList{"--csv", csv}));
  QCOMPARE(hygro::test::readFile(csv),
           hygro::test::readFile(QStringLiteral(HYGROTAB_TEST_DATA "/cli/recovered.csv")));

  // With two, the one to write must be named, by name or number.
  QVERIFY(hygro::test::writeScratchFile(dir.filePath(QStringLiteral("log.rand.crash-1")),
                                        {makeRecord(5, 6, t0)}));
  CLI_RUN(two, 0, runCli(base));
  QCOMPARE(two.outLines().size(), 2);
  QVERIFY(two.outLines()[0].startsWith(QStringLiteral("1\tlog.rand.crash-1\tlog\t1\t")));
  CLI_RUN(unnamed, 2, runCli(base + QStringList{"--csv", csv}));
  QVERIFY2(unnamed.err.contains(QStringLiteral("2 leftovers")), CLI_DIAG(unnamed));
  CLI_RUN(unknown, 2, runCli(base + QStringList{"--csv", csv, "3"}));
  const QString csv2 = dir.filePath(QStringLiteral("log.csv"));
  CLI_RUN(byNumber, 0, runCli(base + QStringList{"--csv", csv2, "1"}));
  QVERIFY(hygro::test::readFile(csv2).contains(",\"2026/11/23 10:00:00\",\"5.00\",\"6.00\","));
  CLI_RUN(byName, 0, runCli(base + QStringList{"--csv", csv2, "--overwrite", leftover}));
  QCOMPARE(hygro::test::readFile(csv2), hygro::test::readFile(csv));
  // Nothing is ever removed from a leftover.
  QCOMPARE(QFileInfo(leftover).size(), 4 * 80 + 41);

  QTemporaryDir empty;
  CLI_RUN(none, 0, runCli({"--data-dir", empty.path(), "recover"}));
  QVERIFY(none.out.isEmpty());
  QVERIFY(none.err.contains(QStringLiteral("no leftovers")));
}

void TestCliOffline::outputsNeverDestroyFiles_data() {
  hygro::test::addDataRows(QStringLiteral("cli/outputs.tsv"), {"args", "exit", "says", "old"});
}

void TestCliOffline::outputsNeverDestroyFiles() {
  QFETCH(QString, args);
  QFETCH(QString, exit);
  QFETCH(QString, says);
  QFETCH(QString, old);
  QTemporaryDir dir;
  const QString in = dir.filePath(QStringLiteral("in.csv"));
  const QString oldFile = dir.filePath(QStringLiteral("old.csv"));
  QVERIFY(QFile::copy(hygro::test::csvFixture(QStringLiteral("qm720xc.csv")), in));
  QVERIFY(QFile::link(in, dir.filePath(QStringLiteral("alias.csv"))));
  QCOMPARE(::link(QFile::encodeName(in).constData(),
                  QFile::encodeName(dir.filePath(QStringLiteral("link.csv"))).constData()),
           0);
  QFile keep(oldFile);
  QVERIFY(keep.open(QIODevice::WriteOnly) && keep.write("yesterday's log\n") > 0);
  keep.close();
  QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("data")));
  QVERIFY(hygro::test::writeScratchFile(dir.filePath(QStringLiteral("data/log.rand.crash-1")),
                                        {hygro::test::makeRecord(5, 6, 46000)}));
  // Copies of /dev/null and /dev/full: a fault that renamed a file over a
  // device must not take the machine's own. Only root may make them.
  const auto makeDevice = [&](const char* name, int minor) {
    return ::mknod(QFile::encodeName(dir.filePath(name)).constData(), S_IFCHR | 0666,
                   makedev(1, minor)) == 0;
  };
  const bool devices = makeDevice("null", 3) && makeDevice("full", 7);
  if (args.contains(QLatin1String("DEV")) && !devices)
    QSKIP("a device node can be made only as root");
  const QStringList files = QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden);
  const QMap<QString, QString> names{{QStringLiteral("IN"), in},
                                     {QStringLiteral("OLD"), oldFile},
                                     {QStringLiteral("LINK"), dir.filePath("link.csv")},
                                     {QStringLiteral("ALIAS"), dir.filePath("alias.csv")},
                                     {QStringLiteral("DATA"), dir.filePath("data")},
                                     {QStringLiteral("NULLDEV"), dir.filePath("null")},
                                     {QStringLiteral("FULLDEV"), dir.filePath("full")}};
  QStringList argv = words(args);
  for (QString& a : argv) {
    a = names.value(a, a);
    if (a.startsWith(QLatin1String("DIR/"))) a.replace(0, 3, dir.path());
  }
  CLI_RUN(r, exit.toInt(), runCli(argv));
  QVERIFY2(r.err.contains(says), CLI_DIAG(r));
  QCOMPARE(hygro::test::readFile(in),
           hygro::test::readFile(hygro::test::csvFixture(QStringLiteral("qm720xc.csv"))));
  if (old == QLatin1String("kept"))
    QCOMPARE(hygro::test::readFile(oldFile), QByteArray("yesterday's log\n"));
  else
    QVERIFY(hygro::test::readFile(oldFile).startsWith(old.toLatin1()));
  // "-" is stdout: the workbook alone.
  if (args.contains(QLatin1String(" - ")))
    QVERIFY2(r.out.startsWith(QStringLiteral("PK\x03\x04")) && r.out.size() > 4000, CLI_DIAG(r));
  // Nothing else is left behind, and a device stays a device.
  QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden), files);
  for (const char* device : {"null", "full"}) {
    struct stat st {};
    QVERIFY(!devices || (::stat(QFile::encodeName(dir.filePath(device)).constData(), &st) == 0 &&
                         S_ISCHR(st.st_mode)));
  }
}

void TestCliOffline::outputsToStreams() {
  // "-" is stdout: the CSV alone, none of the sample lines.
  CLI_RUN(csv, 0, runCli(words("--demo download --csv -")));
  QVERIFY2(csv.out.startsWith(QStringLiteral("\"Recognition name\",")), CLI_DIAG(csv));
  QCOMPARE(csv.outLines().size(), 3 + 216);

  // A pipe is written to, not replaced by a file (devices: the outputs' table).
  QTemporaryDir dir;
  const QString fifo = dir.filePath(QStringLiteral("pipe"));
  QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
  QProcess reader;
  reader.start(QStringLiteral("cat"), {fifo});
  QVERIFY(reader.waitForStarted());
  CLI_RUN(plot, 0,
          runCli({"plot", "--csv", hygro::test::csvFixture("qm720xc.csv"), "--png", fifo}));
  QVERIFY(reader.waitForFinished(10000));
  QVERIFY(reader.readAllStandardOutput().startsWith("\x89PNG"));
  QVERIFY(QFileInfo(fifo).exists() && !QFileInfo(fifo).isFile());
}

void TestCliOffline::namesThatAreNotUtf8AreRefused() {
  // Through a shell: the bytes of such a name cannot pass through a QString.
  QTemporaryDir dir;
  QProcess sh;
  sh.setWorkingDirectory(dir.path());
  sh.start(QStringLiteral("/bin/sh"),
           {QStringLiteral("-c"),
            QStringLiteral("\"$0\" plot --csv \"$1\" --png \"$(printf 'x\\377.png')\""),
            hygro::test::cliExecutable(), hygro::test::csvFixture(QStringLiteral("qm720xc.csv"))});
  QVERIFY(sh.waitForFinished(30000));
  const QString err = QString::fromUtf8(sh.readAllStandardError());
  QCOMPARE(sh.exitCode(), 2);
  QVERIFY2(err.contains(QStringLiteral("'x\\xff.png' is not valid UTF-8")), qPrintable(err));
  QVERIFY(QDir(dir.path()).isEmpty());
}

QTEST_GUILESS_MAIN(TestCliOffline)
#include "tst_cli_offline.moc"
