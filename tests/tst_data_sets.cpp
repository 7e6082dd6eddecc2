// Data sets: the record on disk, the scratch files over a run, statistics and
// the extreme marks.
#include <QLockFile>
#include <QtTest>
#include <cstring>

#include "data/datafolder.h"
#include "data/datasets.h"
#include "data/formats.h"
#include "data/recovery.h"
#include "support/data_fixtures.h"
#include "support/data_table.h"
#include "support/scripted_prompt.h"

using namespace hygro;
using hygro::test::addSample;
using hygro::test::makeRecord;
using hygro::test::ScriptedPrompt;
using hygro::test::writeScratchFile;

class TstDataSets : public QObject {
  Q_OBJECT

 private slots:
  void recordLayoutOnDisk();
  void scratchFilesAndCrashLeftovers();
  void statistics();
  void fullDiskKeepsRecords();
  void folderInUseOrUnusable();
  void leftoverLoadsWholeRecords();
  void closeKeepingUnsaved();
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

  // A bulk write reaches the file whole, a jump back to an earlier record too.
  ds.beginBulk(FileData);
  for (int n = 1; n <= 1000; ++n) QVERIFY(ds.Put(FileData, n, makeRecord(float(n), 0, 0)));
  QVERIFY(ds.Put(FileData, 3, makeRecord(-1, 0, 0)));
  QVERIFY(ds.endBulk(FileData));
  const QByteArray read = test::readFile(dir.filePath("read.rand"));
  QCOMPARE(read.size(), 1000 * 80);
  for (int n : {1, 3, 700, 1000}) {
    float t = 0;
    std::memcpy(&t, read.constData() + (n - 1) * 80, 4);
    QCOMPARE(t, n == 3 ? -1.0f : float(n));
  }

  // The remarks are cut to 50 bytes and padded with blanks.
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
             QStringList({"disp.rand", "hygrotab.lock", "log.rand", "read.rand", "real.rand"}));
    QVERIFY(addSample(first, LogData, 21, 40));
  }
  const QByteArray left = test::readFile(dir.filePath("log.rand"));
  QCOMPARE(left.size(), 80);
  // (A lock left by a killed run is taken over: tst_cli_offline, folderInUseIsRefused.)
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

  // The marks: nothing measured, nothing marked.
  Stats_Mark(ds, RealTimeData);
  QVERIFY(!ds.at(RealTimeData, 1));

  const QString full = QString(50, u'r');
  addSample(ds, RealTimeData, 30, 20, QStringLiteral("  window  "));  // max T, min H
  addSample(ds, RealTimeData, 10, 80, full);                          // min T, max H
  addSample(ds, RealTimeData, 20, 50, QStringLiteral("plain"));
  Stats_Mark(ds, RealTimeData);
  QCOMPARE(ds.Get(RealTimeData, 1).remarks(),
           QStringLiteral("window Maximum temperature Minimum humidity").leftJustified(50));
  // Already 50 characters: the texts are cut off.
  QCOMPARE(ds.Get(RealTimeData, 2).remarks(), full);
  QCOMPARE(ds.Get(RealTimeData, 3).remarks().trimmed(), QStringLiteral("plain"));
  // One record holding all four extremes: tst_logger_ops, oneMeasurement.

  // A set number outside the three is refused, never written through.
  QVERIFY_THROWS_EXCEPTION(std::out_of_range, ds.info(3));
  QVERIFY_THROWS_EXCEPTION(std::out_of_range, ds.Put(255, 1, MeasurementRecord{}));
  // Emptying keeps FileNo and resets the rest; the records themselves stay
  // (an emptied set's CSV takes record 1's time: tst_csv_export).
  DataSetInfo& i = ds.info(FileData);
  i.FileNo = 1;
  i.UpperOn = true;
  addSample(ds, FileData, 20, 50);
  ds.Empty(FileData);
  QCOMPARE(i.FileNo, qint16(1));
  QVERIFY(!i.UpperOn);
  QCOMPARE(i.Stats.e[3].Value, 10000.0);
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

