// Navigating the graphs: the time bars' arithmetic, the mouse on a GraphPanel,
// the linked axes' setting, and a set brought in starting with all of it shown.
#include <QApplication>
#include <QScrollBar>
#include <QWheelEvent>
#include <QtTest>

#include "app/form1.h"
#include "app/graphpanel.h"
#include "app/loggerini.h"
#include "data/dataview.h"
#include "data/formats.h"
#include "support/data_fixtures.h"
#include "support/data_table.h"
#include "support/emulator_rig.h"
#include "support/window_prompt.h"

using namespace hygro;

namespace {

constexpr auto T = Graph::Temperature;

// The temperature window of a LogData set at `span` and `pos` bar steps, as
// the bars take them.
ScrollState barsFor(const DataSets& d, int span, int pos) {
  ScrollState s = InitialScrollState();
  s.HScroll1.value = span;
  s.HScroll2.value = pos;
  return Scroll_Set(d, LogData, s, false);
}

// QTest's own move is not delivered to a widget without a real screen.
void moveTo(QWidget* w, QPointF at, Qt::MouseButtons held = Qt::NoButton) {
  QMouseEvent move(QEvent::MouseMove, at, w->mapToGlobal(at), Qt::NoButton, held, {});
  QApplication::sendEvent(w, &move);
}

}  // namespace

class TstGraphNav : public QObject {
  Q_OBJECT
 private Q_SLOTS:
  void timeWindowArithmetic() {
    for (const QStringList& f : test::dataRows(QStringLiteral("graphnav/windows.tsv"))) {
      const QString row = f.join(u' ');
      DataSets d;
      test::fillSeconds(d, LogData, 1001, f[1].toInt());
      const ScrollState before = barsFor(d, f[2].toInt(), 3000);
      const double a = f[3].toDouble(), b = f[4].toDouble();
      const bool zoom = f[0] == u"zoom";
      const GraphView was = TemperatureView(before);
      const ScrollState after =
          zoom ? ZoomTime(before, T, a, b * was.S) : ZoomToStretch(before, T, a, b);
      const GraphView is = TemperatureView(after);
      QVERIFY2(is.S == qRound(f[5].toInt() * after.ScrollUnit) &&
                   (f[6] == u"-" || after.HScroll2.value == f[6].toInt()),
               qPrintable(row));
      QCOMPARE(Scroll_Set(d, LogData, after, false), after);  // values and limits the bars hold
      // The moment under the pointer stays there, as nearly as the steps allow.
      if (zoom && is.P > 0)
        QVERIFY2(qAbs(b * is.S + is.P - b * was.S - was.P) <= after.ScrollUnit + 1,
                 qPrintable(row));
    }
  }

