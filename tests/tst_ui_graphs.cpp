// The graphs, their scroll bars, the view selection and the dump list in the
// main window: what the user sees change when they click, scroll, drop a
// file or take a measurement.
#include <QApplication>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QStackedWidget>
#include <QTreeView>
#include <QUrl>
#include <QtTest>

#include "app/form1.h"
#include "app/graphpanel.h"
#include "data/dataview.h"
#include "data/dump.h"
#include "data/formats.h"
#include "logger/session.h"
#include "support/data_fixtures.h"
#include "support/window_prompt.h"

using namespace hygro;
using hygro::test::addSample;
using hygro::test::fillSeconds;
using hygro::test::kNoon;

namespace {

using Rig = test::WindowRig;

using test::child;

QAction* action(QWidget& w, const char* name) {
  return w.findChild<QAction*>(QString::fromLatin1(name));
}

qint64 pictureKey(QWidget& w, const char* graph) {
  return child<GraphPicture>(w, graph)->image().cacheKey();
}

}  // namespace

class TstUiGraphs : public QObject {
  Q_OBJECT
 private Q_SLOTS:
  void optionsAndMenuSwitchSetAndView() {
    Rig rig;
    DataSets& d = rig.session->data();
    fillSeconds(d, LogData, 30, 60);
    fillSeconds(d, FileData, 5, 10, 30.0f);
    SHOW_WINDOW(w, rig);
    auto* stack = child<QStackedWidget>(w, "DataStack");
    auto* list = child<QTreeView>(w, "ListView1");

    // The log is shown as a graph from the start; Graph again draws nothing new.
    const qint64 logPicture = pictureKey(w, "ondo");
    QVERIFY(!child<GraphPicture>(w, "ondo")->image().isNull());
    QTest::mouseClick(child<QRadioButton>(w, "Option8"), Qt::LeftButton);
    QCOMPARE(pictureKey(w, "ondo"), logPicture);

    // Another set with records: redrawn.
    QTest::mouseClick(child<QRadioButton>(w, "Option7"), Qt::LeftButton);
    QCOMPARE(w.shownSet(), int(FileData));
    QCOMPARE(child<QLabel>(w, "Label3")->text(), QStringLiteral("File"));
    QVERIFY(pictureKey(w, "ondo") != logPicture);

    // An empty set leaves the picture as it was.
    const qint64 filePicture = pictureKey(w, "ondo");
    QTest::mouseClick(child<QRadioButton>(w, "Option6"), Qt::LeftButton);
    QCOMPARE(w.shownSet(), int(RealTimeData));
    QCOMPARE(pictureKey(w, "ondo"), filePicture);

    // Dump of the log from the menu: the list is shown (the set it shows:
    // tst_ui_form1).
    action(w, "mDisplayLogDump")->trigger();
    QVERIFY(child<QRadioButton>(w, "Option9")->isChecked());
    QCOMPARE(stack->currentWidget(), list);

    // Dump view kept while the set changes.
    QTest::mouseClick(child<QRadioButton>(w, "Option7"), Qt::LeftButton);
    QCOMPARE(list->model()->rowCount(), 5);
    action(w, "mDisplayFileGraph")->trigger();
    QVERIFY(!w.dumpView());
    QVERIFY(stack->currentWidget() != list);
  }

