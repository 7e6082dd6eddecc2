#pragma once
// Between the archive and the program's data sets and CSV files: a data set
// or an imported file as an arrival for the archive, and a log of the archive
// as the CSV file saving the same data set would have written.
#include <QByteArray>
#include <QString>

#include "analysis/spreadsheet.h"
#include "archive/archive.h"
#include "data/csv.h"
#include "data/datasets.h"

namespace hygro {

// The records of `set` with its descriptor (interval and bounds as the set
// holds them) for `logger`; `start` is the log's start, the time of its first
// record when nothing else gives one. The remarks are kept without the
// extremes' texts, which a CSV file gets anew from the whole log.
ArchiveArrival ArrivalFromSet(const DataSets& sets, int set, const ArchiveLogger& logger,
                              std::optional<double> start = std::nullopt);
// A file read by Csv_Parse: its logger is the model and name its header
// gives, its start the header's start time.
ArchiveArrival ArrivalFromCsv(const CsvImport& file, const QString& path);

// The CSV file of a log: byte for byte what saving a data set holding the same
// records, descriptor, model and name writes, the extremes' remarks included.
// Logs of more records than a data set holds are written the same way.
QByteArray ArchiveCsv(const ArchiveLog& log);

// A log as opening its CSV file reads it, for the file set; false with *why
// when it holds more records than a data set takes.
bool ArchiveImport(const ArchiveLog& log, CsvImport* out, QString* why);

// A log in `sets`' file set (in memory), with the workbook job export --xlsx
// makes of its CSV file; false with *why as ArchiveImport.
bool ArchiveWorkbook(const ArchiveLog& log, DataSets* sets, analysis::SpreadsheetJob* job,
                     QString* why);

}  // namespace hygro
