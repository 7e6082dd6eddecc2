#include "support/data_table.h"

#include <QFile>
#include <QtTest>

namespace hygro::test {

QString dataText(const QString& name) {
  QFile f(QStringLiteral(HYGROTAB_TEST_DATA "/") + name);
  if (!f.open(QIODevice::ReadOnly)) qFatal("cannot read test data %s", qPrintable(name));
  return QString::fromUtf8(f.readAll());
}

QList<QStringList> dataRows(const QString& name) {
  QList<QStringList> rows;
  for (const QString& line : dataText(name).split(u'\n')) {
    if (line.trimmed().isEmpty() || line.startsWith(u'#')) continue;
    QStringList cells = line.split(u'\t');
    for (QString& c : cells)
      c.replace(QLatin1String("\\r"), QLatin1String("\r"))
          .replace(QLatin1String("\\n"), QLatin1String("\n"))
          .replace(QLatin1String("\\t"), QLatin1String("\t"));
    rows << cells;
  }
  return rows;
}

void addDataRows(const QString& name, const QStringList& columns) {
  // QTest keeps a column's name as the pointer it was given.
  static QList<QByteArray> names;
  for (const QString& c : columns) {
    names << c.toUtf8();
    QTest::addColumn<QString>(names.last().constData());
  }
  for (const QStringList& row : dataRows(name)) {
    QTestData& data = QTest::newRow(qPrintable(row.value(0)));
    for (int i = 1; i <= columns.size(); ++i) data << row.value(i);
  }
}

QString dataValue(const QString& name, const QString& key) {
  for (const QStringList& row : dataRows(name))
    if (row.value(0) == key) return row.value(1);
  qFatal("no %s in test data %s", qPrintable(key), qPrintable(name));
  return {};
}

}  // namespace hygro::test
