// The program's number and date formats, on the examples the file forms and
// the dump list depend on.
#include <QtTest>
#include <cmath>

#include "data/formats.h"

using namespace hygro;

class TstDataFormats : public QObject {
  Q_OBJECT

 private slots:
  void serialArithmetic();
  void serialTexts();
  void invalidSerials();
  void wallClockNeverShifts();
  void parseGeneralDate_data();
  void parseGeneralDate();
  void fixedFormats_data();
  void fixedFormats();
  void val_data();
  void val();
  void smallTexts();
  void bounds();
};

void TstDataFormats::serialArithmetic() {
  // 2010-05-01 is day 40299 of the 1899-12-30 epoch.
  QCOMPARE(fmt::dateSerial(2010, 5, 1, 0, 0, 0), 40299.0);
  // Before the epoch the fraction still counts forward from midnight.
  QCOMPARE(fmt::dateSerial(1899, 12, 29, 6, 0, 0), -1.25);
  const auto p = fmt::dateParts(-1.25);
  QCOMPARE(p.day, 29);
  QCOMPARE(p.hour, 6);

  double s = 0;
  QVERIFY(fmt::makeDateSerial(2012, 2, 29, 23, 59, 59, &s));
  QCOMPARE(fmt::formatDateTime(s), QStringLiteral("2012/02/29 23:59:59"));
  s = -7;
  QVERIFY(!fmt::makeDateSerial(2010, 2, 29, 0, 0, 0, &s));
  QVERIFY(!fmt::makeDateSerial(2010, 5, 1, 24, 0, 0, &s));
  QCOMPARE(s, -7.0);

  // Every second of a day survives the trip through the serial.
  for (int sec = 0; sec < 86400; sec += 7) {
    const double v = fmt::dateSerial(2030, 12, 31, sec / 3600, sec / 60 % 60, sec % 60);
    const auto t = fmt::dateParts(v);
    QCOMPARE(t.hour * 3600 + t.minute * 60 + t.second, sec);
    QCOMPARE(t.day, 31);
  }
}

void TstDataFormats::serialTexts() {
  const double t = fmt::dateSerial(2010, 5, 1, 13, 4, 5);
  QCOMPARE(fmt::formatDateTime(t), QStringLiteral("2010/05/01 13:04:05"));
  QCOMPARE(fmt::formatFileStamp(t), QStringLiteral("100501_130405"));
  QCOMPARE(fmt::formatGeneralDate(t), QStringLiteral("2010/05/01 13:04:05"));
  QCOMPARE(fmt::formatMonthDay(t), QStringLiteral("5/1"));
  // "c" leaves the time out at exactly midnight, the fixed form never does.
  QCOMPARE(fmt::formatGeneralDate(40299.0), QStringLiteral("2010/05/01"));
  QCOMPARE(fmt::formatDateTime(40299.0), QStringLiteral("2010/05/01 00:00:00"));
  // Rounded to the nearest second, also across midnight.
  QCOMPARE(fmt::formatDateTime(t + 0.6 / 86400), QStringLiteral("2010/05/01 13:04:06"));
  QCOMPARE(fmt::formatGeneralDate(40299.0 - 0.3 / 86400), QStringLiteral("2010/05/01"));
  QCOMPARE(fmt::formatDateTime(40299.0 - 0.6 / 86400), QStringLiteral("2010/04/30 23:59:59"));
}

void TstDataFormats::invalidSerials() {
  for (double bad : {std::nan(""), HUGE_VAL, -HUGE_VAL, 1e12, -1e12, 2958466.0}) {
    QVERIFY(!fmt::isValidSerial(bad));
    QCOMPARE(fmt::formatDateTime(bad), QString());
    QVERIFY(!fmt::toDateTime(bad).isValid());
  }
  QCOMPARE(fmt::formatDateTime(fmt::dateSerial(9999, 12, 31, 23, 59, 59)),
           QStringLiteral("9999/12/31 23:59:59"));
}

void TstDataFormats::wallClockNeverShifts() {
  // 02:30 on a spring-forward night does not exist in many zones; the serial
  // keeps it as written both ways.
  qputenv("TZ", "Europe/Berlin");
  const double gap = fmt::dateSerial(2021, 3, 28, 2, 30, 0);
  const QDateTime dt = fmt::toDateTime(gap);
  QCOMPARE(dt.date(), QDate(2021, 3, 28));
  QCOMPARE(dt.time(), QTime(2, 30));
  QCOMPARE(fmt::fromDateTime(QDateTime(QDate(2021, 3, 28), QTime(2, 30), Qt::UTC)), gap);
  qunsetenv("TZ");
}

void TstDataFormats::parseGeneralDate_data() {
  QTest::addColumn<QString>("text");
  QTest::addColumn<bool>("ok");
  QTest::addColumn<double>("serial");
  const double t = fmt::dateSerial(2010, 5, 1, 13, 4, 5);
  QTest::newRow("written form") << "2010/05/01 13:04:05" << true << t;
  QTest::newRow("date alone") << "2010/05/01" << true << 40299.0;
  QTest::newRow("dashes, short fields") << "2010-5-1 13:4:5" << true << t;
  QTest::newRow("no seconds, PM") << "2010/05/01 1:04 PM" << true
                                  << fmt::dateSerial(2010, 5, 1, 13, 4, 0);
  QTest::newRow("two-digit year") << "10/05/01" << true << 40299.0;
  QTest::newRow("time alone") << "12:00:00" << true << 0.5;
  QTest::newRow("before epoch") << "1899/12/29 06:00:00" << true << -1.25;
  QTest::newRow("no such day") << "2010/02/30" << false << 0.0;
  QTest::newRow("hour 25") << "2010/05/01 25:00:00" << false << 0.0;
  QTest::newRow("trailing junk") << "2010/05/01 13:04:05 x" << false << 0.0;
  QTest::newRow("text") << "Start time" << false << 0.0;
  QTest::newRow("13 PM") << "2010/05/01 13:00 PM" << false << 0.0;
}

