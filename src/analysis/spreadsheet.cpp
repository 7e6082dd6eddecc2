#include "analysis/spreadsheet.h"

#include <xlsxwriter.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <cmath>

#include "data/filekind.h"
#include "data/formats.h"

namespace hygro::analysis {

namespace {

// Serial 61 is 1900-03-01: from there on a date serial and a spreadsheet's
// day number are the same number. The two months before it are counted with
// the spreadsheets' phantom 1900-02-29 by libxlsxwriter; earlier dates have no
// day number at all and are written as text.
constexpr double kFirstPlainDayNumber = 61.0;

class Sheet {
 public:
  Sheet(lxw_worksheet* ws, lxw_format* date, lxw_format* bold, lxw_error* error)
      : ws_(ws), date_(date), bold_(bold), error_(error) {}

  void number(lxw_row_t row, lxw_col_t col, double v) {
    if (std::isfinite(v)) keep(worksheet_write_number(ws_, row, col, v, nullptr));
  }
  void number(lxw_row_t row, lxw_col_t col, const std::optional<double>& v) {
    if (v) number(row, col, *v);
  }
  void text(lxw_row_t row, lxw_col_t col, const QString& s, bool bold = false) {
    if (s.isEmpty()) return;
    keep(worksheet_write_string(ws_, row, col, s.toUtf8().constData(), bold ? bold_ : nullptr));
  }
  void titles(lxw_row_t row, std::initializer_list<const char*> names) {
    lxw_col_t col = 0;
    for (const char* n : names) keep(worksheet_write_string(ws_, row, col++, n, bold_));
  }
  // A date cell to the second, as every text form of a time shows it.
  void time(lxw_row_t row, lxw_col_t col, double serial) {
    if (!fmt::isValidSerial(serial)) return;
    if (serial >= kFirstPlainDayNumber) {
      keep(worksheet_write_number(ws_, row, col, fmt::secondsToSerial(fmt::serialToSeconds(serial)), date_));
      return;
    }
    const fmt::DateParts p = fmt::dateParts(serial);
    if (p.year < 1900) {
      text(row, col, fmt::formatDateTime(serial));
      return;
    }
    lxw_datetime dt{p.year, p.month, p.day, p.hour, p.minute, static_cast<double>(p.second)};
    keep(worksheet_write_datetime(ws_, row, col, &dt, date_));
  }
  void time(lxw_row_t row, lxw_col_t col, const std::optional<double>& serial) {
    if (serial) time(row, col, *serial);
  }
  void width(lxw_col_t first, lxw_col_t last, double w) {
    keep(worksheet_set_column(ws_, first, last, w, nullptr));
  }

