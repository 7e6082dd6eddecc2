// hygrotab-cli stats and export: the figures of a hand-checked set as JSON and
// as lines, and the workbook (of a file and of a log in the archive) read
// back by LibreOffice. (What stats refuses: tst_cli_print's table.)
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>

#include "support/cli_runner.h"
#include "support/data_fixtures.h"
#include "support/data_table.h"
#include "support/readback.h"

using hygro::test::runCli;
using hygro::test::words;

namespace {

QString analysisFixture(const QString& name) {
  return QStringLiteral(HYGROTAB_TEST_DATA "/analysis/") + name;
}
const QString kSet = analysisFixture(QStringLiteral("excursions.csv"));

// A value as compact JSON text (keys sorted), to compare with its reference.
QByteArray jsonText(const QJsonValue& v) {
  return QJsonDocument(QJsonArray{v}).toJson(QJsonDocument::Compact);
}

QJsonValue lookUp(const QJsonObject& root, const QString& path) {
  QJsonValue v = root;
  for (const QString& part : path.split(u'/')) {
    bool isIndex = false;
    const int i = part.toInt(&isIndex);
    v = isIndex ? v.toArray().at(i) : v.toObject().value(part);
  }
  return v;
}

// The non-empty lines of a sheet LibreOffice wrote as CSV, the time of the
// export as "<now>" (as the references under tests/data/analysis have it).
QStringList sheetLines(const QString& path) {
  static const QRegularExpression now(QStringLiteral(
      "^(\"Exported at \\(PC time\\)\"),\\d{4}-\\d{2}-\\d{2} \\d{2}:\\d{2}:\\d{2}$"));
  QStringList lines =
      QString::fromUtf8(hygro::test::readFile(path)).remove(u'\r').split(u'\n', Qt::SkipEmptyParts);
  lines.replaceInStrings(now, QStringLiteral("\\1,<now>"));
  return lines;
}

}  // namespace

class TstCliAnalysis : public QObject {
  Q_OBJECT
 private slots:
  void initTestCase();
  void statsJsonIsTheHandCheckedSet();
  void statsOptions_data();
  void statsOptions();
  void statsLines();
  void statsOfTheLoggersLog();
  void exportReadBackByLibreOffice();
};

void TstCliAnalysis::initTestCase() {
  // The workbook states the PC's offset from UTC: one the test knows.
  qputenv("TZ", "JST-9");
}

void TstCliAnalysis::statsJsonIsTheHandCheckedSet() {
  CLI_RUN(r, 0, runCli({"stats", "--csv", kSet, "--json"}));
  const QJsonDocument want =
      QJsonDocument::fromJson(hygro::test::readFile(analysisFixture("excursions.json")));
  QVERIFY(want.isObject());
  QCOMPARE(jsonText(QJsonDocument::fromJson(r.out.toUtf8()).object()), jsonText(want.object()));
}

void TstCliAnalysis::statsOptions_data() {
  hygro::test::addDataRows(QStringLiteral("analysis/stats_options.tsv"), {"args", "path", "want"});
}

void TstCliAnalysis::statsOptions() {
  QFETCH(QString, args);
  QFETCH(QString, path);
  QFETCH(QString, want);
  QStringList argv = {"stats", "--json"};
  argv << words(args).replaceInStrings(QStringLiteral("POINTS0"),
                                       hygro::test::csvFixture(QStringLiteral("points0.csv")));
  if (!args.contains(QLatin1String("--csv"))) argv << "--csv" << kSet;
  CLI_RUN(r, 0, runCli(argv));
  const QJsonObject root = QJsonDocument::fromJson(r.out.toUtf8()).object();
  const QJsonValue value = QJsonDocument::fromJson("[" + want.toUtf8() + "]").array().at(0);
  const QJsonValue got = lookUp(root, path);
  QVERIFY2(!value.isUndefined() && !got.isUndefined(), qPrintable(path + u'\n' + r.out));
  QCOMPARE(jsonText(got), jsonText(value));
}