  void barsRedrawTheirGraphsOnRelease() {
    Rig rig;
    fillSeconds(rig.session->data(), LogData, 2000, 10);
    addSample(rig.session->data(), RealTimeData, 20, 50, {}, kNoon);
    addSample(rig.session->data(), RealTimeData, 21, 51, {}, kNoon + 20 / 86400.0);
    SHOW_WINDOW(w, rig, QSize(1200, 800));
    auto* span = child<QScrollBar>(w, "HScroll1");
    auto* hpos = child<QScrollBar>(w, "HScroll4");
    auto* trange = child<QScrollBar>(w, "VScroll1");

    qint64 t = pictureKey(w, "ondo"), h = pictureKey(w, "situdo");
    trange->setValue(trange->value() + 10);
    QVERIFY(pictureKey(w, "ondo") != t);
    QCOMPARE(pictureKey(w, "situdo"), h);

    // The humidity bars leave the temperature graph alone.
    t = pictureKey(w, "ondo");
    child<QScrollBar>(w, "HScroll3")->setValue(3600);
    QCOMPARE(pictureKey(w, "ondo"), t);
    QVERIFY(pictureKey(w, "situdo") != h);
    h = pictureKey(w, "situdo");
    QVERIFY(hpos->maximum() > 0);
    hpos->setValue(hpos->minimum() + 1);
    QCOMPARE(pictureKey(w, "ondo"), t);
    QVERIFY(pictureKey(w, "situdo") != h);

    // Dragging the thumb redraws nothing until it is let go.
    t = pictureKey(w, "ondo");
    h = pictureKey(w, "situdo");
    span->setSliderDown(true);
    span->setSliderPosition(span->value() - 100);
    QCOMPARE(pictureKey(w, "ondo"), t);
    span->setSliderDown(false);
    QVERIFY(pictureKey(w, "ondo") != t);
    QVERIFY(pictureKey(w, "situdo") != h);

    // Arrows go the way they point on the reversed bar: right narrows the
    // span, also from the widest span, where Qt's own step is clamped.
    span->setValue(span->maximum());
    QTest::mouseClick(span, Qt::LeftButton, {}, QPoint(span->width() - 3, span->height() / 2));
    QCOMPARE(span->value(), span->maximum() - span->singleStep());
    const int before = span->value();
    QTest::mouseClick(span, Qt::LeftButton, {}, QPoint(span->width() - 3, span->height() / 2));
    QCOMPARE(span->value(), before - span->singleStep());
    QTest::mouseClick(span, Qt::LeftButton, {}, QPoint(2, span->height() / 2));
    QTest::mouseClick(span, Qt::LeftButton, {}, QPoint(2, span->height() / 2));
    QCOMPARE(span->value(), before + span->singleStep());

    // While a continuous run is on, the bars move but nothing is redrawn;
    // the view takes the new place all the same.
    GraphPanel* g = w.graphs();
    g->setContinuousRun([] { return true; });
    t = pictureKey(w, "ondo");
    trange->setValue(trange->value() + 10);
    QCOMPARE(pictureKey(w, "ondo"), t);
    DataView& view = rig.session->dataView();
    QCOMPARE(view.scrollState().VScroll1.value, trange->value());

    g->setContinuousRun({});

    // The bars take the limits of the set shown (their arithmetic:
    // tst_render_graph): with the span wider than the data the position bar
    // cannot move.
    QTest::mouseClick(child<QRadioButton>(w, "Option6"), Qt::LeftButton);
    QCOMPARE(span->maximum(), 50);
    span->setValue(span->maximum());
    QCOMPARE(child<QScrollBar>(w, "HScroll2")->maximum(), 0);
  }

  void mouseReadOutInTheStatusBar() {
    Rig rig;
    DataSets& d = rig.session->data();
    // The sample of 12:00:ss reads ss degrees.
    for (int i = 0; i < 40; ++i) addSample(d, LogData, float(i), 55.1f, {}, kNoon + i / 86400.0);
    SHOW_WINDOW(w, rig);
    auto* panel = child<QLabel>(w, "StatusBar1_Panel1");
    const QRegularExpression form(QStringLiteral(
        "^Date 2010/05/01 12:00:([0-3][0-9])   Temperature ([0-9]+)\\.00 C   Humidity 55.10 %RH$"));
    // The second of the record read out at `at` of the graph's width.
    const auto readOut = [&](const char* graph, double at) {
      auto* g = child<GraphPicture>(w, graph);
      panel->clear();
      QTest::mouseMove(g, QPoint(int(g->width() * at), g->height() / 2));
      if (!QTest::qWaitFor([panel] { return !panel->text().isEmpty(); }, 10000)) return -1;
      const QRegularExpressionMatch m = form.match(panel->text());
      if (!m.hasMatch() || m.captured(1).toInt() != m.captured(2).toInt()) {
        qWarning("read-out: %s", qPrintable(panel->text()));
        return -1;
      }
      return m.captured(1).toInt();
    };
    // The humidity graph 10 s wide, ending 20 s before the last sample: its
    // read-out follows its own bars, the temperature graph's stays.
    child<QScrollBar>(w, "HScroll3")->setValue(10);
    child<QScrollBar>(w, "HScroll4")->setValue(20);
    const int humidityAt = readOut("situdo", 0.91);
    QVERIFY2(humidityAt >= 15 && humidityAt <= 22, qPrintable(QString::number(humidityAt)));
    QVERIFY(readOut("ondo", 0.91) >= 30);

    // Nothing while a run is on.
    auto* situdo = child<GraphPicture>(w, "situdo");
    w.graphs()->setContinuousRun([] { return true; });
    QTest::mouseMove(situdo, QPoint(situdo->width() / 2, situdo->height() / 3));
    QTRY_COMPARE_WITH_TIMEOUT(panel->text(), QString(), 10000);
  }