void TstDataSets::folderInUseOrUnusable() {
  QTemporaryDir dir;
  const QString lockPath = dir.filePath(DataFolder::kLockName);
  // Another program's live scratch file, and that program's lock.
  QVERIFY(writeScratchFile(dir.filePath("real.rand"), {makeRecord(20, 50, 46000)}));
  {
    QLockFile other(lockPath);
    QVERIFY(other.tryLock(0));
    ScriptedPrompt prompt;
    DataSets ds(&prompt);
    QString err;
    QVERIFY(!ds.open(dir.path(), &err));
    QCOMPARE(ds.openError(), DataSets::OpenError::InUse);
    // The window's rule: in use ends silently. (The text, and the holder's
    // files untouched: tst_cli_offline folderInUseIsRefused.)
    QCOMPARE(OpenDataFolder(ds, dir.path(), &prompt), FolderOpen::InUse);
    QVERIFY(prompt.calls.isEmpty());
  }

  // A lock file that names nobody (cut short) does not keep everyone out.
  QVERIFY(writeScratchFile(lockPath, {}));
  DataSets third;
  QString err;
  QVERIFY2(third.open(dir.path(), &err), qPrintable(err));
  third.closeAndRemove();

  // Unusable folders, each said once with the folder and the way out. CI
  // runs as root, where permissions stop nothing: a path below a regular
  // file fails for everyone. A folder is created when needed, and left
  // without a lock when a scratch file in it cannot be made.
  const QString file = dir.filePath("plain");
  QVERIFY(writeScratchFile(file, {}, "x"));
  QVERIFY(QDir().mkpath(dir.filePath("new/folder/real.rand")));
  QVERIFY(QDir().mkpath(dir.filePath("taken/") + DataFolder::kLockName));
  const QList<std::pair<QString, QString>> unusable = {
      {file + "/sub", "it cannot be created"},
      {file, "it is a file, not a folder"},
      {dir.filePath("taken"), "in the way of the lock file"},
      {dir.filePath("new/folder"), "real.rand"}};
  for (const auto& [folder, why] : unusable) {
    ScriptedPrompt prompt;
    DataSets ds(&prompt);
    QCOMPARE(OpenDataFolder(ds, folder, &prompt), FolderOpen::Failed);
    QCOMPARE(ds.openError(), DataSets::OpenError::Unusable);
    QCOMPARE(prompt.messages().size(), 1);
    const QString text = prompt.messages().first();
    QVERIFY2(text.contains(QDir::toNativeSeparators(folder)) && text.contains(why) &&
                 text.contains(QStringLiteral("--data-dir")),
             qPrintable(text));
  }
  QVERIFY(!QFile::exists(dir.filePath("new/folder/hygrotab.lock")));
}

