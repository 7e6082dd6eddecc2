// CSV import into FileData: the accepted form, the items as they are read,
// run numbers from time gaps, and every way a file can be wrong.
#include <QBuffer>
#include <QRandomGenerator>
#include <QtTest>

#include "data/csv.h"
#include "data/formats.h"
#include "support/data_fixtures.h"
#include "support/scripted_prompt.h"

using namespace hygro;
using hygro::test::ScriptedPrompt;

namespace {

const QByteArray kLongTitles =
    "\"Recognition name\",\"Start time\",\"Recording points\",\"Record interval\","
    "\"Upper bound temperature setting\",\"Lower bound temperature setting\"\r\n";
const QByteArray kShortTitles =
    "\"Recognition name\",\"Start time\",\"Recording points\",\"Record interval\",\"\",\"\"\r\n";
const QByteArray kRowTitles =
    "\"Record number\",\"Date\",\"Temperature\",\"Humidity \",\"Remarks \"\r\n";

struct Read {
  CsvOpenResult result;
  QStringList messages;
};

Read readBytes(DataSets& ds, const QByteArray& bytes) {
  QBuffer buf;
  buf.setData(bytes);
  buf.open(QIODevice::ReadOnly);
  ScriptedPrompt prompt;
  const CsvOpenResult r = Csv_Read(ds, buf, prompt, QStringLiteral("QM720-XC"));
  for (const auto& c : prompt.calls) {
    if (c.title != QStringLiteral("QM720-XC")) return {r, {QStringLiteral("wrong title")}};
  }
  return {r, prompt.messages()};
}

// A FileData that holds one earlier record, to see what a failed read keeps.
void holdEarlierFile(DataSets& ds) {
  DataSetInfo& i = ds.info(FileData);
  i.Points = 1;
  i.Name = QStringLiteral("earlier");
  i.Interval = 5;
  i.Model = QStringLiteral("QM510-XC");
  ds.Rec = MeasurementRecord{};
  ds.Rec.Temperature = 11;
  ds.Put(FileData, 1);
  ds.DataSetIndex = LogData;
}

void checkEarlierFileKept(DataSets& ds) {
  const DataSetInfo& i = ds.info(FileData);
  QCOMPARE(i.Points, qint16(1));
  QCOMPARE(i.Name, QStringLiteral("earlier"));
  QCOMPARE(i.Interval, 5);
  QCOMPARE(i.Model, QStringLiteral("QM510-XC"));
  QVERIFY(ds.Get(FileData, 1));
  QCOMPARE(ds.Rec.Temperature, 11.0f);
  QCOMPARE(ds.DataSetIndex, quint8(LogData));
}

}  // namespace

class TstCsvImport : public QObject {
  Q_OBJECT

 private slots:
  void readsReferenceFile();
  void roundTrip_data();
  void roundTrip();
  void headerOnly();
  void valuesAndBounds();
  void runsFromTimeGaps();
  void itemsByCountNotByLine();
  void wrongForm_data();
  void wrongForm();
  void fileErrorBeforeRows_data();
  void fileErrorBeforeRows();
  void fileErrorKeepsRowsRead();
  void tooManyRows();
  void hostileInput();
  void openDialog();
};

