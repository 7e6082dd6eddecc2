#pragma once
// The data set behind the reference CSV files in tests/data/csv, and small
// file helpers for the data tests.
#include <QByteArray>
#include <QString>

#include "data/datasets.h"

namespace hygro::test {

// Four records: 23.456 / 55.1 with an empty remark, 0.04 / 100, -0.25 / 0.5 at
// exactly midnight with a 50-character remark, -5 / 9.5 ten minutes later.
// Interval 600, upper bound 30 on, lower bound off.
void fillReferenceSet(DataSets& sets, int set);
inline const QString kReferenceName = QStringLiteral("ROOM1");

QString csvFixture(const QString& name);  // path in tests/data/csv
QByteArray readFile(const QString& path);
bool writeFile(const QString& path, const QByteArray& bytes);

}  // namespace hygro::test
