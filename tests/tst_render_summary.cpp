// The summary after a printed report: its figures are the tool's, its
// excursion table runs onto further pages under its heads, every summary
// page is numbered in the whole document, and the report's own pages stay as
// they are.
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include "data/dataview.h"
#include "data/formats.h"
#include "print/render_print.h"
#include "support/cli_runner.h"
#include "support/data_fixtures.h"

using namespace hygro;

namespace {

const QString kSet = QStringLiteral(HYGROTAB_TEST_DATA "/analysis/excursions.csv");

// The pages of a PDF as text (pdftotext, which install-deps.sh installs).
QStringList pdfPages(const QString& pdf) {
  QProcess p;
  p.start(QStringLiteral("pdftotext"), {QStringLiteral("-layout"), pdf, QStringLiteral("-")});
  if (!p.waitForFinished(120000) || p.exitCode() != 0) return {};
  return QString::fromUtf8(p.readAllStandardOutput()).split(u'\f', Qt::SkipEmptyParts);
}

QString flat(const QString& s) { return QString(s).simplified(); }

}  // namespace

class TstRenderSummary : public QObject {
  Q_OBJECT
 private Q_SLOTS:
  void theToolsFiguresTheCompanyAndPageNumbers() {
    QTemporaryDir dir;
    const QString pdf = dir.filePath(QStringLiteral("s.pdf"));
    const test::CliResult r = test::runCli(
        {"print", "--csv", kSet, "--pdf", pdf, "--summary", "--company", "ACME Cold Storage"});
    QCOMPARE(r.exitCode, 0);
    const QStringList pages = pdfPages(pdf);
    QCOMPARE(pages.size(), 2);
    const QString summary = flat(pages[1]);
    QVERIFY(
        summary.startsWith(QStringLiteral("Summary ACME Cold Storage Recognition name COLDROOM")));
    // Every figure line as hygrotab-cli stats gives it.
    const test::CliResult stats = test::runCli({"stats", "--csv", kSet});
    QCOMPARE(stats.exitCode, 0);
    for (const QString& line : stats.outLines()) {
      const QString caption = line.section(QStringLiteral(": "), 0, 0);
      const QString value = line.section(QStringLiteral(": "), 1);
      if (caption.startsWith(QLatin1String("Excursion "))) continue;
      QVERIFY2(summary.contains(flat(caption + u' ' + value)), qPrintable(line));
    }
    QVERIFY(summary.contains(QStringLiteral(
        "2 below 2024/07/01 10:40:00 2024/07/01 11:00:00 1200 s (0:20:00) 2 3.500 C")));
    QVERIFY(summary.contains(QStringLiteral("Signature: ____")));
    QVERIFY(summary.endsWith(QStringLiteral("Page 2 of 2")));
  }

  // A long excursion table: heads again on each page, the numbers running
  // to the last page, the report's own page unchanged.
  void aLongTableRunsOnAndTheReportStays() {
    DataSets sets;
    DataSetInfo& info = sets.info(FileData);
    info.Model = ModelWithBounds();
    info.UpperOn = true;
    info.UpperRaw = fmt::degreesToRaw(30);
    for (int n = 0; n < 400; ++n) test::addSample(sets, FileData, n % 2 ? 31.0f : 20.0f, 50.0f);
    info.Interval = 60;
    DataView view;
    PrintJob job;
    job.set = FileData;
    job.recognitionName = QStringLiteral("ROOM1");

    ImageOutput plain, withSummary;
    const SummaryOptions summary{true, {}, analysis::Unit::Celsius, analysis::kDefaultDhR};
    QVERIFY(PrintReport(plain, sets, view, job));
    QVERIFY(PrintReport(withSummary, sets, view, job, summary));
    QCOMPARE(plain.pages().size(), size_t(1));
    QCOMPARE(withSummary.pages()[0], plain.pages()[0]);

    QTemporaryDir dir;
    const QString pdf = dir.filePath(QStringLiteral("long.pdf"));
    QString error;
    QVERIFY(WritePdf(
        pdf, [&](PageOutput& out) { return PrintReport(out, sets, view, job, summary); }, &error));
    const QStringList pages = pdfPages(pdf);
    const int n = int(pages.size());
    QVERIFY(n > 3);
    static const QRegularExpression row(QStringLiteral("\\n *\\d+ +above "));
    qsizetype rows = 0;
    for (int k = 2; k <= n; ++k) {
      const QString page = flat(pages[k - 1]);
      QVERIFY2(page.endsWith(QStringLiteral("Page %1 of %2").arg(k).arg(n)), qPrintable(page));
      // The heads on every page of the table; only the last may have none.
      QVERIFY(k == n || page.contains(QStringLiteral("No Side Start End Duration Records Peak")));
      rows += pages[k - 1].count(row);
    }
    QCOMPARE(rows, 200);
  }
};

QTEST_MAIN(TstRenderSummary)
#include "tst_render_summary.moc"
