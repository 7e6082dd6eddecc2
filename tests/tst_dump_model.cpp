// The dump list model: cell texts, row text for the status bar, sorting by
// cell text and rows added during a measurement.
#include <QSignalSpy>
#include <QtTest>

#include "data/dump.h"
#include "support/data_fixtures.h"

using namespace hygro;
using hygro::test::addSample;

namespace {

QStringList row(const DumpModel& m, int r) {
  QStringList out;
  for (int c = 0; c < m.columnCount(); ++c) out << m.data(m.index(r, c)).toString();
  return out;
}

QStringList column(const DumpModel& m, int c) {
  QStringList out;
  for (int r = 0; r < m.rowCount(); ++r) out << m.cellText(r, c);
  return out;
}

}  // namespace

class TstDumpModel : public QObject {
  Q_OBJECT

 private slots:
  void cellsStatusTextAndSorting();
  void rowsDuringAMeasurement();
};

void TstDumpModel::cellsStatusTextAndSorting() {
  DataSets ds;
  test::fillReferenceSet(ds, FileData);
  DumpModel m(ds);
  m.Dump_Fill(FileData);
  // The headings' texts are pinned where the list is printed (tst_render_print).
  QCOMPARE(m.headerData(DumpModel::HumiColumn, Qt::Horizontal).toString(),
           QStringLiteral("Humi (%RH)"));
  QCOMPARE(m.rowCount(), 4);
  QCOMPARE(row(m, 0),
           QStringList({"00001", "2010/05/01 13:04:05", "23.46", "55.10", QString(50, u' ')}));
  // The list shows a digit before the point and the full time at midnight.
  QCOMPARE(row(m, 2).mid(0, 4), QStringList({"00003", "2010/05/02 00:00:00", "-0.25", "0.50"}));
  QCOMPARE(m.cellText(1, 2), QStringLiteral("0.04"));
  QCOMPARE(m.itemClickText(0),
           QStringLiteral("Date 2010/05/01 13:04:05   Temperature 23.46 C   Humidity 55.10 %RH"));
  QCOMPARE(m.itemClickText(4), QString());
  ds.Empty(FileData);
  m.Dump_Fill(FileData);
  QCOMPARE(m.rowCount(), 0);

  // Sorting goes by the cell texts.
  for (float t : {9.0f, 10.0f, -5.0f, 25.5f, -10.0f, 0.5f}) addSample(ds, LogData, t, 50);
  m.Dump_Fill(LogData);
  QVERIFY(!m.isSorted());
  // (Texts, not numbers, the same column flipping the order and another
  // keeping it: tst_ui_graphs dumpListSortsAndShowsRows.) The read-out and
  // the records follow the sort: "-10.00" sorts first.
  m.columnClick(DumpModel::TempColumn);
  QCOMPARE(m.itemClickText(0).left(24), QStringLiteral("Date 2010/05/01 12:04:00"));
  // A persistent index (a view's selection) stays on its record.
  const QPersistentModelIndex sel = m.index(0, 1);
  m.columnClick(DumpModel::TempColumn);
  QCOMPARE(sel.row(), 5);
  QCOMPARE(m.recordAt(sel.row()), 5);
  // A refill of a sorted list comes back sorted: records descending.
  m.columnClick(DumpModel::RecordNoColumn);
  m.Dump_Fill(LogData);
  QCOMPARE(column(m, 0), QStringList({"00006", "00005", "00004", "00003", "00002", "00001"}));
}

void TstDumpModel::rowsDuringAMeasurement() {
  DataSets ds;
  DumpModel m(ds);
  m.Dump_Fill(RealTimeData);  // the list of the set, empty until the samples come
  QSignalSpy inserted(&m, &QAbstractItemModel::rowsInserted);
  const float samples[][2] = {{20, 50}, {22, 40}, {21, 45}};
  for (const auto& s : samples) {
    addSample(ds, RealTimeData, s[0], s[1]);
    m.Dump_Add(ds.info(RealTimeData).Points);
    if (m.rowCount() == 2) {
      m.columnClick(DumpModel::TempColumn);
      m.columnClick(DumpModel::TempColumn);  // descending
    }
  }
  m.Dump_Add(0);  // not a record
  // The third row went where the sort puts it.
  QCOMPARE(column(m, 2), QStringList({"22.00", "21.00", "20.00"}));
  QCOMPARE(inserted.size(), 3);
  QCOMPARE(inserted.last()[1].toInt(), 1);

  // Stats_Label writes the extremes' texts into the rows of the extreme
  // records only, each in front of what the row showed before the marking
  // (not the stored remark, which has them behind a blank).
  QSignalSpy changed(&m, &QAbstractItemModel::dataChanged);
  Stats_Mark(ds, RealTimeData);
  Stats_Label(m, ds.info(RealTimeData).Stats);
  QCOMPARE(changed.size(), 2);
  QCOMPARE(changed[0][0].toModelIndex(), m.index(0, DumpModel::RemarksColumn));
  QCOMPARE(changed[1][0].toModelIndex(), m.index(2, DumpModel::RemarksColumn));
  QCOMPARE(column(m, 4).replaceInStrings(QRegularExpression(" +$"), QString()),
           QStringList(
               {"Minimum humidityMaximum temperature", "", "Maximum humidityMinimum temperature"}));
  // The next fill shows the remarks as stored.
  m.Dump_Fill(RealTimeData);
  QCOMPARE(column(m, 4).replaceInStrings(QRegularExpression(" +$"), QString()),
           QStringList({"Maximum temperature Minimum humidity", "",
                        "Minimum temperature Maximum humidity"}));
}

QTEST_APPLESS_MAIN(TstDumpModel)
#include "tst_dump_model.moc"