  void mouseOnTheGraph() {
    DataSets d;
    test::fillSeconds(d, LogData, 1001, 10);
    DataView view;
    GraphPanel panel(d, view);
    panel.resize(700, 500);
    panel.show();
    QVERIFY(QTest::qWaitForWindowExposed(&panel));
    view.setScrollState(barsFor(d, 2000, 3000));
    GraphPicture* ondo = panel.ondo();
    const int w = ondo->width(), y = ondo->height() / 2;

    QWheelEvent wheel(QPointF(w / 2, y), ondo->mapToGlobal(QPointF(w / 2, y)), {}, {0, 120},
                      Qt::NoButton, {}, Qt::NoScrollPhase, false);
    QApplication::sendEvent(ondo, &wheel);
    QCOMPARE(panel.findChild<QScrollBar*>(QStringLiteral("HScroll1"))->value(), 1600);

    const ScrollState zoomed = panel.state();  // a few pixels is a click
    QTest::mousePress(ondo, Qt::LeftButton, {}, QPoint(100, y));
    QTest::mouseRelease(ondo, Qt::LeftButton, {}, QPoint(103, y));
    QCOMPARE(panel.state(), zoomed);
    QTest::mousePress(ondo, Qt::LeftButton, {}, QPoint(100, y));
    moveTo(ondo, QPointF(300, y), Qt::LeftButton);
    QCOMPARE(ondo->band(), (std::pair{100.0, 300.0}));  // shown while dragging
    QTest::mouseRelease(ondo, Qt::LeftButton, {}, QPoint(300, y));
    const double S = TemperatureView(zoomed).S;
    QCOMPARE(panel.state(), ZoomToStretch(zoomed, T, AgeAt(100, w, S), AgeAt(300, w, S)));
    QVERIFY(!ondo->band());

    const GraphView v = TemperatureView(panel.state());
    const int record = 1001 - qRound((static_cast<double>(v.P) + v.S / 2) / 10);  // mid-window
    const double age = (1001 - record) * 10.0 - static_cast<double>(v.P);
    // The crosshair names the record under the pointer (read-out: tst_ui_graphs).
    moveTo(ondo, QPointF(qRound(XOfAge(age, w, v.S)), y));
    const QString date = fmt::formatDateTime(d.Get(LogData, record).Time);
    const auto stamp = [](const QString& t) {
      return QDateTime::fromString(t.left(19), "yyyy/MM/dd HH:mm:ss");
    };
    QVERIFY(qAbs(stamp(date).secsTo(stamp(ondo->crosshairText()))) <= 1);

    QTest::mouseDClick(ondo, Qt::LeftButton, {}, QPoint(100, y));
    QCOMPARE(panel.state().HScroll1.value, 10001);
    QCOMPARE(panel.state().VScroll2.value, 225);  // 20.00 to 24.99 C, as filled, with a margin
    QCOMPARE(panel.state().VScroll1.value, 35);

    view.setScrollState(barsFor(d, 2000, 3000));
    panel.setLinkTimeAxes(true);
    QCOMPARE(panel.state().HScroll3, panel.state().HScroll1);
    panel.findChild<QScrollBar*>(QStringLiteral("HScroll4"))->setValue(1000);
    QCOMPARE(panel.state().HScroll2.value, 1000);
  }

  void linkIsKeptInTheSettingsFile() {
    test::WindowRig rig;
    QTemporaryDir dir;
    QVERIFY(rig.session->data().open(dir.path(), nullptr));
    const QString ini = dir.filePath(QStringLiteral("Logger.ini"));
    QVERIFY(LoggerIni_Save(ini, {3, qint16(kOptionLinkTimeAxes | 1), dir.path()}));
    Form1 w(rig.session.get(), &rig.prompt);
    auto* link = w.findChild<QAction*>(QStringLiteral("mLinkTimeAxes"));
    QVERIFY(link->isChecked() && w.graphs()->linkTimeAxes());
    link->trigger();
    QVERIFY(w.Save());
    QCOMPARE(LoggerIni_Read(ini).option, qint16(1));  // the other bits as they were
  }

  void aSetBroughtInStartsFitted() {
    for (int how = 0; how < 3; ++how) {  // a download, an opened file, a measurement
      test::EmulatorRig r(QStringLiteral("two_segments.json"));
      QVERIFY(r.connect());
      ScrollState zoomed = r.session.dataView().scrollState();
      zoomed.HScroll1.value = zoomed.HScroll3.value = 5;
      r.session.dataView().setScrollState(zoomed);
      if (how == 0) QVERIFY(r.run(&DownloadOperation::Command5_Click));
      if (how == 1) QVERIFY(r.session.openFile(test::csvFixture(QStringLiteral("qm720xc.csv"))));
      if (how == 2) QVERIFY(r.run(&RealtimeOperation::Command1_Click));
      const ScrollState& s = r.session.dataView().scrollState();
      QVERIFY(s.HScroll1.value == s.HScroll1.min && s.HScroll3.value == s.HScroll3.min);
      QVERIFY(s.HScroll1.min > 5);
    }
  }
};

QTEST_MAIN(TstGraphNav)
#include "tst_graph_nav.moc"
