// Printing from the main window: which print dialog each entry point opens,
// the records it offers, and that its choice reaches the print procedure of
// the set on display, into a PDF file or through a printer.
#include <QApplication>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QPrinter>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QSpinBox>
#include <QTreeView>
#include <QtTest>

#include "app/form1.h"
#include "data/formats.h"
#include "dialogs/form10.h"
#include "dialogs/form9.h"
#include "logger/session.h"
#include "support/data_fixtures.h"
#include "support/window_prompt.h"

using namespace hygro;
using hygro::test::fillSeconds;

namespace {

using Rig = test::WindowRig;

// What a print procedure was asked to do.
struct Printed {
  QString procedure;
  PrintJob job;
};

using test::child;

PrintDialog* openDialog() {
  for (QWidget* t : QApplication::topLevelWidgets()) {
    auto* d = qobject_cast<PrintDialog*>(t);
    if (d && d->isVisible()) return d;
  }
  return nullptr;
}

void closeDialog() {
  if (PrintDialog* d = openDialog()) d->close();
  QTRY_VERIFY(!openDialog());
}

bool isPdf(const QString& path) {
  QFile f(path);
  return f.open(QIODevice::ReadOnly) && f.read(5) == "%PDF-" && f.size() > 100;
}

void choose(PrintDialog* d, const char* option) {
  d->findChild<QRadioButton*>(QString::fromLatin1(option))->setChecked(true);
}

// A print button or the File menu's print entry.
void press(QWidget& w, const char* control) {
  if (auto* b = w.findChild<QPushButton*>(QString::fromLatin1(control)))
    b->click();
  else
    w.findChild<QAction*>(QString::fromLatin1(control))->trigger();
}

void clickPrint(PrintDialog* d) { d->findChild<QPushButton*>(QStringLiteral("Command1"))->click(); }

}  // namespace

class TstUiPrint : public QObject {
  Q_OBJECT
 private Q_SLOTS:
  // Each entry point opens the dialog of the view, on the records shown.
  void entryPointsAndRangeDefaultsFollowWhatIsShown() {
    Rig rig;
    DataSets& d = rig.session->data();
    fillSeconds(d, LogData, 2000, 10);
    SHOW_WINDOW(w, rig, QSize(1200, 800));

    // The whole set on display: all records.
    auto* span = child<QScrollBar>(w, "HScroll1");
    auto* position = child<QScrollBar>(w, "HScroll2");
    span->setValue(span->maximum());
    child<QPushButton>(w, "Command23")->click();
    PrintDialog* g = openDialog();
    QVERIFY(g);
    QVERIFY(g->allRecords());
    QCOMPARE(g->records(), std::make_pair(1, 2000));
    closeDialog();

    // An hour, an hour back: the records in the graphs' window (its
    // arithmetic: tst_render_graph).
    span->setValue(3600);
    position->setValue(3600);
    child<QPushButton>(w, "Command23")->click();
    g = openDialog();
    QVERIFY(g && !g->allRecords());
    QVERIFY2(qAbs(g->records().second - 1640) <= 1,
             qPrintable(QString::number(g->records().second)));
    QVERIFY2(qAbs(g->records().first - 1280) <= 1, qPrintable(QString::number(g->records().first)));
    closeDialog();

    // The list: the selected rows' records, lowest to highest, whatever the order.
    child<QRadioButton>(w, "Option9")->setChecked(true);
    auto* list = child<QTreeView>(w, "ListView1");
    child<QPushButton>(w, "Command25")->click();
    g = openDialog();
    QVERIFY(g && g->allRecords());
    closeDialog();

    // Sorted by record number, descending: rows 0, 3 and 7 are 2000, 1997, 1993.
    QHeaderView* h = list->header();
    for (int i = 0; i < 3 && list->model()->index(0, 0).data().toString() != "02000"; ++i)
      QTest::mouseClick(h->viewport(), Qt::LeftButton, {},
                        QPoint(h->sectionViewportPosition(0) + 5, h->height() / 2));
    QCOMPARE(list->model()->index(0, 0).data().toString(), QStringLiteral("02000"));
    auto* selection = list->selectionModel();
    for (int row : {3, 0, 7})
      selection->select(list->model()->index(row, 0),
                        QItemSelectionModel::Select | QItemSelectionModel::Rows);
    child<QPushButton>(w, "Command25")->click();
    g = openDialog();
    QVERIFY(g && !g->allRecords());
    QCOMPARE(g->records(), std::make_pair(1993, 2000));
    closeDialog();

    // A set without records: said so, no dialog.
    child<QRadioButton>(w, "Option6")->setChecked(true);
    QVERIFY(rig.prompt.messages.isEmpty());
    press(w, "Command23");
    QVERIFY(!openDialog());
    QCOMPARE(rig.prompt.messages, QStringList{QStringLiteral("There is no data to print.")});
  }

