#pragma once
// A data set as an Excel workbook (.xlsx) for spreadsheets: the records with
// real date cells and numbers, the set's header, and its statistics. Written
// with libxlsxwriter. The set's CSV file stays what it is; this is an export
// beside it, in degrees Celsius like everything the program stores.
#include <QByteArray>
#include <QDateTime>
#include <QString>

#include "analysis/analysis.h"
#include "data/datasets.h"

namespace hygro::analysis {

// The sheets' names, in their order.
inline const QString kRecordsSheet = QStringLiteral("Records");
inline const QString kHeaderSheet = QStringLiteral("Header");
inline const QString kStatisticsSheet = QStringLiteral("Statistics");

struct SpreadsheetJob {
  int set = LogData;
  QString model;            // the logger model the set came from
  QString recognitionName;  // the set's identification name
  Options options;          // limits and ΔH/R of the statistics sheet
  // When the export is made: the header sheet gives the PC's offset from UTC
  // at that moment, since the records themselves carry the logger's local
  // wall-clock time without a zone.
  QDateTime exportedAt = QDateTime::currentDateTime();
};

// The whole workbook in memory. False with *error when libxlsxwriter fails
// (its temporary files go to the system's temporary folder).
bool Xlsx_Content(const DataSets& sets, const SpreadsheetJob& job, QByteArray* out, QString* error);
// Writes the workbook to `path` whole: an existing file is replaced only once
// the new one is complete (a device or a pipe is written to in place). False
// with *error, the file at `path` then left as it was.
bool Xlsx_Write(const DataSets& sets, const SpreadsheetJob& job, const QString& path,
                QString* error);

// "+09:00", "-05:30", "+00:00".
QString UtcOffsetText(int offsetSeconds);

}  // namespace hygro::analysis
