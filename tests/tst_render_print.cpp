// The printed report: its texts as strings, the dump pages on pictures, and
// PDF files read back with pdftotext.
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QImage>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>

#include "data/dataview.h"
#include "data/dump.h"
#include "data/formats.h"
#include "print/render_print.h"
#include "support/data_fixtures.h"
#include "support/data_table.h"
#include "support/readback.h"

using namespace hygro;
using hygro::test::addSample;
using hygro::test::fillReferenceSet;
using hygro::test::flat;
using hygro::test::flatLines;
using hygro::test::pdfText;

namespace {

const QString kSp = QStringLiteral(u"\u3000");

// A set of `n` records a minute apart, temperatures running from -20 up.
void fillRows(DataSets& sets, int set, int n) {
  sets.Empty(set);
  sets.info(set).Interval = 60;
  for (int i = 0; i < n; ++i)
    addSample(sets, set, -20.0f + float(i % 700) / 10.0f, float(i % 1000) / 10.0f);
}

}  // namespace

class TstRenderPrint : public QObject {
  Q_OBJECT
 private slots:
  void reportTexts();
  void graphPdfCarriesHeaderBlocksAndFullWidthText();
  void longDumpFillsPagesWithoutEmptyTrailingPage();
  void dumpPdfFollowsTheListUnderHeadsOnEachPage();
};

void TstRenderPrint::reportTexts() {
  DataSets sets;
  fillReferenceSet(sets, LogData);
  PrintJob job{LogData, QStringLiteral("ROOM1"), 1, 0};
  DataSetInfo& info = sets.info(LogData);
  info.Model = QStringLiteral("QM720-XC");
  // The report of the reference set: its header (QM720-XC), the block of all
  // records and that of the selected range; last = 0 is the whole set (the
  // file's first 16 lines). Records 2..3 (its last 5 lines): the extremes of
  // that range only, negatives with a digit before the point.
  const QStringList reference = test::dataText(QStringLiteral("print/reference_report.txt"))
                                    .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
  QCOMPARE(ReportLines(sets, job), reference.mid(0, 16));
  job = {LogData, QStringLiteral("ROOM1"), 2, 3};
  QCOMPARE(ReportLines(sets, job), reference.mid(0, 11) + reference.mid(16));

  // A range of one record: all four extremes are that record.
  const DataSetStats one = RangeStats(sets, LogData, 4, 4);
  for (const auto& e : one.e) QCOMPARE(int(e.RecordNo), 4);
  QCOMPARE(one.e[0].Value, -5.0);
  QCOMPARE(one.e[3].Value, double(9.5f));
  // A range reaching past the set is cut to it.
  const DataSetStats clamped = RangeStats(sets, LogData, 0, 99);
  for (int i = 0; i < 4; ++i) QCOMPARE(clamped.e[i].RecordNo, info.Stats.e[i].RecordNo);

  // Negative bounds round toward minus infinity: 3400 counts are -5.1 -> -6.
  info.UpperOn = false;
  info.LowerOn = true;
  info.LowerRaw = 3400;
  QStringList lines = ReportHeaderLines(sets, job);
  QCOMPARE(lines.value(4), QStringLiteral("Upper bound temperature setting OFF"));
  QCOMPARE(lines.value(5), QStringLiteral("Lower bound temperature setting") + kSp +
                               QStringLiteral("ON") + kSp + QStringLiteral("-6 C"));
  // The other models keep no bounds: no bound lines at all.
  for (const char* model : {"QM720-XCB", "QM510-XC", ""}) {
    info.Model = QString::fromLatin1(model);
    lines = ReportHeaderLines(sets, job);
    QCOMPARE(lines.size(), 4);
    QVERIFY2(!lines.join(QLatin1Char('\n')).contains(QStringLiteral("bound")), model);
  }
}