  void printsGoThroughTheProcedureOfTheSetAndFailuresLoseNothing() {
    QTemporaryDir dir;
    Rig rig;
    DataSets& d = rig.session->data();
    fillSeconds(d, LogData, 30, 60);
    fillSeconds(d, RealTimeData, 20, 5);
    fillSeconds(d, FileData, 12, 600);
    d.info(FileData).Name = QStringLiteral("Kitchen");
    Form1 w(rig.session.get(), &rig.prompt);
    w.show();
    rig.prompt.startFolder = dir.path();
    QList<Printed> printed;
    QObject::connect(&w, &Form1::printStarted, [&printed](const QString& p, const PrintJob& job) {
      printed << Printed{p, job};
    });

    const struct {
      const char* option;
      int set;
      const char* graphs;
      const char* list;
    } sets[] = {{"Option5", LogData, "Log_G_Print", "Log_D_Print"},
                {"Option6", RealTimeData, "Real_G_Print", "Real_D_Print"},
                {"Option7", FileData, "File_G_Print", "File_D_Print"}};
    // Each entry point in turn opens the dialog of the view, modal, on the
    // set shown (the print buttons' captions: window/shown.tsv, first state).
    const char* const entries[] = {"Command23", "Command24", "Command25", "m13"};
    int n = 0;
    for (const auto& s : sets) {
      for (const bool dump : {false, true}) {
        child<QRadioButton>(w, s.option)->setChecked(true);
        child<QRadioButton>(w, dump ? "Option9" : "Option8")->setChecked(true);
        QCOMPARE(child<QPushButton>(w, "Command24")->isVisible(), !dump);
        QCOMPARE(child<QPushButton>(w, "Command25")->isVisible(), dump);
        press(w, entries[n++ % 4]);
        PrintDialog* dlg = openDialog();
        QVERIFY(dlg);
        QCOMPARE(dlg->objectName(), dump ? QStringLiteral("Form10") : QStringLiteral("Form9"));
        QCOMPARE(dlg->windowModality(), Qt::ApplicationModal);
        QCOMPARE(dlg->dataSet(), s.set);
        choose(dlg, "Option2");  // records 7 to 3, given backwards: still 3..7
        dlg->findChild<QSpinBox*>(QStringLiteral("Text1"))->setValue(7);
        dlg->findChild<QSpinBox*>(QStringLiteral("Text2"))->setValue(3);
        choose(dlg, "Option4");
        QCOMPARE(dlg->findChild<QPushButton*>(QStringLiteral("Command1"))->text(),
                 QStringLiteral("Save"));
        const QString path =
            dir.filePath(QStringLiteral("%1_%2.pdf").arg(s.set).arg(dump ? "list" : "graphs"));
        rig.prompt.savePaths.enqueue(path);
        printed.clear();
        clickPrint(dlg);
        QTRY_VERIFY(!openDialog());
        QVERIFY2(isPdf(path), qPrintable(path));
        QCOMPARE(printed.size(), 1);
        QCOMPARE(printed[0].procedure, QString::fromLatin1(dump ? s.list : s.graphs));
        QCOMPARE(printed[0].job.set, s.set);
        QCOMPARE(printed[0].job.first, 3);
        QCOMPARE(printed[0].job.last, 7);
        QCOMPARE(printed[0].job.recognitionName,
                 s.set == FileData ? QStringLiteral("Kitchen") : rig.session->status().IdentName);
      }
    }
    // The file name offered: the name and record 1's time, where CSVs went.
    QCOMPARE(rig.prompt.proposed.last(), QStringLiteral("Kitchen_100501_120000.pdf"));
    QVERIFY(rig.prompt.messages.isEmpty());

    // Failures are said and lose nothing.
    child<QRadioButton>(w, "Option5")->setChecked(true);
    child<QRadioButton>(w, "Option8")->setChecked(true);
    const double lastTime = d.Get(LogData, 30).Time;
    // A PDF that cannot be written: the message, no file, the dialog stays.
    child<QPushButton>(w, "Command23")->click();
    PrintDialog* dlg = openDialog();
    QVERIFY(dlg);
    choose(dlg, "Option1");  // all records
    choose(dlg, "Option4");
    const QString badPath = dir.filePath(QStringLiteral("missing/out.pdf"));
    rig.prompt.savePaths.enqueue(badPath);
    clickPrint(dlg);
    QCOMPARE(rig.prompt.messages, QStringList{QStringLiteral("File error")});
    QVERIFY(!QFileInfo::exists(badPath));
    QCOMPARE(openDialog(), dlg);

    // A cancelled file dialog: nothing printed, nothing said.
    rig.prompt.messages.clear();
    printed.clear();
    clickPrint(dlg);
    QVERIFY(printed.isEmpty() && rig.prompt.messages.isEmpty());
    QCOMPARE(openDialog(), dlg);

    // The printer: cancelled, it prints nothing; one that cannot start its
    // job says so; one that can, prints all records through the procedure.
    choose(dlg, "Option3");
    QCOMPARE(dlg->findChild<QPushButton*>(QStringLiteral("Command1"))->text(),
             QStringLiteral("Print"));
    QString printerFile;
    bool answer = false;
    dlg->choosePrinter = [&](QPrinter& p) {
      p.setOutputFormat(QPrinter::PdfFormat);
      p.setOutputFileName(printerFile);
      return answer;
    };
    clickPrint(dlg);
    QVERIFY(printed.isEmpty() && rig.prompt.messages.isEmpty());
    answer = true;
    printerFile = dir.filePath(QStringLiteral("missing/printer.pdf"));
    clickPrint(dlg);
    QCOMPARE(rig.prompt.messages, QStringList{QStringLiteral("The printer could not print.")});
    QCOMPARE(openDialog(), dlg);
    printerFile = dir.filePath(QStringLiteral("printer.pdf"));
    clickPrint(dlg);
    QTRY_VERIFY(!openDialog());
    QVERIFY(isPdf(printerFile));
    QCOMPARE(printed.size(), 1);
    QCOMPARE(printed.last().procedure, QStringLiteral("Log_G_Print"));
    QCOMPARE(printed.last().job.first, 1);
    QCOMPARE(printed.last().job.last, 30);

    // The data held is as it was.
    QCOMPARE(int(d.info(LogData).Points), 30);
    QCOMPARE(d.Get(LogData, 30).Time, lastTime);
    QVERIFY(!d.info(LogData).Modified);
  }
};

QTEST_MAIN(TstUiPrint)
#include "tst_ui_print.moc"