void TstCsvImport::readsReferenceFile() {
  DataSets ds;
  ScriptedPrompt prompt;
  QCOMPARE(Csv_Read(ds, test::csvFixture(QStringLiteral("qm720xc.csv")), prompt, QString()),
           CsvOpenResult::Opened);
  QVERIFY(prompt.calls.isEmpty());
  QCOMPARE(ds.DataSetIndex, quint8(FileData));
  const DataSetInfo& i = ds.info(FileData);
  QCOMPARE(i.Points, qint16(4));
  QCOMPARE(i.Model, QStringLiteral("QM720-XC"));
  QCOMPARE(i.StartTime, fmt::dateSerial(2010, 5, 1, 13, 4, 5));
  QCOMPARE(i.UpperRaw, 6960);

  struct Expected {
    float t, h, block;
    QString remark;
  };
  const Expected rows[] = {
      {23.46f, 55.1f, 1, QString()},
      {0.04f, 100.0f, 1, QStringLiteral("door open")},
      {-0.25f, 0.5f, 2, QStringLiteral("Sensor moved to the north wall, next to the window")},
      {-5.0f, 9.5f, 2, QStringLiteral(" Maximum temperature")},
  };
  for (int n = 1; n <= 4; ++n) {
    QVERIFY(ds.Get(FileData, n));
    const Expected& e = rows[n - 1];
    QCOMPARE(ds.Rec.Temperature, e.t);
    QCOMPARE(ds.Rec.Humidity, e.h);
    QCOMPARE(ds.Rec.Block, e.block);
    QCOMPARE(ds.Rec.remarks(), e.remark.leftJustified(50));
  }
  QCOMPARE(ds.Rec.Time, fmt::dateSerial(2010, 5, 2, 0, 10, 0));
  // Statistics are kept, but no extreme text is written into the remarks.
  QCOMPARE(i.Stats.e[0].RecordNo, qint16(1));
  QCOMPARE(i.Stats.e[1].RecordNo, qint16(4));
  QCOMPARE(i.Stats.e[3].RecordNo, qint16(3));
}

void TstCsvImport::roundTrip_data() {
  QTest::addColumn<QString>("file");
  QTest::newRow("with bounds") << "qm720xc.csv";
  QTest::newRow("short header") << "qm720xcb.csv";
}

void TstCsvImport::roundTrip() {
  // The reference files are what export writes from the reference set, so
  // export -> import -> export must give the same bytes again.
  QFETCH(QString, file);
  const QByteArray original = test::readFile(test::csvFixture(file));
  DataSets ds;
  QCOMPARE(readBytes(ds, original).result, CsvOpenResult::Opened);
  const DataSetInfo& i = ds.info(FileData);
  QCOMPARE(Csv_Content(ds, FileData, i.Model, i.Name), original);
}

void TstCsvImport::headerOnly() {
  DataSets ds;
  holdEarlierFile(ds);
  const Read r = readBytes(ds, test::readFile(test::csvFixture(QStringLiteral("points0.csv"))));
  QCOMPARE(r.result, CsvOpenResult::Opened);
  QVERIFY(r.messages.isEmpty());
  QCOMPARE(ds.info(FileData).Points, qint16(0));
  QCOMPARE(ds.info(FileData).Model, QStringLiteral("QM510-XC"));
  QCOMPARE(ds.DataSetIndex, quint8(FileData));
}

void TstCsvImport::valuesAndBounds() {
  DataSets ds;
  // "OFF" and 25; points stated as 10 but two rows; numbers read with Val.
  const QByteArray file = kLongTitles +
                          "\"N\",\"2010/05/01 13:04:05\",\" 10\",\" 90\",\"OFF\",\"25\"\r\n" +
                          kRowTitles +
                          "1,\"2010/05/01 13:04:05\",\"1.5e1\",\"50abc\",\"x\"\r\n"
                          "2,\"2010/05/01 13:05:35\",\"-.25\",\"\",\"\"\r\n";
  QCOMPARE(readBytes(ds, file).result, CsvOpenResult::Opened);
  const DataSetInfo& i = ds.info(FileData);
  QCOMPARE(i.Points, qint16(2));
  QCOMPARE(i.PointsShown, 10);
  QCOMPARE(fmt::intervalText(i.Interval), QStringLiteral("1 Min30 Sec"));
  QVERIFY(!i.UpperOn);
  QCOMPARE(i.UpperRaw, 0);
  QVERIFY(i.LowerOn);
  QCOMPARE(i.LowerRaw, 6460);
  QCOMPARE(fmt::boundDegrees(i.LowerRaw), 25);
  ds.Get(FileData, 1);
  QCOMPARE(ds.Rec.Temperature, 15.0f);
  QCOMPARE(ds.Rec.Humidity, 50.0f);
  ds.Get(FileData, 2);
  QCOMPARE(ds.Rec.Humidity, 0.0f);

  // Empty bound items are off too; a bound of 25.005 rounds half to even.
  const QByteArray file2 =
      kLongTitles + "\"N\",\"2010/05/01\",\"0\",\"60\",\"\",\"25.005\"\r\n" + kRowTitles;
  QCOMPARE(readBytes(ds, file2).result, CsvOpenResult::Opened);
  QVERIFY(!ds.info(FileData).UpperOn);
  QCOMPARE(ds.info(FileData).LowerRaw, 6460);
}

