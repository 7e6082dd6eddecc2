// hygrotab-cli print and plot: a CSV file or the logger's log written as a
// PDF, read back with pdftotext, or drawn into a PNG picture; what print,
// plot and stats refuse.
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include "support/cli_runner.h"
#include "support/data_fixtures.h"
#include "support/data_table.h"
#include "support/readback.h"

using hygro::test::runCli;
using hygro::test::words;

namespace {

QString fixture(const char* name) {
  return QStringLiteral(HYGROTAB_TEST_DATA "/csv/") + QLatin1String(name);
}

// The text of the PDF in the order it was drawn, every ideographic space and
// run of blanks as one blank; empty when it cannot be read.
QString pdfText(const QString& pdf) {
  QString text;
  if (!hygro::test::pdfText(pdf, &text, QStringLiteral("-raw"))) return {};
  return hygro::test::flatLines(text).join(QLatin1Char('\n'));
}

// The signature and size a PNG file of `w` x `h` states in its header. The
// tool's tests do without Qt Gui, so the picture is not decoded here (the
// drawing itself is checked by the render tests).
QByteArray pngHeader(int w, int h) {
  return QByteArray::fromHex("89504e470d0a1a0a0000000d49484452") +
         QByteArray::fromHex(
             QByteArray::number(quint64(w) << 32 | quint64(h), 16).rightJustified(16, '0'));
}

}  // namespace

class TstCliPrint : public QObject {
  Q_OBJECT
 private slots:
  void printsACsvFile();
  void writesThePictureAtTheRequestedSize();
  void refusalsLeaveNothing_data();
  void refusalsLeaveNothing();
  void printsTheLoggersLog();
};

void TstCliPrint::printsACsvFile() {
  QTemporaryDir dir;
  const QString pdf = dir.filePath(QStringLiteral("out.pdf"));
  CLI_RUN(
      r, 0,
      runCli({"print", "--dump", "--range", "2-3", "--csv", fixture("qm720xc.csv"), "--pdf", pdf}));
  const QString text = pdfText(pdf);
  QVERIFY2(!text.isEmpty(), "no text in the PDF (or pdftotext is missing)");
  // The header and the blocks' texts themselves: tst_render_print.
  QVERIFY2(text.contains(QStringLiteral("Recognition name ROOM1")), qPrintable(text));
  QVERIFY(text.contains(QStringLiteral("Record No")));
  for (const char* row : {"00001", "00002", "00003", "00004"})
    QVERIFY2(text.contains(QRegularExpression(QStringLiteral("\\n\\s*%1\\s+2010/05/0").arg(row))),
             row);
  // Record 4, the coldest, only in the whole set's block; records 2 and 3
  // only in the selection's.
  QCOMPARE(text.count(QStringLiteral("Minimum temperature 00004")), 1);
  QCOMPARE(text.count(QStringLiteral("Minimum temperature 00003")), 1);
  QCOMPARE(text.count(QStringLiteral("Maximum temperature 00002")), 1);
}

void TstCliPrint::writesThePictureAtTheRequestedSize() {
  QTemporaryDir dir;
  const QString png = dir.filePath(QStringLiteral("out.png"));
  CLI_RUN(r, 0, runCli({"plot", "--csv", fixture("qm720xc.csv"), "--png", png}));
  QCOMPARE(hygro::test::readFile(png).left(24), pngHeader(1280, 800));
  CLI_RUN(sized, 0,
          runCli({"plot", "--csv", fixture("qm720xc.csv"), "--png", png, "--overwrite", "--size",
                  "640x360", "--span", "3600", "--position", "60", "--temperature-range", "10:15",
                  "--humidity-range", "50:50"}));
  QCOMPARE(hygro::test::readFile(png).left(24), pngHeader(640, 360));
}

void TstCliPrint::refusalsLeaveNothing_data() {
  hygro::test::addDataRows(QStringLiteral("cli/file_refusals.tsv"), {"args", "exit", "says"});
}

void TstCliPrint::refusalsLeaveNothing() {
  QFETCH(QString, args);
  QFETCH(QString, exit);
  QFETCH(QString, says);
  QTemporaryDir dir;
  QStringList argv = words(args);
  argv.replaceInStrings(QStringLiteral("MISSING"), dir.filePath(QStringLiteral("missing.csv")));
  argv.replaceInStrings(QStringLiteral("BAD"),
                        QStringLiteral(HYGROTAB_TEST_DATA "/cli/broken.csv"));
  argv.replaceInStrings(QStringLiteral("NOTCSV"),
                        QStringLiteral(HYGROTAB_TEST_DATA "/analysis/not_a_log.csv"));
  argv.replaceInStrings(QStringLiteral("POINTS0"), fixture("points0.csv"));
  argv.replaceInStrings(QStringLiteral("CSV"), fixture("qm720xc.csv"));
  argv.replaceInStrings(QStringLiteral("OUT"), dir.filePath(QStringLiteral("out")));
  argv.replaceInStrings(QStringLiteral("NOWHERE"), dir.filePath(QStringLiteral("missing/out")));
  CLI_RUN(r, exit.toInt(), runCli(argv));
  QVERIFY2(r.err.contains(says) && r.out.isEmpty(), CLI_DIAG(r));
  // No output, no temporary file, no folder made for it.
  QVERIFY(QDir(dir.path()).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
}

void TstCliPrint::printsTheLoggersLog() {
  QTemporaryDir dir;
  const QString pdf = dir.filePath(QStringLiteral("log.pdf"));
  CLI_RUN(r, 0, runCli({"--demo", "print", "--dump", "--pdf", pdf}, 120000));
  const QString text = pdfText(pdf);
  QVERIFY2(!text.isEmpty(), "no text in the PDF (or pdftotext is missing)");
  // The logger's own name, and every point of its log.
  QVERIFY2(text.contains(QStringLiteral("Recognition name DEMO")), qPrintable(text.left(2000)));
  const QRegularExpression points(QStringLiteral("Recording points (\\d+) Point"));
  const QRegularExpressionMatch m = points.match(text);
  QVERIFY(m.hasMatch());
  const int n = m.captured(1).toInt();
  QVERIFY(n > 0);
  QVERIFY(text.contains(
      QRegularExpression(QStringLiteral("\\n\\s*%1\\s+\\d{4}/").arg(n, 5, 10, QLatin1Char('0')))));
  QVERIFY(!text.contains(QRegularExpression(
      QStringLiteral("\\n\\s*%1\\s+\\d{4}/").arg(n + 1, 5, 10, QLatin1Char('0')))));
  // No range given: the selection's block is the whole log's.
  QRegularExpressionMatchIterator coldest =
      QRegularExpression(QStringLiteral("Minimum temperature (\\d{5})")).globalMatch(text);
  QVERIFY(coldest.hasNext());
  const QString whole = coldest.next().captured(1);
  QVERIFY(coldest.hasNext());
  QCOMPARE(coldest.next().captured(1), whole);
}

QTEST_GUILESS_MAIN(TstCliPrint)
#include "tst_cli_print.moc"