void TstRenderPrint::graphPdfCarriesHeaderBlocksAndFullWidthText() {
  DataSets sets;
  fillReferenceSet(sets, FileData);
  sets.info(FileData).Model = QStringLiteral("QM720-XC");
  const PrintJob job{FileData, QStringLiteral("ROOM1"), 2, 3};
  const ScrollState view = Scroll_Set(sets, FileData, InitialScrollState(), false);
  QTemporaryDir dir;
  const QString pdf = dir.filePath(QStringLiteral("graph.pdf"));
  QString error;
  auto graphs = [&](PageOutput& out) { return PrintGraphs(out, sets, job, view); };
  QVERIFY(WritePdf(pdf, graphs, &error));
  QString text;
  QVERIFY2(pdfText(pdf, &text, QStringLiteral("-raw")), "pdftotext could not read the PDF");
  QStringList pages = text.split(QLatin1Char('\f'));
  if (pages.last().trimmed().isEmpty()) pages.removeLast();
  QCOMPARE(pages.size(), 1);
  // Every header line, in order, each on a line of its own.
  const QStringList lines = flatLines(text);
  qsizetype from = 0;
  for (const QString& line : ReportLines(sets, job)) {
    const qsizetype at = lines.indexOf(flat(line), from);
    QVERIFY2(at >= 0, qPrintable(QStringLiteral("missing: ") + line + QStringLiteral("\n---\n") +
                                 text.left(3000)));
    from = at + 1;
  }
  // The full-width humidity unit came out as a glyph.
  QVERIFY2(text.contains(QStringLiteral(u"\uFF05")), "the humidity unit is missing");

  // On a picture the two graphs lie below the header, one over the other,
  // each with its curve in black.
  ImageOutput out;
  QVERIFY(PrintGraphs(out, sets, job, view));
  const QImage page = out.pages().front();
  const QRect area = out.pageRect();
  auto darkRowsIn = [&](int top, int bottom) {
    int dark = 0;
    for (int y = top; y < bottom; ++y)
      for (int x = area.left() + 5; x < area.right() - 5; ++x)
        if (qGray(page.pixel(x, y)) < 40) {
          ++dark;
          break;
        }
    return dark;
  };
  // The header takes not quite half of the page; a quarter further down is
  // the temperature graph, the last fifth is the humidity graph.
  const int at = area.top();
  const int h = area.height();
  QVERIFY(darkRowsIn(at + h / 2, at + h * 7 / 10) > 20);
  QVERIFY(darkRowsIn(at + h * 8 / 10, area.bottom() - 5) > 20);

  // (A file that cannot be written: tst_cli_print and tst_ui_print, a missing folder.)
  // Nothing to print: no graph page, and an older file stays as it was.
  DataSets empty;
  ImageOutput none;
  QVERIFY(!PrintGraphs(none, empty, job, view));
  const QByteArray older = test::readFile(pdf);
  QVERIFY(!WritePdf(
      pdf, [&](PageOutput& out) { return PrintGraphs(out, empty, job, view); }, &error));
  QVERIFY(error.isEmpty());
  QCOMPARE(test::readFile(pdf), older);
  QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{QStringLiteral("graph.pdf")});
}

void TstRenderPrint::longDumpFillsPagesWithoutEmptyTrailingPage() {
  DataSets sets;
  DumpModel rows(sets);
  const PrintJob job{RealTimeData, QStringLiteral("R"), 1, 0};
  // Line pitch 1.5 x the text height at 10.5 points; the header, a blank line
  // before each block and before the heads, the heads on every page. Every
  // page as full as that allows: no row past the foot, none left empty.
  QImage sample(1, 1, QImage::Format_RGB32);
  sample.setDotsPerMeterX(int(std::lround(60 / 0.0254)));
  sample.setDotsPerMeterY(int(std::lround(60 / 0.0254)));
  QFont font = QGuiApplication::font();
  font.setPointSizeF(10.5);
  const double pitch = 1.5 * QFontMetricsF(font, &sample).height();

  for (const int n : {15000, 1}) {
    fillRows(sets, RealTimeData, n);
    rows.Dump_Fill(RealTimeData);
    ImageOutput out(QSize(500, 700), 60);
    out.setKeptPages(2);
    const double height = out.pageRect().height();
    const int headerLines = int(ReportLines(sets, job).size()) + 3;
    const int first = int(std::floor((height - (headerLines + 1) * pitch) / pitch));
    const int later = int(std::floor((height - pitch) / pitch));
    QVERIFY(PrintDump(out, sets, job, rows));
    QCOMPARE(out.pageCount(), n <= first ? 1 : 1 + (n - first + later - 1) / later);
  }
}

