// hygrotab-cli print: a CSV file or the logger's log written as a PDF,
// read back with pdftotext.
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include "support/cli_runner.h"
#include "support/data_fixtures.h"
#include "support/data_table.h"

using hygro::test::runCli;
using hygro::test::words;

namespace {

// An ideographic space as pdfText() gives it.
const QString kSp = QStringLiteral(" ");

QString fixture(const char* name) {
  return QStringLiteral(HYGROTAB_TEST_DATA "/csv/") + QLatin1String(name);
}

// The text of the PDF in the order it was drawn, every ideographic space
// (a word gap to pdftotext) and run of blanks as one blank; empty when it
// cannot be read. pdftotext must be there (install-deps.sh installs it): its
// absence fails the test.
QString pdfText(const QString& pdf) {
  const QString tool = QStandardPaths::findExecutable(QStringLiteral("pdftotext"));
  if (tool.isEmpty()) {
    qWarning("pdftotext is missing: run scripts/install-deps.sh");
    return {};
  }
  QProcess p;
  p.start(tool, {QStringLiteral("-raw"), QStringLiteral("-enc"), QStringLiteral("UTF-8"), pdf,
                 QStringLiteral("-")});
  if (!p.waitForFinished(60000) || p.exitCode() != 0) return {};
  QStringList lines;
  for (const QString& l : QString::fromUtf8(p.readAllStandardOutput()).split(QLatin1Char('\n')))
    lines << QString(l).replace(QChar(0x3000), QLatin1Char(' ')).simplified();
  return lines.join(QLatin1Char('\n'));
}

}  // namespace

class TstCliPrint : public QObject {
  Q_OBJECT
 private slots:
  void printsACsvFile();
  void unreadableInputOrOutputLeavesNoPdf();
  void usageErrors_data();
  void usageErrors();
  void printsTheLoggersLog();
};

void TstCliPrint::printsACsvFile() {
  QTemporaryDir dir;
  QVERIFY(dir.isValid());
  const QString pdf = dir.filePath(QStringLiteral("out.pdf"));
  {
    CLI_RUN(r, 0, runCli({"print", "--csv", fixture("qm720xc.csv"), "--pdf", pdf}));
    const QString text = pdfText(pdf);
    QVERIFY2(!text.isEmpty(), "no text in the PDF (or pdftotext is missing)");
    for (const QString& line :
         {QStringLiteral("Recognition name ROOM1"),
          QStringLiteral("Recording points") + kSp + QStringLiteral("4 Point"),
          QStringLiteral("Upper bound temperature setting ON") + kSp + QStringLiteral("30 C"),
          QStringLiteral("In all records"), QStringLiteral("Range of selection"),
          QStringLiteral("Temperature"), QStringLiteral("Humidity")})
      QVERIFY2(text.contains(line), qPrintable(line + QStringLiteral("\n---\n") + text));
    // The whole set by default: both blocks name record 4 as the coldest.
    QCOMPARE(text.count(QStringLiteral("Minimum temperature") + QStringLiteral(" 00004")), 2);
  }
  CLI_RUN(r, 0,
          runCli({"print", "--dump", "--range", "2-3", "--csv", fixture("qm720xc.csv"), "--pdf",
                  pdf, "--overwrite"}));
  const QString text = pdfText(pdf);
  QVERIFY(text.contains(QStringLiteral("Record No")));
  for (const char* row : {"00001", "00002", "00003", "00004"})
    QVERIFY2(text.contains(QRegularExpression(QStringLiteral("\\n\\s*%1\\s+2010/05/0").arg(row))),
             row);
  // Records 2 and 3 only in the second block.
  QCOMPARE(text.count(QStringLiteral("Minimum temperature") + QStringLiteral(" 00003")), 1);
  QVERIFY(text.contains(QStringLiteral("Maximum temperature") + QStringLiteral(" 00002") + kSp +
                        QStringLiteral("2010/05/01 13:14:05") + kSp + QStringLiteral("0.04 C")));
}