void TstCliAnalysis::statsLines() {
  CLI_RUN(r, 0, runCli({"stats", "--csv", kSet}));
  for (const QString& line : hygro::test::dataText(QStringLiteral("analysis/stats_lines.txt"))
                                 .split(u'\n', Qt::SkipEmptyParts))
    QVERIFY2(r.outLines().contains(line), qPrintable(line + u'\n' + r.out));
  CLI_RUN(none, 0, runCli({"stats", "--csv", hygro::test::csvFixture("points0.csv")}));
  QVERIFY2(none.outLines().contains(QStringLiteral("Mean kinetic temperature: none")),
           qPrintable(none.out));
}

void TstCliAnalysis::statsOfTheLoggersLog() {
  CLI_RUN(r, 0, runCli({"--demo", "stats", "--json"}, 120000));
  const QJsonObject root = QJsonDocument::fromJson(r.out.toUtf8()).object();
  QVERIFY2(lookUp(root, "records").toInt() > 0, qPrintable(r.out));
  // The figures themselves: tst_analysis. The emulated logger's upper bound
  // is on at 30 C.
  QCOMPARE(lookUp(root, "limits/upper").toDouble(), 30.0);
}

void TstCliAnalysis::exportReadBackByLibreOffice() {
  QTemporaryDir dir;
  const QString xlsx = dir.filePath(QStringLiteral("set.xlsx"));
  CLI_RUN(r, 0, runCli({"export", "--csv", kSet, "--xlsx", xlsx}));
  // A log in the archive is the workbook of its CSV file (which adds the
  // extremes' remarks), with the same output rules: an existing file stays.
  const QStringList at{QStringLiteral("--archive"), dir.filePath(QStringLiteral("a.sqlite"))};
  const QString archived = dir.filePath(QStringLiteral("archived.xlsx"));
  const QString ofFile = dir.filePath(QStringLiteral("file.xlsx"));
  const QString csv = dir.filePath(QStringLiteral("archived.csv"));
  CLI_RUN(imp, 0, runCli(at + words("archive import") << kSet));
  CLI_RUN(exp, 0, runCli(at + words("archive export 1 --xlsx") << archived));
  CLI_RUN(asCsv, 0, runCli(at + words("archive export 1 --csv") << csv));
  CLI_RUN(fromCsv, 0, runCli(words("export --xlsx") << ofFile << QStringLiteral("--csv") << csv));
  const QByteArray before = hygro::test::readFile(archived);
  CLI_RUN(again, 1, runCli(at + words("archive export 1 --xlsx") << archived));
  QVERIFY2(again.err.contains(QStringLiteral("--overwrite")), CLI_DIAG(again));
  QCOMPARE(hygro::test::readFile(archived), before);

  QString said;
  QVERIFY2(hygro::test::sheetsAsCsv({xlsx, archived, ofFile}, dir.path(), &said), qPrintable(said));
  for (const QString& name :
       {QStringLiteral("Records"), QStringLiteral("Header"), QStringLiteral("Statistics")}) {
    const auto sheet = [&](const QString& book) {
      return dir.filePath(book + u'-' + name + QStringLiteral(".csv"));
    };
    for (const QString& book : {QStringLiteral("set"), QStringLiteral("archived")})
      QVERIFY2(QFile::exists(sheet(book)), qPrintable(said));
    QCOMPARE(
        sheetLines(sheet(QStringLiteral("set"))),
        sheetLines(analysisFixture(QStringLiteral("excursions-") + name + QStringLiteral(".csv"))));
    QCOMPARE(sheetLines(sheet(QStringLiteral("archived"))),
             sheetLines(sheet(QStringLiteral("file"))));
  }
}

QTEST_GUILESS_MAIN(TstCliAnalysis)
#include "tst_cli_analysis.moc"
