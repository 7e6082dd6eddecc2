// The statistics panel: its figures for the shown set and for the graph's
// window are those hygrotab-cli stats gives for the same records, and it
// follows the window and the samples of a run.
#include <QTableWidget>
#include <QtTest>

#include "data/graphwindow.h"
#include "dialogs/statspanel.h"
#include "logger/realtime.h"
#include "support/cli_runner.h"
#include "support/emulator_rig.h"

using namespace hygro;

namespace {

const QString kSet = QStringLiteral(HYGROTAB_TEST_DATA "/analysis/excursions.csv");

// Every row of the panel's column against the tool's line of that caption.
void compareWithTool(const StatsPanel& p, int column, const QStringList& args) {
  const test::CliResult r = test::runCli(args);
  QCOMPARE(r.exitCode, 0);
  const auto* t = p.findChild<QTableWidget*>(QStringLiteral("StatsTable"));
  QVERIFY(t->rowCount() > 20);
  for (int row = 0; row < t->rowCount(); ++row) {
    const QString caption = t->item(row, StatsPanel::CaptionColumn)->text();
    // An extreme's time is shown on a line of its own.
    QCOMPARE(t->item(row, column)->text().replace(u'\n', u' '), r.field(caption));
  }
}

// The temperature graph's window: `span` seconds ending `position` seconds
// before the newest record.
void setWindow(Session& s, int span, int position) {
  ScrollState bars = Scroll_Set(s.data(), s.shownSet(), InitialScrollState(), false);
  bars.HScroll1.value = span;
  bars = Scroll_Set(s.data(), s.shownSet(), bars, false);
  bars.HScroll2.value = position;
  s.dataView().setScrollState(bars);
}

}  // namespace

class TstUiStats : public QObject {
  Q_OBJECT
 private Q_SLOTS:
  void theSetAndTheWindowGiveTheToolsFiguresAndFollowARun() {
    test::EmulatorRig rig(QStringLiteral("idle.json"));
    QVERIFY(rig.session.openFile(kSet));
    StatsPanel panel(&rig.session);
    panel.show();
    QTRY_COMPARE(panel.windowStatistics().records, 11);
    // Records 5 (10:40) to 9 (12:20) of a set ending at 12:40, across its gap.
    setWindow(rig.session, 6000, 1200);
    QTRY_COMPARE(panel.windowStatistics().records, 5);
    compareWithTool(panel, StatsPanel::SetColumn, {"stats", "--csv", kSet});
    compareWithTool(
        panel, StatsPanel::WindowColumn,
        {"stats", "--csv", kSet, "--from", "2024/07/01 10:40:00", "--to", "2024/07/01 12:20:00"});

    QVERIFY(rig.connect());
    rig.session.showSet(RealTimeData);
    rig.session.realtime().setContinuousInterval(QStringLiteral("0"), false);
    QVERIFY(rig.run(&RealtimeOperation::Command2_Click));
    QTRY_COMPARE_WITH_TIMEOUT(panel.setStatistics().records, 3, 30000);
    rig.session.realtime().Command2_Click();
    QVERIFY(rig.waitIdle());
  }
};

QTEST_MAIN(TstUiStats)
#include "tst_ui_stats.moc"
