// The program's number and date formats, on the examples the file forms and
// the dump list depend on. The everyday cases are pinned where they are used:
// ##.00 and the general date by the reference CSV files (tst_csv_export), the
// file stamp by its save proposals, the fixed form by the dump list, and the
// real-time and status captions by tst_logger_ops.
#include <QtTest>
#include <cmath>

#include "data/formats.h"

using namespace hygro;

class TstDataFormats : public QObject {
  Q_OBJECT

 private slots:
  void texts_data();
  void texts();
  void numbers_data();
  void numbers();
  void serials();
  void bounds();
};

void TstDataFormats::texts_data() {
  // Each row: the text a format gives, and the text it must give.
  QTest::addColumn<QString>("got");
  QTest::addColumn<QString>("expected");
  const double t = fmt::dateSerial(2010, 5, 1, 13, 4, 5);
  QTest::newRow("##.00 no minus zero") << fmt::formatHashDot00(-0.001) << ".00";
  // Half away from zero on the decimal digits, although the binary value of
  // 23.455 lies just below the half.
  QTest::newRow("##.00 half up") << fmt::formatHashDot00(23.455) << "23.46";
  QTest::newRow("##.00 carry") << fmt::formatHashDot00(9.995) << "10.00";
  QTest::newRow("interval 90") << fmt::intervalText(90) << "1 Min30 Sec";
  QTest::newRow("interval -90") << fmt::intervalText(-90) << "";
  // Rounded to the nearest second, also across midnight.
  QTest::newRow("rounds up") << fmt::formatDateTime(t + 0.6 / 86400) << "2010/05/01 13:04:06";
  QTest::newRow("rounds down across midnight")
      << fmt::formatDateTime(40299.0 - 0.6 / 86400) << "2010/04/30 23:59:59";
  QTest::newRow("past year 9999") << fmt::formatDateTime(2958466.0) << "";
}

void TstDataFormats::texts() {
  QFETCH(QString, got);
  QFETCH(QString, expected);
  QCOMPARE(got, expected);
}

void TstDataFormats::numbers_data() {
  // Each row: a number read from a text, and the number it must be. A date
  // that does not parse leaves -99 where it was.
  QTest::addColumn<double>("got");
  QTest::addColumn<double>("expected");
  const auto date = [](const char* text,
                       fmt::DayMonthOrder order = fmt::DayMonthOrder::MonthFirst) {
    double out = -99;
    fmt::parseGeneralDate(QString::fromLatin1(text), &out, order);
    return out;
  };
  QTest::newRow("date alone") << date("2010/05/01") << 40299.0;
  QTest::newRow("no seconds, PM") << date("2010/5/1 1:04 PM")
                                  << fmt::dateSerial(2010, 5, 1, 13, 4, 0);
  QTest::newRow("before epoch") << date("1899/12/29 06:00:00") << -1.25;
  QTest::newRow("no such day") << date("2010/02/30") << -99.0;
  // The year last, day and month in the order of the system's dates.
  QTest::newRow("year last, month first")
      << date("05/01/2010 13:04:05") << fmt::dateSerial(2010, 5, 1, 13, 4, 5);
  QTest::newRow("year last, day first")
      << date("05/01/2010", fmt::DayMonthOrder::DayFirst) << fmt::dateSerial(2010, 1, 5, 0, 0, 0);
  QTest::newRow("year last, no 13th month") << date("13/01/2010") << -99.0;
  QTest::newRow("13 PM") << date("2010/05/01 13:00 PM") << -99.0;
  QTest::newRow("val leading blank") << fmt::val(QStringLiteral(" 100")) << 100.0;
  QTest::newRow("val number then text") << fmt::val(QStringLiteral("12abc")) << 12.0;
  QTest::newRow("val blanks inside") << fmt::val(QStringLiteral("1 2 3")) << 123.0;
  QTest::newRow("val -.25") << fmt::val(QStringLiteral("-.25")) << -0.25;
  QTest::newRow("val hex 16-bit") << fmt::val(QStringLiteral("&HFFFF")) << -1.0;
  QTest::newRow("val overflow") << fmt::val(QStringLiteral("-1e999")) << -HUGE_VAL;
}

void TstDataFormats::numbers() {
  QFETCH(double, got);
  QFETCH(double, expected);
  QVERIFY2(got == expected || std::fabs(got - expected) < 1e-9,
           qPrintable(QString::number(got, 'f', 10)));
}

void TstDataFormats::serials() {
  double s = -7;
  QVERIFY(!fmt::makeDateSerial(2010, 2, 29, 0, 0, 0, &s));
  QVERIFY(!fmt::makeDateSerial(2010, 5, 1, 24, 0, 0, &s));
  QCOMPARE(s, -7.0);
  // Every second of a day survives the trip through the serial.
  for (int sec = 0; sec < 86400; sec += 7) {
    const auto p =
        fmt::dateParts(fmt::dateSerial(2030, 12, 31, sec / 3600, sec / 60 % 60, sec % 60));
    QCOMPARE(p.day * 86400 + p.hour * 3600 + p.minute * 60 + p.second, 31 * 86400 + sec);
  }
  // 02:30 on a spring-forward night does not exist in many zones; the serial
  // keeps it as written both ways.
  qputenv("TZ", "Europe/Berlin");
  const double gap = fmt::dateSerial(2021, 3, 28, 2, 30, 0);
  QCOMPARE(fmt::toDateTime(gap).time(), QTime(2, 30));
  QCOMPARE(fmt::fromDateTime(QDateTime(QDate(2021, 3, 28), QTime(2, 30), Qt::UTC)), gap);
  qunsetenv("TZ");
}

void TstDataFormats::bounds() {
  // Int rounds toward minus infinity: -4.6 is -5, not -4.
  QCOMPARE(fmt::boundDegrees(3450), -5);
  // Halves go to the even neighbour: 6460.5 -> 6460, 3961.5 -> 3962.
  QCOMPARE(fmt::degreesToRaw(25.005), 6460);
  QCOMPARE(fmt::degreesToRaw(0.015), 3962);
  for (int deg = -40; deg <= 125; ++deg) QCOMPARE(fmt::boundDegrees(fmt::degreesToRaw(deg)), deg);
  qint32 raw = 7;
  QVERIFY(!fmt::degreesToRawChecked(3e7, &raw));
  QVERIFY(!fmt::degreesToRawChecked(std::nan(""), &raw));
  QCOMPARE(raw, 7);
  QCOMPARE(fmt::degreesToRaw(1e300), std::numeric_limits<qint32>::max());
}

QTEST_APPLESS_MAIN(TstDataFormats)
#include "tst_data_formats.moc"