  void dumpListSortsAndShowsRows() {
    Rig rig;
    DataSets& d = rig.session->data();
    for (float t : {9.0f, 10.0f, -5.0f, 23.46f}) addSample(d, LogData, t, 55.1f);
    Form1 w(rig.session.get(), &rig.prompt);
    w.show();
    QTest::mouseClick(child<QRadioButton>(w, "Option9"), Qt::LeftButton);
    auto* list = child<QTreeView>(w, "ListView1");
    const auto* m = qobject_cast<const DumpModel*>(list->model());
    QVERIFY(m);
    QCOMPARE(m->rowCount(), 4);

    // (A head clicked sorts the list: tst_ui_form1; the order: tst_dump_model.)
    // A row clicked is read out in the status bar.
    auto* panel = child<QLabel>(w, "StatusBar1_Panel1");
    const QRect r = list->visualRect(m->index(2, 1));
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, r.center());
    QCOMPARE(panel->text(), QStringLiteral("Date 2010/05/01 12:02:00   Temperature -5.00 C   "
                                           "Humidity 55.10 %RH"));

    // Extremes marked afterwards show in their rows without the list being
    // refilled: the selected row stays selected.
    list->setCurrentIndex(m->index(3, 0));
    Stats_Mark(d, LogData);
    Q_EMIT rig.session->dataSetChanged(LogData);
    QCOMPARE(list->currentIndex().row(), 3);
    QVERIFY(m->cellText(3, DumpModel::RemarksColumn).trimmed().size() > 0);
  }

  // The graphs are saved as one image (a path that cannot be written is
  // said); a CSV file dropped on the window is shown as the file set.
  void graphImageIsSavedAndADroppedCsvShown() {
    Rig rig;
    fillSeconds(rig.session->data(), LogData, 100, 30);
    SHOW_WINDOW(w, rig);
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("g.png"));
    rig.prompt.savePaths << path << dir.filePath(QStringLiteral("missing/dir/g.png"));
    action(w, "mSaveGraph")->trigger();
    QImage saved(path);
    QVERIFY(!saved.isNull());
    const QImage top = child<GraphPicture>(w, "ondo")->image();
    const QImage bottom = child<GraphPicture>(w, "situdo")->image();
    QVERIFY(saved.height() > top.height() + bottom.height() - 1);
    QCOMPARE(saved.pixel(top.width() / 2, top.height() / 2),
             top.pixel(top.width() / 2, top.height() / 2));
    QVERIFY(rig.prompt.messages.isEmpty());
    action(w, "mSaveGraph")->trigger();
    QCOMPARE(rig.prompt.messages.size(), 1);
    QVERIFY(
        rig.prompt.messages[0].startsWith(QStringLiteral("The graph image could not be saved.")));

    rig.prompt.messages.clear();
    QVERIFY(w.acceptDrops());
    QMimeData mime;
    mime.setUrls({QUrl::fromLocalFile(test::csvFixture(QStringLiteral("qm720xc.csv")))});
    QDragEnterEvent enter(QPoint(50, 50), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&w, &enter);
    QVERIFY(enter.isAccepted());
    QDropEvent drop(QPointF(50, 50), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&w, &drop);
    QVERIFY2(rig.prompt.messages.isEmpty(), qPrintable(rig.prompt.messages.join('|')));
    // (What showing the file set redraws and names: the tests of the options
    // and of the file panel.)
    QCOMPARE(w.shownSet(), int(FileData));
    QCOMPARE(rig.session->data().info(FileData).Points, qint16(4));
  }
};

QTEST_MAIN(TstUiGraphs)
#include "tst_ui_graphs.moc"
