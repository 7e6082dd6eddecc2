// The archive in the window: the dialog of its logs and the choice of archive
// in the Tool menu (a run kept when it ends: tst_archive).
#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QStandardItemModel>
#include <QTableView>
#include <QtTest>

#include "app/form1.h"
#include "app/loggerini.h"
#include "archive/archivecsv.h"
#include "archive/archivesetting.h"
#include "data/formats.h"
#include "dialogs/archivedialog.h"
#include "dialogs/archivetargetdialog.h"
#include "logger/session.h"
#include "support/data_fixtures.h"
#include "support/window_prompt.h"

using namespace hygro;
using test::child;

namespace {

struct Rig {
  QTemporaryDir dir;
  test::WindowRig w;
  Session& s = *w.session;
  test::WindowPrompt& prompt = w.prompt;
  std::unique_ptr<ArchiveSetting> setting;
  Rig() {
    s.data().open(dir.path(), nullptr);
    setting = std::make_unique<ArchiveSetting>(s, dir.path());
  }
  ~Rig() {
    setting.reset();
    s.data().closeAndRemove();
  }
  Archive& archive() { return setting->archive(); }
  qint64 store(const QString& name, const QString& model, const QString& serial, int month,
               int count) {
    ArchiveArrival a;
    a.logger = {model, name, QString(), serial};
    a.start = ArchiveTimeFromSerial(fmt::dateSerial(2026, month, 1, 10, 0, 0));
    a.interval = 600;
    a.atUtc = QDateTime(QDate(2026, month, 2), QTime(9, 0), Qt::UTC);
    for (int i = 0; i < count; ++i)
      a.records.push_back({a.start + i * 600, 20.0f + float(i) / 10, 50.0f, 1, QString()});
    ArchiveStored stored;
    QString why;
    if (!archive().store(a, &stored, &why)) qWarning("%s", qPrintable(why));
    return stored.logId;
  }
  QByteArray csvOf(qint64 id) {
    ArchiveLog log;
    QString why;
    return archive().read(id, &log, &why) ? ArchiveCsv(log) : QByteArray();
  }
};

QStringList column(ArchiveDialog& d, int c) {
  auto* model = qobject_cast<QStandardItemModel*>(child<QTableView>(d, "ArchiveLogs")->model());
  QStringList texts;
  for (int r = 0; r < model->rowCount(); ++r) texts << model->item(r, c)->text();
  return texts;
}

void select(ArchiveDialog& d, const QString& name) {
  auto* table = child<QTableView>(d, "ArchiveLogs");
  table->selectRow(int(column(d, ArchiveDialog::Name).indexOf(name)));
}

}  // namespace

class TestUiArchive : public QObject {
  Q_OBJECT
 private Q_SLOTS:
  void theLogsAreSortedAndFiltered() {
    Rig r;
    r.store(QStringLiteral("AAAA"), QStringLiteral("QM720-XC"), QStringLiteral("S1"), 1, 5);
    r.store(QStringLiteral("AAAA"), QStringLiteral("QM720-XC"), QStringLiteral("S1"), 2, 12);
    r.store(QStringLiteral("BBBB"), QStringLiteral("QM510-XC"), QString(), 3, 3);
    ArchiveDialog d(&r.s, &r.archive(), &r.prompt);
    child<QTableView>(d, "ArchiveLogs")->sortByColumn(ArchiveDialog::Records, Qt::AscendingOrder);
    QCOMPARE(column(d, ArchiveDialog::Records), (QStringList{"3", "5", "12"}));

    auto* logger = child<QComboBox>(d, "ArchiveLogger");
    QCOMPARE(logger->count(), 3);
    logger->setCurrentIndex(logger->findText(QStringLiteral("AAAA, QM720-XC, S1")));
    QCOMPARE(column(d, ArchiveDialog::Records), (QStringList{"5", "12"}));
    // From the middle of January: the January log ended before.
    child<QDateTimeEdit>(d, "ArchiveFrom")
        ->setDateTime(QDateTime(QDate(2026, 1, 15), QTime(0, 0), Qt::UTC));
    child<QCheckBox>(d, "ArchiveFromOn")->setChecked(true);
    QCOMPARE(column(d, ArchiveDialog::Start), QStringList{QStringLiteral("2026/02/01 10:00:00")});
    QCOMPARE(child<QLabel>(d, "ArchiveCount")->text(), QStringLiteral("1 of 3 logs"));
    logger->setCurrentIndex(0);
    child<QDateTimeEdit>(d, "ArchiveTo")
        ->setDateTime(QDateTime(QDate(2026, 2, 20), QTime(0, 0), Qt::UTC));
    child<QCheckBox>(d, "ArchiveToOn")->setChecked(true);
    QCOMPARE(column(d, ArchiveDialog::Name), QStringList{QStringLiteral("AAAA")});
  }

