// The graphs: tick arithmetic without drawing, the scroll bar limits, and
// drawings on a QImage checked by the colours where things must (not) be.
#include <QImage>
#include <QtTest>
#include <random>

#include "data/datasets.h"
#include "data/formats.h"
#include "graph/render_graph.h"
#include "graph/render_ticks.h"
#include "support/data_table.h"

using namespace hygro;
namespace tk = hygro::ticks;

namespace {

constexpr double kSec = 1.0 / 86400.0;
const double kEnd = fmt::dateSerial(2023, 6, 1, 12, 0, 0);

struct Sample {
  qint64 age;  // seconds before kEnd
  float temperature;
  float humidity;
  int block = 1;
};

void fill(DataSets& sets, const std::vector<Sample>& samples, const QString& model = "QM720-XC") {
  sets.Empty(FileData);
  int n = 0;
  for (const Sample& s : samples) {
    MeasurementRecord r;
    r.Time = kEnd - s.age * kSec;
    r.Temperature = s.temperature;
    r.Humidity = s.humidity;
    r.Block = float(s.block);
    sets.Put(FileData, ++n, r);
  }
  sets.info(FileData).Points = qint16(n);
  sets.info(FileData).Model = model;
}

// Bars that show `span` seconds ending `position` seconds before the newest
// record, 0..40 C and 0..100 %.
ScrollState view(const DataSets& sets, int span, int position) {
  ScrollState s = Scroll_Set(sets, FileData, InitialScrollState(), false);
  s.HScroll1.value = s.HScroll3.value = span;
  s.HScroll2.value = s.HScroll4.value = position;
  s.VScroll1.value = s.VScroll2.value = 200;
  s.VScroll3.value = s.VScroll4.value = 500;
  return s;
}

QColor color(quint32 bgr) { return ColorFromNumber(bgr); }

// Draws one graph on a fresh 1280x400 image; `points` are the pixels of the
// wanted user coordinates while the surface is scaled to the graph.
struct Drawing {
  QImage image{1280, 400, QImage::Format_RGB32};
  bool drawn = false;
  std::vector<QPoint> points;

  QColor pixel(int i) const { return image.pixelColor(points[size_t(i)]); }
};

Drawing draw(const DataSets& sets, const ScrollState& bars, bool humidity,
             const std::vector<std::pair<double, double>>& wanted) {
  Drawing d;
  d.image.fill(Qt::black);
  Surface surface(d.image);
  const GraphColorTable colors = Graph_Color_Set();
  d.drawn = humidity ? Humi_Graph(surface, sets, FileData, bars, colors)
                     : Temp_Graph(surface, sets, FileData, bars, colors);
  for (const auto& [x, y] : wanted) d.points.emplace_back(surface.pixelX(x), surface.pixelY(y));
  return d;
}

int countColor(const QImage& img, QRect r, QColor c) {
  int n = 0;
  for (int y = r.top(); y <= r.bottom(); ++y)
    for (int x = r.left(); x <= r.right(); ++x)
      if (img.pixelColor(x, y) == c) ++n;
  return n;
}

// The rows of a table under tests/data as one QStringList column, "row",
// without the name; the columns are named in the table's head.
void addRows(const QString& table) {
  QTest::addColumn<QStringList>("row");
  for (const QStringList& row : test::dataRows(table))
    QTest::newRow(qPrintable(row[0])) << row.mid(1);
}

}  // namespace

class TstRenderGraph : public QObject {
  Q_OBJECT

 private slots:
  void ticksFollowTheSpan_data();
  void ticksFollowTheSpan();
  void scrollLimitsFollowTheDataSet();
  void boundLinesOnlyForTemperatureOfTheBoundModel();
  void noSegmentAcrossARunGap();
  void gridNewestDotEndMarkerAndEmptySet();
  void labelsStayReadable();
  void columnEnvelopeLightsTheSamePixelsAsOneLinePerRecord();
  void cursorReadOut_data();
  void cursorReadOut();
  void windowRecords_data();
  void windowRecords();
};

void TstRenderGraph::ticksFollowTheSpan_data() {
  QTest::addColumn<QStringList>("row");
  int n = 0;
  for (const QStringList& row : test::dataRows(QStringLiteral("graph/ticks.tsv")))
    QTest::addRow("%d %s", ++n, qPrintable(row.join(u' '))) << row;
}

