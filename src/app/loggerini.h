#pragma once
// The settings file kept between runs: one line of three comma-separated
// fields, the port number, a stored option value, and the last folder.
#include <QString>

namespace hygro {

// The stored option value keeps display choices of the window, one bit each;
// bits nobody sets are written back as they were read.
constexpr qint16 kOptionLinkTimeAxes = 0x0010;

struct LoggerIniValues {
  qint16 port = 1;
  qint16 option = 0;
  QString folder;
};

// The window's own additions, on lines of their own after the first
// ("Company=...", "Unit=F"), written only when set, so a file without them is
// byte for byte what it always was and a reader of the first line alone
// finds what it always found.
struct LoggerIniExtras {
  QString company;          // named on the printed summary
  bool fahrenheit = false;  // the unit of the statistics shown
};
// The additions in the file at `path`; an unknown or damaged line is left out
// on its own, a missing file gives none.
LoggerIniExtras LoggerIni_ReadExtras(const QString& path);

// The values in the file at `path`. A missing, unreadable or damaged file
// gives the defaults, without a message: the file only remembers choices.
//
// Damaged means any of: an empty file; a first line longer than 64 KiB; a
// first line that is not exactly three fields; a number field that is not a
// whole decimal number within -32768..32767; a quoted folder without its
// closing quote or with text after it. Blanks around fields are allowed; a
// folder written without quotes is taken as it stands (trimmed) when it
// holds no quote. Only the first line is read.
//
// Quoting: the folder is always written in double quotes. A comma inside the
// quotes is part of the folder; a double quote in the folder (possible on
// Linux) is written doubled, as in CSV, and read back as one.
LoggerIniValues LoggerIni_Read(const QString& path);

// Writes `values` as one line, e.g. 3,0,"C:\data" followed by CR LF,
// replacing the file. The line is written to a temporary file next to it and
// renamed over it, so a failed save leaves the previous file as it was.
// Returns false, with the reason in `error`, when the file cannot be written.
// The additions that are set follow on their own lines.
bool LoggerIni_Save(const QString& path, const LoggerIniValues& values, QString* error = nullptr,
                    const LoggerIniExtras& extras = {});

// The line LoggerIni_Save writes, CR LF included, in the file's encoding.
QByteArray LoggerIni_Line(const LoggerIniValues& values);
// The lines of the additions that are set, each ended by CR LF.
QByteArray LoggerIni_Extra(const LoggerIniExtras& extras);

// Where the window keeps its archive, in "Archive.ini" beside the settings
// file (whose line stays as it is): one line, the target as the user gave it
// (an SQLite file, a PostgreSQL URL or key=value string), UTF-8. Empty, or
// no file, is the data folder's own archive.
QString ArchiveIni_Path(const QString& dataFolder);
QString ArchiveIni_Read(const QString& path);
bool ArchiveIni_Save(const QString& path, const QString& target, QString* error = nullptr);

}  // namespace hygro
