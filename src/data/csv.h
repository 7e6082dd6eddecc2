#pragma once
// CSV export of LogData / RealTimeData and import into FileData.
//
// The file: text in the system's 8-bit encoding (UTF-8 outside Windows), CR LF
// line ends, texts quoted and never escaped, numbers bare. Three header lines
// (titles, values, row titles), then one line per record.
#include <QIODevice>
#include <QString>

#include "data/datasets.h"

namespace hygro {

class UserPrompt;

inline const QString kCsvSaveFilter = QStringLiteral(" CSV(*.csv)|*.csv");
inline const QString kCsvOpenFilter = QStringLiteral(u"csv\uFF8C\uFF67\uFF72\uFF99(*.csv)|*.csv");

enum class CsvSaveResult { Saved, Cancelled, Failed };

// The save dialog loop: proposes "<recognition name>_yymmdd_hhnnss" (the
// time part alone when the name cannot be part of a file name or the dialog
// refuses the proposal), says "File name is illegal" (titled `modelName`) and
// asks again when the chosen file cannot be created. A write failure (a full
// disk) is reported and gives Failed; the file the user chose is then left as
// it was. `Modified` is cleared only when the file was written completely.
CsvSaveResult Csv_Save(DataSets& sets, int set, const QString& modelName,
                       const QString& recognitionName, UserPrompt& prompt,
                       QString* savedPath = nullptr);

// Writes the file without any dialog. On success clears `Modified`; on failure *error says why and
// an existing file at `path` is left untouched.
bool Csv_Write(DataSets& sets, int set, const QString& modelName, const QString& recognitionName,
               const QString& path, QString* error);

// The whole file as Csv_Write writes it: Csv_Header, then Csv_Row for each
// record.
QByteArray Csv_Content(const DataSets& sets, int set, const QString& modelName,
                       const QString& recognitionName);
// The three header lines. "Recording points" is the set's Points as they are
// now, so a file written while the set grows gets its final header only when
// it is written whole.
QByteArray Csv_Header(const DataSets& sets, int set, const QString& modelName,
                      const QString& recognitionName);
// The line of record number `n`, CR LF included.
QByteArray Csv_Row(int n, const MeasurementRecord& rec);
void Csv_AppendRow(QByteArray& out, int n, const MeasurementRecord& rec);

// The file name the save dialog proposes, without ".csv":
// "<recognition name>_yymmdd_hhnnss" from record 1's time, or the time part
// alone when the name cannot be part of a file name.
QString Csv_ProposedName(const DataSets& sets, int set, const QString& recognitionName);

enum class CsvOpenResult { Opened, Cancelled, WrongForm, FileError };

// Asks for a file and reads it into FileData (Csv_Read). A cancelled dialog
// ends silently.
CsvOpenResult Csv_Open(DataSets& sets, UserPrompt& prompt, const QString& titleModel);

// Reads a file of the exported form into FileData and makes it the current
// set. "The form of the file is different. " leaves FileData as it was.
// "File error" (unreadable file, missing items, a date or number that does not
// convert, more than 32767 rows) keeps the rows already read, and Points
// counts the row being read. Messages are titled `titleModel`.
CsvOpenResult Csv_Read(DataSets& sets, const QString& path, UserPrompt& prompt,
                       const QString& titleModel);
CsvOpenResult Csv_Read(DataSets& sets, QIODevice& in, UserPrompt& prompt,
                       const QString& titleModel);

}  // namespace hygro