void TstRenderGraph::ticksFollowTheSpan() {
  QFETCH(QStringList, row);
  static const QStringList colours{"MonthStart", "Midnight",    "Noon",     "Hour", "HalfHour",
                                   "Minute",     "EverySecond", "ZeroLine", "Tens", "Fives",
                                   "Ones",       "Halves",      "Tenths"};
  const auto colour = [](int c) { return c == tk::kNoLine ? QStringLiteral("none") : colours[c]; };
  double t = 0;
  if (row[0] == QLatin1String("label") || row[0] == QLatin1String("line"))
    QVERIFY(fmt::parseGeneralDate(row[1], &t));
  const QString& kind = row[0];
  QString got;
  if (kind == QLatin1String("step"))
    got = QString::number(tk::TimeGridVisit(row[1].toDouble(), 0, kEnd).step);
  else if (kind == QLatin1String("label"))
    got = tk::TimeLabel(t, row[2].toDouble());
  else if (kind == QLatin1String("line"))
    got = colour(tk::TimeGridColor(t, row[2].toDouble()));
  else if (kind == QLatin1String("vline"))
    got = colour(tk::ValueGridColor(row[1].toInt(), row[2].toInt()));
  else if (kind == QLatin1String("vlabel"))
    got = tk::ValueLabel(row[1].toInt(), row[2].toInt(), row[3]);
  else if (kind == QLatin1String("visit")) {
    const tk::TimeVisit v = tk::TimeGridVisit(row[1].toDouble(), row[2].toLongLong(), kEnd);
    // Only as many of start, step and end as the row gives.
    got = QStringList{QString::number(v.start), QString::number(v.step), QString::number(v.end)}
              .mid(0, row.last().count(u' ') + 1)
              .join(u' ');
  } else {
    const tk::ValueVisit v = tk::ValueGridVisit(row[1].toDouble(), row[2].toDouble());
    got = QStringLiteral("%1 %2").arg(v.firstK).arg(v.lastK);
  }
  QCOMPARE(got, row.last());
}

void TstRenderGraph::scrollLimitsFollowTheDataSet() {
  DataSets sets;
  const ScrollState initial = InitialScrollState();
  // No records: nothing changes.
  ScrollState s = Scroll_Set(sets, FileData, initial, false);
  QCOMPARE(s.HScroll1.min, initial.HScroll1.min);
  QCOMPARE(s.GraphEndTime, 0.0);

  fill(sets, {{32767, 20, 50}, {0, 21, 51}});
  s = Scroll_Set(sets, FileData, initial, false);
  QCOMPARE(s.ScrollUnit, 1.0);
  QCOMPARE(s.HScroll1.min, 32768);
  QCOMPARE(s.HScroll1.value, 32767);  // the widest span takes in the whole set
  QCOMPARE(s.HScroll2.min, 0);        // wider than the data: no scrolling
  QCOMPARE(s.GraphEndTime, kEnd);
  QCOMPARE(s.GraphStartTime, kEnd - 32767 * kSec);

  fill(sets, {{32768, 20, 50}, {0, 21, 51}});
  s = Scroll_Set(sets, FileData, initial, false);
  QCOMPARE(s.ScrollUnit, 32768.0 / 32767.0);
  QCOMPARE(s.HScroll1.min, 32767);
  QCOMPARE(s.HScroll3.min, 32767);

  // (Below 50 s the span stays 50: tst_ui_graphs scrollLimitsFollowTheData.)
  // A narrow span over a long set lets the position bar reach back.
  fill(sets, {{10000, 20, 50}, {0, 21, 51}});
  ScrollState narrow = initial;
  narrow.HScroll1.value = 1000;
  narrow.HScroll3.value = 20000;
  narrow.HScroll2.value = 30000;  // beyond the new limit: brought back
  s = Scroll_Set(sets, FileData, narrow, false);
  QCOMPARE(s.HScroll2.min, 9000);
  QCOMPARE(s.HScroll2.value, 9000);
  QCOMPARE(s.HScroll4.min, 0);
  // A continuous run widens the span to the whole set.
  s = Scroll_Set(sets, FileData, narrow, true);
  QCOMPARE(s.HScroll1.value, 10001);
  QCOMPARE(s.HScroll2.min, 0);
  QCOMPARE(s.HScroll2.value, 0);
}

void TstRenderGraph::boundLinesOnlyForTemperatureOfTheBoundModel() {
  DataSets sets;
  const QColor upper = color(Graph_Color_Set()[tk::kUpperBound]);
  const QColor lower = color(Graph_Color_Set()[tk::kLowerBound]);
  auto withBounds = [&](const QString& model) {
    fill(sets, {{3600, 10, 10}, {1, 10, 10}}, model);
    DataSetInfo& info = sets.info(FileData);
    info.UpperRaw = 6960;  // 30 C
    info.UpperOn = true;
    info.LowerRaw = 4460;  // 5 C
    info.LowerOn = true;
  };
  // The row at 30 (units) from the left edge to the right edge.
  auto rowCount = [&](bool humidity, double y, QColor c) {
    Drawing d = draw(sets, view(sets, 3600, 0), humidity, {{3600, y}, {0, y}});
    const QRect row(QPoint(d.points[0].x(), d.points[0].y()),
                    QPoint(d.points[1].x(), d.points[0].y()));
    return countColor(d.image, row, c);
  };
  withBounds(QStringLiteral("QM720-XC"));
  const int dotted = rowCount(false, 30, upper);
  QVERIFY2(dotted > 100 && dotted < 1100, qPrintable(QString::number(dotted)));  // dots, not solid
  QVERIFY(rowCount(false, 44.6 - 39.6, lower) > 100);
  QCOMPARE(rowCount(true, 30, upper), 0);
  QCOMPARE(rowCount(true, 5, lower), 0);
  withBounds(QStringLiteral("QM720-XCB"));
  QCOMPARE(rowCount(false, 30, upper), 0);
  QCOMPARE(rowCount(false, 5, lower), 0);
  withBounds(QStringLiteral("QM720-XC"));
  sets.info(FileData).UpperOn = false;
  QCOMPARE(rowCount(false, 30, upper), 0);
}

