// Data sets: the record on disk, the scratch files over a run, statistics and
// the extreme marks.
#include <QtTest>
#include <cstring>

#include "data/datasets.h"
#include "data/formats.h"
#include "support/data_disklimit.h"
#include "support/scripted_prompt.h"

using namespace hygro;
using hygro::test::ScriptedPrompt;

namespace {

QByteArray readAll(const QString& path) {
  QFile f(path);
  return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void putSample(DataSets& ds, int set, float t, float h, const QString& remark = {}) {
  DataSetInfo& info = ds.info(set);
  ++info.Points;
  ds.Rec = MeasurementRecord{};
  ds.Rec.Temperature = t;
  ds.Rec.Humidity = h;
  ds.Rec.Time = fmt::dateSerial(2010, 5, 1, 12, 0, 0) + info.Points / 86400.0;
  ds.Rec.Block = 1;
  ds.Rec.setRemarks(remark);
  QVERIFY(ds.Put(set, info.Points));
  Stats_Add(ds.Rec, info.Points, info.Stats);
}

}  // namespace

class TstDataSets : public QObject {
  Q_OBJECT

 private slots:
  void recordLayoutOnDisk();
  void remarksAreCutAndPadded();
  void scratchFilesOverARun();
  void crashLeftoversAreKept();
  void unusableFolder();
  void setIndexAndEmpty();
  void statistics();
  void statsComparesAsFloat();
  void statsMark();
  void fullDiskKeepsRecords();
  void bulkWritesReachTheFile();
};

void TstDataSets::recordLayoutOnDisk() {
  QTemporaryDir dir;
  DataSets ds;
  QString err;
  QVERIFY2(ds.open(dir.path(), &err), qPrintable(err));
  ds.Rec.Temperature = 23.5f;
  ds.Rec.Humidity = -1.0f;
  ds.Rec.Time = 40299.5;
  ds.Rec.Block = 3;
  ds.Rec.setRemarks(QStringLiteral("AB"));
  QVERIFY(ds.Put(LogData, 2));
  QCOMPARE(ds.RecordNo, qint16(2));

  const QByteArray bytes = readAll(dir.filePath("log.rand"));
  QCOMPARE(bytes.size(), 160);  // record 2 lies at 80; record 1 is a hole
  const QByteArray r = bytes.mid(80);
  // 23.5f = 0x41BC0000, -1.0f = 0xBF800000, 40299.5 = 0x40E3AD7000000000 (little-endian on
  // disk), 3.0f = 0x40400000
  QCOMPARE(r.left(8).toHex(), QByteArray("0000bc41000080bf"));
  QCOMPARE(r.mid(8, 8), QByteArray(8, '\0'));
  QCOMPARE(r.mid(16, 8).toHex(), QByteArray("0000000070ade340"));
  QCOMPARE(r.mid(24, 4).toHex(), QByteArray("00004040"));
  QCOMPARE(r.mid(28, 50), QByteArray("AB") + QByteArray(48, ' '));
  QCOMPARE(r.mid(78, 2), QByteArray(2, '\0'));

  // A record never put reads back as a blank record.
  ds.Get(LogData, 1);
  QCOMPARE(ds.Rec.Time, 0.0);
  QCOMPARE(ds.Rec.remarks(), QString(50, u' '));
  QVERIFY(ds.Get(LogData, 2));
  QCOMPARE(ds.Rec.Block, 3.0f);
  QVERIFY(!ds.Get(LogData, 3));
  QVERIFY(!ds.Put(LogData, 0));
  QVERIFY(!ds.Put(LogData, 32768));
}

void TstDataSets::remarksAreCutAndPadded() {
  MeasurementRecord r;
  QCOMPARE(QByteArray(r.Remarks, 50), QByteArray(50, ' '));
  const QString sixty = QString(60, u'x');
  r.setRemarks(sixty);
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

void TstDataSets::scratchFilesOverARun() {
  QTemporaryDir dir;
  ScriptedPrompt prompt;
  {
    DataSets ds(&prompt);
    QString err;
    QVERIFY(ds.open(dir.path(), &err));
    QVERIFY(ds.isOpen());
    for (const char* name : {"real.rand", "log.rand", "read.rand", "disp.rand"})
      QVERIFY2(QFileInfo::exists(dir.filePath(name)), name);
    QCOMPARE(ds.info(FileData).Stats.e[0].Value, -10000.0);
    putSample(ds, RealTimeData, 20, 50);
    ds.closeAndRemove();
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList());
    // After shutdown nothing reaches a file any more.
    QVERIFY(ds.Put(RealTimeData, 2));
  }
  QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList());
  QVERIFY(prompt.calls.isEmpty());
}

