#include "archive/archivecsv.h"

#include <QBuffer>
#include <array>
#include <map>

#include "data/formats.h"

namespace hygro {

namespace {

QString trimmedRight(const QString& text) {
  qsizetype n = text.size();
  while (n > 0 && text[n - 1].isSpace()) --n;
  return text.left(n);
}

ArchiveRecord recordOf(const MeasurementRecord& rec, const QString& remarks) {
  ArchiveRecord r;
  r.t = ArchiveTimeFromSerial(rec.Time);
  r.temperature = rec.Temperature;
  r.humidity = rec.Humidity;
  r.run = static_cast<qint32>(rec.Block);
  r.remarks = trimmedRight(remarks);
  return r;
}

void appendQuoted(QByteArray& out, const QString& text) {
  out += '"';
  out += text.toLocal8Bit();
  out += '"';
}

}  // namespace

ArchiveArrival ArrivalFromSet(const DataSets& sets, int set, const ArchiveLogger& logger,
                              std::optional<double> start) {
  const DataSetInfo& info = sets.info(set);
  ArchiveArrival a;
  a.logger = logger;
  a.source = set == RealTimeData ? LogSource::RealTime : LogSource::Logger;
  a.kind = set == RealTimeData ? ArrivalKind::RealTimeRun : ArrivalKind::Download;
  a.interval = info.Interval;
  a.upperRaw = info.UpperRaw;
  a.upperOn = info.UpperOn;
  a.lowerRaw = info.LowerRaw;
  a.lowerOn = info.LowerOn;
  a.records.reserve(static_cast<size_t>(qMax<int>(0, info.Points)));
  for (int n = 1; n <= info.Points; ++n) {
    const MeasurementRecord* rec = sets.at(set, n);
    const MeasurementRecord blank;
    const MeasurementRecord& r = rec ? *rec : blank;
    a.records.push_back(recordOf(r, RemarkBeforeMark(r.remarks(), n, info.Stats)));
  }
  a.start = start ? ArchiveTimeFromSerial(*start) : (a.records.empty() ? 0 : a.records.front().t);
  return a;
}

ArchiveArrival ArrivalFromCsv(const CsvImport& file, const QString& path) {
  ArchiveArrival a;
  a.logger.model = file.model;
  a.logger.name = file.name;
  a.source = LogSource::Logger;
  a.kind = ArrivalKind::Import;
  a.start = ArchiveTimeFromSerial(file.startTime);
  a.interval = file.interval;
  a.upperRaw = file.upperRaw;
  a.upperOn = file.upperOn;
  a.lowerRaw = file.lowerRaw;
  a.lowerOn = file.lowerOn;
  a.file = path;
  // The extremes' texts the file carries are those its writer marked; they
  // are written anew from the whole log.
  DataSetStats stats;
  Stats_Clear(stats);
  qint16 n = 0;
  for (const MeasurementRecord& rec : file.records) Stats_Add(rec, ++n, stats);
  n = 0;
  a.records.reserve(file.records.size());
  for (const MeasurementRecord& rec : file.records)
    a.records.push_back(recordOf(rec, RemarkBeforeMark(rec.remarks(), ++n, stats)));
  return a;
}

QByteArray ArchiveCsv(const ArchiveLog& log) {
  const ArchiveLogSummary& s = log.summary;
  const std::vector<ArchiveRecord>& recs = log.records;
  const qint64 points = static_cast<qint64>(recs.size());

  // The extremes as the statistics of a data set find them (Stats_Add, its
  // clamps included), by record index, so any length of log is marked.
  DataSetStats stats;
  Stats_Clear(stats);
  std::array<qint64, 4> extreme{};
  for (qint64 i = 0; i < points; ++i) {
    MeasurementRecord m;
    m.Temperature = recs[static_cast<size_t>(i)].temperature;
    m.Humidity = recs[static_cast<size_t>(i)].humidity;
    for (auto& e : stats.e) e.RecordNo = 0;
    Stats_Add(m, 1, stats);
    for (size_t k = 0; k < 4; ++k)
      if (stats.e[k].RecordNo == 1) extreme[k] = i + 1;
  }
  // Stats_Mark's remarks: trimmed, a blank, the text; one after the other.
  std::map<qint64, MeasurementRecord> marked;
  for (int k = 0; k < 4; ++k) {
    const qint64 n = extreme[static_cast<size_t>(k)];
    if (n < 1 || n > points) continue;
    auto [it, fresh] = marked.try_emplace(n);
    if (fresh) it->second.setRemarks(recs[static_cast<size_t>(n - 1)].remarks);
    it->second.setRemarks(it->second.remarks().trimmed() + QLatin1Char(' ') + ExtremeText(k));
  }

  const bool withBounds = HasAlarmBounds(s.model);
  QByteArray out;
  out.reserve(400 + points * 112);
  out += withBounds
             ? "\"Recognition name\",\"Start time\",\"Recording points\",\"Record interval\","
               "\"Upper bound temperature setting\",\"Lower bound temperature setting\"\r\n"
             : "\"Recognition name\",\"Start time\",\"Recording points\",\"Record interval\",\"\","
               "\"\"\r\n";
  appendQuoted(out, s.name);
  out += ',';
  appendQuoted(out,
               fmt::formatGeneralDate(points > 0 ? SerialFromArchiveTime(recs.front().t) : 0.0));
  out += ',';
  appendQuoted(out, fmt::strWithBlank(points));
  out += ',';
  appendQuoted(out, fmt::strWithBlank(s.interval));
  out += ',';
  appendQuoted(out, withBounds ? fmt::boundText(log.upperRaw, log.upperOn) : QString());
  out += ',';
  appendQuoted(out, withBounds ? fmt::boundText(log.lowerRaw, log.lowerOn) : QString());
  out += "\r\n";
  out += "\"Record number\",\"Date\",\"Temperature\",\"Humidity \",\"Remarks \"\r\n";

  for (qint64 i = 0; i < points; ++i) {
    const ArchiveRecord& r = recs[static_cast<size_t>(i)];
    const auto mark = marked.find(i + 1);
    MeasurementRecord m = mark != marked.end() ? mark->second : MeasurementRecord{};
    if (mark == marked.end() && !r.remarks.isEmpty()) m.setRemarks(r.remarks);
    m.Temperature = r.temperature;
    m.Humidity = r.humidity;
    m.Time = SerialFromArchiveTime(r.t);
    m.Block = static_cast<float>(r.run);
    Csv_AppendRow(out, static_cast<int>(i + 1), m);
  }
  return out;
}

bool ArchiveImport(const ArchiveLog& log, CsvImport* out, QString* why) {
  if (log.records.size() > size_t(kMaxPoints)) {
    *why = QStringLiteral("Log %1 holds %2 records, more than the %3 a data set takes")
               .arg(log.summary.id)
               .arg(log.records.size())
               .arg(kMaxPoints);
    return false;
  }
  // Read back from its own CSV bytes, so that it is what opening the saved
  // file gives, header and remarks included.
  QByteArray bytes = ArchiveCsv(log);
  QBuffer in(&bytes);
  in.open(QIODevice::ReadOnly);
  return Csv_Parse(in, out, why) == CsvOpenResult::Opened;
}

bool ArchiveWorkbook(const ArchiveLog& log, DataSets* sets, analysis::SpreadsheetJob* job,
                     QString* why) {
  CsvImport file;
  if (!ArchiveImport(log, &file, why)) return false;
  Csv_Commit(*sets, file);
  job->set = FileData;
  job->model = file.model;
  job->recognitionName = file.name;
  job->options.limits = analysis::SetLimits(sets->info(FileData));
  return true;
}

}  // namespace hygro