void TstRenderGraph::noSegmentAcrossARunGap() {
  DataSets sets;
  const QColor white = color(Graph_Color_Set()[tk::kCurve]);
  auto whiteInGap = [&](int secondBlock) {
    std::vector<Sample> s;
    for (int a = 3000; a >= 2000; a -= 10) s.push_back({a, 10, 10, 1});
    for (int a = 1000; a >= 0; a -= 10) s.push_back({a, 30, 30, secondBlock});
    fill(sets, s);
    Drawing d = draw(sets, view(sets, 3600, 0), false, {{1900, 38}, {1100, 2}});
    return countColor(d.image, QRect(d.points[0], d.points[1]), white);
  };
  QCOMPARE(whiteInGap(2), 0);
  QVERIFY(whiteInGap(1) > 0);  // same run: the samples are joined
}

void TstRenderGraph::gridNewestDotEndMarkerAndEmptySet() {
  DataSets sets;
  std::vector<Sample> s;
  for (int a = 7200; a >= 0; a -= 60) s.push_back({a, a == 0 ? 20.0f : 10.0f, 50});
  fill(sets, s);
  const GraphColorTable c = Graph_Color_Set();
  // At the newest data: the red dot on the newest value, no end line. Ages
  // 1800 (11:30), 420 (11:53) and 0 (12:00) have their grid lines; y = 17.3
  // lies between value lines.
  Drawing d = draw(sets, view(sets, 3600, 0), false,
                   {{0, 20}, {0, 35}, {1800, 17.3}, {420, 17.3}, {3030, 25}, {3030, 25.1}});
  QVERIFY(d.drawn);
  QCOMPARE(d.pixel(0), color(c[tk::kNewestDot]));
  QVERIFY(d.pixel(1) != color(c[tk::kCurve]));
  QCOMPARE(d.pixel(2), color(c[tk::kHalfHour]));
  QCOMPARE(d.pixel(3), color(c[tk::kMinute]));
  QCOMPARE(d.pixel(4), color(c[tk::kFives]));
  QCOMPARE(d.pixel(5), QColor(Qt::black));  // no tenths at this zoom
  // Scrolled back: the end line in the curve colour, and no dot.
  d = draw(sets, view(sets, 3600, 600), false, {{0, 20}, {0, 35}});
  QCOMPARE(d.pixel(1), color(c[tk::kCurve]));
  QCOMPARE(countColor(d.image, d.image.rect(), color(c[tk::kNewestDot])), 0);
  // An empty set draws nothing, on either graph.
  const DataSets none;
  for (const bool humidity : {false, true}) {
    d = draw(none, InitialScrollState(), humidity, {});
    QVERIFY(!d.drawn && countColor(d.image, d.image.rect(), Qt::black) == 1280 * 400);
  }
  QCOMPARE(ColorFromNumber(0x00FFFF), QColor(255, 255, 0));  // 0x00BBGGRR
}