void TstDataFormats::parseGeneralDate() {
  QFETCH(QString, text);
  QFETCH(bool, ok);
  QFETCH(double, serial);
  double out = -99;
  QCOMPARE(fmt::parseGeneralDate(text, &out), ok);
  if (ok)
    QVERIFY2(std::fabs(out - serial) < 1e-9, qPrintable(QString::number(out, 'f', 10)));
  else
    QCOMPARE(out, -99.0);
}

void TstDataFormats::fixedFormats_data() {
  QTest::addColumn<double>("v");
  QTest::addColumn<QString>("hashDot00");
  QTest::addColumn<QString>("zeroDot00");
  QTest::newRow("23.456") << 23.456 << "23.46"
                          << "23.46";
  QTest::newRow("0.5") << 0.5 << ".50"
                       << "0.50";
  QTest::newRow("-0.25") << -0.25 << "-.25"
                         << "-0.25";
  QTest::newRow("100") << 100.0 << "100.00"
                       << "100.00";
  QTest::newRow("0.04f") << double(0.04f) << ".04"
                         << "0.04";
  QTest::newRow("tiny negative") << -0.001 << ".00"
                                 << "0.00";
  // Half away from zero on the decimal digits, although the binary value of
  // 23.455 lies just below the half.
  QTest::newRow("23.455") << 23.455 << "23.46"
                          << "23.46";
  QTest::newRow("carry") << 9.995 << "10.00"
                         << "10.00";
  QTest::newRow("0.005") << 0.005 << ".01"
                         << "0.01";
}

void TstDataFormats::fixedFormats() {
  QFETCH(double, v);
  QFETCH(QString, hashDot00);
  QFETCH(QString, zeroDot00);
  QCOMPARE(fmt::formatHashDot00(v), hashDot00);
  QCOMPARE(fmt::format0_00(v), zeroDot00);
}

void TstDataFormats::val_data() {
  QTest::addColumn<QString>("text");
  QTest::addColumn<double>("value");
  QTest::newRow("leading blank") << " 100" << 100.0;
  QTest::newRow("text") << "abc" << 0.0;
  QTest::newRow("exponent") << "1.5e2" << 150.0;
  QTest::newRow("number then text") << "12abc" << 12.0;
  QTest::newRow("blanks inside") << "1 2 3" << 123.0;
  QTest::newRow("negative fraction") << "-.25" << -0.25;
  QTest::newRow("dangling exponent") << "1e" << 1.0;
  QTest::newRow("hex") << "&H10" << 16.0;
  QTest::newRow("hex 16-bit") << "&HFFFF" << -1.0;
  QTest::newRow("underflow") << "1e-999" << 0.0;
  QTest::newRow("degree sign") << "25\u00B0C" << 25.0;
}

void TstDataFormats::val() {
  QFETCH(QString, text);
  QFETCH(double, value);
  QCOMPARE(fmt::val(text), value);
}

void TstDataFormats::smallTexts() {
  QVERIFY(std::isinf(fmt::val(QStringLiteral("1e999"))));
  QVERIFY(std::isinf(fmt::val(QStringLiteral("1") + QString(400, u'0'))));
  QCOMPARE(fmt::val(QStringLiteral("-1e999")), -HUGE_VAL);

  QCOMPARE(fmt::singleToString(24.4f), QStringLiteral("24.4"));
  QCOMPARE(fmt::singleToString(-39.6f), QStringLiteral("-39.6"));
  QCOMPARE(fmt::singleToString(50.0f), QStringLiteral("50"));
  QCOMPARE(fmt::singleToString(12345678.0f), QStringLiteral("1.234568E+07"));

  QCOMPARE(fmt::strWithBlank(100), QStringLiteral(" 100"));
  QCOMPARE(fmt::strWithBlank(-5), QStringLiteral("-5"));

  QCOMPARE(fmt::intervalText(90), QStringLiteral("1 Min30 Sec"));
  QCOMPARE(fmt::intervalText(60), QStringLiteral("1 Min"));
  QCOMPARE(fmt::intervalText(59), QStringLiteral("59 Sec"));
  QCOMPARE(fmt::intervalText(3600), QStringLiteral("60 Min"));
  QCOMPARE(fmt::intervalText(0), QString());
}

void TstDataFormats::bounds() {
  QCOMPARE(fmt::boundDegrees(6960), 30);
  QCOMPARE(fmt::boundDegrees(3460), -5);
  // Int rounds toward minus infinity: -4.6 is -5, not -4.
  QCOMPARE(fmt::boundDegrees(3450), -5);
  QCOMPARE(fmt::boundText(6960, true), QStringLiteral("30"));
  QCOMPARE(fmt::boundText(6960, false), QStringLiteral("OFF"));

  QCOMPARE(fmt::degreesToRaw(25), 6460);
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
