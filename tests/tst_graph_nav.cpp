// Navigating the graphs with the mouse: the arithmetic that turns a wheel
// notch, a drag or a double-click into values of the time bars, the mouse on
// a GraphPanel, and a set brought in starting with all of it in view.
#include <QApplication>
#include <QScrollBar>
#include <QWheelEvent>
#include <QtTest>

#include "app/graphpanel.h"
#include "data/dataview.h"
#include "data/formats.h"
#include "support/data_fixtures.h"
#include "support/emulator_rig.h"

using namespace hygro;

namespace {

constexpr auto T = Graph::Temperature;

// `n` records `step` seconds apart in LogData, the temperature window set to
// `span` and `pos` bar steps as the bars take them.
ScrollState barsFor(const DataSets& d, int span, int pos) {
  ScrollState s = Scroll_Set(d, LogData, InitialScrollState(), false);
  s.HScroll1.value = span;
  s = Scroll_Set(d, LogData, s, false);
  s.HScroll2.value = pos;
  return Scroll_Set(d, LogData, s, false);
}

// Seconds before the newest record of the moment `share` of the span from
// the window's right edge.
double momentAt(const ScrollState& s, double share) {
  const GraphView v = TemperatureView(s);
  return share * v.S + static_cast<double>(v.P);
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
  void zoomAroundThePointer_data() {
    QTest::addColumn<int>("step");  // 1001 records this many seconds apart
    QTest::addColumn<int>("span");
    QTest::addColumn<double>("factor");
    QTest::addColumn<double>("share");  // where the pointer is, from the right
    QTest::addColumn<int>("expectedSpan");
    QTest::newRow("in") << 10 << 2000 << 0.8 << 0.25 << 1600;
    QTest::newRow("out") << 10 << 2000 << 1.25 << 0.9 << 2500;
    QTest::newRow("fractional unit") << 120 << 10000 << 1.25 << 0.5 << 12500;
    QTest::newRow("narrowest stays") << 10 << 5 << 0.8 << 0.5 << 5;
    QTest::newRow("rounds back: one step") << 10 << 7 << 1.05 << 0.5 << 8;
    QTest::newRow("widest stays") << 10 << 10001 << 1.25 << 0.5 << 10001;
  }
  void zoomAroundThePointer() {
    QFETCH(int, step);
    QFETCH(int, span);
    QFETCH(double, factor);
    QFETCH(double, share);
    DataSets d;
    test::fillSeconds(d, LogData, 1001, step);
    const ScrollState before = barsFor(d, span, 3000);
    const double age = share * TemperatureView(before).S;
    const ScrollState after = ZoomTime(before, T, factor, age);
    QTEST(after.HScroll1.value, "expectedSpan");
    QCOMPARE(Scroll_Set(d, LogData, after, false), after);  // values and limits the bars hold
    if (after.HScroll1.value != span && after.HScroll2.value > 0)
      QVERIFY(qAbs(momentAt(after, share) - momentAt(before, share)) <= after.ScrollUnit + 1);
  }

  void dragToAStretch_data() {
    QTest::addColumn<double>("age1");
    QTest::addColumn<double>("age2");
    QTest::addColumn<int>("span");
    QTest::addColumn<int>("pos");
    QTest::newRow("leftwards") << 1500.0 << 500.0 << 1000 << 3500;
    QTest::newRow("past the edge") << -100.0 << 300.0 << 300 << 3000;
    QTest::newRow("narrower than a span") << 100.0 << 102.0 << 5 << 3099;
  }
  void dragToAStretch() {
    DataSets d;
    test::fillSeconds(d, LogData, 1001, 10);
    QFETCH(double, age1);
    QFETCH(double, age2);
    const ScrollState s = ZoomToStretch(barsFor(d, 2000, 3000), T, age1, age2);
    QTEST(s.HScroll1.value, "span");
    QTEST(s.HScroll2.value, "pos");
    QCOMPARE(Scroll_Set(d, LogData, s, false), s);
  }

  void fitTakesInEverything() {
    DataSets d;
    test::fillSeconds(d, LogData, 1001, 120);
    const ScrollState fit = FitTime(barsFor(d, 500, 9000), T);
    QCOMPARE(fit.HScroll1.value, 32767);
    QCOMPARE(fit.HScroll2.value, 0);
    QCOMPARE(TemperatureView(fit).S, 120000.0);
    for (auto [g, lo, hi] : {std::tuple{T, 18.04, 25.3}, {T, 20.0, 20.0}, {Graph::Humidity, 0.0, 100.0}}) {
      const ScrollState s = FitValues(InitialScrollState(), g, lo, hi);
      const GraphView v = ViewOf(s, g);
      QVERIFY2(v.B() < lo && v.T() > hi && v.T() - v.B() < (hi - lo) * 1.3 + 2, qPrintable(QString::number(lo)));
      QCOMPARE(WindowOf(s, g).centre.value % 5, 0);
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
    QCOMPARE(panel.state().HScroll1.value, 1600);
    QCOMPARE(panel.findChild<QScrollBar*>(QStringLiteral("HScroll1"))->value(), 1600);

    // A few pixels is a click; further, the band shows and the stretch is shown.
    const ScrollState zoomed = panel.state();
    QTest::mousePress(ondo, Qt::LeftButton, {}, QPoint(100, y));
    QTest::mouseRelease(ondo, Qt::LeftButton, {}, QPoint(103, y));
    QCOMPARE(panel.state(), zoomed);
    QTest::mousePress(ondo, Qt::LeftButton, {}, QPoint(100, y));
    moveTo(ondo, QPointF(300, y), Qt::LeftButton);
    QCOMPARE(ondo->band(), (std::pair{100.0, 300.0}));
    QTest::mouseRelease(ondo, Qt::LeftButton, {}, QPoint(300, y));
    const double S = TemperatureView(zoomed).S;
    QCOMPARE(panel.state(), ZoomToStretch(zoomed, T, AgeAt(100, w, S), AgeAt(300, w, S)));
    QVERIFY(!ondo->band());

    // The crosshair reads the time the status read-out gives for a record.
    const GraphView v = TemperatureView(panel.state());
    const int record = 1001 - qRound((static_cast<double>(v.P) + v.S / 2) / 10);  // mid-window
    const double recordAge = (1001 - record) * 10.0 - static_cast<double>(v.P);
    const QPoint onRecord(qRound(XOfAge(recordAge, w, v.S)), y);
    QSignalSpy readOut(&panel, &GraphPanel::cursorText);
    moveTo(ondo, onRecord);
    const QString date = fmt::formatDateTime(d.Get(LogData, record).Time);
    QVERIFY2(readOut.last().at(0).toString().startsWith(QStringLiteral("Date ") + date), "read-out");
    const auto stamp = [](const QString& text) {
      return QDateTime::fromString(text.left(19), QStringLiteral("yyyy/MM/dd HH:mm:ss"));
    };
    QVERIFY2(qAbs(stamp(date).secsTo(stamp(ondo->crosshairText()))) <= 1,
             qPrintable(ondo->crosshairText()));

    QTest::mouseDClick(ondo, Qt::LeftButton, {}, QPoint(100, y));
    QCOMPARE(panel.state().HScroll1.value, 10001);
    QCOMPARE(panel.state().HScroll2.value, 0);
    QCOMPARE(panel.state().VScroll2.value, 225);  // 20.00 to 24.99 C, as filled

    // Linked, the humidity graph takes the temperature window and follows it.
    view.setScrollState(barsFor(d, 2000, 3000));
    panel.setLinkTimeAxes(true);
    QCOMPARE(panel.state().HScroll3, panel.state().HScroll1);
    panel.findChild<QScrollBar*>(QStringLiteral("HScroll4"))->setValue(1000);
    QCOMPARE(panel.state().HScroll2.value, 1000);
  }

  void aSetBroughtInStartsFitted_data() {
    QTest::addColumn<int>("how");
    QTest::newRow("download") << 0;
    QTest::newRow("file") << 1;
    QTest::newRow("real-time") << 2;
  }
  void aSetBroughtInStartsFitted() {
    QFETCH(int, how);
    test::EmulatorRig r(QStringLiteral("two_segments.json"));
    QVERIFY(r.connect());
    DataView& view = r.session.dataView();
    ScrollState zoomed = view.scrollState();
    zoomed.HScroll1.value = zoomed.HScroll3.value = 5;
    view.setScrollState(zoomed);
    if (how == 0) QVERIFY(r.run(&DownloadOperation::Command5_Click));
    if (how == 1) QVERIFY(r.session.openFile(QStringLiteral(HYGROTAB_TEST_DATA "/csv/qm720xc.csv")));
    if (how == 2) QVERIFY(r.run(&RealtimeOperation::Command1_Click));
    const ScrollState& s = view.scrollState();
    QCOMPARE(s.HScroll1.value, s.HScroll1.min);
    QCOMPARE(s.HScroll3.value, s.HScroll3.min);
    QVERIFY(s.HScroll1.min > 5);
  }
};

QTEST_MAIN(TstGraphNav)
#include "tst_graph_nav.moc"
