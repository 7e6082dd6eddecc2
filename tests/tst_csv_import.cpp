// CSV import into FileData: the accepted form, the items as they are read,
// run numbers from time gaps, and the ways a file can be wrong.
#include <sys/stat.h>

#include <QBuffer>
#include <QtTest>

#include "data/csv.h"
#include "data/formats.h"
#include "support/data_fixtures.h"
#include "support/data_table.h"
#include "support/scripted_prompt.h"

using namespace hygro;
using hygro::test::ScriptedPrompt;

namespace {

const QByteArray kShortTitles =
    "\"Recognition name\",\"Start time\",\"Recording points\",\"Record interval\",\"\",\"\"\r\n";
const QByteArray kRowTitles =
    "\"Record number\",\"Date\",\"Temperature\",\"Humidity \",\"Remarks \"\r\n";
const QByteArray kValues = "\"N\",\"2010/05/01\",\" 3\",\" 60\",\"\",\"\"\r\n";
const QString kWrongForm = QStringLiteral("The form of the file is different. ");
const QString kFileError = QStringLiteral("File error");

struct Read {
  CsvOpenResult result;
  QStringList messages;
};

Read readBytes(DataSets& ds, const QByteArray& bytes) {
  QBuffer buf;
  buf.setData(bytes);
  buf.open(QIODevice::ReadOnly);
  ScriptedPrompt prompt;
  return {Csv_Read(ds, buf, prompt, QString()), prompt.messages()};
}

// A FileData that holds one earlier record, to see what a failed read keeps.
void holdEarlierFile(DataSets& ds) {
  ds.info(FileData).Points = 1;
  ds.info(FileData).Name = QStringLiteral("earlier");
  ds.info(FileData).Model = QStringLiteral("QM510-XC");
  MeasurementRecord rec;
  rec.Temperature = 11;
  ds.Put(FileData, 1, rec);
}

}  // namespace

class TstCsvImport : public QObject {
  Q_OBJECT

 private slots:
  void roundTrip_data();
  void roundTrip();
  void itemsAndRunsAsTheyAreRead();
  void rejected_data();
  void rejected();
  void tooManyRows();
  void onlyRegularFilesOfBoundedSize();
  void cutOffFiles();
  void fromDialogAndPath();
};

void TstCsvImport::roundTrip_data() {
  test::addDataRows(QStringLiteral("csv/round_trip.tsv"), {"file", "model", "writtenAs"});
}

void TstCsvImport::roundTrip() {
  QFETCH(QString, file);
  QFETCH(QString, model);
  QFETCH(QString, writtenAs);
  const QByteArray original = test::readFile(test::csvFixture(writtenAs));
  DataSets ds;
  const Read r = readBytes(ds, test::readFile(test::csvFixture(file)));
  QCOMPARE(r.result, CsvOpenResult::Opened);
  QVERIFY2(r.messages.isEmpty(), qPrintable(r.messages.join(u'|')));
  const DataSetInfo& i = ds.info(FileData);
  QCOMPARE(i.Model, model);
  QCOMPARE(i.StartTime, fmt::dateSerial(2010, 5, 1, 13, 4, 5));
  QCOMPARE(Csv_Content(ds, FileData, i.Model, i.Name), original);
  // Statistics are kept (max T 1, min T 4, min H 3) but not written into remarks.
  QCOMPARE(i.Stats.e[0].RecordNo, qint16(1));
  QCOMPARE(i.Stats.e[1].RecordNo, qint16(4));
  QCOMPARE(i.Stats.e[3].RecordNo, qint16(3));
}

void TstCsvImport::itemsAndRunsAsTheyAreRead() {
  // Header numbers are read with Val; "OFF" and 25 for the bounds; points
  // stated as 10 but three rows; values may carry a sign and blanks. Quoted
  // items keep commas and line ends; unquoted items lose their leading
  // blanks; lines do not matter, only the count of items; blank lines are
  // skipped; a BOM is ignored.
  DataSets ds;
  QCOMPARE(readBytes(ds, test::readFile(test::csvFixture("items.csv"))).result,
           CsvOpenResult::Opened);
  const DataSetInfo& i = ds.info(FileData);
  QCOMPARE(i.Points, qint16(3));
  QCOMPARE(i.PointsShown, 10);
  QCOMPARE(fmt::intervalText(i.Interval), QStringLiteral("1 Min30 Sec"));
  QVERIFY(!i.UpperOn);
  QVERIFY(i.LowerOn);
  QCOMPARE(fmt::boundDegrees(i.LowerRaw), 25);
  QStringList remarks;
  QList<float> values;
  for (int n = 1; n <= 3; ++n) {
    const MeasurementRecord rec = ds.Get(FileData, n);
    remarks << rec.remarks().trimmed();
    values << rec.Temperature << rec.Humidity;
  }
  QCOMPARE(remarks, QStringList({"a, b\r\nc", "unquoted remark", ""}));
  QCOMPARE(values, QList<float>({15, 50, -0.25f, 0, 22, 42}));

  // Interval 60: a gap of 61 s stays in the run, 62 s starts a new one. The
  // header's start time stands before the first row.
  DataSets gaps;
  QCOMPARE(readBytes(gaps, test::readFile(test::csvFixture("gaps.csv"))).result,
           CsvOpenResult::Opened);
  QList<float> blocks;
  for (int n = 1; n <= 5; ++n)
    blocks << (gaps.at(FileData, n) ? gaps.Get(FileData, n).Block : -1.0f);
  QCOMPARE(blocks, QList<float>({2, 2, 3, 3, 3}));
}