void TstDataSets::leftoverLoadsWholeRecords() {
  QTemporaryDir dir;
  const double t0 = fmt::dateSerial(2026, 11, 23, 10, 0, 0);
  const double sec = 1.0 / 86400;
  // Three samples 60 s apart, one 120 s later, a sample whose answers never
  // came (time only), and a record torn by the crash.
  const QList<MeasurementRecord> whole = {
      makeRecord(21.5f, 40, t0), makeRecord(25, 35, t0 + 60 * sec),
      makeRecord(19, 60, t0 + 120 * sec), makeRecord(20, 45, t0 + 240 * sec)};
  MeasurementRecord placeholder;
  placeholder.Time = t0 + 300 * sec;
  const QString real = dir.filePath("real.rand.crash-20261123_100500");
  QVERIFY(writeScratchFile(real, whole + QList<MeasurementRecord>{placeholder},
                           QByteArray(30, '\x41')));
  // A log of two runs, and files that are no leftovers.
  QVERIFY(writeScratchFile(dir.filePath("log.rand.crash-20261123_100500"),
                           {makeRecord(1, 2, t0, 1), makeRecord(1, 2, t0 + 600 * sec, 1),
                            makeRecord(1, 2, t0 + 5 * sec, 2)}));
  QVERIFY(writeScratchFile(dir.filePath("read.rand.crash-20261123_100500"), {}, "x"));
  QVERIFY(writeScratchFile(dir.filePath("real.rand"), {makeRecord(1, 2, t0)}));
  QVERIFY(writeScratchFile(dir.filePath("notes.crash-1"), {}, "x"));

  const QList<Leftover> list = FindLeftovers(dir.path());
  QCOMPARE(list.size(), 3);
  QCOMPARE(list[0].fileName(), QStringLiteral("log.rand.crash-20261123_100500"));
  QCOMPARE(list[1].kind, Leftover::Kind::OpenedFile);
  QCOMPARE(list[1].records, 0);
  const Leftover& l = list[2];
  QCOMPARE(l.kind, Leftover::Kind::RealTime);
  // Its count and times (the placeholder and the torn record left out) as
  // the question gives them.
  QCOMPARE(RecoveryQuestion(l), test::dataValue(QStringLiteral("datasets/texts.tsv"),
                                                QStringLiteral("recovery question"))
                                    .arg(QDir::toNativeSeparators(real)));

  ScriptedPrompt prompt;
  DataSets ds(&prompt);
  QString err;
  QVERIFY2(LoadLeftover(l, ds, &err), qPrintable(err));
  // (The records loaded are exactly the whole ones, and the file is never
  // changed: tst_cli_offline recoverWritesLeftovers.)
  const DataSetInfo& i = ds.info(RealTimeData);
  QCOMPARE(i.Interval, 60);  // the most frequent step, not the 120 s gap
  // Statistics of the four whole records only (the placeholder is the driest).
  QCOMPARE(i.Stats.e[0].RecordNo, qint16(2));
  QCOMPARE(i.Stats.e[3].RecordNo, qint16(2));
  QVERIFY(i.Modified);
  QVERIFY(prompt.calls.isEmpty());
  // The steps inside a run count, not the jump to the next one.
  QVERIFY(LoadLeftover(list[0], ds, &err));
  QCOMPARE(ds.info(LogData).Points, qint16(3));
  QCOMPARE(ds.info(LogData).Interval, 600);
  QVERIFY(!LoadLeftover(list[1], ds, &err));
  QVERIFY(err.contains(QStringLiteral("opened CSV file")));
}

void TstDataSets::closeKeepingUnsaved() {
  QTemporaryDir dir;
  DataSets ds;
  QVERIFY(ds.open(dir.path(), nullptr));
  // A shorter set after a longer one: the file must not keep the old tail,
  // or a crash would bring those records back as part of the new set.
  for (int n = 1; n <= 5; ++n) QVERIFY(addSample(ds, RealTimeData, n, 50));
  ds.Empty(RealTimeData);
  for (int n = 1; n <= 3; ++n) QVERIFY(addSample(ds, LogData, n, 50));
  ds.EmptyPoints(LogData);
  QCOMPARE(QFileInfo(dir.filePath("log.rand")).size(), 0);
  for (int n = 1; n <= 2; ++n) QVERIFY(addSample(ds, RealTimeData, n, 50));
  QCOMPARE(QFileInfo(dir.filePath("real.rand")).size(), 160);
  ds.info(RealTimeData).Modified = true;
  // A third sample still waiting for its answers lies past Points.
  QVERIFY(ds.Put(RealTimeData, 3, makeRecord(0, 0, 46000, 0)));
  // Saved log data and an opened file are not kept.
  QVERIFY(addSample(ds, LogData, 1, 50));
  QVERIFY(addSample(ds, FileData, 1, 50));
  ds.info(FileData).Modified = true;
  const QStringList kept = ds.closeKeepingUnsaved();
  QCOMPARE(kept, QStringList{dir.filePath("real.rand")});
  QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
           QStringList{"real.rand"});
  QCOMPARE(QFileInfo(dir.filePath("real.rand")).size(), 160);
}

QTEST_GUILESS_MAIN(TstDataSets)
#include "tst_data_sets.moc"
