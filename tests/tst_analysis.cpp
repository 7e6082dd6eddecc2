// The evidence figures: published vectors of MKT, dew point and absolute
// humidity, and a hand-checked set of excursions across a gap between runs.
#include <QtTest>
#include <cmath>

#include "analysis/analysis.h"
#include "data/csv.h"
#include "data/formats.h"
#include "support/data_fixtures.h"

using namespace hygro;
using namespace hygro::analysis;
using hygro::test::makeRecord;

namespace {

double at(int h, int mi) { return fmt::dateSerial(2024, 7, 1, h, mi, 0); }

// tests/data/analysis/excursions.csv: 11 records every 600 s, bounds 30 and 5
// on, a gap between records 6 and 7 that starts run 2.
void loadExcursions(DataSets& sets) {
  CsvImport file;
  QString why;
  QCOMPARE(Csv_Parse(QStringLiteral(HYGROTAB_TEST_DATA "/analysis/excursions.csv"), &file, &why),
           CsvOpenResult::Opened);
  Csv_Commit(sets, file);
}

}  // namespace

class TstAnalysis : public QObject {
  Q_OBJECT
 private slots:
  void publishedVectors_data();
  void publishedVectors();
  void mktKeepsItsValueWhereTheSumUnderflows();
  void excursionsAcrossAGap();
  void selectionAndIncompleteRecords();
};

void TstAnalysis::publishedVectors_data() {
  QTest::addColumn<double>("got");
  QTest::addColumn<double>("expected");
  const double twenty = 20, thirty = 30;
  const double pair[] = {twenty, thirty};
  // exp(+(ΔH/R)/T), the mirrored formula, gives 23.58 here.
  QTest::newRow("MKT 20 and 30 C") << MeanKineticTemperature(pair) << 26.26;
  QTest::newRow("MKT 20 and 30 C, dH/R 20000") << MeanKineticTemperature(pair, 20000) << 27.30;
  const double steady[] = {25, 25, 25};
  QTest::newRow("MKT of a steady 25 C") << MeanKineticTemperature(steady, 7000) << 25.0;
  QTest::newRow("dew point 20 C 50 %RH") << DewPoint(20, 50).value_or(NAN) << 9.26;
  QTest::newRow("dew point -10 C 80 %RH") << DewPoint(-10, 80).value_or(NAN) << -12.80;
  QTest::newRow("absolute humidity 20 C 50 %RH") << AbsoluteHumidity(20, 50).value_or(NAN) << 8.62;
  QTest::newRow("37 C in F") << ToFahrenheit(37) << 98.60;
  QTest::newRow("-40 F in C") << FromFahrenheit(-40) << -40.0;
}

void TstAnalysis::publishedVectors() {
  QFETCH(double, got);
  QFETCH(double, expected);
  QVERIFY2(std::fabs(got - expected) < 0.005, qPrintable(QString::number(got, 'f', 6)));
}

void TstAnalysis::mktKeepsItsValueWhereTheSumUnderflows() {
  // exp(-1e6 / 233 K) is zero in a double: a plain sum gives -273.15 C.
  const double cold[] = {-40, -30};
  const double mkt = MeanKineticTemperature(cold, 1e6);
  QVERIFY2(mkt > -30.1 && mkt < -30, qPrintable(QString::number(mkt)));
  // Below absolute zero there is no MKT, and no humidity means no dew point.
  const double impossible[] = {20, -300};
  QVERIFY(std::isnan(MeanKineticTemperature(impossible)));
  QVERIFY(!DewPoint(20, 0) && !AbsoluteHumidity(20, -1));
}

// The figures of this set as the tool writes them, each excursion's times,
// length and peak among them: tst_cli_analysis (excursions.json). Here, what
// that file does not say.
void TstAnalysis::excursionsAcrossAGap() {
  DataSets sets;
  loadExcursions(sets);
  DataSetInfo info = sets.info(FileData);
  const Limits limits = SetLimits(info);
  QCOMPARE(limits.upper, std::optional<double>(30));
  QCOMPARE(limits.lower, std::optional<double>(5));
  // A bound turned off is no limit; a model that keeps no bounds has none,
  // whatever its header holds.
  info.LowerOn = false;
  QVERIFY(SetLimits(info).upper && !SetLimits(info).lower);
  info.Model = QStringLiteral("QM510-XC");
  QVERIFY(!SetLimits(info).upper && !SetLimits(info).lower);
  Options options;
  options.limits = limits;
  const Statistics st = Analyse(sets, FileData, 1, 11, options);
  QCOMPARE(st.temperature.minRecord, 11);
  // Record 10 has 0 %RH: no dew point.
  QCOMPARE(st.dewPoint.count, qint64(10));
  QCOMPARE(st.humidity.count, qint64(11));
  // Records 6 and 7 are both below, but a gap lies between them.
  QList<int> firsts;
  for (const Excursion& e : st.excursions) firsts << e.firstRecord;
  QCOMPARE(firsts, QList<int>({2, 5, 7, 8, 11}));
}

void TstAnalysis::selectionAndIncompleteRecords() {
  DataSets sets;
  loadExcursions(sets);
  Options options;
  options.limits.lower = 5;
  // Records 5 to 7 (chosen by time: tst_cli_analysis, stats_options.tsv):
  // the gap still splits them.
  Statistics st = Analyse(sets, FileData, 5, 7, options);
  QCOMPARE(st.records, 3);
  QCOMPARE(st.firstRecord, 5);
  QCOMPARE(st.excursions.size(), size_t(2));
  QCOMPARE(st.timeBelowS, qint64(3 * 600));

  // A sample still waiting for its values (no run number) is not counted and
  // ends the excursion it interrupts; equal extremes keep the first record.
  const MeasurementRecord recs[] = {makeRecord(1, 50, at(9, 0)), makeRecord(-100, 0, at(9, 1), 0),
                                    makeRecord(1, 50, at(9, 2))};
  st = Analyse(recs, 1, 60, options);
  QCOMPARE(st.records, 2);
  QCOMPARE(st.temperature.min, 1.0);
  QCOMPARE(st.temperature.minRecord, 1);
  QCOMPARE(st.excursions.size(), size_t(2));

  // Nothing selected: no values at all.
  options.from = at(23, 0);
  st = Analyse(sets, FileData, 1, 11, options);
  QCOMPARE(st.records, 0);
  QVERIFY(!st.temperature.hasValue() && std::isnan(st.mkt) && st.excursions.empty());
}

QTEST_GUILESS_MAIN(TstAnalysis)
#include "tst_analysis.moc"