void TstRenderPrint::dumpPdfFollowsTheListUnderHeadsOnEachPage() {
  constexpr int kRows = 1500;
  DataSets sets;
  fillRows(sets, RealTimeData, kRows);
  Stats_Mark(sets, RealTimeData);
  DataView view;
  view.setDataSetIndex(RealTimeData);
  view.setDumpView(true);
  DumpModel list(sets, view);  // the list on display: sorted, with the extremes' texts
  list.Dump_Fill(RealTimeData);
  list.columnClick(DumpModel::TempColumn);
  list.columnClick(DumpModel::TempColumn);
  Stats_Label(list, sets.info(RealTimeData).Stats);

  QTemporaryDir dir;
  const QString pdf = dir.filePath(QStringLiteral("dump.pdf"));
  const PrintJob job{RealTimeData, QStringLiteral("LONG"), 1, 0, true};
  QString error, text;
  const auto print = [&] {
    return WritePdf(
               pdf, [&](PageOutput& out) { return PrintReport(out, sets, view, job); }, &error) &&
           pdfText(pdf, &text);
  };
  QVERIFY2(print(), qPrintable(error));
  QStringList pages = text.split(QLatin1Char('\f'));
  if (pages.last().trimmed().isEmpty()) pages.removeLast();
  QVERIFY2(pages.size() > 10, qPrintable(QString::number(pages.size())));
  QVERIFY(flatLines(pages.first()).contains(QStringLiteral("Recognition name LONG")));
  const QRegularExpression head(
      QStringLiteral("^\\s*Record No\\s+Date\\s+Temp \\(C\\)\\s+Humi \\(%RH\\)\\s+Remarks\\s*$"),
      QRegularExpression::MultilineOption);
  static const QRegularExpression row(
      QStringLiteral("^\\s*(\\d{5})\\s+(\\d{4}/\\d\\d/\\d\\d "
                     "\\d\\d:\\d\\d:\\d\\d)\\s+(-?\\d+\\.\\d\\d)\\s+"
                     "(\\d+\\.\\d\\d)(.*)$"),
      QRegularExpression::MultilineOption);
  // Every row once, in the list's order, each cell as the list shows it (a
  // long remark cut short by its column, with an ellipsis).
  const auto shows = [](const QRegularExpressionMatch& m, const QString& remark) {
    QString printed = m.captured(5).simplified();
    if (printed.endsWith(QChar(0x2026))) printed.chop(1);
    return remark.simplified().startsWith(printed) &&
           printed.size() >= qMin<qsizetype>(remark.simplified().size(), 16);
  };
  int at = 0, labelled = 0;
  for (int p = 0; p < pages.size(); ++p) {
    const QRegularExpressionMatch h = head.match(pages[p]);
    QVERIFY2(h.hasMatch(), qPrintable(QStringLiteral("no column heads on page %1").arg(p + 1)));
    const int pageStart = at;
    for (auto it = row.globalMatch(pages[p]); it.hasNext(); ++at) {
      const QRegularExpressionMatch m = it.next();
      QVERIFY2(m.capturedStart() > h.capturedStart(), "a row above the heads");
      QVERIFY(at < kRows);
      for (int c = DumpModel::RecordNoColumn; c < DumpModel::RemarksColumn; ++c)
        QCOMPARE(m.captured(c + 1), list.cellText(at, c));
      const QString remark = list.cellText(at, DumpModel::RemarksColumn);
      QVERIFY2(shows(m, remark), qPrintable(m.captured(5) + u'|' + remark));
      if (remark.startsWith(QStringLiteral("Maximum temperature"))) ++labelled;
    }
    QVERIFY2(at > pageStart, qPrintable(QStringLiteral("page %1 holds no rows").arg(p + 1)));
  }
  QCOMPARE(at, kRows);
  QCOMPARE(labelled, 1);
  QCOMPARE(list.cellText(0, DumpModel::TempColumn), QStringLiteral("9.90"));  // sorted as texts

  // Graphs on display: the list is printed whole, in record order, with the
  // remarks as stored.
  view.setDumpView(false);
  QVERIFY2(print(), qPrintable(error));
  at = 0;
  for (auto it = row.globalMatch(text); it.hasNext();) {
    const QRegularExpressionMatch m = it.next();
    QCOMPARE(m.captured(1), fmt::format00000(++at));
    QVERIFY2(shows(m, sets.Get(RealTimeData, at).remarks()), qPrintable(m.captured(5)));
  }
  QCOMPARE(at, kRows);
  QVERIFY(text.contains(QStringLiteral("Minimum temperat")));
}

QTEST_MAIN(TstRenderPrint)
#include "tst_render_print.moc"
