#pragma once
// CSV export of LogData / RealTimeData and import into FileData.
//
// The file: text in the system's 8-bit encoding (UTF-8 outside Windows), CR LF
// line ends, texts quoted and never escaped, numbers bare. Three header lines
// (titles, values, row titles), then one line per record.
#include <QIODevice>
#include <QString>
#include <atomic>
#include <vector>

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

// What a file holds, read whole before it takes the place of FileData: a
// file that turns out wrong half way leaves FileData, the list and the file
// data panel as they were.
struct CsvImport {
  QString name;            // recognition name
  double startTime = 0;    // date serial
  qint32 pointsShown = 0;  // "Recording points" as the file states it
  qint32 interval = 0;     // seconds
  qint32 upperRaw = 0;
  bool upperOn = false;
  qint32 lowerRaw = 0;
  bool lowerOn = false;
  QString model;  // "QM720-XC" (with bounds) or "QM510-XC"
  // Run numbers rebuilt from the time gaps, remarks as the file has them.
  std::vector<MeasurementRecord> records;
};

// Nothing in a file of 32767 records comes near these; a file past them is
// refused before it is read, so a huge or endless file cannot hold the
// program up.
constexpr qsizetype kCsvMaxLine = 1024;  // bytes of one line, its line end excluded
constexpr qint64 kCsvMaxFileSize = qint64(kMaxPoints + 3) * (kCsvMaxLine + 2);

// Reads a file of the exported form without touching any data set. Opened,
// or WrongForm / FileError with *why saying what is wrong and where
// ("data.csv, line 57: '22,31' is not a number"), or Cancelled when *cancel
// was set while reading. Only regular files are read: a device, a pipe or a
// folder is refused without reading a byte. Safe to run on another thread.
CsvOpenResult Csv_Parse(const QString& path, CsvImport* file, QString* why,
                        const std::atomic_bool* cancel = nullptr);
CsvOpenResult Csv_Parse(QIODevice& in, CsvImport* file, QString* why,
                        const std::atomic_bool* cancel = nullptr);
// Puts a file that was read whole into FileData. What is shown is not its
// business: the caller that opened the file asks the view.
void Csv_Commit(DataSets& sets, const CsvImport& file);
// The message for a file that was refused: "File error" or "The form of the
// file is different. ", then why.
QString Csv_RefusalText(CsvOpenResult result, const QString& why);

// Asks for a file and reads it into FileData (Csv_Read). A cancelled dialog
// ends silently.
CsvOpenResult Csv_Open(DataSets& sets, UserPrompt& prompt, const QString& titleModel);

// Csv_Parse, then Csv_Commit, or the refusal (titled `titleModel`) with
// FileData left as it was.
CsvOpenResult Csv_Read(DataSets& sets, const QString& path, UserPrompt& prompt,
                       const QString& titleModel);
CsvOpenResult Csv_Read(DataSets& sets, QIODevice& in, UserPrompt& prompt,
                       const QString& titleModel);

}  // namespace hygro
