// Data sets: the record on disk, the scratch files over a run, statistics and
// the extreme marks.
#include <QtTest>
#include <cstring>

#include "data/datasets.h"
#include "support/data_fixtures.h"
#include "support/scripted_prompt.h"

using namespace hygro;
using hygro::test::addSample;
using hygro::test::ScriptedPrompt;

class TstDataSets : public QObject {
  Q_OBJECT

 private slots:
  void recordLayoutOnDisk();
  void remarksAreCutAndPadded();
  void scratchFilesAndCrashLeftovers();
  void setIndexAndEmpty();
  void statistics();
  void statsMark();
  void fullDiskKeepsRecords();
  void bulkWritesReachTheFile();
};

void TstDataSets::recordLayoutOnDisk() {
  QTemporaryDir dir;
  DataSets ds;
  QString err;
  QVERIFY2(ds.open(dir.path(), &err), qPrintable(err));
  MeasurementRecord rec;
  rec.Temperature = 23.5f;
  rec.Humidity = -1.0f;
  rec.Time = 40299.5;
  rec.Block = 3;
  rec.setRemarks(QStringLiteral("AB"));
  QVERIFY(ds.Put(LogData, 2, rec));
  // Record 2 lies at 80, record 1 is a hole. Little-endian 23.5f, -1.0f,
  // 8 zero bytes, 40299.5, 3.0f, then the remarks and 2 bytes of padding.
  const QByteArray bytes = test::readFile(dir.filePath("log.rand"));
  QCOMPARE(bytes.size(), 160);
  QCOMPARE(bytes.mid(80, 28).toHex(), QByteArray("0000bc41000080bf0000000000000000"
                                                 "0000000070ade34000004040"));
  QCOMPARE(bytes.mid(108), QByteArray("AB") + QByteArray(48, ' ') + QByteArray(2, '\0'));
  // The hole reads back as a blank record; nothing lies past the highest.
  QCOMPARE(ds.Get(LogData, 1).Time, 0.0);
  QVERIFY(!ds.at(LogData, 3));
  QCOMPARE(ds.Get(LogData, 3).Block, 0.0f);
  QVERIFY(!ds.Put(LogData, 0, rec));
  QVERIFY(!ds.Put(LogData, 32768, rec));
}

void TstDataSets::remarksAreCutAndPadded() {
  MeasurementRecord r;
  QCOMPARE(QByteArray(r.Remarks, 50), QByteArray(50, ' '));
  r.setRemarks(QString(60, u'x'));
  QCOMPARE(r.remarks(), QString(50, u'x'));
  // A multi-byte character that does not fit whole is left out, not split.
  r.setRemarks(QString(49, u'a') + QStringLiteral("\u00E9z"));
  QCOMPARE(r.remarks(), QString(49, u'a') + u' ');
  r.setRemarks(QStringLiteral("\u6E29\u5EA6"));  // two 3-byte characters
  QCOMPARE(r.remarks(), QStringLiteral("\u6E29\u5EA6") + QString(44, u' '));
  // Zero bytes (a hole in a file) show as blanks.
  std::memset(r.Remarks, 0, 50);
  QCOMPARE(r.remarks(), QString(50, u' '));
}

void TstDataSets::scratchFilesAndCrashLeftovers() {
  QTemporaryDir dir;
  QString err;
  {
    // A run that ends without closeAndRemove (a crash) leaves its data.
    DataSets first;
    QVERIFY(first.open(dir.path(), &err));
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files),
             QStringList({"disp.rand", "log.rand", "read.rand", "real.rand"}));
    QVERIFY(addSample(first, LogData, 21, 40));
  }
  const QByteArray left = test::readFile(dir.filePath("log.rand"));
  QCOMPARE(left.size(), 80);

  ScriptedPrompt prompt;
  DataSets second(&prompt);
  QVERIFY(second.open(dir.path(), &err));
  // Only the file that held data is moved aside, and the user is told where.
  QCOMPARE(second.recoveredFiles().size(), 1);
  const QString aside = second.recoveredFiles().first();
  QVERIFY(aside.startsWith(dir.filePath("log.rand.crash-")));
  QCOMPARE(test::readFile(aside), left);
  QCOMPARE(prompt.calls.size(), 1);
  QCOMPARE(prompt.calls[0].title, QStringLiteral("[Hygrotab] Temperature and Humidity Logger"));
  QVERIFY(prompt.calls[0].text.contains(QDir::toNativeSeparators(aside)));
  // A normal shutdown removes the scratch files but keeps the copy; later
  // records are still held but reach no file.
  second.closeAndRemove();
  QVERIFY(second.Put(RealTimeData, 1, MeasurementRecord{}));
  QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{QFileInfo(aside).fileName()});

  DataSets nowhere;
  QVERIFY(!nowhere.open(dir.filePath("no/such/folder"), &err));
  QVERIFY(err.contains(QStringLiteral("real.rand")));
}