void TstCsvImport::runsFromTimeGaps() {
  // Interval 60: a gap of 61 s stays in the run, 62 s starts a new one. The
  // header's start time stands before the first row.
  QByteArray file =
      kShortTitles + "\"G\",\"2010/05/01 00:00:00\",\" 5\",\" 60\",\"\",\"\"\r\n" + kRowTitles;
  const char* times[] = {"00:01:02", "00:02:03", "00:03:05", "00:03:05", "00:04:06"};
  for (int n = 0; n < 5; ++n)
    file += QByteArray::number(n + 1) + ",\"2010/05/01 " + times[n] + "\",\"1\",\"2\",\"\"\r\n";
  DataSets ds;
  QCOMPARE(readBytes(ds, file).result, CsvOpenResult::Opened);
  const float expected[] = {2, 2, 3, 3, 3};
  for (int n = 1; n <= 5; ++n) {
    ds.Get(FileData, n);
    QCOMPARE(ds.Rec.Block, expected[n - 1]);
  }
}

void TstCsvImport::itemsByCountNotByLine() {
  // Quoted items keep commas and line ends; unquoted items lose leading and
  // trailing blanks; lines do not matter, only the count of items; blank
  // lines between records and at the end are skipped; a BOM is ignored.
  const QByteArray file = "\xEF\xBB\xBF" + kShortTitles.chopped(2) + ",\"N\",\"2010/05/01\"\r\n" +
                          "  3  , 60,,\r\n" + kRowTitles +
                          "1,2010/05/01 00:01:00,  20.5 ,\"40\",\"a, b\r\nc\"\r\n"
                          "\r\n"
                          "2,\"2010/05/01 00:02:00\"\r\n\"21\"\r\n41,  unquoted remark  \r\n"
                          "3,\"2010/05/01 00:03:00\",\"22\"junk,\"42\",\r\n"
                          "\r\n\r\n";
  DataSets ds;
  const Read r = readBytes(ds, file);
  QCOMPARE(r.result, CsvOpenResult::Opened);
  QCOMPARE(ds.info(FileData).Points, qint16(3));
  QCOMPARE(ds.info(FileData).PointsShown, 3);
  QCOMPARE(ds.info(FileData).Interval, 60);
  ds.Get(FileData, 1);
  QCOMPARE(ds.Rec.Temperature, 20.5f);
  QCOMPARE(ds.Rec.remarks(), QStringLiteral("a, b\r\nc").leftJustified(50));
  ds.Get(FileData, 2);
  QCOMPARE(ds.Rec.Humidity, 41.0f);
  QCOMPARE(ds.Rec.remarks(), QStringLiteral("unquoted remark").leftJustified(50));
  ds.Get(FileData, 3);
  QCOMPARE(ds.Rec.Temperature, 22.0f);
  QCOMPARE(ds.Rec.Humidity, 42.0f);
  QCOMPARE(ds.Rec.remarks(), QString(50, u' '));
}

