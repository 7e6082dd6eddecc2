// CSV export: the file byte for byte against reference files, and the save
// dialog loop with its proposals, refusals and failures.
#include <QtTest>

#include "data/csv.h"
#include "data/formats.h"
#include "support/data_disklimit.h"
#include "support/data_fixtures.h"
#include "support/scripted_prompt.h"

using namespace hygro;
using hygro::test::ScriptedPrompt;

class TstCsvExport : public QObject {
  Q_OBJECT

 private slots:
  void init() {
    dir_ = std::make_unique<QTemporaryDir>();
    QVERIFY(dir_->isValid());
  }
  void referenceFiles_data();
  void referenceFiles();
  void emptySetTakesRecordOnesTime();
  void saveProposesNameAndStamp();
  void saveCancelKeepsModified();
  void saveNameNotAllowed();
  void saveIllegalFileAsksAgain();
  void fullDiskKeepsOldFile();

 private:
  std::unique_ptr<QTemporaryDir> dir_;
};

void TstCsvExport::referenceFiles_data() {
  QTest::addColumn<QString>("model");
  QTest::addColumn<int>("set");
  QTest::addColumn<QString>("reference");
  QTest::newRow("QM720-XC, log") << "QM720-XC" << int(LogData) << "qm720xc.csv";
  QTest::newRow("QM720-XC, real-time") << "QM720-XC" << int(RealTimeData) << "qm720xc.csv";
  QTest::newRow("QM720-XCB") << "QM720-XCB" << int(LogData) << "qm720xcb.csv";
  QTest::newRow("QM510-XC") << "QM510-XC" << int(RealTimeData) << "qm720xcb.csv";
  QTest::newRow("no model read yet") << "" << int(LogData) << "qm720xcb.csv";
}

void TstCsvExport::referenceFiles() {
  QFETCH(QString, model);
  QFETCH(int, set);
  QFETCH(QString, reference);
  DataSets ds;
  test::fillReferenceSet(ds, set);
  const QString path = dir_->filePath(reference);
  QString err;
  QVERIFY2(Csv_Write(ds, set, model, test::kReferenceName, path, &err), qPrintable(err));
  QCOMPARE(test::readFile(path), test::readFile(test::csvFixture(reference)));
  QVERIFY(!ds.info(set).Modified);
}

void TstCsvExport::emptySetTakesRecordOnesTime() {
  // Points = 0: three header lines, no row, and the start time is whatever
  // record 1 still holds from before.
  DataSets ds;
  test::fillReferenceSet(ds, RealTimeData);
  ds.Empty(RealTimeData);
  ds.info(RealTimeData).Interval = 60;
  QCOMPARE(Csv_Content(ds, RealTimeData, QStringLiteral("QM510-XC"), QStringLiteral("LAB")),
           test::readFile(test::csvFixture(QStringLiteral("points0.csv"))));
}

void TstCsvExport::saveProposesNameAndStamp() {
  DataSets ds;
  test::fillReferenceSet(ds, LogData);
  ScriptedPrompt prompt;
  const QString path = dir_->filePath(QStringLiteral("saved.csv"));
  prompt.saveAnswers.enqueue({path});
  QString saved;
  QCOMPARE(Csv_Save(ds, LogData, QStringLiteral("QM720-XC"), test::kReferenceName, prompt, &saved),
           CsvSaveResult::Saved);
  QCOMPARE(saved, path);
  QCOMPARE(prompt.calls.size(), 1);
  QCOMPARE(prompt.calls[0].kind, QStringLiteral("save"));
  QCOMPARE(prompt.calls[0].text, QStringLiteral("ROOM1_100501_130405"));
  QCOMPARE(prompt.calls[0].title, QStringLiteral(" CSV(*.csv)|*.csv"));
  QVERIFY(!ds.info(LogData).Modified);
  QCOMPARE(test::readFile(path), test::readFile(test::csvFixture(QStringLiteral("qm720xc.csv"))));

  // The dialog refuses the proposal: the time alone is offered next.
  ds.info(LogData).Modified = true;
  prompt.calls.clear();
  prompt.saveAnswers.enqueue({std::nullopt, true});
  prompt.saveAnswers.enqueue({path});
  QCOMPARE(Csv_Save(ds, LogData, QStringLiteral("QM720-XC"), QStringLiteral("ROOM1"), prompt),
           CsvSaveResult::Saved);
  QCOMPARE(prompt.texts(QStringLiteral("save")),
           QStringList({QStringLiteral("ROOM1_100501_130405"), QStringLiteral("100501_130405")}));
  QVERIFY(!ds.info(LogData).Modified);

  // Refused again with the time alone: that ends it like a cancel.
  ds.info(LogData).Modified = true;
  prompt.calls.clear();
  prompt.saveAnswers.enqueue({std::nullopt, true});
  prompt.saveAnswers.enqueue({std::nullopt, true});
  prompt.saveAnswers.enqueue({path});
  QCOMPARE(Csv_Save(ds, LogData, QStringLiteral("QM720-XC"), QStringLiteral("ROOM1"), prompt),
           CsvSaveResult::Cancelled);
  QCOMPARE(prompt.calls.size(), 2);
  QVERIFY(ds.info(LogData).Modified);
}