void TstDataSets::crashLeftoversAreKept() {
  QTemporaryDir dir;
  {
    // A run that ends without closeAndRemove (a crash) leaves its data.
    DataSets first;
    QString err;
    QVERIFY(first.open(dir.path(), &err));
    putSample(first, LogData, 21, 40);
  }
  const QByteArray left = readAll(dir.filePath("log.rand"));
  QCOMPARE(left.size(), 80);

  ScriptedPrompt prompt;
  DataSets second(&prompt);
  QString err;
  QVERIFY(second.open(dir.path(), &err));
  // Only the file that held data was moved aside; the empty ones are reused.
  QCOMPARE(second.recoveredFiles().size(), 1);
  const QString aside = second.recoveredFiles().first();
  QVERIFY(aside.startsWith(dir.filePath("log.rand.crash-")));
  QCOMPARE(readAll(aside), left);
  QCOMPARE(QFileInfo(dir.filePath("log.rand")).size(), 0);
  QCOMPARE(prompt.calls.size(), 1);
  QCOMPARE(prompt.calls[0].title, QStringLiteral("[Hygrotab] Temperature and Humidity Logger"));
  QVERIFY(prompt.calls[0].text.contains(QDir::toNativeSeparators(aside)));
  second.closeAndRemove();
  // The kept copy survives a normal shutdown too.
  QVERIFY(QFileInfo::exists(aside));
}

void TstDataSets::unusableFolder() {
  QTemporaryDir dir;
  DataSets ds;
  QString err;
  QVERIFY(!ds.open(dir.filePath("no/such/folder"), &err));
  QVERIFY(err.contains(QStringLiteral("real.rand")));
  QVERIFY(!ds.isOpen());
}

void TstDataSets::setIndexAndEmpty() {
  DataSets ds;
  QVERIFY_THROWS_EXCEPTION(std::out_of_range, ds.info(3));
  QVERIFY_THROWS_EXCEPTION(std::out_of_range, ds.Get(3, 1));
  QVERIFY_THROWS_EXCEPTION(std::out_of_range, ds.Put(255, 1));

  DataSetInfo& i = ds.info(RealTimeData);
  i.FileNo = 1;
  putSample(ds, RealTimeData, 20, 50);
  i.DisplayedPoints = 1;
  i.Interval = 60;
  i.UpperOn = true;
  i.UpperRaw = 6960;
  i.Modified = true;
  i.Model = QStringLiteral("QM720-XC");
  ds.Empty(RealTimeData);
  QCOMPARE(i.FileNo, qint16(1));
  QCOMPARE(i.Points, qint16(0));
  QCOMPARE(i.DisplayedPoints, qint16(0));
  QCOMPARE(i.Interval, 0);
  QVERIFY(!i.UpperOn);
  QVERIFY(!i.Modified);
  QCOMPARE(i.Stats.e[3].Value, 10000.0);
  // Emptying does not wipe the records: record 1 still holds the old sample.
  QVERIFY(ds.Get(RealTimeData, 1));
  QCOMPARE(ds.Rec.Temperature, 20.0f);
}

void TstDataSets::statistics() {
  DataSets ds;
  DataSetStats& st = ds.info(LogData).Stats;
  putSample(ds, LogData, 20, 50);
  putSample(ds, LogData, 25, 40);  // max T
  putSample(ds, LogData, 25, 60);  // same max T: the first keeps it
  putSample(ds, LogData, 10, 60);  // min T; same max H as record 3
  QCOMPARE(st.e[0].RecordNo, qint16(2));
  QCOMPARE(st.e[0].Value, 25.0);
  QCOMPARE(st.e[1].RecordNo, qint16(4));
  QCOMPARE(st.e[2].RecordNo, qint16(3));
  QCOMPARE(st.e[3].RecordNo, qint16(2));

  // The clamp moves the value, never the record number.
  putSample(ds, LogData, 120, 105);
  putSample(ds, LogData, -50, -3);
  QCOMPARE(st.e[0].Value, 100.0);
  QCOMPARE(st.e[0].RecordNo, qint16(5));
  QCOMPARE(st.e[1].Value, -40.0);
  QCOMPARE(st.e[2].Value, 100.0);
  QCOMPARE(st.e[3].Value, 0.0);
  QCOMPARE(st.e[3].RecordNo, qint16(6));
  // 100 exactly is not above the clamped 100.
  putSample(ds, LogData, 100, 50);
  QCOMPARE(st.e[0].RecordNo, qint16(5));

  // Stats_Clear resets the values only.
  Stats_Clear(st);
  QCOMPARE(st.e[0].Value, -10000.0);
  QCOMPARE(st.e[1].Value, 10000.0);
  QCOMPARE(st.e[0].RecordNo, qint16(5));
}