void TstDataSets::setIndexAndEmpty() {
  DataSets ds;
  QVERIFY_THROWS_EXCEPTION(std::out_of_range, ds.info(3));
  QVERIFY_THROWS_EXCEPTION(std::out_of_range, ds.Put(255, 1, MeasurementRecord{}));
  // Emptying keeps FileNo and resets the rest; the records themselves stay
  // (an emptied set's CSV takes record 1's time: tst_csv_export).
  DataSetInfo& i = ds.info(RealTimeData);
  i.FileNo = 1;
  i.UpperOn = true;
  addSample(ds, RealTimeData, 20, 50);
  ds.Empty(RealTimeData);
  QCOMPARE(i.FileNo, qint16(1));
  QVERIFY(!i.UpperOn);
  QCOMPARE(i.Stats.e[3].Value, 10000.0);
}

void TstDataSets::statistics() {
  DataSets ds;
  DataSetStats& st = ds.info(LogData).Stats;
  auto recordNos = [&] {
    QList<int> r;
    for (const auto& e : st.e) r << e.RecordNo;
    return r;
  };
  addSample(ds, LogData, 20, 50);
  addSample(ds, LogData, 25, 40);  // max T
  addSample(ds, LogData, 25, 60);  // same max T: the first keeps it
  addSample(ds, LogData, 10, 60);  // min T; same max H as record 3
  QCOMPARE(recordNos(), QList<int>({2, 4, 3, 2}));
  // The clamp moves the value, never the record number: 120 stays record 5,
  // and a later 100 is not above the clamped 100.
  addSample(ds, LogData, 120, 105);
  addSample(ds, LogData, -50, -3);
  addSample(ds, LogData, 100, 50);
  QCOMPARE(recordNos(), QList<int>({5, 6, 5, 6}));
  QList<double> values;
  for (const auto& e : st.e) values << e.Value;
  QCOMPARE(values, QList<double>({100, -40, 100, 0}));

  // 20.1 as a double lies below 20.1f; compared as floats they are equal, so
  // a record of 20.1f does not displace a stored 20.1.
  st.e[0] = {1, 20.1};
  st.e[3] = {1, 20.1};
  MeasurementRecord r;
  r.Temperature = 20.1f;
  r.Humidity = 20.1f;
  Stats_Add(r, 2, st);
  QCOMPARE(st.e[0].RecordNo, qint16(1));
  QCOMPARE(st.e[3].RecordNo, qint16(1));
}

void TstDataSets::statsMark() {
  DataSets ds;
  // Nothing measured: nothing marked.
  Stats_Mark(ds, LogData);
  QVERIFY(!ds.at(LogData, 1));

  const QString full = QString(50, u'r');
  addSample(ds, LogData, 30, 20, QStringLiteral("  window  "));  // max T, min H
  addSample(ds, LogData, 10, 80, full);                          // min T, max H
  addSample(ds, LogData, 20, 50, QStringLiteral("plain"));
  Stats_Mark(ds, LogData);
  QCOMPARE(ds.Get(LogData, 1).remarks(),
           QStringLiteral("window Maximum temperature Minimum humidity").leftJustified(50));
  // Already 50 characters: the texts are cut off.
  QCOMPARE(ds.Get(LogData, 2).remarks(), full);
  QCOMPARE(ds.Get(LogData, 3).remarks().trimmed(), QStringLiteral("plain"));
  // One record holding all four extremes: tst_logger_ops, oneMeasurement.
}

void TstDataSets::fullDiskKeepsRecords() {
  QTemporaryDir dir;
  ScriptedPrompt prompt;
  DataSets ds(&prompt);
  QVERIFY(ds.open(dir.path(), nullptr));
  for (int n = 1; n <= 3; ++n) QVERIFY(addSample(ds, LogData, n, 50));
  {
    test::FileSizeLimit limit(3 * 80);
    if (!limit.active()) QSKIP("cannot limit file sizes here");
    for (int n = 4; n <= 10; ++n) QVERIFY(!addSample(ds, LogData, n, 50));
  }
  // One message for the whole failing stretch, naming the file.
  QCOMPARE(prompt.messages().size(), 1);
  QVERIFY(prompt.messages().first().contains(QStringLiteral("log.rand")));
  // Every record is still held, and with room again writes go through.
  for (int n = 4; n <= 10; ++n) {
    QVERIFY(ds.at(LogData, n));
    QCOMPARE(ds.Get(LogData, n).Temperature, float(n));
  }
  QVERIFY(addSample(ds, LogData, 11, 50));
  QCOMPARE(QFileInfo(dir.filePath("log.rand")).size(), 11 * 80);
}

void TstDataSets::bulkWritesReachTheFile() {
  QTemporaryDir dir;
  DataSets ds;
  QVERIFY(ds.open(dir.path(), nullptr));
  ds.beginBulk(FileData);
  MeasurementRecord rec;
  for (int n = 1; n <= 1000; ++n) {
    rec.Temperature = float(n);
    QVERIFY(ds.Put(FileData, n, rec));
  }
  rec.Temperature = -1;
  QVERIFY(ds.Put(FileData, 3, rec));  // jumping back to an earlier record
  QVERIFY(ds.endBulk(FileData));
  const QByteArray bytes = test::readFile(dir.filePath("read.rand"));
  QCOMPARE(bytes.size(), 1000 * 80);
  for (int n : {1, 3, 700, 1000}) {
    float t = 0;
    std::memcpy(&t, bytes.constData() + (n - 1) * 80, 4);
    QCOMPARE(t, n == 3 ? -1.0f : float(n));
  }
}

QTEST_APPLESS_MAIN(TstDataSets)
#include "tst_data_sets.moc"