void TstCsvExport::saveCancelKeepsModified() {
  DataSets ds;
  test::fillReferenceSet(ds, RealTimeData);
  ScriptedPrompt prompt;
  prompt.saveAnswers.enqueue({std::nullopt});
  QCOMPARE(Csv_Save(ds, RealTimeData, QStringLiteral("QM720-XC"), QStringLiteral("R"), prompt),
           CsvSaveResult::Cancelled);
  QVERIFY(ds.info(RealTimeData).Modified);
  QCOMPARE(prompt.calls.size(), 1);
  QCOMPARE(QDir(dir_->path()).entryList(QDir::Files), QStringList());
}

void TstCsvExport::saveNameNotAllowed() {
  // A name no file system takes is not offered at all.
  DataSets ds;
  test::fillReferenceSet(ds, LogData);
  for (const QString& name : {QStringLiteral("A/B"), QStringLiteral("x:y"), QStringLiteral("q?"),
                              QStringLiteral("tab\there")}) {
    ScriptedPrompt prompt;
    QCOMPARE(Csv_Save(ds, LogData, QStringLiteral("QM720-XC"), name, prompt),
             CsvSaveResult::Cancelled);
    QCOMPARE(prompt.texts(QStringLiteral("save")), QStringList{QStringLiteral("100501_130405")});
  }
}

void TstCsvExport::saveIllegalFileAsksAgain() {
  DataSets ds;
  test::fillReferenceSet(ds, LogData);
  ScriptedPrompt prompt;
  const QString good = dir_->filePath(QStringLiteral("good.csv"));
  prompt.saveAnswers.enqueue({dir_->filePath(QStringLiteral("missing/folder/x.csv"))});
  prompt.saveAnswers.enqueue({QString()});
  prompt.saveAnswers.enqueue({good});
  QCOMPARE(Csv_Save(ds, LogData, QStringLiteral("QM720-XCB"), QStringLiteral("ROOM1"), prompt),
           CsvSaveResult::Saved);
  QStringList kinds;
  for (const auto& c : prompt.calls) kinds << c.kind + u':' + c.text + u':' + c.title;
  QCOMPARE(kinds, QStringList({
                      QStringLiteral("save:ROOM1_100501_130405: CSV(*.csv)|*.csv"),
                      QStringLiteral("message:File name is illegal:QM720-XCB"),
                      QStringLiteral("save:ROOM1_100501_130405: CSV(*.csv)|*.csv"),
                      QStringLiteral("message:File name is illegal:QM720-XCB"),
                      QStringLiteral("save:ROOM1_100501_130405: CSV(*.csv)|*.csv"),
                  }));
  QCOMPARE(test::readFile(good), test::readFile(test::csvFixture(QStringLiteral("qm720xcb.csv"))));
  QVERIFY(!ds.info(LogData).Modified);
}

void TstCsvExport::fullDiskKeepsOldFile() {
  DataSets ds;
  test::fillReferenceSet(ds, LogData);
  const QString path = dir_->filePath(QStringLiteral("keep.csv"));
  QVERIFY(test::writeFile(path, "the user's older file\r\n"));
  ScriptedPrompt prompt;
  prompt.saveAnswers.enqueue({path});
  {
    test::FileSizeLimit limit(200);  // the header fits, the rows do not
    if (!limit.active()) QSKIP("cannot limit file sizes here");
    QCOMPARE(Csv_Save(ds, LogData, QStringLiteral("QM720-XC"), QStringLiteral("ROOM1"), prompt),
             CsvSaveResult::Failed);
    QString err;
    QVERIFY(
        !Csv_Write(ds, LogData, QStringLiteral("QM720-XC"), QStringLiteral("ROOM1"), path, &err));
    QVERIFY(err.contains(path));
  }
  QCOMPARE(prompt.messages().size(), 1);
  QVERIFY(prompt.messages().first().startsWith(QStringLiteral("The file could not be written.")));
  QVERIFY(prompt.messages().first().contains(path));
  QCOMPARE(prompt.calls.last().title, QStringLiteral("QM720-XC"));
  QCOMPARE(test::readFile(path), QByteArray("the user's older file\r\n"));
  QVERIFY(ds.info(LogData).Modified);
  // No temporary file is left behind.
  QCOMPARE(QDir(dir_->path()).entryList(QDir::Files), QStringList{QStringLiteral("keep.csv")});
}

QTEST_APPLESS_MAIN(TstCsvExport)
#include "tst_csv_export.moc"