 private:
  void keep(lxw_error e) {
    if (e != LXW_NO_ERROR && *error_ == LXW_NO_ERROR) *error_ = e;
  }
  lxw_worksheet* ws_;
  lxw_format* date_;
  lxw_format* bold_;
  lxw_error* error_;
};

void writeRecords(Sheet& sh, const DataSets& sets, int set) {
  sh.titles(0, {"Record number", "Date", "Temperature (C)", "Humidity (%RH)", "Run", "Remarks"});
  sh.width(0, 0, 14);
  sh.width(1, 1, 20);
  sh.width(2, 3, 16);
  sh.width(5, 5, 40);
  const int points = sets.info(set).Points;
  for (int n = 1; n <= points; ++n) {
    const MeasurementRecord rec = sets.Get(set, n);
    const auto row = static_cast<lxw_row_t>(n);
    sh.number(row, 0, n);
    sh.time(row, 1, rec.Time);
    sh.number(row, 2, RecordValue(rec.Temperature));
    sh.number(row, 3, RecordValue(rec.Humidity));
    sh.number(row, 4, static_cast<double>(rec.Block));
    sh.text(row, 5, rec.remarks().trimmed());
  }
}

void writeHeader(Sheet& sh, const DataSets& sets, const SpreadsheetJob& job) {
  const DataSetInfo& info = sets.info(job.set);
  sh.titles(0, {"Item", "Value"});
  sh.width(0, 0, 34);
  sh.width(1, 1, 22);
  lxw_row_t row = 1;
  const auto label = [&](const char* caption) { sh.text(row, 0, QString::fromLatin1(caption)); };
  label("Recognition name");
  sh.text(row++, 1, job.recognitionName);
  label("Model");
  sh.text(row++, 1, job.model);
  label("Start time");
  if (info.Points > 0) sh.time(row, 1, sets.Get(job.set, 1).Time);
  ++row;
  label("Recording points");
  sh.number(row++, 1, info.Points);
  label("Record interval (s)");
  sh.number(row++, 1, info.Interval);
  // Bounds as the set shows them: whole degrees or OFF, and nothing for a
  // model that keeps none.
  const bool bounds = HasAlarmBounds(job.model);
  for (const auto& [caption, raw, on] :
       {std::tuple{"Upper bound temperature setting (C)", info.UpperRaw, info.UpperOn},
        std::tuple{"Lower bound temperature setting (C)", info.LowerRaw, info.LowerOn}}) {
    label(caption);
    if (bounds && on)
      sh.number(row, 1, fmt::boundDegrees(raw));
    else if (bounds)
      sh.text(row, 1, QStringLiteral("OFF"));
    ++row;
  }
  label("Exported at (PC time)");
  sh.time(row++, 1, fmt::fromDateTime(job.exportedAt));
  label("PC offset from UTC at export");
  sh.text(row++, 1, UtcOffsetText(job.exportedAt.offsetFromUtc()));
}

void writeStatistics(Sheet& sh, const Statistics& st) {
  sh.titles(0, {"Figure", "Value", "Unit", "At"});
  sh.width(0, 0, 28);
  sh.width(1, 1, 20);
  sh.width(3, 3, 20);
  lxw_row_t row = 1;
  for (const Figure& f : Figures(st, Unit::Celsius)) {
    sh.text(row, 0, f.caption);
    if (f.kind == Figure::Kind::Time)
      sh.time(row, 1, f.value);
    else
      sh.number(row, 1, f.value);
    sh.text(row, 2, f.unit);
    sh.time(row, 3, f.at);
    ++row;
  }
  ++row;
  sh.titles(row++, {"Excursion", "Start", "End", "Duration (s)", "Records", "Peak (C)"});
  for (const Excursion& e : st.excursions) {
    sh.text(row, 0, SideText(e.side));
    sh.time(row, 1, e.start);
    sh.time(row, 2, e.end);
    sh.number(row, 3, static_cast<double>(e.durationS));
    sh.number(row, 4, e.records);
    sh.number(row, 5, e.peak);
    ++row;
  }
}

}  // namespace

QString UtcOffsetText(int offsetSeconds) {
  const int a = std::abs(offsetSeconds) / 60;
  return QStringLiteral("%1%2:%3")
      .arg(offsetSeconds < 0 ? QLatin1Char('-') : QLatin1Char('+'))
      .arg(a / 60, 2, 10, QLatin1Char('0'))
      .arg(a % 60, 2, 10, QLatin1Char('0'));
}

bool Xlsx_Content(const DataSets& sets, const SpreadsheetJob& job, QByteArray* out,
                  QString* error) {
  QTemporaryDir tmp;
  if (!tmp.isValid()) {
    *error = QStringLiteral("no temporary folder for the workbook: %1").arg(tmp.errorString());
    return false;
  }
  const QByteArray folder = QFile::encodeName(tmp.path());
  const QString file = tmp.filePath(QStringLiteral("workbook.xlsx"));
  // Rows go out as they are written, so a full set costs no more memory than
  // a small one.
  lxw_workbook_options opts{};
  opts.constant_memory = LXW_TRUE;
  opts.tmpdir = const_cast<char*>(folder.constData());
  lxw_workbook* wb = workbook_new_opt(QFile::encodeName(file).constData(), &opts);
  if (!wb) {
    *error = QStringLiteral("the workbook could not be started");
    return false;
  }
  lxw_format* date = workbook_add_format(wb);
  format_set_num_format(date, "yyyy-mm-dd hh:mm:ss");
  lxw_format* bold = workbook_add_format(wb);
  format_set_bold(bold);

  lxw_error failed = LXW_NO_ERROR;
  const Statistics st = Analyse(sets, job.set, 1, sets.info(job.set).Points, job.options);
  struct Part {
    const QString& name;
    std::function<void(Sheet&)> write;
  };
  const Part parts[] = {
      {kRecordsSheet, [&](Sheet& s) { writeRecords(s, sets, job.set); }},
      {kHeaderSheet, [&](Sheet& s) { writeHeader(s, sets, job); }},
      {kStatisticsSheet, [&](Sheet& s) { writeStatistics(s, st); }},
  };
  for (const Part& p : parts) {
    lxw_worksheet* ws = workbook_add_worksheet(wb, p.name.toUtf8().constData());
    if (!ws) {
      failed = LXW_ERROR_MEMORY_MALLOC_FAILED;
      break;
    }
    Sheet sheet(ws, date, bold, &failed);
    p.write(sheet);
  }
  const lxw_error closed = workbook_close(wb);
  if (failed == LXW_NO_ERROR) failed = closed;
  if (failed != LXW_NO_ERROR) {
    *error = QStringLiteral("the workbook could not be written: %1")
                 .arg(QString::fromUtf8(lxw_strerror(failed)));
    return false;
  }
  QFile f(file);
  if (!f.open(QIODevice::ReadOnly)) {
    *error = QStringLiteral("the workbook could not be read back: %1").arg(f.errorString());
    return false;
  }
  *out = f.readAll();
  return true;
}

bool Xlsx_Write(const DataSets& sets, const SpreadsheetJob& job, const QString& path,
                QString* error) {
  QByteArray bytes;
  if (!Xlsx_Content(sets, job, &bytes, error)) return false;
  return WriteWholeFile(path, bytes, error);
}

}  // namespace hygro::analysis