void TstCsvImport::wrongForm_data() {
  QTest::addColumn<QByteArray>("titles");
  QTest::newRow("upper only") << QByteArray(
      "\"Recognition name\",\"Start time\",\"Recording points\",\"Record interval\","
      "\"Upper bound temperature setting\",\"\"\r\n");
  QTest::newRow("swapped bounds") << QByteArray(
      "\"Recognition name\",\"Start time\",\"Recording points\",\"Record interval\","
      "\"Lower bound temperature setting\",\"Upper bound temperature setting\"\r\n");
  QTest::newRow("blank inside quotes") << QByteArray(
      "\"Recognition name\",\"Start time \",\"Recording points\",\"Record "
      "interval\",\"\",\"\"\r\n");
  QTest::newRow("other csv") << QByteArray("a,b,c,d,e,f\r\n1,2,3,4,5,6\r\n");
}

void TstCsvImport::wrongForm() {
  QFETCH(QByteArray, titles);
  DataSets ds;
  holdEarlierFile(ds);
  const Read r = readBytes(ds, titles + "\"N\",\"2010/05/01\",\"1\",\"60\",\"\",\"\"\r\n" +
                                   kRowTitles + "1,\"2010/05/01\",\"1\",\"2\",\"\"\r\n");
  QCOMPARE(r.result, CsvOpenResult::WrongForm);
  QCOMPARE(r.messages, QStringList{QStringLiteral("The form of the file is different. ")});
  checkEarlierFileKept(ds);
}

void TstCsvImport::fileErrorBeforeRows_data() {
  QTest::addColumn<QByteArray>("file");
  QTest::newRow("empty file") << QByteArray();
  QTest::newRow("no values") << kShortTitles;
  QTest::newRow("bad start time") << kShortTitles +
                                         "\"N\",\"yesterday\",\"1\",\"60\",\"\",\"\"\r\n" +
                                         kRowTitles;
  QTest::newRow("points overflow")
      << kShortTitles + "\"N\",\"2010/05/01\",\"9e99\",\"60\",\"\",\"\"\r\n" + kRowTitles;
  QTest::newRow("bound overflow") << kLongTitles +
                                         "\"N\",\"2010/05/01\",\"1\",\"60\",\"1e300\",\"OFF\"\r\n" +
                                         kRowTitles;
  QTest::newRow("row titles cut short")
      << kShortTitles + "\"N\",\"2010/05/01\",\"1\",\"60\",\"\",\"\"\r\n\"Record number\"\r\n";
}

void TstCsvImport::fileErrorBeforeRows() {
  QFETCH(QByteArray, file);
  DataSets ds;
  holdEarlierFile(ds);
  const Read r = readBytes(ds, file);
  QCOMPARE(r.result, CsvOpenResult::FileError);
  QCOMPARE(r.messages, QStringList{QStringLiteral("File error")});
  checkEarlierFileKept(ds);
}

void TstCsvImport::fileErrorKeepsRowsRead() {
  const QByteArray head = kShortTitles + "\"N\",\"2010/05/01\",\" 3\",\" 60\",\"\",\"\"\r\n" +
                          kRowTitles +
                          "1,\"2010/05/01 00:01:00\",\"20\",\"40\",\"\"\r\n"
                          "2,\"2010/05/01 00:02:00\",\"21\",\"41\",\"\"\r\n";
  const QByteArray tails[] = {
      "3,\"2010/05/01 25:00:00\",\"22\",\"42\",\"\"\r\n",    // a date that does not convert
      "3,\"2010/05/01 00:03:00\",\"1e39\",\"42\",\"\"\r\n",  // beyond a 32-bit float
      "3,\"2010/05/01 00:03:00\",\"22\"\r\n",                // items missing at the end
  };
  for (const QByteArray& tail : tails) {
    DataSets ds;
    holdEarlierFile(ds);
    const Read r = readBytes(ds, head + tail);
    QCOMPARE(r.result, CsvOpenResult::FileError);
    QCOMPARE(r.messages, QStringList{QStringLiteral("File error")});
    // The two rows read stay; Points counts the row being read.
    QCOMPARE(ds.info(FileData).Points, qint16(3));
    QVERIFY(ds.Get(FileData, 2));
    QCOMPARE(ds.Rec.Temperature, 21.0f);
    QCOMPARE(ds.info(FileData).Stats.e[0].RecordNo, qint16(2));
    QCOMPARE(ds.DataSetIndex, quint8(LogData));
  }
  // A file that cannot be opened at all.
  DataSets ds;
  ScriptedPrompt prompt;
  QCOMPARE(Csv_Read(ds, QStringLiteral("/nonexistent/file.csv"), prompt, QStringLiteral("M")),
           CsvOpenResult::FileError);
  QCOMPARE(prompt.messages(), QStringList{QStringLiteral("File error")});
  QCOMPARE(prompt.calls.first().title, QStringLiteral("M"));
}

