// The summary pages that may follow a printed report: the evidence figures
// of the printed records, their excursions, the company and a line to sign,
// each page numbered within the whole document.
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QImage>
#include <QPaintDevice>
#include <QPainter>
#include <cmath>

#include "analysis/analysis.h"
#include "data/formats.h"
#include "print/render_print.h"

namespace hygro {

namespace {

// Lays a document out without drawing it: every page is the same pixel of
// an image of the target's resolution, so fonts measure as on the target.
class CountingOutput : public PageOutput {
 public:
  CountingOutput(QRect page, int dpiX, int dpiY) : page_(page), image_(1, 1, QImage::Format_RGB32) {
    image_.setDotsPerMeterX(static_cast<int>(std::lround(dpiX / 0.0254)));
    image_.setDotsPerMeterY(static_cast<int>(std::lround(dpiY / 0.0254)));
    painter_.begin(&image_);
  }
  ~CountingOutput() override { painter_.end(); }
  QPainter& painter() override { return painter_; }
  QRect pageRect() const override { return page_; }
  bool newPage() override {
    ++pages_;
    return true;
  }
  int pages() const { return pages_; }

 private:
  QRect page_;
  QImage image_;
  QPainter painter_;
  int pages_ = 1;
};

// The report's font and line pitch on the device painted.
struct Lines {
  QFont font;
  QFont bold;
  QFontMetricsF metrics;
  double ascent, pitch, charWidth;
  explicit Lines(QPainter& p) : font(reportFont()), bold(boldFont()), metrics(font, p.device()) {
    ascent = metrics.ascent();
    // A little closer than the report's lines, so the figures, a short
    // excursion table and the lines to sign share one page.
    pitch = 1.3 * metrics.height();
    charWidth = metrics.horizontalAdvance(QLatin1Char('A'));
  }
  static QFont reportFont() {
    QFont f = QGuiApplication::font();
    f.setPointSizeF(10.5);
    return f;
  }
  static QFont boldFont() {
    QFont f = reportFont();
    f.setBold(true);
    return f;
  }
  double width(const QString& s) const { return metrics.horizontalAdvance(s); }
  void prepare(QPainter& p) const {
    p.setFont(font);
    p.setPen(QPen(Qt::black, std::max(1.0, std::round(p.device()->logicalDpiY() / 100.0))));
    p.setBrush(Qt::NoBrush);
  }
  void text(QPainter& p, double x, double y, const QString& s, bool strong = false) const {
    if (strong) p.setFont(bold);
    p.drawText(QPointF(x, y + ascent), s);
    if (strong) p.setFont(font);
  }
};

}  // namespace

int CountPages(PageOutput& out, const std::function<bool(PageOutput&)>& draw) {
  const QPaintDevice* device = out.painter().device();
  CountingOutput counter(out.pageRect(), device->logicalDpiX(), device->logicalDpiY());
  return draw(counter) ? counter.pages() : 0;
}

bool PrintSummary(PageOutput& out, const DataSets& sets, const PrintJob& job,
                  const SummaryOptions& summary, int firstPage, int totalPages) {
  using namespace analysis;
  const DataSetInfo& info = sets.info(job.set);
  if (info.Points <= 0) return false;
  const int first = std::max(1, job.first);
  const int last = job.last <= 0 ? info.Points : std::min<int>(job.last, info.Points);
  Options options;
  options.limits = SetLimits(info);
  options.dhR = summary.dhR;
  const Statistics st = Analyse(sets, job.set, first, last, options);

  const QRect page = out.pageRect();
  const Lines t(out.painter());
  t.prepare(out.painter());
  // The page number has the last line of each page to itself.
  const double bottom = page.top() + page.height() - 2 * t.pitch;
  double y = page.top();
  int pageNo = firstPage;
  const auto footer = [&] {
    if (totalPages <= 0) return;
    const QString s = QStringLiteral("Page %1 of %2").arg(pageNo).arg(totalPages);
    t.text(out.painter(), page.left() + (page.width() - t.width(s)) / 2,
           page.top() + page.height() - t.pitch, s);
  };
  const auto newPage = [&] {
    footer();
    if (!out.newPage()) return false;
    ++pageNo;
    t.prepare(out.painter());
    y = page.top();
    return true;
  };
  const auto line = [&](const QString& s, bool strong = false) {
    t.text(out.painter(), page.left(), y, s, strong);
    y += t.pitch;
  };

  line(QStringLiteral("Summary"), true);
  if (!summary.company.trimmed().isEmpty()) line(summary.company.trimmed());
  line(QStringLiteral("Recognition name ") + job.recognitionName);
  line(QStringLiteral("%1 data, records %2 to %3").arg(DataSetName(job.set)).arg(first).arg(last));
  y += t.pitch;

  const std::vector<Figure> figures = Figures(st, summary.unit);
  double captionWidth = 0;
  for (const Figure& f : figures) captionWidth = std::max(captionWidth, t.width(f.caption));
  for (const Figure& f : figures) {
    if (y + t.pitch > bottom && !newPage()) return false;
    t.text(out.painter(), page.left(), y, f.caption);
    t.text(out.painter(), page.left() + captionWidth + 2 * t.charWidth, y, FigureText(f));
    y += t.pitch;
  }
  y += t.pitch;

  // The excursion table; its heads again on every page it runs onto.
  if (y + 3 * t.pitch > bottom && !newPage()) return false;
  line(QStringLiteral("Excursions"), true);
  if (st.excursions.empty()) {
    line(QStringLiteral("None"));
  } else {
    const QStringList heads = {QStringLiteral("No"),       QStringLiteral("Side"),
                               QStringLiteral("Start"),    QStringLiteral("End"),
                               QStringLiteral("Duration"), QStringLiteral("Records"),
                               QStringLiteral("Peak")};
    const QString widest[] = {QString::number(st.excursions.size()),
                              QStringLiteral("above"),
                              QStringLiteral("0000/00/00 00:00:00"),
                              QStringLiteral("0000/00/00 00:00:00"),
                              DurationText(st.excursions.front().durationS * 10),
                              QStringLiteral("00000"),
                              QStringLiteral("-000.000 C")};
    std::vector<double> x;
    double at = page.left();
    for (int c = 0; c < heads.size(); ++c) {
      x.push_back(at);
      at += std::max(t.width(heads[c]), t.width(widest[c])) + 2 * t.charWidth;
    }
    const auto row = [&](const QStringList& cells) {
      for (int c = 0; c < cells.size(); ++c) t.text(out.painter(), x[size_t(c)], y, cells[c]);
      y += t.pitch;
    };
    row(heads);
    int k = 0;
    for (const Excursion& e : st.excursions) {
      if (y + t.pitch > bottom) {
        if (!newPage()) return false;
        row(heads);
      }
      row({QString::number(++k), SideText(e.side), fmt::formatDateTime(e.start),
           fmt::formatDateTime(e.end), DurationText(e.durationS), QString::number(e.records),
           QString::number(ToUnit(e.peak, summary.unit), 'f', 3) + u' ' +
               UnitSymbol(summary.unit)});
    }
  }

  // The lines to sign, kept together.
  if (y + 4 * t.pitch > bottom && !newPage()) return false;
  y += t.pitch;
  line(QStringLiteral("Name: ______________________________   Date: ____________________"));
  y += t.pitch;
  line(QStringLiteral("Signature: ______________________________"));
  footer();
  return true;
}

}  // namespace hygro
