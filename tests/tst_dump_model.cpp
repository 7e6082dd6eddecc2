// The dump list model: cell texts, row text for the status bar, sorting by
// cell text and rows added during a measurement.
#include <QSignalSpy>
#include <QtTest>

#include "data/dump.h"
#include "data/formats.h"
#include "support/data_fixtures.h"

using namespace hygro;

namespace {

void addSample(DataSets& ds, int set, float t, float h, int secondsAfterNoon) {
  DataSetInfo& i = ds.info(set);
  ++i.Points;
  ds.Rec = MeasurementRecord{};
  ds.Rec.Temperature = t;
  ds.Rec.Humidity = h;
  ds.Rec.Time = fmt::dateSerial(2010, 5, 1, 12, 0, 0) + secondsAfterNoon / 86400.0;
  ds.Put(set, i.Points);
  Stats_Add(ds.Rec, i.Points, i.Stats);
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
  void cellsAndHeadings();
  void emptySet();
  void sortsByCellText();
  void addedRowsKeepTheSort();
  void statsLabelRefreshesRows();
};

void TstDumpModel::cellsAndHeadings() {
  DataSets ds;
  test::fillReferenceSet(ds, LogData);
  ds.DataSetIndex = LogData;
  DumpModel m(ds);
  m.Dump_Fill();
  QCOMPARE(m.columnCount(), 5);
  QStringList headings;
  for (int c = 0; c < m.columnCount(); ++c) headings << m.headerData(c, Qt::Horizontal).toString();
  QCOMPARE(headings, QStringList({"Record No", "Date", "Temp (C)", "Humi (%RH)", "Remarks"}));
  QCOMPARE(m.rowCount(), 4);

  QCOMPARE(m.data(m.index(0, 0)).toString(), QStringLiteral("00001"));
  QCOMPARE(m.data(m.index(0, 1)).toString(), QStringLiteral("2010/05/01 13:04:05"));
  QCOMPARE(m.data(m.index(0, 2)).toString(), QStringLiteral("23.46"));
  QCOMPARE(m.data(m.index(0, 3)).toString(), QStringLiteral("55.10"));
  QCOMPARE(m.data(m.index(0, 4)).toString(), QString(50, u' '));
  // The list shows a digit before the point and the full time at midnight.
  QCOMPARE(m.cellText(1, 2), QStringLiteral("0.04"));
  QCOMPARE(m.cellText(2, 1), QStringLiteral("2010/05/02 00:00:00"));
  QCOMPARE(m.cellText(2, 2), QStringLiteral("-0.25"));
  QCOMPARE(m.cellText(2, 3), QStringLiteral("0.50"));

  QCOMPARE(m.itemClickText(0),
           QStringLiteral("Date 2010/05/01 13:04:05   Temperature 23.46 C   Humidity 55.10 %RH"));
  QCOMPARE(m.itemClickText(4), QString());
  QVERIFY(!m.data(m.index(0, 0), Qt::EditRole).isValid());
  QCOMPARE(m.cellText(7, 0), QString());
}

void TstDumpModel::emptySet() {
  DataSets ds;
  test::fillReferenceSet(ds, RealTimeData);
  ds.DataSetIndex = RealTimeData;
  DumpModel m(ds);
  m.Dump_Fill();
  QCOMPARE(m.rowCount(), 4);
  ds.Empty(RealTimeData);
  m.Dump_Fill();
  QCOMPARE(m.rowCount(), 0);
  // Filling follows the current set.
  test::fillReferenceSet(ds, FileData);
  ds.DataSetIndex = FileData;
  m.Dump_Fill();
  QCOMPARE(m.dataSet(), int(FileData));
  QCOMPARE(m.rowCount(), 4);
  m.clear();
  QCOMPARE(m.rowCount(), 0);
}

void TstDumpModel::sortsByCellText() {
  DataSets ds;
  const float temps[] = {9, 10, -5, 25.5f, -10, 0.5f};
  for (int k = 0; k < 6; ++k) addSample(ds, LogData, temps[k], 50 - k, k * 60);
  DumpModel m(ds);
  m.Dump_Fill();
  QVERIFY(!m.isSorted());
  QCOMPARE(column(m, 2), QStringList({"9.00", "10.00", "-5.00", "25.50", "-10.00", "0.50"}));

  // Texts, not numbers: "-" sorts first, "10.00" before "9.00".
  m.columnClick(DumpModel::TempColumn);
  QVERIFY(m.isSorted());
  QCOMPARE(m.sortOrder(), Qt::AscendingOrder);
  QCOMPARE(column(m, 2), QStringList({"-10.00", "-5.00", "0.50", "10.00", "25.50", "9.00"}));
  QCOMPARE(m.itemClickText(0).section(u' ', 0, 2), QStringLiteral("Date 2010/05/01 12:04:00"));
  // The same column again flips the order.
  m.columnClick(DumpModel::TempColumn);
  QCOMPARE(m.sortOrder(), Qt::DescendingOrder);
  QCOMPARE(column(m, 2), QStringList({"9.00", "25.50", "10.00", "0.50", "-5.00", "-10.00"}));
  // Another column keeps the order and changes the key; leading zeros make
  // record numbers sort as numbers.
  m.columnClick(DumpModel::RecordNoColumn);
  QCOMPARE(m.sortOrder(), Qt::DescendingOrder);
  QCOMPARE(column(m, 0), QStringList({"00006", "00005", "00004", "00003", "00002", "00001"}));
  m.columnClick(DumpModel::RecordNoColumn);
  QCOMPARE(column(m, 0), QStringList({"00001", "00002", "00003", "00004", "00005", "00006"}));
  m.columnClick(99);  // no such heading
  QCOMPARE(m.sortColumn(), int(DumpModel::RecordNoColumn));

  // A sort keeps persistent indexes (a view's selection) on their record.
  m.columnClick(DumpModel::TempColumn);
  const QPersistentModelIndex sel = m.index(0, 1);  // record 5, -10.00
  QCOMPARE(m.recordAt(sel.row()), 5);
  m.columnClick(DumpModel::TempColumn);
  QCOMPARE(m.recordAt(sel.row()), 5);
  QCOMPARE(sel.row(), 5);

  // A refill of a sorted list comes back sorted.
  m.Dump_Fill();
  QCOMPARE(column(m, 2).first(), QStringLiteral("9.00"));
  m.resetSort();
  m.Dump_Fill();
  QCOMPARE(column(m, 0).first(), QStringLiteral("00001"));
}

void TstDumpModel::addedRowsKeepTheSort() {
  DataSets ds;
  ds.DataSetIndex = RealTimeData;
  DumpModel m(ds);
  QSignalSpy inserted(&m, &QAbstractItemModel::rowsInserted);
  addSample(ds, RealTimeData, 20, 50, 0);
  m.Dump_Add(1);
  addSample(ds, RealTimeData, 30, 50, 5);
  m.Dump_Add(2);
  QCOMPARE(column(m, 0), QStringList({"00001", "00002"}));
  QCOMPARE(inserted.size(), 2);
  QCOMPARE(inserted[1][1].toInt(), 1);

  m.columnClick(DumpModel::TempColumn);
  m.columnClick(DumpModel::TempColumn);  // descending
  addSample(ds, RealTimeData, 25, 50, 10);
  m.Dump_Add(3);
  QCOMPARE(column(m, 2), QStringList({"30.00", "25.00", "20.00"}));
  QCOMPARE(inserted.last()[1].toInt(), 1);
  m.Dump_Add(0);  // not a record
  QCOMPARE(m.rowCount(), 3);
}

void TstDumpModel::statsLabelRefreshesRows() {
  DataSets ds;
  ds.DataSetIndex = RealTimeData;
  DumpModel m(ds);
  addSample(ds, RealTimeData, 20, 50, 0);
  m.Dump_Add(1);
  addSample(ds, RealTimeData, 22, 40, 5);
  m.Dump_Add(2);
  addSample(ds, RealTimeData, 21, 45, 10);
  m.Dump_Add(3);
  QSignalSpy changed(&m, &QAbstractItemModel::dataChanged);
  Stats_Mark(ds, RealTimeData);
  Stats_Label(m, ds.info(RealTimeData).Stats);
  // Records 1 and 2 hold the extremes; record 3 is left alone.
  QCOMPARE(changed.size(), 2);
  QCOMPARE(changed[0][0].toModelIndex().row(), 0);
  QCOMPARE(changed[0][0].toModelIndex().column(), int(DumpModel::RemarksColumn));
  QCOMPARE(changed[1][0].toModelIndex().row(), 1);
  QCOMPARE(m.cellText(0, 4).trimmed(), QStringLiteral("Minimum temperature Maximum humidity"));
  QCOMPARE(m.cellText(1, 4).trimmed(), QStringLiteral("Maximum temperature Minimum humidity"));
  QCOMPARE(m.cellText(2, 4).trimmed(), QString());
  QCOMPARE(ds.RecordNo, qint16(2));
}

QTEST_APPLESS_MAIN(TstDumpModel)
#include "tst_dump_model.moc"
