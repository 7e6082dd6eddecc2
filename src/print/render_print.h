#pragma once
// Printed reports: the report header with its statistics blocks, the graph
// page and the dump pages. Everything draws through a PageOutput, so the same
// code fills a printer, a PDF or a row of pictures; PrintReport prints a set
// as the data view shows it, for the window's print dialogs and the
// command-line tool alike.
#include <QIODevice>
#include <QPainter>
#include <QRectF>
#include <QString>
#include <QStringList>
#include <array>
#include <functional>
#include <memory>
#include <vector>

#include "data/datasets.h"
#include "graph/render_graph.h"

class QIODevice;
class QPagedPaintDevice;

namespace hygro {

class DataView;
class DumpModel;

// What one print covers.
struct PrintJob {
  int set = LogData;        // LogData, RealTimeData or FileData
  QString recognitionName;  // the identification name in the header
  // The records (1-based, inclusive) of the "Range of selection" block;
  // last = 0 stands for the last record of the set.
  int first = 1;
  int last = 0;
  bool dump = false;  // the list instead of the graphs
};

// The summary that may follow a report: the evidence figures of the job's
// records first..last, their excursions, the company and lines to sign, with
// "Page k of n" under each of its pages. Off, the report is exactly what it
// always was.
struct SummaryOptions {
  bool on = false;
  QString company;
  analysis::Unit unit = analysis::Unit::Celsius;
  double dhR = analysis::kDefaultDhR;
};

// The print procedure a job stands for, one for each set and kind:
// "Log_G_Print", "Real_G_Print", "File_G_Print", "Log_D_Print"...
QString PrintProcedure(const PrintJob& job);

// ---- report texts

// "1 Min30 Sec", "10 Min", "5 Sec": whole minutes, then the seconds left,
// with nothing between the two parts.
QString IntervalText(qint32 seconds);

// The header lines of the set, top-down: name, start time (record 1),
// points, interval, and the two bound lines for the model that keeps bounds.
QStringList ReportHeaderLines(const DataSets& sets, const PrintJob& job);

// The statistics over records first..last of the set (clamped to the set),
// as the maximum/minimum tracking of the data sets computes them.
DataSetStats RangeStats(const DataSets& sets, int set, int first, int last);

// `heading` ("In all records" or "Range of selection") followed by the four
// lines "Maximum temperature　 00042　yyyy/mm/dd hh:nn:ss　23.50 C" and so on.
QStringList StatsBlockLines(const DataSets& sets, int set, const DataSetStats& stats,
                            const QString& heading);

// The whole header in its three blocks, printed a blank line apart:
// ReportHeaderLines, the "In all records" block over the set's own statistics
// and the "Range of selection" block over the job's records.
std::array<QStringList, 3> ReportBlocks(const DataSets& sets, const PrintJob& job);
// The three blocks as one list of lines.
QStringList ReportLines(const DataSets& sets, const PrintJob& job);

// ---- pages

// Where pages go. The painter is active on the current page; newPage()
// finishes it and starts the next (false when the device refuses).
class PageOutput {
 public:
  virtual ~PageOutput() = default;
  virtual QPainter& painter() = 0;
  // The printable area of a page, in the painter's device pixels.
  virtual QRect pageRect() const = 0;
  virtual bool newPage() = 0;
};

// A printer or a PDF writer (both QPagedPaintDevice). The painter begins on
// construction; active() is false when the device could not be opened.
class PagedOutput : public PageOutput {
 public:
  explicit PagedOutput(QPagedPaintDevice& device);
  ~PagedOutput() override;
  bool active() const;
  QPainter& painter() override;
  QRect pageRect() const override;
  bool newPage() override;
  // Ends the job; false when the device reports an error.
  bool finish();

 private:
  QPagedPaintDevice& device_;
  QPainter painter_;
};

// Pages as pictures, for tests and previews: each page is a white QImage of
// `size` pixels at `dpi`.
class ImageOutput : public PageOutput {
 public:
  explicit ImageOutput(QSize size = {1240, 1754}, int dpi = 150);
  ~ImageOutput() override;
  QPainter& painter() override;
  QRect pageRect() const override;
  bool newPage() override;
  // The pages so far; the last one is finished by pages() itself.
  const std::vector<QImage>& pages();
  // Keeps only the newest `n` pages in memory (0: all), for long prints
  // that are counted rather than looked at; pageCount() still counts all.
  void setKeptPages(int n) { kept_ = n; }
  int pageCount() const { return dropped_ + static_cast<int>(pages_.size()); }

 private:
  void start();
  QSize size_;
  int dpi_;
  int kept_ = 0;
  int dropped_ = 0;
  std::vector<QImage> pages_;
  std::unique_ptr<QPainter> painter_;
  bool open_ = false;
};

// The graph print: the header, then the temperature graph over the humidity
// graph in the light colour scheme, drawn by Graph_Grid_Draw with the time
// window and value bands of `view` (the window's bars, or
// Scroll_Set(sets, set, InitialScrollState(), false) for the whole set).
// False when the set has no records or a page could not be started.
bool PrintGraphs(PageOutput& out, const DataSets& sets, const PrintJob& job,
                 const ScrollState& view);

// The dump print: the header, then one line per row of `rows` (in the list's
// order), each cell in its column, under the column heads; rules between
// heads and rows; the heads again at the top of every new page.
bool PrintDump(PageOutput& out, const DataSets& sets, const PrintJob& job, const DumpModel& rows);

// The report of `job`: the set as `view` shows it when it is the set on
// display in that kind (the graphs in the view's time window and value
// bands, the list in its order with the extremes' texts it shows), otherwise
// the whole set (in record order). False when the set has no records or a
// page could not be started.
// With `summary` on, its pages follow the report's.
bool PrintReport(PageOutput& out, const DataSets& sets, const DataView& view, const PrintJob& job,
                 const SummaryOptions& summary = {});

// The summary pages of `job` (see SummaryOptions), starting on the
// current page, numbered from `firstPage` on in a document of `totalPages`
// (0: no numbers, when only counting). False when a page could not be
// started.
bool PrintSummary(PageOutput& out, const DataSets& sets, const PrintJob& job,
                  const SummaryOptions& summary, int firstPage, int totalPages);
// The pages `draw` would make on `out`, counted without drawing on it: the
// same page size and resolution, so the same layout. 0 when `draw` fails.
int CountPages(PageOutput& out, const std::function<bool(PageOutput&)>& draw);

// ---- PDF files

// Writes the pages `draw` produces into a PDF at `path` (A4, 300 dpi). The
// file appears only when everything was written; otherwise nothing is left
// at `path` and *error holds the message to show: "File error" when the file
// could not be written, empty when `draw` itself declined (no records).
// A device or a pipe at `path` is written in place, never replaced.
bool WritePdf(const QString& path, const std::function<bool(PageOutput&)>& draw, QString* error);
// The same into an open device, which is left open.
bool WritePdf(QIODevice& device, const std::function<bool(PageOutput&)>& draw, QString* error);

}  // namespace hygro
