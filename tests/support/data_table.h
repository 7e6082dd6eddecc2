#pragma once
// Expected values kept as files under tests/data: tables and long texts are
// read as data instead of being written out in C++.
#include <QList>
#include <QString>
#include <QStringList>

namespace hygro::test {

// The file tests/data/<name> as UTF-8.
QString dataText(const QString& name);
// The rows of a tab-separated file under tests/data. Blank lines and lines
// that start with '#' are skipped; in a cell "\r", "\n" and "\t" stand for
// those characters.
QList<QStringList> dataRows(const QString& name);
// Declares `columns` as QString columns and adds one QTest row per line of
// the table, named by its first cell, the next cells filling the columns.
void addDataRows(const QString& name, const QStringList& columns);
// The second cell of the row of `name` whose first cell is `key`; fails the
// run when there is none.
QString dataValue(const QString& name, const QString& key);

}  // namespace hygro::test
