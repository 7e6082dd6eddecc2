// CSV export: the file byte for byte against reference files, the save
// dialog loop with its proposals, refusals and failures, and a full disk.
#include <QtTest>
#include <cerrno>
#include <cstring>

#include "data/csv.h"
#include "support/data_fixtures.h"
#include "support/data_table.h"
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
  test::addDataRows(QStringLiteral("csv/export_references.tsv"),
                    {"model", "setName", "name", "reference"});
}

void TstCsvExport::referenceFiles() {
  QFETCH(QString, model);
  QFETCH(QString, setName);
  QFETCH(QString, name);
  QFETCH(QString, reference);
  const int set = setName == QStringLiteral("log") ? LogData : RealTimeData;
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
  test::addDataRows(QStringLiteral("csv/save_dialog.tsv"), {"name", "answers", "saved", "calls"});
}

void TstCsvExport::saveDialog() {
  QFETCH(QString, name);
  QFETCH(QString, answers);
  QFETCH(QString, saved);
  QFETCH(QString, calls);
  QTemporaryDir dir;
  const QString good = dir.filePath(QStringLiteral("good.csv"));
  ScriptedPrompt prompt;
  for (const QString& a : answers.split(u' ', Qt::SkipEmptyParts)) {
    if (a == QStringLiteral("refuse"))
      prompt.saveAnswers.enqueue({std::nullopt, true});
    else if (a == QStringLiteral("bad"))
      prompt.saveAnswers.enqueue({dir.filePath("no/dir/x.csv")});
    else
      prompt.saveAnswers.enqueue({a == QStringLiteral("empty") ? QString() : good});
  }
  DataSets ds;
  test::fillReferenceSet(ds, LogData);
  const bool isSaved = saved == QStringLiteral("yes");
  QCOMPARE(Csv_Save(ds, LogData, QStringLiteral("QM720-XC"), name, prompt),
           isSaved ? CsvSaveResult::Saved : CsvSaveResult::Cancelled);
  QStringList seen;
  for (const auto& c : prompt.calls) {
    seen << c.kind + u':' + c.text;
    QCOMPARE(c.title, c.kind == QStringLiteral("save") ? QStringLiteral(" CSV(*.csv)|*.csv")
                                                       : QStringLiteral("QM720-XC"));
  }
  QCOMPARE(seen, calls.split(u'|'));
  QCOMPARE(ds.info(LogData).Modified, !isSaved);
  QCOMPARE(test::readFile(good),
           isSaved ? test::readFile(test::csvFixture("qm720xc.csv")) : QByteArray());
}

void TstCsvExport::fullDiskKeepsOldFile() {
  DataSets ds;
  test::fillReferenceSet(ds, LogData);
  QTemporaryDir dir;
  const QString path = dir.filePath(QStringLiteral("keep.csv"));
  const QByteArray older = "the user's older file\r\n";
  QVERIFY(test::writeScratchFile(path, {}, older));
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
