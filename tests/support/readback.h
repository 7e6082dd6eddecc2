#pragma once
// Outputs read back by the programs users open them with: a PDF by poppler's
// pdftotext, a workbook by LibreOffice. scripts/install-deps.sh installs both;
// a missing one fails the read, it never skips a test.
#include <QString>
#include <QStringList>

namespace hygro::test {

// The text of `pdf`, pages separated by form feeds. `mode` is "-layout"
// (columns kept apart), "-raw" (the order the text was drawn in) or empty
// (pdftotext's own reading order). False when it could not be read.
bool pdfText(const QString& pdf, QString* text, const QString& mode = QStringLiteral("-layout"));

// pdftotext reads the ideographic space as a word gap: a line with it as one
// blank and every run of blanks as one.
QString flat(const QString& line);
QStringList flatLines(const QString& text);

// Every sheet of each workbook in `books` as "<book>-<sheet>.csv" in `dir`:
// text quoted, numbers and dates bare, as shown. False with what LibreOffice
// said (or that it is missing) in *said.
bool sheetsAsCsv(const QStringList& books, const QString& dir, QString* said);

}  // namespace hygro::test
