// CSV export: the file byte for byte against reference files, the save
// dialog loop with its proposals, refusals and failures, and a full disk.
#include <QtTest>
#include <cerrno>
#include <cstring>

#include "data/csv.h"
#include "support/data_fixtures.h"
#include "support/scripted_prompt.h"

using namespace hygro;
using hygro::test::ScriptedPrompt;

class TstCsvExport : public QObject {
  Q_OBJECT

 private slots:
  void referenceFiles_data();
  void referenceFiles();
  void saveDialog_data();
  void saveDialog();
  void fullDiskKeepsOldFile();
};

void TstCsvExport::referenceFiles_data() {
  QTest::addColumn<QString>("model");
  QTest::addColumn<int>("set");
  QTest::addColumn<QString>("name");
  QTest::addColumn<QString>("reference");
  QTest::newRow("QM720-XC: both bounds") << "QM720-XC" << int(LogData) << "ROOM1"
                                         << "qm720xc.csv";
  QTest::newRow("QM720-XCB: no bounds") << "QM720-XCB" << int(RealTimeData) << "ROOM1"
                                        << "qm720xcb.csv";
  QTest::newRow("no model read yet") << "" << int(LogData) << "ROOM1"
                                     << "qm720xcb.csv";
  // Points = 0: no rows, and the start time is whatever record 1 still holds.
  QTest::newRow("emptied set") << "QM510-XC" << int(RealTimeData) << "LAB"
                               << "points0.csv";
}

void TstCsvExport::referenceFiles() {
  QFETCH(QString, model);
  QFETCH(int, set);
  QFETCH(QString, name);
  QFETCH(QString, reference);
  DataSets ds;
  test::fillReferenceSet(ds, set);
  if (reference == QStringLiteral("points0.csv")) {
    ds.Empty(set);
    ds.info(set).Interval = 60;
    ds.info(set).Modified = true;
  }
  QTemporaryDir dir;
  const QString path = dir.filePath(reference);
  QString err;
  QVERIFY2(Csv_Write(ds, set, model, name, path, &err), qPrintable(err));
  QCOMPARE(test::readFile(path), test::readFile(test::csvFixture(reference)));
  QVERIFY(!ds.info(set).Modified);

  // A file written as the samples come, header then row by row, has the
  // same form.
  QByteArray grown = Csv_Header(ds, set, model, name);
  for (int n = 1; n <= ds.info(set).Points; ++n) grown += Csv_Row(n, ds.Get(set, n));
  QCOMPARE(grown, test::readFile(test::csvFixture(reference)));
}

void TstCsvExport::saveDialog_data() {
  // Answers: "good" / "bad" (in a missing folder) / "" are chosen files,
  // "refuse" is a dialog that rejects the proposal; when they run out, cancel.
  QTest::addColumn<QString>("name");
  QTest::addColumn<QStringList>("answers");
  QTest::addColumn<bool>("saved");
  QTest::addColumn<QStringList>("calls");
  const QString full = QStringLiteral("save:ROOM1_100501_130405");
  const QString stamp = QStringLiteral("save:100501_130405");
  const QString illegal = QStringLiteral("message:File name is illegal");
  QTest::newRow("proposal taken") << "ROOM1" << QStringList{"good"} << true << QStringList{full};
  QTest::newRow("refused: the time alone next")
      << "ROOM1" << QStringList{"refuse", "good"} << true << QStringList{full, stamp};
  QTest::newRow("refused, then the time alone, refused")
      << "ROOM1" << QStringList{"refuse", "refuse", "good"} << false << QStringList{full, stamp};
  QTest::newRow("name no file can take") << "A/B" << QStringList{} << false << QStringList{stamp};
  QTest::newRow("illegal file asks again") << "ROOM1" << QStringList{"bad", "", "good"} << true
                                           << QStringList{full, illegal, full, illegal, full};
}

void TstCsvExport::saveDialog() {
  QFETCH(QString, name);
  QFETCH(QStringList, answers);
  QFETCH(bool, saved);
  QFETCH(QStringList, calls);
  QTemporaryDir dir;
  const QString good = dir.filePath(QStringLiteral("good.csv"));
  ScriptedPrompt prompt;
  for (const QString& a : answers) {
    if (a == QStringLiteral("refuse"))
      prompt.saveAnswers.enqueue({std::nullopt, true});
    else if (a == QStringLiteral("bad"))
      prompt.saveAnswers.enqueue({dir.filePath("no/dir/x.csv")});
    else
      prompt.saveAnswers.enqueue({a.isEmpty() ? QString() : good});
  }
  DataSets ds;
  test::fillReferenceSet(ds, LogData);
  QCOMPARE(Csv_Save(ds, LogData, QStringLiteral("QM720-XC"), name, prompt),
           saved ? CsvSaveResult::Saved : CsvSaveResult::Cancelled);
  QStringList seen;
  for (const auto& c : prompt.calls) {
    seen << c.kind + u':' + c.text;
    QCOMPARE(c.title, c.kind == QStringLiteral("save") ? QStringLiteral(" CSV(*.csv)|*.csv")
                                                       : QStringLiteral("QM720-XC"));
  }
  QCOMPARE(seen, calls);
  QCOMPARE(ds.info(LogData).Modified, !saved);
  QCOMPARE(test::readFile(good),
           saved ? test::readFile(test::csvFixture("qm720xc.csv")) : QByteArray());
}

void TstCsvExport::fullDiskKeepsOldFile() {
  DataSets ds;
  test::fillReferenceSet(ds, LogData);
  QTemporaryDir dir;
  const QString path = dir.filePath(QStringLiteral("keep.csv"));
  const QByteArray older = "the user's older file\r\n";
  {
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly) && f.write(older) == older.size());
  }
  ScriptedPrompt prompt;
  prompt.saveAnswers.enqueue({path});
  {
    test::FileSizeLimit limit(200);  // the header fits, the rows do not
    if (!limit.active()) QSKIP("cannot limit file sizes here");
    QCOMPARE(Csv_Save(ds, LogData, QStringLiteral("QM720-XC"), QStringLiteral("ROOM1"), prompt),
             CsvSaveResult::Failed);
  }
  // One clear message naming the file; the older file is whole, Modified
  // stays set and no temporary file is left behind.
  QCOMPARE(prompt.messages().size(), 1);
  QVERIFY(prompt.messages().first().startsWith(QStringLiteral("The file could not be written.")));
  QVERIFY(prompt.messages().first().contains(path));
  // The system's reason, where a short write alone would give none.
  QVERIFY2(prompt.messages().first().contains(QString::fromLocal8Bit(std::strerror(EFBIG))),
           qPrintable(prompt.messages().first()));
  QCOMPARE(test::readFile(path), older);
  QVERIFY(ds.info(LogData).Modified);
  QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{QStringLiteral("keep.csv")});
}

QTEST_APPLESS_MAIN(TstCsvExport)
#include "tst_csv_export.moc"