void TstCliPrint::unreadableInputOrOutputLeavesNoPdf() {
  QTemporaryDir dir;
  QVERIFY(dir.isValid());
  const QString pdf = dir.filePath(QStringLiteral("out.pdf"));
  {
    CLI_RUN(r, 1, runCli({"print", "--csv", dir.filePath("missing.csv"), "--pdf", pdf}));
    QVERIFY2(r.err.contains(QStringLiteral("File error")), qPrintable(r.err));
    QVERIFY(!QFile::exists(pdf));
  }
  {
    // Broken off in the middle of the records: what was read is not printed.
    QByteArray bytes = hygro::test::readFile(fixture("qm720xc.csv"));
    bytes.append("5,\"not a date\",\"1\",\"2\",\"x\"\r\n");
    QFile bad(dir.filePath(QStringLiteral("bad.csv")));
    QVERIFY(bad.open(QIODevice::WriteOnly));
    bad.write(bytes);
    bad.close();
    CLI_RUN(r, 1, runCli({"print", "--dump", "--csv", bad.fileName(), "--pdf", pdf}));
    QVERIFY2(r.err.contains(QStringLiteral("File error")), qPrintable(r.err));
    QVERIFY(!QFile::exists(pdf));
  }
  {
    CLI_RUN(r, 1, runCli({"print", "--csv", fixture("points0.csv"), "--pdf", pdf}));
    QVERIFY2(r.err.contains(QStringLiteral("no records")), qPrintable(r.err));
    QVERIFY(!QFile::exists(pdf));
  }
  {
    const QString nowhere = dir.filePath(QStringLiteral("missing/out.pdf"));
    CLI_RUN(r, 1, runCli({"print", "--csv", fixture("qm720xc.csv"), "--pdf", nowhere}));
    QVERIFY2(r.err.contains(QStringLiteral("File error")), qPrintable(r.err));
    QVERIFY(!QFileInfo::exists(dir.filePath(QStringLiteral("missing"))));
  }
  // Nothing else was left in the folder (no temporary file either).
  QStringList left = QDir(dir.path()).entryList(QDir::Files | QDir::Hidden);
  left.removeAll(QStringLiteral("bad.csv"));
  QVERIFY2(left.isEmpty(), qPrintable(left.join(QLatin1Char(' '))));
}

void TstCliPrint::usageErrors_data() {
  hygro::test::addDataRows(QStringLiteral("cli/print_usage_errors.tsv"), {"args", "says"});
}

void TstCliPrint::usageErrors() {
  QFETCH(QString, args);
  QFETCH(QString, says);
  QTemporaryDir dir;
  QVERIFY(dir.isValid());
  const QString pdf = dir.filePath(QStringLiteral("out.pdf"));
  QStringList argv = words(args);
  argv.replaceInStrings(QStringLiteral("CSV"), fixture("qm720xc.csv"));
  argv.replaceInStrings(QStringLiteral("OUT"), pdf);
  CLI_RUN(r, 2, runCli(argv));
  QVERIFY2(r.err.contains(says), CLI_DIAG(r));
  QVERIFY(!QFile::exists(pdf));
}

void TstCliPrint::printsTheLoggersLog() {
  QTemporaryDir dir;
  QVERIFY(dir.isValid());
  const QString pdf = dir.filePath(QStringLiteral("log.pdf"));
  CLI_RUN(r, 0, runCli({"--demo", "print", "--dump", "--pdf", pdf}, 120000));
  const QString text = pdfText(pdf);
  QVERIFY2(!text.isEmpty(), "no text in the PDF (or pdftotext is missing)");
  // The logger's own name, and its model keeps bounds.
  QVERIFY2(text.contains(QStringLiteral("Recognition name DEMO")), qPrintable(text.left(2000)));
  QVERIFY(text.contains(QStringLiteral("Upper bound temperature setting ON") + kSp +
                        QStringLiteral("30 C")));
  const QRegularExpression points(QStringLiteral("Recording points (\\d+) Point"));
  const QRegularExpressionMatch m = points.match(text);
  QVERIFY(m.hasMatch());
  const int n = m.captured(1).toInt();
  QVERIFY(n > 0);
  QVERIFY(text.contains(
      QRegularExpression(QStringLiteral("\\n\\s*%1\\s+\\d{4}/").arg(n, 5, 10, QLatin1Char('0')))));
  QVERIFY(!text.contains(QRegularExpression(
      QStringLiteral("\\n\\s*%1\\s+\\d{4}/").arg(n + 1, 5, 10, QLatin1Char('0')))));
}

QTEST_GUILESS_MAIN(TstCliPrint)
#include "tst_cli_print.moc"
