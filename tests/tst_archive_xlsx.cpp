// archive export --xlsx: the workbook export --xlsx writes of the log's CSV
// file, read back by LibreOffice.
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include "support/cli_runner.h"
#include "support/data_fixtures.h"

using hygro::test::runCli;
using hygro::test::words;

namespace {

const QString kSet = QStringLiteral(HYGROTAB_TEST_DATA "/analysis/excursions.csv");

// The sheet's rows, without the one that says when the export was made.
QByteArrayList sheetRows(const QString& path) {
  QByteArrayList rows = hygro::test::readFile(path).split('\n');
  rows.removeIf([](const QByteArray& row) { return row.startsWith("\"Exported at"); });
  return rows;
}

}  // namespace

class TestArchiveXlsx : public QObject {
  Q_OBJECT
 private Q_SLOTS:
  void initTestCase() { qputenv("TZ", "JST-9"); }

  void aLogIsTheWorkbookOfItsFile() {
    const QString soffice = QStandardPaths::findExecutable(QStringLiteral("soffice"));
    QVERIFY2(!soffice.isEmpty(), "LibreOffice (soffice) is missing: run scripts/install-deps.sh");
    QTemporaryDir dir;
    const QStringList at{QStringLiteral("--archive"), dir.filePath(QStringLiteral("a.sqlite"))};
    const QString fromArchive = dir.filePath(QStringLiteral("archived.xlsx"));
    const QString fromFile = dir.filePath(QStringLiteral("file.xlsx"));
    CLI_RUN(imp, 0, runCli(at + words("archive import") << kSet));
    CLI_RUN(exp, 0, runCli(at + words("archive export 1 --xlsx") << fromArchive));
    // What its CSV file gives, the extremes' remarks it gets included.
    const QString csv = dir.filePath(QStringLiteral("archived.csv"));
    CLI_RUN(asCsv, 0, runCli(at + words("archive export 1 --csv") << csv));
    CLI_RUN(ref, 0, runCli(words("export --xlsx") << fromFile << QStringLiteral("--csv") << csv));

    // The same output rules as export --xlsx: an existing file stays.
    const QByteArray before = hygro::test::readFile(fromArchive);
    CLI_RUN(again, 1, runCli(at + words("archive export 1 --xlsx") << fromArchive));
    QVERIFY(again.err.contains(QStringLiteral("--overwrite")));
    QCOMPARE(hygro::test::readFile(fromArchive), before);

    QProcess lo;
    lo.start(
        soffice,
        {QStringLiteral("-env:UserInstallation=file://") + dir.filePath(QStringLiteral("profile")),
         QStringLiteral("--headless"), QStringLiteral("--convert-to"),
         QStringLiteral("csv:Text - txt - csv (StarCalc):44,34,76,1,,0,true,true,false,false,"
                        "false,-1"),
         QStringLiteral("--outdir"), dir.path(), fromArchive, fromFile});
    QVERIFY(lo.waitForFinished(300000));
    const QString said = QString::fromUtf8(lo.readAllStandardOutput() + lo.readAllStandardError());
    QVERIFY2(lo.exitCode() == 0, qPrintable(said));
    for (const char* sheet : {"Records", "Header", "Statistics"}) {
      const QString name = QStringLiteral("%1-") + QLatin1String(sheet) + QStringLiteral(".csv");
      const QByteArrayList got = sheetRows(dir.filePath(name.arg(QStringLiteral("archived"))));
      QVERIFY2(got.size() > 2, sheet);
      QCOMPARE(got, sheetRows(dir.filePath(name.arg(QStringLiteral("file")))));
    }
  }
};

QTEST_MAIN(TestArchiveXlsx)
#include "tst_archive_xlsx.moc"