void TstCsvImport::tooManyRows() {
  QByteArray file =
      kShortTitles + "\"N\",\"2010/05/01\",\"32768\",\"1\",\"\",\"\"\r\n" + kRowTitles;
  const QByteArray row = ",\"2010/05/01 00:00:00\",\"1\",\"2\",\"\"\r\n";
  file.reserve(file.size() + 32768 * (row.size() + 6));
  for (int n = 1; n <= 32768; ++n) file += QByteArray::number(n) + row;
  DataSets ds;
  const Read r = readBytes(ds, file);
  QCOMPARE(r.result, CsvOpenResult::FileError);
  QCOMPARE(ds.info(FileData).Points, qint16(32767));
  QVERIFY(ds.Get(FileData, 32767));
  QCOMPARE(ds.Rec.Humidity, 2.0f);

  // Exactly 32767 rows is fine.
  file.chop(QByteArray::number(32768).size() + row.size());
  QCOMPARE(readBytes(ds, file).result, CsvOpenResult::Opened);
  QCOMPARE(ds.info(FileData).Points, qint16(32767));
}

void TstCsvImport::hostileInput() {
  // Nothing here may crash or hang; each ends in one of the two messages.
  QList<QByteArray> inputs;
  QRandomGenerator rng(20100501);
  for (int k = 0; k < 20; ++k) {
    QByteArray junk(int(rng.bounded(4000)), '\0');
    for (char& c : junk) c = char(rng.bounded(256));
    inputs << junk;
  }
  const QByteArray good = test::readFile(test::csvFixture(QStringLiteral("qm720xc.csv")));
  for (int cut = 0; cut < good.size(); cut += 7) inputs << good.left(cut);
  inputs << kShortTitles + "\"" + QByteArray(8 << 20, 'x');  // never-closed quote
  inputs << kShortTitles + QByteArray(4 << 20, ',');         // items without end
  inputs << kShortTitles + "\"N\",\"2010/05/01\",\"1\",\"1\",\"\",\"\"" + QByteArray(1000, '\0');
  for (const QByteArray& in : inputs) {
    DataSets ds;
    const Read r = readBytes(ds, in);
    QCOMPARE(r.messages.size(), r.result == CsvOpenResult::Opened ? 0 : 1);
  }
}

void TstCsvImport::openDialog() {
  DataSets ds;
  ScriptedPrompt prompt;
  QCOMPARE(Csv_Open(ds, prompt, QStringLiteral("QM720-XC")), CsvOpenResult::Cancelled);
  QCOMPARE(prompt.calls.size(), 1);
  QCOMPARE(prompt.calls[0].kind, QStringLiteral("open"));
  QCOMPARE(prompt.calls[0].text, QStringLiteral(u"csv\uFF8C\uFF67\uFF72\uFF99(*.csv)|*.csv"));
  QCOMPARE(ds.DataSetIndex, quint8(LogData));

  prompt.openAnswers.enqueue(test::csvFixture(QStringLiteral("qm720xcb.csv")));
  QCOMPARE(Csv_Open(ds, prompt, QStringLiteral("QM720-XC")), CsvOpenResult::Opened);
  QCOMPARE(ds.info(FileData).Model, QStringLiteral("QM510-XC"));
  QCOMPARE(ds.info(FileData).Points, qint16(4));
  QCOMPARE(prompt.messages(), QStringList());
}

QTEST_APPLESS_MAIN(TstCsvImport)
#include "tst_csv_import.moc"
