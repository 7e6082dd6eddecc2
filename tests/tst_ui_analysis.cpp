// The window's evidence additions: "Show excursions" shades the stretches
// outside the limits on the temperature graph and marks their rows in the
// list (off, both are as they were); the company name and the unit reach the
// summary page of a print (their lines in the settings file: tst_ui_loggerini).
#include <QAction>
#include <QCheckBox>
#include <QInputDialog>
#include <QPushButton>
#include <QRadioButton>
#include <QTemporaryDir>
#include <QTreeView>
#include <QtTest>

#include "app/form1.h"
#include "app/graphpanel.h"
#include "data/dump.h"
#include "dialogs/form9.h"
#include "logger/session.h"
#include "support/cli_runner.h"
#include "support/data_fixtures.h"
#include "support/readback.h"
#include "support/window_prompt.h"

using namespace hygro;

namespace {

const QString kSet = QStringLiteral(HYGROTAB_TEST_DATA "/analysis/excursions.csv");

int pixelsOf(const QImage& image, quint32 bgr) {
  const QRgb want = ColorFromNumber(bgr).rgb();
  int n = 0;
  for (int y = 0; y < image.height(); ++y)
    for (int x = 0; x < image.width(); ++x) n += image.pixel(x, y) == want;
  return n;
}

QList<int> marks(const DumpModel& m) {
  QList<int> out;
  for (int row = 0; row < m.rowCount(); ++row)
    out << m.data(m.index(row, 0), DumpModel::MarkRole).toInt();
  return out;
}

}  // namespace

class TstUiAnalysis : public QObject {
  Q_OBJECT
 private Q_SLOTS:
  void shadedMarkedSummedUpAndExported() {
    test::WindowRig rig;
    Form1 w(rig.session.get(), &rig.prompt);
    w.resize(1200, 700);
    w.show();
    QVERIFY(rig.session->openFile(kSet));
    const QImage plain = w.graphs()->ondo()->image();
    const GraphExtras colours;

    auto* show = test::child<QAction>(w, "mExcursions");
    QVERIFY(!show->isChecked());
    show->trigger();
    const QImage shaded = w.graphs()->ondo()->image();
    QVERIFY(pixelsOf(shaded, colours.aboveColor) > 100);
    QVERIFY(pixelsOf(shaded, colours.belowColor) > 100);

    // Records 2-3 and 8 above 30 C, 5-6 and 7 (a run of its own) and 11
    // below 5 C; 4 and 9 lie on a limit, which is inside.
    rig.session->dataView().setDumpView(true);
    auto* list = test::child<QTreeView>(w, "ListView1");
    const auto* model = qobject_cast<const DumpModel*>(list->model());
    const int A = DumpModel::MarkAbove, B = DumpModel::MarkBelow;
    QTRY_COMPARE(marks(*model), (QList<int>{0, A, A, 0, B, B, B, A, 0, 0, B}));

    show->trigger();
    QCOMPARE(marks(*model), QList<int>(11, 0));
    rig.session->dataView().setDumpView(false);
    QTRY_COMPARE(w.graphs()->ondo()->image(), plain);

    // The summary page and the workbook of the set shown.
    test::child<QAction>(w, "mCompany")->trigger();
    auto* ask = w.findChild<QInputDialog*>(QStringLiteral("CompanyDialog"));
    QVERIFY(ask);
    ask->setTextValue(QStringLiteral("ACME Cold Storage"));
    ask->accept();
    test::child<QAction>(w, "mUnitF")->trigger();

    QTemporaryDir dir;
    const QString pdf = dir.filePath(QStringLiteral("report.pdf"));
    rig.prompt.savePaths.enqueue(pdf);
    test::child<QAction>(w, "m13")->trigger();
    auto* print = w.findChild<Form9*>();
    QVERIFY(print && !print->summaryPage());
    print->findChild<QCheckBox*>(QStringLiteral("CheckSummary"))->setChecked(true);
    print->findChild<QRadioButton*>(QStringLiteral("Option4"))->setChecked(true);
    print->findChild<QPushButton*>(QStringLiteral("Command1"))->click();
    QString text;
    QVERIFY(test::pdfText(pdf, &text, QString()));
    const QString summary = text.section(u'\f', 1);
    QVERIFY2(summary.contains(QStringLiteral("ACME Cold Storage")), qPrintable(summary));
    QVERIFY(summary.contains(QStringLiteral("86.000 F")));  // the upper limit, 30 C

    // The window's workbook reads back in LibreOffice as the tool's does.
    const QString window = dir.filePath(QStringLiteral("window.xlsx"));
    const QString tool = dir.filePath(QStringLiteral("tool.xlsx"));
    rig.prompt.savePaths.enqueue(window);
    test::child<QAction>(w, "mExportXlsx")->trigger();
    QCOMPARE(test::runCli({"export", "--csv", kSet, "--xlsx", tool}).exitCode, 0);

    QString said;
    QVERIFY2(test::sheetsAsCsv({window, tool}, dir.path(), &said), qPrintable(said));
    for (const char* sheet : {"Records", "Header", "Statistics"}) {
      const QString name = QStringLiteral("%1-") + QLatin1String(sheet) + QStringLiteral(".csv");
      // The moment of each export aside, which the two need not share.
      const auto rows = [&](const QString& who) {
        QList<QByteArray> lines = test::readFile(dir.filePath(name.arg(who))).split('\n');
        lines.removeIf([](const QByteArray& l) { return l.startsWith("\"Exported at"); });
        return lines;
      };
      QVERIFY2(rows(QStringLiteral("window")).size() > 5, sheet);
      QCOMPARE(rows(QStringLiteral("window")), rows(QStringLiteral("tool")));
    }
  }
};

QTEST_MAIN(TstUiAnalysis)
#include "tst_ui_analysis.moc"
