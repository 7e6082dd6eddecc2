// hygrotab-cli plot: a CSV file drawn into a PNG picture.
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include "support/cli_runner.h"
#include "support/data_table.h"

using hygro::test::runCli;

namespace {

QString fixture(const char* name) {
  return QStringLiteral(HYGROTAB_TEST_DATA "/csv/") + QLatin1String(name);
}

// The size a PNG file states in its header; invalid when it is no PNG. The
// tool's tests do without Qt Gui, so the picture is not decoded here (the
// drawing itself is checked by the render tests).
QSize pngSize(const QString& path) {
  QFile f(path);
  if (!f.open(QIODevice::ReadOnly)) return {};
  const QByteArray h = f.read(24);
  if (h.size() < 24 || !h.startsWith("\x89PNG\r\n\x1a\n") || h.mid(12, 4) != "IHDR") return {};
  auto be32 = [&](int at) {
    return int((quint32(quint8(h[at])) << 24) | (quint32(quint8(h[at + 1])) << 16) |
               (quint32(quint8(h[at + 2])) << 8) | quint32(quint8(h[at + 3])));
  };
  return QSize(be32(16), be32(20));
}

}  // namespace

class TstCliPlot : public QObject {
  Q_OBJECT
 private slots:
  void writesThePictureAtTheRequestedSize();
  void unreadableInputOrOutputLeavesNoPicture();
  void usageErrors_data();
  void usageErrors();
};

void TstCliPlot::writesThePictureAtTheRequestedSize() {
  QTemporaryDir dir;
  QVERIFY(dir.isValid());
  const QString png = dir.filePath(QStringLiteral("out.png"));
  {
    CLI_RUN(r, 0, runCli({"plot", "--csv", fixture("qm720xc.csv"), "--png", png}));
    QCOMPARE(pngSize(png), QSize(1280, 800));
  }
  CLI_RUN(r, 0,
          runCli({"plot", "--csv", fixture("qm720xc.csv"), "--png", png, "--overwrite", "--size",
                  "640x360", "--span", "3600", "--position", "60", "--temperature-range", "10:15",
                  "--humidity-range", "50:50"}));
  QCOMPARE(pngSize(png), QSize(640, 360));
}

void TstCliPlot::unreadableInputOrOutputLeavesNoPicture() {
  QTemporaryDir dir;
  QVERIFY(dir.isValid());
  const QString png = dir.filePath(QStringLiteral("out.png"));
  {
    CLI_RUN(r, 1, runCli({"plot", "--csv", dir.filePath("missing.csv"), "--png", png}));
    QVERIFY2(r.err.contains(QStringLiteral("File error")), qPrintable(r.err));
    QVERIFY(!QFile::exists(png));
  }
  {
    // Broken off in the middle of the records.
    QFile in(fixture("qm720xc.csv"));
    QVERIFY(in.open(QIODevice::ReadOnly));
    QByteArray bytes = in.readAll();
    bytes.append("5,\"not a date\",\"1\",\"2\",\"x\"\r\n");
    QFile bad(dir.filePath(QStringLiteral("bad.csv")));
    QVERIFY(bad.open(QIODevice::WriteOnly));
    bad.write(bytes);
    bad.close();
    CLI_RUN(r, 1, runCli({"plot", "--csv", bad.fileName(), "--png", png}));
    QVERIFY2(r.err.contains(QStringLiteral("File error")), qPrintable(r.err));
    QVERIFY(!QFile::exists(png));
  }
  {
    CLI_RUN(r, 1, runCli({"plot", "--csv", fixture("points0.csv"), "--png", png}));
    QVERIFY(!QFile::exists(png));
  }
  {
    const QString nowhere = dir.filePath(QStringLiteral("no/such/folder/out.png"));
    CLI_RUN(r, 1, runCli({"plot", "--csv", fixture("qm720xc.csv"), "--png", nowhere}));
    QVERIFY2(r.err.contains(QStringLiteral("File error")), qPrintable(r.err));
    QVERIFY(!QFile::exists(nowhere));
  }
  // Nothing else was left in the folder either.
  QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{QStringLiteral("bad.csv")});
}

void TstCliPlot::usageErrors_data() {
  hygro::test::addDataRows(QStringLiteral("cli/plot_usage_errors.tsv"), {"args"});
}

void TstCliPlot::usageErrors() {
  QFETCH(QString, args);
  QTemporaryDir dir;
  const QString png = dir.filePath(QStringLiteral("out.png"));
  QStringList argv = hygro::test::words(args);
  argv.replaceInStrings(QStringLiteral("CSV"), fixture("qm720xc.csv"));
  argv.replaceInStrings(QStringLiteral("OUT"), png);
  CLI_RUN(r, 2, runCli(argv));
  QVERIFY2(r.err.contains(QStringLiteral("plot --help")), qPrintable(r.err));
  QVERIFY(!QFile::exists(png));
}

QTEST_MAIN(TstCliPlot)
#include "tst_cli_plot.moc"