void TstDataSets::statsComparesAsFloat() {
  // 20.1 as a double lies below 20.1f; compared as floats they are equal, so
  // a record of 20.1f does not displace a stored 20.1.
  DataSetStats st;
  Stats_Clear(st);
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
  QVERIFY(!ds.Get(LogData, 1));

  const QString full = QString(50, u'r');
  putSample(ds, LogData, 30, 20, QStringLiteral("  window  "));  // max T, min H
  putSample(ds, LogData, 10, 80, full);                          // min T, max H
  putSample(ds, LogData, 20, 50, QStringLiteral("plain"));
  Stats_Mark(ds, LogData);
  QVERIFY(ds.Get(LogData, 1));
  QCOMPARE(ds.Rec.remarks(),
           QStringLiteral("window Maximum temperature Minimum humidity").leftJustified(50));
  // Already 50 characters: the texts are cut off.
  QVERIFY(ds.Get(LogData, 2));
  QCOMPARE(ds.Rec.remarks(), full);
  QCOMPARE(ds.RecordNo, qint16(1));  // the last extreme put back was the minimum humidity

  // One record holding all four extremes gets all four texts, cut at 50.
  DataSets one;
  putSample(one, RealTimeData, 1, 1);
  Stats_Mark(one, RealTimeData);
  one.Get(RealTimeData, 1);
  QCOMPARE(one.Rec.remarks(), QStringLiteral("Maximum temperature Minimum temperature Maximum hu"));
}

void TstDataSets::fullDiskKeepsRecords() {
  QTemporaryDir dir;
  ScriptedPrompt prompt;
  DataSets ds(&prompt);
  QString err;
  QVERIFY(ds.open(dir.path(), &err));
  for (int n = 0; n < 3; ++n) putSample(ds, LogData, 20 + n, 50);
  {
    test::FileSizeLimit limit(3 * 80);
    if (!limit.active()) QSKIP("cannot limit file sizes here");
    for (int n = 4; n <= 10; ++n) {
      ds.Rec.Temperature = float(n);
      QVERIFY(!ds.Put(LogData, n));
    }
  }
  // One message for the whole failing stretch, naming the file.
  QCOMPARE(prompt.messages().size(), 1);
  QVERIFY(prompt.messages().first().contains(QStringLiteral("log.rand")));
  // Every record is still held.
  for (int n = 4; n <= 10; ++n) {
    QVERIFY(ds.Get(LogData, n));
    QCOMPARE(ds.Rec.Temperature, float(n));
  }
  // With room again, writes go through and a new failure would be told again.
  QVERIFY(ds.Put(LogData, 11));
  QCOMPARE(QFileInfo(dir.filePath("log.rand")).size(), 11 * 80);
}

void TstDataSets::bulkWritesReachTheFile() {
  QTemporaryDir dir;
  ScriptedPrompt prompt;
  DataSets ds(&prompt);
  QString err;
  QVERIFY(ds.open(dir.path(), &err));
  const QString path = dir.filePath("read.rand");
  ds.beginBulk(FileData);
  for (int n = 1; n <= 1000; ++n) {
    ds.Rec.Temperature = float(n);
    QVERIFY(ds.Put(FileData, n));
  }
  // Rewriting an earlier record and jumping back stay in order on disk.
  ds.Rec.Temperature = -1;
  QVERIFY(ds.Put(FileData, 999));
  QVERIFY(ds.Put(FileData, 3));
  QVERIFY(ds.endBulk(FileData));
  const QByteArray bytes = readAll(path);
  QCOMPARE(bytes.size(), 1000 * 80);
  auto tempAt = [&](int n) {
    float t = 0;
    std::memcpy(&t, bytes.constData() + (n - 1) * 80, 4);
    return t;
  };
  QCOMPARE(tempAt(1), 1.0f);
  QCOMPARE(tempAt(3), -1.0f);
  QCOMPARE(tempAt(700), 700.0f);
  QCOMPARE(tempAt(999), -1.0f);
  QCOMPARE(tempAt(1000), 1000.0f);
}

QTEST_APPLESS_MAIN(TstDataSets)
#include "tst_data_sets.moc"
