#include "print/render_print.h"

#include <QFontMetricsF>
#include <QGuiApplication>
#include <QImage>
#include <QPageLayout>
#include <QPageSize>
#include <QPagedPaintDevice>
#include <QPdfWriter>
#include <algorithm>
#include <cmath>

#include "data/dataview.h"
#include "data/dump.h"
#include "data/filekind.h"
#include "data/formats.h"

namespace hygro {

namespace {

const QString kIdeographicSpace = QStringLiteral(u"\u3000");
const QString kFileError = QStringLiteral("File error");
constexpr double kFontPoints = 10.5;
constexpr double kMarginMm = 15.0;
constexpr int kPdfDpi = 300;
constexpr quint32 kPaper = 0xFFFFFF;

QString boundLine(const QString& caption, qint32 raw, bool on) {
  return caption + (on ? QStringLiteral("ON\u3000") + QString::number(fmt::boundDegrees(raw)) +
                             QStringLiteral(" C")
                       : QStringLiteral("OFF"));
}

// The report's font and the line geometry that follows from it on the device
// being painted.
struct TextLayout {
  QFont font;
  double height = 0;  // the text height of "A"
  double ascent = 0;
  double pitch = 0;
  double charWidth = 0;
  QFontMetricsF metrics;

  explicit TextLayout(QPainter& p) : font(reportFont()), metrics(font, p.device()) {
    height = metrics.height();
    ascent = metrics.ascent();
    pitch = 1.5 * height;
    charWidth = metrics.horizontalAdvance(QLatin1Char('A'));
  }
  static QFont reportFont() {
    QFont f = QGuiApplication::font();
    f.setPointSizeF(kFontPoints);
    return f;
  }
  double width(const QString& text) const { return metrics.horizontalAdvance(text); }
  // The pen for text and rules; a new page may come with a new painter.
  void prepare(QPainter& p) const {
    p.setFont(font);
    p.setPen(QPen(Qt::black, std::max(1.0, std::round(p.device()->logicalDpiY() / 100.0))));
    p.setBrush(Qt::NoBrush);
  }
  // Text with its top at y.
  void text(QPainter& p, double x, double y, const QString& s) const {
    p.drawText(QPointF(x, y + ascent), s);
  }
};

// The header from the top of the page, a blank line before each statistics
// block; returns where the next line goes.
double drawHeader(QPainter& p, const QRect& page, const TextLayout& t, const DataSets& sets,
                  const PrintJob& job) {
  double y = page.top();
  bool first = true;
  for (const QStringList& lines : ReportBlocks(sets, job)) {
    if (!first) y += t.pitch;
    first = false;
    for (const QString& line : lines) {
      t.text(p, page.left(), y, line);
      y += t.pitch;
    }
  }
  return y;
}

}  // namespace

// ------------------------------------------------------------------ texts

QString IntervalText(qint32 seconds) { return fmt::intervalText(seconds); }

QStringList ReportHeaderLines(const DataSets& sets, const PrintJob& job) {
  const DataSetInfo& info = sets.info(job.set);
  QStringList lines;
  lines << QStringLiteral("Recognition name ") + job.recognitionName
        << QStringLiteral("Start time ") + fmt::formatDateTime(sets.Get(job.set, 1).Time)
        << QStringLiteral("Recording points\u3000") + QString::number(info.Points) +
               QStringLiteral(" Point")
        << QStringLiteral("Record interval ") + IntervalText(info.Interval);
  if (HasAlarmBounds(info.Model)) {
    lines << boundLine(QStringLiteral("Upper bound temperature setting "), info.UpperRaw,
                       info.UpperOn)
          << boundLine(QStringLiteral("Lower bound temperature setting\u3000"), info.LowerRaw,
                       info.LowerOn);
  }
  return lines;
}

DataSetStats RangeStats(const DataSets& sets, int set, int first, int last) {
  DataSetStats stats;
  Stats_Clear(stats);
  const int points = sets.info(set).Points;
  first = std::max(first, 1);
  last = std::min(last, points);
  for (int n = first; n <= last; ++n) Stats_Add(sets.Get(set, n), static_cast<qint16>(n), stats);
  return stats;
}

QStringList StatsBlockLines(const DataSets& sets, int set, const DataSetStats& stats,
                            const QString& heading) {
  QStringList lines{heading};
  for (int i = 0; i < 4; ++i) {
    const DataSetStats::Extreme& e = stats.e[static_cast<size_t>(i)];
    const double time = e.RecordNo > 0 ? sets.Get(set, e.RecordNo).Time : 0;
    lines << ExtremeText(i) + kIdeographicSpace + QLatin1Char(' ') + fmt::format00000(e.RecordNo) +
                 kIdeographicSpace + fmt::formatDateTime(time) + kIdeographicSpace +
                 fmt::format0_00(e.Value) + (i < 2 ? QStringLiteral(" C") : QStringLiteral(" %RH"));
  }
  return lines;
}

std::array<QStringList, 3> ReportBlocks(const DataSets& sets, const PrintJob& job) {
  const DataSetInfo& info = sets.info(job.set);
  const int last = job.last > 0 ? job.last : info.Points;
  return {ReportHeaderLines(sets, job),
          StatsBlockLines(sets, job.set, info.Stats, QStringLiteral("In all records")),
          StatsBlockLines(sets, job.set, RangeStats(sets, job.set, job.first, last),
                          QStringLiteral("Range of selection"))};
}

QStringList ReportLines(const DataSets& sets, const PrintJob& job) {
  QStringList lines;
  for (const QStringList& block : ReportBlocks(sets, job)) lines += block;
  return lines;
}

// ------------------------------------------------------------------ outputs

PagedOutput::PagedOutput(QPagedPaintDevice& device) : device_(device) { painter_.begin(&device); }

PagedOutput::~PagedOutput() {
  if (painter_.isActive()) painter_.end();
}

bool PagedOutput::active() const { return painter_.isActive(); }

QPainter& PagedOutput::painter() { return painter_; }

QRect PagedOutput::pageRect() const {
  // The painter's origin is the corner of the printable area.
  return QRect(QPoint(0, 0), device_.pageLayout().paintRectPixels(device_.logicalDpiX()).size());
}

bool PagedOutput::newPage() { return painter_.isActive() && device_.newPage(); }

bool PagedOutput::finish() { return painter_.isActive() && painter_.end(); }

ImageOutput::ImageOutput(QSize size, int dpi) : size_(size), dpi_(dpi) { start(); }

ImageOutput::~ImageOutput() {
  if (painter_) painter_->end();
}

void ImageOutput::start() {
  QImage page(size_, QImage::Format_RGB32);
  const int perMetre = static_cast<int>(std::lround(dpi_ / 0.0254));
  page.setDotsPerMeterX(perMetre);
  page.setDotsPerMeterY(perMetre);
  page.fill(Qt::white);
  pages_.push_back(std::move(page));
  painter_ = std::make_unique<QPainter>(&pages_.back());
  open_ = true;
}

QPainter& ImageOutput::painter() {
  if (!open_) {
    // Painting again after pages(): carry on on the last page.
    painter_ = std::make_unique<QPainter>(&pages_.back());
    open_ = true;
  }
  return *painter_;
}

QRect ImageOutput::pageRect() const {
  const int margin = static_cast<int>(std::lround(kMarginMm / 25.4 * dpi_));
  return QRect(QPoint(0, 0), size_).adjusted(margin, margin, -margin, -margin);
}

bool ImageOutput::newPage() {
  // The painter must let go of its page before the list may move it.
  if (painter_) painter_->end();
  painter_.reset();
  open_ = false;
  if (kept_ > 0) {
    const int drop = static_cast<int>(pages_.size()) - (kept_ - 1);
    if (drop > 0) {
      pages_.erase(pages_.begin(), pages_.begin() + drop);
      dropped_ += drop;
    }
  }
  start();
  return true;
}

const std::vector<QImage>& ImageOutput::pages() {
  if (painter_) painter_->end();
  painter_.reset();
  open_ = false;
  return pages_;
}

// ------------------------------------------------------------------ pages

bool PrintGraphs(PageOutput& out, const DataSets& sets, const PrintJob& job,
                 const ScrollState& view) {
  if (sets.info(job.set).Points <= 0 || Graph_Busy()) return false;
  QPainter& p = out.painter();
  const QRect page = out.pageRect();
  const TextLayout t(p);
  t.prepare(p);
  const double below = drawHeader(p, page, t, sets, job) + t.pitch / 2;

  // Two boxes of equal height share what the header leaves, a line apart.
  const int top = static_cast<int>(std::ceil(below));
  const int gap = static_cast<int>(std::lround(t.pitch));
  const int height = (page.bottom() + 1 - top - gap) / 2;
  if (height < 4 * t.pitch) return false;
  const QRect boxes[] = {QRect(page.left(), top, page.width(), height),
                         QRect(page.left(), top + height + gap, page.width(), height)};
  const GraphColorTable colors = Gray_Color_Set();
  for (int i = 0; i < 2; ++i) {
    p.save();
    bool drawn = false;
    {
      // The value labels of the right margin ("100％") and the date under
      // the right edge reach a little beyond the graph's own area.
      Surface surface(p, boxes[i].adjusted(0, 0, -static_cast<int>(std::ceil(3 * t.charWidth)), 0));
      surface.BackColor = kPaper;
      drawn = i == 0 ? Temp_Graph(surface, sets, job.set, view, colors)
                     : Humi_Graph(surface, sets, job.set, view, colors);
    }
    p.restore();
    if (!drawn) return false;
    // The light scheme frames the plot in white: the box shows where each
    // graph ends on the paper.
    t.prepare(p);
    p.drawRect(boxes[i]);
  }
  return true;
}

bool PrintDump(PageOutput& out, const DataSets& sets, const PrintJob& job, const DumpModel& rows) {
  if (sets.info(job.set).Points <= 0) return false;
  const QRect page = out.pageRect();
  const TextLayout t(out.painter());
  t.prepare(out.painter());
  double y = drawHeader(out.painter(), page, t, sets, job) + t.pitch;

  // Columns as wide as their head or their widest cell; numbers to the right
  // of their column, the remarks take what is left of the line.
  struct Col {
    double x, width;
    bool right;
  };
  const QString widest[] = {QStringLiteral("00000"), QStringLiteral("0000/00/00 00:00:00"),
                            QStringLiteral("-00.00"), QStringLiteral("100.00")};
  Col cols[DumpModel::ColumnCount];
  double x = page.left();
  for (int c = 0; c < DumpModel::RemarksColumn; ++c) {
    const double w = std::max(t.width(DumpModel::heading(c)), t.width(widest[c]));
    cols[c] = {x, w, c == DumpModel::TempColumn || c == DumpModel::HumiColumn};
    x += w + 2 * t.charWidth;
  }
  cols[DumpModel::RemarksColumn] = {x, std::max(0.0, page.right() - x), false};

  auto cell = [&](int c, const QString& text) {
    const Col& col = cols[c];
    QString s = text;
    if (c == DumpModel::RemarksColumn) {
      while (s.endsWith(QLatin1Char(' '))) s.chop(1);
      s = t.metrics.elidedText(s, Qt::ElideRight, col.width);
    }
    t.text(out.painter(), col.right ? col.x + col.width - t.width(s) : col.x, y, s);
  };
  // The rule half-way between a line's text and the next line.
  auto rule = [&] {
    const double at = y - t.pitch + t.height + (t.pitch - t.height) / 2;
    out.painter().drawLine(QPointF(page.left(), at), QPointF(page.right(), at));
  };
  auto heads = [&] {
    for (int c = 0; c < DumpModel::ColumnCount; ++c) cell(c, DumpModel::heading(c));
    y += t.pitch;
    rule();
  };
  const double bottom = page.top() + page.height();
  auto newPage = [&] {
    if (!out.newPage()) return false;
    t.prepare(out.painter());
    y = page.top();
    return true;
  };

  // The heads never stand alone at the foot of a page.
  if (y + 2 * t.pitch > bottom && !newPage()) return false;
  heads();
  const int count = rows.rowCount();
  for (int r = 0; r < count; ++r) {
    if (y + t.pitch > bottom) {
      if (!newPage()) return false;
      heads();
    }
    for (int c = 0; c < DumpModel::ColumnCount; ++c) cell(c, rows.cellText(r, c));
    y += t.pitch;
  }
  rule();
  return true;
}

namespace {
bool printReportPages(PageOutput& out, const DataSets& sets, const DataView& view,
                      const PrintJob& job);
}  // namespace

bool PrintReport(PageOutput& out, const DataSets& sets, const DataView& view, const PrintJob& job,
                 const SummaryOptions& summaryOptions) {
  if (!summaryOptions.on) return printReportPages(out, sets, view, job);
  if (sets.info(job.set).Points <= 0) return false;
  // The summary's numbers count every page of the document, so the report and the summary
  // are laid out once before anything is drawn.
  const int report =
      CountPages(out, [&](PageOutput& o) { return printReportPages(o, sets, view, job); });
  const int summary = CountPages(
      out, [&](PageOutput& o) { return PrintSummary(o, sets, job, summaryOptions, 0, 0); });
  if (report == 0 || summary == 0) return false;
  return printReportPages(out, sets, view, job) && out.newPage() &&
         PrintSummary(out, sets, job, summaryOptions, report + 1, report + summary);
}

namespace {
bool printReportPages(PageOutput& out, const DataSets& sets, const DataView& view,
                      const PrintJob& job) {
  if (sets.info(job.set).Points <= 0) return false;
  const bool shown = view.DataSetIndex() == job.set && view.DumpView() == job.dump;
  if (!job.dump) {
    const ScrollState& bars = shown ? view.scrollState() : InitialScrollState();
    return PrintGraphs(out, sets, job, Scroll_Set(sets, job.set, bars, false));
  }
  // A list of the print's own, ordered and labelled as the one on display.
  DataView list;
  if (shown) list.setDumpSort(view.dumpSort());
  DumpModel rows(sets, list);
  rows.Dump_Fill(job.set);
  if (shown) list.setDumpLabels(view.dumpLabels());
  return PrintDump(out, sets, job, rows);
}
}  // namespace

QString PrintProcedure(const PrintJob& job) {
  static const char* const sets[kDataSetCount] = {"Log", "Real", "File"};
  return QLatin1String(sets[job.set >= 0 && job.set < kDataSetCount ? job.set : LogData]) +
         (job.dump ? QStringLiteral("_D_Print") : QStringLiteral("_G_Print"));
}

// ------------------------------------------------------------------ PDF

namespace {
// The pages into `device`; *declined when `draw` itself gave up.
bool writePdfPages(QIODevice& device, const std::function<bool(PageOutput&)>& draw,
                   bool* declined) {
  bool opened = false;
  bool drawn = false;
  bool finished = false;
  {
    QPdfWriter writer(&device);
    writer.setResolution(kPdfDpi);
    writer.setCreator(QStringLiteral("Hygrotab Logger"));
    writer.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Portrait,
                                     QMarginsF(kMarginMm, kMarginMm, kMarginMm, kMarginMm),
                                     QPageLayout::Millimeter));
    PagedOutput out(writer);
    opened = out.active();
    if (opened) {
      drawn = draw(out);
      finished = out.finish();
    }
  }
  const auto* file = qobject_cast<const QFileDevice*>(&device);
  *declined = opened && !drawn && (!file || file->error() == QFileDevice::NoError);
  return drawn && finished;
}
}  // namespace

bool WritePdf(const QString& path, const std::function<bool(PageOutput&)>& draw, QString* error) {
  auto fail = [&](const QString& message) {
    if (error) *error = message;
    return false;
  };
  // A device or a pipe is written in place, never replaced by a file.
  WholeFileWriter file(path);
  if (!file.open(QIODevice::WriteOnly)) return fail(kFileError);
  // The file is kept only when every page went out and reached the disk. A
  // drawing that declined on its own (nothing to print) has said why.
  bool declined = false;
  if (!writePdfPages(file.device(), draw, &declined) || !file.commit()) {
    file.cancel();
    return fail(declined ? QString() : kFileError);
  }
  if (error) error->clear();
  return true;
}

bool WritePdf(QIODevice& device, const std::function<bool(PageOutput&)>& draw, QString* error) {
  bool declined = false;
  const bool ok = writePdfPages(device, draw, &declined);
  if (error) *error = ok || declined ? QString() : kFileError;
  return ok;
}

}  // namespace hygro
