// "Show excursions": the temperature graph shades the stretches outside the
// limits and the list marks their rows; off, both are as they were.
#include <QAction>
#include <QTreeView>
#include <QtTest>

#include "app/form1.h"
#include "app/graphpanel.h"
#include "data/dump.h"
#include "logger/session.h"
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

class TstUiExcursions : public QObject {
  Q_OBJECT
 private Q_SLOTS:
  void shadedOnTheGraphAndMarkedInTheList() {
    test::WindowRig rig;
    Form1 w(rig.session.get(), &rig.prompt);
    w.resize(1200, 700);
    w.show();
    QVERIFY(rig.session->openFile(kSet));
    const QImage plain = w.graphs()->ondo()->image();
    const GraphExtras colours;
    QCOMPARE(pixelsOf(plain, colours.aboveColor), 0);

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
    QTRY_COMPARE(model->rowCount(), 11);
    const int A = DumpModel::MarkAbove, B = DumpModel::MarkBelow;
    QTRY_COMPARE(marks(*model), (QList<int>{0, A, A, 0, B, B, B, A, 0, 0, B}));

    show->trigger();
    QCOMPARE(marks(*model), QList<int>(11, 0));
    rig.session->dataView().setDumpView(false);
    QTRY_COMPARE(w.graphs()->ondo()->image(), plain);
  }
};

QTEST_MAIN(TstUiExcursions)
#include "tst_ui_excursions.moc"
