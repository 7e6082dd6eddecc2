// The program's number and date formats, on the examples the file forms and
// the dump list depend on. The everyday cases are pinned where they are used:
// ##.00 and the general date by the reference CSV files (tst_csv_export), the
// file stamp by its save proposals, the fixed form by the dump list, and the
// real-time and status captions by tst_logger_ops.
#include <QtTest>
#include <cmath>

#include "data/formats.h"
#include "support/data_table.h"

using namespace hygro;

class TstDataFormats : public QObject {
  Q_OBJECT

 private slots:
  void formats_data();
  void formats();
  void serials();
  void bounds();
};

void TstDataFormats::formats_data() {
  test::addDataRows(QStringLiteral("formats/formats.tsv"), {"kind", "input", "expected"});
}

void TstDataFormats::formats() {
  QFETCH(QString, kind);
  QFETCH(QString, input);
  QFETCH(QString, expected);
  QString got;
  double serial = -99;
  if (kind == QStringLiteral("##.00")) {
    got = fmt::formatHashDot00(input.toDouble());
  } else if (kind == QStringLiteral("interval")) {
    got = fmt::intervalText(input.toInt());
  } else if (kind == QStringLiteral("time")) {
    QVERIFY(fmt::parseGeneralDate(input.section(u'|', 0, 0), &serial));
    got = fmt::formatDateTime(serial + input.section(u'|', 1).toDouble() / 86400);
  } else if (kind.startsWith(QStringLiteral("date"))) {
    const bool parsed = fmt::parseGeneralDate(input, &serial,
                                              kind.endsWith(QStringLiteral("day first"))
                                                  ? fmt::DayMonthOrder::DayFirst
                                                  : fmt::DayMonthOrder::MonthFirst);
    // A date that does not parse leaves the number where it was.
    got = parsed ? fmt::formatDateTime(serial) + QStringLiteral(" = ") +
                       QString::number(serial, 'g', 12)
                 : QStringLiteral("none");
    QVERIFY(parsed || serial == -99);
  } else {
    got = QString::number(fmt::val(input), 'g', 12);
  }
  QCOMPARE(got, expected);
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