void TstCsvImport::rejected_data() {
  QTest::addColumn<QByteArray>("file");
  QTest::addColumn<QString>("message");
  const QByteArray rows = kRowTitles +
                          "1,\"2010/05/01 00:01:00\",\"20\",\"40\",\"\"\r\n"
                          "2,\"2010/05/01 00:02:00\",\"21\",\"41\",\"\"\r\n";
  for (const QStringList& row : test::dataRows(QStringLiteral("csv/rejected.tsv"))) {
    QByteArray file = row[1].toUtf8();
    file.replace("{HEAD}", kShortTitles + kValues + rows)
        .replace("{SHORT}", kShortTitles)
        .replace("{VALUES}", kValues)
        .replace("{ROWS}", rows);
    QTest::newRow(qPrintable(row[0])) << file << row[2];
  }
  QTest::newRow("quote never closed")
      << kShortTitles + "\"" + QByteArray(8 << 20, 'x')
      << kFileError + "\r\rline 2: the line is longer than 1024 bytes.";
}

void TstCsvImport::rejected() {
  QFETCH(QByteArray, file);
  QFETCH(QString, message);
  DataSets ds;
  holdEarlierFile(ds);
  const Read r = readBytes(ds, file);
  QCOMPARE(r.result,
           message.startsWith(kWrongForm) ? CsvOpenResult::WrongForm : CsvOpenResult::FileError);
  QCOMPARE(r.messages, QStringList{message});
  // FileData changes only with a file read to its end.
  const DataSetInfo& i = ds.info(FileData);
  QCOMPARE(i.Model, QStringLiteral("QM510-XC"));
  QCOMPARE(i.Points, qint16(1));
  QCOMPARE(i.Name, QStringLiteral("earlier"));
  QCOMPARE(ds.Get(FileData, 1).Temperature, 11.0f);
}

void TstCsvImport::tooManyRows() {
  QByteArray file =
      kShortTitles + "\"N\",\"2010/05/01\",\"32768\",\"1\",\"\",\"\"\r\n" + kRowTitles;
  const QByteArray row = ",\"2010/05/01 00:00:00\",\"1\",\"2\",\"\"\r\n";
  for (int n = 1; n <= 32767; ++n) file += QByteArray::number(n) + row;
  // Exactly 32767 rows is fine; one more is refused and leaves them.
  DataSets ds;
  QCOMPARE(readBytes(ds, file).result, CsvOpenResult::Opened);
  QCOMPARE(ds.info(FileData).Points, qint16(32767));
  file += "32768" + row;
  const Read r = readBytes(ds, file);
  QCOMPARE(r.result, CsvOpenResult::FileError);
  QCOMPARE(r.messages, QStringList{kFileError + "\r\rline 32771: more than 32767 records."});
}

void TstCsvImport::onlyRegularFilesOfBoundedSize() {
  // Refused before a byte is read: nothing here may hang or fill the memory;
  // and a file that cannot be opened at all. The message has the caller's title.
  QTemporaryDir dir;
  const QString fifo = dir.filePath(QStringLiteral("pipe.csv"));
  QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
  QFile huge(dir.filePath(QStringLiteral("huge.csv")));
  QVERIFY(huge.open(QIODevice::WriteOnly) && huge.resize(kCsvMaxFileSize + 1));
  huge.close();
  const QList<std::pair<QString, QString>> cases = {
      {QStringLiteral("/dev/zero"), QStringLiteral("/dev/zero is a device")},
      {fifo, fifo + QStringLiteral(" is a pipe (FIFO)")},
      {dir.path(), dir.path() + QStringLiteral(" is a folder")},
      {huge.fileName(), huge.fileName() + QStringLiteral(" is %1 bytes long, more than a file of "
                                                         "32767 records can need")
                                              .arg(kCsvMaxFileSize + 1)},
      {QStringLiteral("/nonexistent/file.csv"),
       QStringLiteral("/nonexistent/file.csv cannot be opened: No such file or directory.")}};
  for (const auto& [path, says] : cases) {
    DataSets ds;
    ScriptedPrompt prompt;
    QCOMPARE(Csv_Read(ds, path, prompt, QStringLiteral("M")), CsvOpenResult::FileError);
    QVERIFY2(prompt.messages().value(0).startsWith(kFileError + "\r\r" + says),
             qPrintable(prompt.messages().value(0)));
    QCOMPARE(prompt.calls.value(0).title, QStringLiteral("M"));
  }
}

void TstCsvImport::cutOffFiles() {
  // Cut anywhere, a file is opened silently or refused with one message.
  const QByteArray good = test::readFile(test::csvFixture(QStringLiteral("qm720xc.csv")));
  for (int cut = 0; cut < good.size(); cut += 7) {
    DataSets ds;
    const Read r = readBytes(ds, good.left(cut));
    QCOMPARE(r.messages.size(), r.result == CsvOpenResult::Opened ? 0 : 1);
  }
}

void TstCsvImport::fromDialogAndPath() {
  DataSets ds;
  holdEarlierFile(ds);
  ScriptedPrompt prompt;
  // A cancelled dialog ends silently.
  QCOMPARE(Csv_Open(ds, prompt, QStringLiteral("QM720-XC")), CsvOpenResult::Cancelled);
  QCOMPARE(prompt.texts(QStringLiteral("open")),
           QStringList{QStringLiteral(u"csv\uFF8C\uFF67\uFF72\uFF99(*.csv)|*.csv")});
  QCOMPARE(prompt.calls.size(), 1);
  // A file with the header alone (Points = 0) replaces the earlier one.
  prompt.openAnswers.enqueue(test::csvFixture(QStringLiteral("points0.csv")));
  QCOMPARE(Csv_Open(ds, prompt, QStringLiteral("QM720-XC")), CsvOpenResult::Opened);
  QCOMPARE(ds.info(FileData).Points, qint16(0));
}

QTEST_APPLESS_MAIN(TstCsvImport)
#include "tst_csv_import.moc"