  void aLogIsOpenedExportedAndDeletedAfterAQuestion() {
    Rig r;
    const qint64 a = r.store(QStringLiteral("AAAA"), QStringLiteral("QM720-XC"), QString(), 1, 5);
    r.store(QStringLiteral("BBBB"), QStringLiteral("QM510-XC"), QString(), 3, 3);
    {
      // Opened as the file set, as its CSV file would be.
      ArchiveDialog d(&r.s, &r.archive(), &r.prompt);
      select(d, QStringLiteral("AAAA"));
      QVERIFY(d.openSelected());
      QCOMPARE(r.s.shownSet(), int(FileData));
      QCOMPARE(Csv_Content(r.s.data(), FileData, r.s.setModel(FileData), r.s.setName(FileData)),
               r.csvOf(a));
    }
    ArchiveDialog d(&r.s, &r.archive(), &r.prompt);
    select(d, QStringLiteral("AAAA"));
    const QString csv = r.dir.filePath(QStringLiteral("out.csv"));
    const QString xlsx = r.dir.filePath(QStringLiteral("out.xlsx"));
    r.prompt.savePaths << csv << xlsx;
    QVERIFY(d.exportCsv() && d.exportXlsx());
    QCOMPARE(r.prompt.proposed, (QStringList{"AAAA_20260101_1000.csv", "AAAA_20260101_1000.xlsx"}));
    QCOMPARE(test::readFile(csv), r.csvOf(a));
    QVERIFY(test::readFile(xlsx).startsWith("PK"));

    QVERIFY(!d.deleteSelected());
    QCOMPARE(r.prompt.defaults, QList<SafeAnswer>{SafeAnswer::No});
    QCOMPARE(column(d, ArchiveDialog::Name).size(), 2);
    r.prompt.answers << true;
    QVERIFY(d.deleteSelected());
    QCOMPARE(column(d, ArchiveDialog::Name), QStringList{QStringLiteral("BBBB")});
    QVERIFY(r.csvOf(a).isEmpty());
    QVERIFY(r.prompt.messages.isEmpty());
  }

  void theArchiveIsChosenAndKeptInTheSettings_data() {
    QTest::addColumn<QString>("text");  // DIR: the test's folder
    QTest::addColumn<QList<bool>>("answers");
    QTest::addColumn<QString>("said");  // what the user was told or asked
    QTest::addColumn<bool>("taken");
    QTest::newRow("a file") << "DIR/other.sqlite" << QList<bool>{} << "" << true;
    QTest::newRow("unreadable") << "dbname='x" << QList<bool>{} << "cannot be used" << false;
    QTest::newRow("cannot be opened, No")
        << "DIR/missing/a.sqlite" << QList<bool>{false} << "Use it anyway?" << false;
    QTest::newRow("cannot be opened, Yes")
        << "DIR/missing/a.sqlite" << QList<bool>{true} << "Use it anyway?" << true;
  }
  void theArchiveIsChosenAndKeptInTheSettings() {
    QFETCH(QString, text);
    QFETCH(QList<bool>, answers);
    QFETCH(QString, said);
    QFETCH(bool, taken);
    Rig r;
    text.replace(QStringLiteral("DIR"), r.dir.path());
    Form1 w(&r.s, &r.prompt);
    w.setArchive(r.setting.get());
    // The Tool menu's entry: what the dialog takes is written at once.
    w.findChild<QAction*>(QStringLiteral("mArchiveTarget"))->trigger();
    auto* d = w.findChild<ArchiveTargetDialog*>();
    QVERIFY(d);
    child<QRadioButton>(*d, "ArchiveOther")->setChecked(true);
    child<QLineEdit>(*d, "ArchiveTarget")->setText(text);
    for (bool a : answers) r.prompt.answers << a;
    QCOMPARE(d->apply(), taken);
    const QStringList told = r.prompt.messages + r.prompt.questions;
    QCOMPARE(told.size(), said.isEmpty() ? 0 : 1);
    if (!said.isEmpty()) QVERIFY2(told[0].contains(said), qPrintable(told[0]));
    if (!r.prompt.defaults.isEmpty()) QCOMPARE(r.prompt.defaults[0], SafeAnswer::No);
    const QString ini = ArchiveIni_Path(r.dir.path());
    QCOMPARE(r.setting->text(), taken ? text : QString());
    QCOMPARE(r.setting->archive().display(),
             QDir::toNativeSeparators(taken ? text : DefaultArchivePath(r.dir.path())));
    QCOMPARE(ArchiveIni_Read(ini), taken ? text : QString());
    if (!taken) return;
    // Back to the data folder's own.
    child<QRadioButton>(*d, "ArchiveDefault")->setChecked(true);
    QVERIFY(d->apply());
    QCOMPARE(r.setting->text(), QString());
    QCOMPARE(ArchiveIni_Read(ini), QString());
  }
};

QTEST_MAIN(TestUiArchive)
#include "tst_ui_archive.moc"
