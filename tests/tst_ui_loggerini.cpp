// The settings file: what is written byte for byte, what is read back, and
// that a damaged file or a failed save costs nothing already stored.
#include <QtTest>

#include "app/loggerini.h"
#include "support/data_fixtures.h"
#include "support/data_table.h"

using namespace hygro;

namespace {

QByteArray readAll(const QString& path) {
  QFile f(path);
  return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

void writeRaw(const QString& path, const QByteArray& bytes) {
  QFile f(path);
  QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
  QCOMPARE(f.write(bytes), bytes.size());
}

QString describe(const LoggerIniValues& v) {
  return QStringLiteral("%1|%2|%3").arg(v.port).arg(v.option).arg(v.folder);
}

}  // namespace

class TestLoggerIni : public QObject {
  Q_OBJECT
 private Q_SLOTS:
  void writesOneLineAndReadsItBack_data() {
    test::addDataRows(QStringLiteral("loggerini/write.tsv"), {"values", "bytes"});
  }
  void writesOneLineAndReadsItBack() {
    QFETCH(QString, values);
    QFETCH(QString, bytes);
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("Logger.ini"));
    writeRaw(path, QByteArray(200, 'x') + "\r\n2,2,\"old\"\r\n");
    const QStringList v = values.split(u'|');
    const LoggerIniExtras extras{v.value(3), v.value(4) == u"F"};
    QString error;
    QVERIFY(
        LoggerIni_Save(path, {qint16(v[0].toInt()), qint16(v[1].toInt()), v[2]}, &error, extras));
    QVERIFY(error.isEmpty());
    QCOMPARE(readAll(path), bytes.toUtf8());
    QCOMPARE(describe(LoggerIni_Read(path)), v.mid(0, 3).join(u'|'));
    const LoggerIniExtras read = LoggerIni_ReadExtras(path);
    QCOMPARE(QStringList({read.company, read.fahrenheit ? "F" : ""}), v.mid(3, 2));
    // No temporary file is left beside it.
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden),
             QStringList{QStringLiteral("Logger.ini")});
  }

  void damagedFilesGiveTheDefaults_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("expect");
    for (const QStringList& row : test::dataRows(QStringLiteral("loggerini/read.tsv")))
      QTest::newRow(qPrintable(row[0])) << row[1].toUtf8() << row[2];
    const QString defaults = QStringLiteral("1|0|");
    QTest::newRow("binary") << QByteArray("\x00\xff\xfe,\x01,\x80\x81", 8) << defaults;
    QTest::newRow("endless line") << QByteArray("3,0,\"") + QByteArray(70000, 'a') << defaults;
  }
  void damagedFilesGiveTheDefaults() {
    QFETCH(QByteArray, content);
    QFETCH(QString, expect);
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("Logger.ini"));
    writeRaw(path, content);
    QCOMPARE(describe(LoggerIni_Read(path)), expect);
  }

  void aMissingFileGivesTheDefaultsAndAFailedSaveKeepsTheOldFile() {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("Logger.ini"));
    QCOMPARE(describe(LoggerIni_Read(path)), QStringLiteral("1|0|"));
    QCOMPARE(describe(LoggerIni_Read(dir.path())), QStringLiteral("1|0|"));  // a folder
    QVERIFY(LoggerIni_Save(path, {3, 0, QStringLiteral("/data")}));
    const QByteArray old = readAll(path);
    const LoggerIniValues next{4, 0, QStringLiteral("/a/much/longer/folder/than/before")};

    QString error;
    const QString noFolder = dir.filePath(QStringLiteral("gone/Logger.ini"));
    QVERIFY(!LoggerIni_Save(noFolder, next, &error));
    QVERIFY2(error.contains(QStringLiteral("does not exist")), qPrintable(error));
    QVERIFY(error.contains(noFolder));
    QVERIFY(!LoggerIni_Save(dir.path(), next, &error));
    QVERIFY2(error.contains(QStringLiteral("it is a folder")), qPrintable(error));

#ifdef Q_OS_UNIX
    // The disk takes only a few bytes (a file size limit holds for root as
    // well): the write fails half way, and the old file stays whole.
    error.clear();
    {
      test::FileSizeLimit limit(5);
      QVERIFY(limit.active());
      QVERIFY(!LoggerIni_Save(path, next, &error));
    }
    QVERIFY2(error.startsWith(QStringLiteral("The settings file ") + path +
                              QStringLiteral(" could not be written: ")),
             qPrintable(error));
    QCOMPARE(readAll(path), old);
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden),
             QStringList{QStringLiteral("Logger.ini")});
#endif
    QCOMPARE(describe(LoggerIni_Read(path)), QStringLiteral("3|0|/data"));
  }
};

QTEST_MAIN(TestLoggerIni)
#include "tst_ui_loggerini.moc"