void TstRenderGraph::labelsStayReadable() {
  DataSets sets;
  std::vector<Sample> s;
  for (int a = 28800; a >= 0; a -= 600) s.push_back({a, 20, 50});
  fill(sets, s);
  const GraphColorTable c = Graph_Color_Set();
  // Eight hours ending at noon: hour labels fall on both edges of the plot,
  // under the date at the right and under the title at the left.
  Drawing d = draw(sets, view(sets, 28800, 0), false, {{0, 0}, {28800, 40}});
  const QPoint edge = d.points[0], topLeft = d.points[1];

  // The label row right of the plot holds the date alone, pixel for pixel.
  QImage alone(d.image.size(), d.image.format());
  alone.fill(Qt::black);
  int dateLeft = 0;
  {
    Surface ref(alone);
    ref.Scale(28800, 40, -28800.0 / 20, -4);
    ref.setFontSize(9);
    ref.ForeColor = c[tk::kText];
    const QString date = fmt::formatDateTime(kEnd);
    ref.CurrentX = -0.75 * ref.TextWidth(date);
    dateLeft = ref.pixelX(ref.CurrentX);
    ref.CurrentY = 0;
    ref.Print(date);
  }
  const QRect dateRow(QPoint(dateLeft - 4, edge.y() + 1),
                      QPoint(d.image.width() - 1, d.image.height() - 1));
  QCOMPARE(d.image.copy(dateRow), alone.copy(dateRow));

  // No label text where the title is.
  const QRect titleRow(QPoint(0, edge.y() + 1), QPoint(topLeft.x() + 60, d.image.height() - 1));
  QCOMPARE(countColor(d.image, titleRow, color(c[tk::kText])), 0);
  QVERIFY(countColor(d.image, titleRow, color(c[tk::kTitle])) > 0);

  // The top value label ("40C") sits wholly inside the picture.
  const QRect margin(QPoint(edge.x() + 2, 0), QPoint(d.image.width() - 1, 0));
  QCOMPARE(countColor(d.image, margin, color(c[tk::kText])), 0);
  QVERIFY(countColor(d.image, margin.adjusted(0, 0, 0, 12), color(c[tk::kText])) > 0);
}

void TstRenderGraph::columnEnvelopeLightsTheSamePixelsAsOneLinePerRecord() {
  DataSets sets;
  std::mt19937 rng(7);
  std::normal_distribution<float> noise(0, 0.4f);
  std::vector<Sample> s;
  int block = 1;
  // Dense at first, sparse later, with run breaks and a lone sample.
  qint64 age = 200000;
  for (int n = 0; n < 32767; ++n) {
    if (n % 5000 == 4999) ++block;
    if (n == 20000 || n == 20001) ++block;
    s.push_back({age, 20 + 15 * std::sin(n / 300.0f) + noise(rng), 50 + noise(rng), block});
    age -= n < 30000 ? 5 : 47;
  }
  fill(sets, s);
  for (const auto& [span, pos] : {std::pair{32767, 0}, std::pair{3000, 2000}, std::pair{40, 0}}) {
    ScrollState bars = view(sets, span, pos);
    const double S = std::llround(span * bars.ScrollUnit);
    const qint64 P = std::llround(pos * bars.ScrollUnit);
    QImage a(1280, 400, QImage::Format_RGB32), b(1280, 400, QImage::Format_RGB32);
    for (auto [img, perRecord] : {std::pair{&a, false}, std::pair{&b, true}}) {
      img->fill(Qt::black);
      Surface surface(*img);
      surface.Scale(S, 40, -S / 20, -4);
      surface.ClipTo(S, 40, 0, 0);
      Graph_Data_Draw(surface, S, P, 0, 40, QStringLiteral("C"), sets, FileData, bars.GraphEndTime,
                      Graph_Color_Set(), perRecord);
    }
    QVERIFY(countColor(b, b.rect(), Qt::white) > 100);
    QVERIFY2(a == b, qPrintable(QStringLiteral("span %1 position %2").arg(span).arg(pos)));
  }
}

void TstRenderGraph::cursorReadOut_data() { addRows(QStringLiteral("graph/cursor.tsv")); }

void TstRenderGraph::cursorReadOut() {
  QFETCH(QStringList, row);  // x, graph, back, set, run, expected
  DataSets sets, empty;
  fill(sets, {{1000, 12.345f, 40.5f}, {500, 20, 50}, {0, -3.5f, 60}});
  ScrollState bars = view(sets, 1050, 0);
  if (row[2] == QLatin1String("yes")) bars.HScroll4.value = 500;
  QCOMPARE(Graph_Cursor_Disp(row[0].toInt(), 1050, row[3] == QLatin1String("full") ? sets : empty,
                             FileData, bars, row[1] == QLatin1String("humidity"),
                             row[4] == QLatin1String("yes")),
           row[5]);
}

void TstRenderGraph::windowRecords_data() { addRows(QStringLiteral("graph/window_records.tsv")); }

void TstRenderGraph::windowRecords() {
  QFETCH(QStringList, row);  // span, position, humidity position, graph, records
  // Record n is (11 - n) * 10 seconds old: record 11 is the newest.
  DataSets sets;
  std::vector<Sample> samples;
  for (int age = 100; age >= 0; age -= 10) samples.push_back({age, 20, 50});
  fill(sets, samples);
  ScrollState bars = view(sets, row[0].toInt(), row[1].toInt());
  bars.HScroll4.value = row[2].toInt();
  const auto [first, last] =
      tk::WindowRecords(sets, FileData, bars,
                        row[3] == QLatin1String("humidity") ? Graph::Humidity : Graph::Temperature);
  QCOMPARE(QStringLiteral("%1 %2").arg(first).arg(last), row[4]);
}

QTEST_MAIN(TstRenderGraph)
#include "tst_render_graph.moc"
