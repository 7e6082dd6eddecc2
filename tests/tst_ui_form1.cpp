// The main window on the emulated logger: it connects, shows what the session
// read, and follows the state in its captions and enabled controls.
#include <signal.h>

#include <QApplication>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QStatusBar>
#include <QTreeView>
#include <QtTest>

#include "app/form1.h"
#include "app/graphpanel.h"
#include "app/loggerini.h"
#include "data/csv.h"
#include "data/datafolder.h"
#include "data/dump.h"
#include "data/formats.h"
#include "dialogs/qtprompt.h"
#include "link/connection.h"
#include "logger/session.h"
#include "sim/simtransport.h"
#include "support/data_fixtures.h"
#include "support/emulator_rig.h"
#include "support/widget_table.h"
#include "support/window_prompt.h"

using namespace hygro;

namespace {

// The emulated logger without a preferred (FTDI) port, so a search walks
// the numbered ports.
class NumberedPortsSim : public sim::SimTransport {
 public:
  QStringList preferredPorts() const override { return {}; }
};

// A session on the demo logger with the identification waits shortened.
struct Rig {
  explicit Rig(const QString& folder, bool numberedPorts = false) {
    sim = numberedPorts ? new NumberedPortsSim : new sim::SimTransport;
    session = test::DemoSession(sim, &prompt);
    if (!folder.isEmpty()) opened = session->data().open(folder, nullptr);
  }
  test::WindowPrompt prompt;
  sim::SimTransport* sim = nullptr;
  std::unique_ptr<Session> session;
  bool opened = false;
};

// The window on a demo logger, shown, its data in a scratch folder that goes
// with it.
struct Window {
  explicit Window(bool numberedPorts = false) : rig(dir.path(), numberedPorts) { w.show(); }
  ~Window() { rig.session->data().closeAndRemove(); }
  QTemporaryDir dir;
  Rig rig;
  Form1 w{rig.session.get(), &rig.prompt};
};

// Declares `w`, `rig` and `dir` of a new Window.
#define WINDOW(...)                     \
  Window win_{__VA_ARGS__};             \
  [[maybe_unused]] Form1& w = win_.w;   \
  [[maybe_unused]] Rig& rig = win_.rig; \
  [[maybe_unused]] QTemporaryDir& dir = win_.dir

using test::child;

bool menuEnabled(QWidget& w, const char* name) {
  if (auto* m = w.findChild<QMenu*>(QString::fromLatin1(name))) return m->menuAction()->isEnabled();
  return w.findChild<QAction*>(QString::fromLatin1(name))->isEnabled();
}

QColor backColour(QWidget& w, const char* name) {
  auto* l = child<QLabel>(w, name);
  return l->autoFillBackground() ? l->palette().color(QPalette::Window) : QColor();
}

void connectWindow(Form1& w, Session& s) {
  child<QComboBox>(w, "Combo4")->setCurrentText(QStringLiteral("1"));
  QTest::mouseClick(child<QPushButton>(w, "Command20"), Qt::LeftButton);
  QTRY_VERIFY_WITH_TIMEOUT(!s.busy() && s.connected(), 20000);
}

void update(Form1& w, Session& s) {
  QTest::mouseClick(child<QPushButton>(w, "Command11"), Qt::LeftButton);
  QTRY_VERIFY_WITH_TIMEOUT(!s.busy(), 20000);
}

QStringList scratchAndLock(const QString& folder) {
  return QDir(folder).entryList({QStringLiteral("*.rand"), DataFolder::kLockName}, QDir::Files,
                                QDir::Name);
}

QString windowExecutable() {
  QString dir = qEnvironmentVariable("HYGROTAB_BIN_DIR");
  if (dir.isEmpty()) dir = QStringLiteral(HYGROTAB_BIN_DIR);
  return QDir(dir).filePath(QStringLiteral("hygrotab"));
}

}  // namespace

class TestForm1 : public QObject {
  Q_OBJECT
 private Q_SLOTS:
  void connectsAndShowsTheLogger() {
    WINDOW();
    QVERIFY(rig.opened);
    CHECK_SHOWN(w, QStringLiteral("window/shown.tsv"), QStringLiteral("first state"));
    QVERIFY(child<QComboBox>(w, "Combo4")->isEditable());
    // The clock runs in the third panel.
    QVERIFY(!child<QLabel>(w, "StatusBar1_Panel3")->text().isEmpty());
    // (Not connected, the status display has run: its table is tst_control_states'.)
    const auto label = [&w](const char* name) { return child<QLabel>(w, name)->text(); };
    connectWindow(w, *rig.session);
    CHECK_SHOWN(w, QStringLiteral("window/shown.tsv"), QStringLiteral("connected"));

    // One measurement fills the three real-time labels and is drawn as the
    // real-time set.
    const auto picture = [&w](const char* g) {
      return child<GraphPicture>(w, g)->image().cacheKey();
    };
    const qint64 ondo = picture("ondo"), situdo = picture("situdo");
    QTest::mouseClick(child<QPushButton>(w, "Command1"), Qt::LeftButton);
    QTRY_VERIFY_WITH_TIMEOUT(!rig.session->busy(), 20000);
    QVERIFY(label("Label2").endsWith(QStringLiteral(" C")));
    QVERIFY(label("Label4").endsWith(QStringLiteral(" %RH")));
    QCOMPARE(label("Label10").size(), 19);
    QCOMPARE(w.shownSet(), int(RealTimeData));
    QVERIFY(child<QRadioButton>(w, "Option6")->isChecked());
    QVERIFY(picture("ondo") != ondo && picture("situdo") != situdo);

    // The controls follow the logger's state (the table of each state:
    // tst_control_states) and are locked during an exchange.
    auto* record = child<QPushButton>(w, "Command4");
    auto* once = child<QPushButton>(w, "Command1");
    auto* continuous = child<QPushButton>(w, "Command2");
    QCOMPARE(backColour(w, "Label49"), QColor(128, 255, 128));
    QVERIFY(menuEnabled(w, "m22") && w.findChild<QAction*>(QStringLiteral("mAlarm"))->isEnabled());

    rig.sim->model().setStateBits(sim::DeviceModel::Recording);
    update(w, *rig.session);
    QCOMPARE(record->text(), QStringLiteral("Stop"));
    QVERIFY(!menuEnabled(w, "m22") &&
            !w.findChild<QAction*>(QStringLiteral("mAlarm"))->isEnabled());

    rig.sim->model().setStateBits(0);
    update(w, *rig.session);
    child<QComboBox>(w, "Combo5")->setCurrentText(QStringLiteral("2"));
    QTest::mouseClick(continuous, Qt::LeftButton);
    QCOMPARE(continuous->text(), QStringLiteral("Stop"));
    // The print button's table entry (tst_control_states) takes the other
    // print controls with it.
    const auto printing = [&w] {
      return QList<bool>{child<QPushButton>(w, "Command24")->isEnabled(),
                         child<QPushButton>(w, "Command25")->isEnabled(), menuEnabled(w, "m13")};
    };
    QCOMPARE(printing(), (QList<bool>{false, false, false}));
    // Samples arrive and are shown.
    QTRY_VERIFY_WITH_TIMEOUT(rig.session->data().info(RealTimeData).Points > 1, 20000);
    QTest::mouseClick(continuous, Qt::LeftButton);  // stop; the save question is declined
    QTRY_VERIFY_WITH_TIMEOUT(!rig.session->busy() && continuous->text() == "Continuous", 20000);
    QCOMPARE(printing(), (QList<bool>{true, true, true}));

    // During an exchange the operating controls are locked.
    QTest::mouseClick(child<QPushButton>(w, "Command11"), Qt::LeftButton);
    QVERIFY(rig.session->busy());
    QVERIFY(!record->isEnabled() && !once->isEnabled() && !menuEnabled(w, "m1"));
    QTRY_VERIFY_WITH_TIMEOUT(!rig.session->busy(), 20000);
    QVERIFY(record->isEnabled() && menuEnabled(w, "m1"));

    QTest::mouseClick(child<QPushButton>(w, "Command20"), Qt::LeftButton);
    CHECK_SHOWN(w, QStringLiteral("window/shown.tsv"), QStringLiteral("disconnected"));

    // A logger plugged back in is said; the Tool menu turns this off (what
    // either does to the link: tst_link_connection).
    rig.session->plugBack().timer_.setInterval(10);
    connectWindow(w, *rig.session);
    rig.sim->unplug();
    rig.sim->plugIn();
    QTRY_VERIFY_WITH_TIMEOUT(rig.session->connected() && !rig.session->busy(), 20000);
    QCOMPARE(label("StatusBar1_Panel2"), PlugBack::ReconnectedText(QStringLiteral("1")));
    auto* entry = w.findChild<QAction*>(QStringLiteral("mPlugBack"));
    QVERIFY(entry && entry->isChecked());
    entry->trigger();
    QVERIFY(!rig.session->plugBack().enabled());
    QVERIFY(rig.prompt.messages.isEmpty());
  }

  void eachDialogAndMenuEntryWorksFromTheWindow() {
    WINDOW();
    connectWindow(w, *rig.session);
    // Each entry point shows its dialog, modal, named by its form.
    const auto opened = [](const char* form) -> QWidget* {
      for (QWidget* t : QApplication::topLevelWidgets())
        if (t->objectName() == QLatin1String(form) && t->isVisible()) return t;
      return nullptr;
    };
    const QList<QPair<const char*, const char*>> entries{
        {"m22", "Form7"}, {"m34", "Form6"}, {"Command26", "Form11"}, {"Command28", "Form8"},
        {"m33", "Form2"}, {"m31", "Form5"}, {"mVersion", "Form4"}};
    for (const auto& [control, form] : entries) {
      if (auto* b = w.findChild<QPushButton*>(QString::fromLatin1(control)))
        b->click();
      else if (auto* a = w.findChild<QAction*>(QString::fromLatin1(control)))
        a->trigger();
      else
        QFAIL(control);
      QWidget* d = opened(form);
      QVERIFY2(d, form);
      QCOMPARE(d->windowModality(), Qt::ApplicationModal);
      d->close();
      QTRY_VERIFY(!opened(form));
    }

    const auto trigger = [&w](const char* name) {
      w.findChild<QAction*>(QString::fromLatin1(name))->trigger();
    };
    // The record button leads through the start dialog to a recording.
    // The demo logger holds a log never downloaded: starting over is confirmed.
    rig.prompt.answers.enqueue(true);
    child<QPushButton>(w, "Command4")->click();
    QCOMPARE(rig.prompt.questions.size(), 1);
    QWidget* start = opened("Form12");
    QVERIFY(start);
    start->findChild<QPushButton*>(QStringLiteral("Command1"))->click();
    QTRY_VERIFY_WITH_TIMEOUT(!rig.session->busy() && rig.sim->model().isRecording(), 20000);
    QVERIFY(!opened("Form12"));
    CHECK_SHOWN(w, QStringLiteral("window/shown.tsv"), QStringLiteral("recording"));

    // Stopped again, the download shows its progress window and ends on the
    // log, in the list sorted as it was: nothing but a continuous run's start
    // puts the list back in record order.
    child<QPushButton>(w, "Command4")->click();
    QTRY_VERIFY_WITH_TIMEOUT(!rig.session->busy(), 20000);
    trigger("mDisplayLogDump");
    auto* list = child<QTreeView>(w, "ListView1");
    const auto sorted = [list] {
      return list->header()->isSortIndicatorShown() ? list->header()->sortIndicatorSection() : -1;
    };
    list->header()->sectionClicked(DumpModel::TempColumn);
    child<QPushButton>(w, "Command5")->click();
    QTRY_VERIFY(opened("DownloadProgress"));
    QTRY_VERIFY_WITH_TIMEOUT(!rig.session->busy(), 30000);
    QTRY_VERIFY(!opened("DownloadProgress"));
    CHECK_SHOWN(w, QStringLiteral("window/shown.tsv"), QStringLiteral("log shown"));
    QCOMPARE(sorted(), int(DumpModel::TempColumn));
    const auto* model = list->model();
    const int rows = model->rowCount();
    QCOMPARE(rows, int(rig.session->data().info(LogData).Points));
    QVERIFY(model->index(0, 2).data().toString() <= model->index(rows - 1, 2).data().toString());

    // The menus drive the same operations.
    // Status update reads the logger again: a change there shows up.
    rig.sim->model().setStateBits(sim::DeviceModel::Recording);
    trigger("m23");
    QTRY_COMPARE_WITH_TIMEOUT(child<QLabel>(w, "Label16")->text(), QStringLiteral("Recording"),
                              20000);
    // The record entry presses the record button: stopping here.
    trigger("m21");
    QTRY_VERIFY_WITH_TIMEOUT(!rig.session->busy(), 20000);
    QVERIFY(!rig.sim->model().isRecording());
    // Download starts one (what it shows: the button's download above).
    QSignalSpy downloads(&rig.session->download(), &DownloadOperation::started);
    trigger("mDownload");
    QCOMPARE(downloads.size(), 1);
    QTRY_VERIFY_WITH_TIMEOUT(!rig.session->busy(), 30000);

    // (The Display menu's entries and the options: tst_ui_graphs.)
    // Save the log as CSV, then open it as the file set.
    const QString csv = dir.filePath(QStringLiteral("log.csv"));
    rig.prompt.savePaths << csv;
    trigger("m122");
    rig.prompt.openPaths << csv;
    trigger("m11");
    QCOMPARE(rig.session->data().info(FileData).Points, rig.session->data().info(LogData).Points);
    CHECK_SHOWN(w, QStringLiteral("window/shown.tsv"), QStringLiteral("file shown"));
    QCOMPARE(sorted(), int(DumpModel::TempColumn));
    QVERIFY(rig.prompt.messages.isEmpty());
    QTest::mouseClick(child<QPushButton>(w, "Command2"), Qt::LeftButton);
    QCOMPARE(sorted(), -1);
    QTest::mouseClick(child<QPushButton>(w, "Command2"), Qt::LeftButton);
    QTRY_VERIFY_WITH_TIMEOUT(!rig.session->realtime().running() && !rig.session->busy(), 20000);
  }

  // 1366x768 at a scale of 1.5 leaves 910 of the window's own pixels across.
  // On a screen that narrow the content still fits whole (the logger's panel
  // takes its least width); on a narrower one it scrolls sideways, so no
  // control is ever out of reach. 1366x768 at 100 % and 1920x1080 at 150 %
  // leave 1280x720, less a title bar and a desktop panel: the window fits it
  // whole and keeps the size it is given.
  void fitsAScaledSmallScreen() {
    QTemporaryDir dir;
    Rig rig(dir.path());
    Form1 w(rig.session.get(), &rig.prompt);
    auto* area = child<QScrollArea>(w, "WindowArea");
    QVERIFY(area);
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    const int least = area->widget()->minimumSizeHint().width();
    QVERIFY2(least <= 1366 * 2 / 3, qPrintable(QString::number(least)));
    w.resize(least - 100, 500);
    QTRY_VERIFY(area->horizontalScrollBar()->isVisible());
    area->horizontalScrollBar()->setValue(area->horizontalScrollBar()->maximum());
    auto* print = child<QPushButton>(w, "Command24");
    QTRY_VERIFY(area->viewport()->rect().contains(
        QRect(print->mapTo(area->viewport(), QPoint()), print->size())));

    const QSize screen = QSize(1280, 720) - QSize(16, 80);
    const QSize whole = w.minimumSizeHint();
    QVERIFY2(whole.width() <= screen.width() && whole.height() <= screen.height(),
             qPrintable(QStringLiteral("%1x%2").arg(whole.width()).arg(whole.height())));
    w.resize(screen);
    QTRY_COMPARE(w.size(), screen);
    // What closes the window off is inside it, and the graphs keep a
    // readable height.
    const auto inside = [&w](QWidget* c) {
      return c->isVisible() && w.rect().contains(QRect(c->mapTo(&w, QPoint()), c->size()));
    };
    QVERIFY(inside(child<QStatusBar>(w, "StatusBar1")));
    QVERIFY(inside(print));
    for (const char* g : {"ondo", "situdo"}) {
      QVERIFY2(inside(child<QWidget>(w, g)), g);
      QVERIFY2(child<QWidget>(w, g)->height() >= 150, g);
    }
    // The logger's panel scrolls down to its last buttons.
    auto* panel = child<QScrollArea>(w, "LoggerPanel");
    auto* last = child<QPushButton>(w, "Command2");
    QVERIFY(panel);
    panel->ensureWidgetVisible(last);
    QVERIFY(panel->viewport()->rect().contains(
        QRect(last->mapTo(panel->viewport(), QPoint()), last->size())));

    // At the size it opens with, the mouse read-out is shown whole.
    w.resize(1180, screen.height());
    QTRY_COMPARE(w.width(), 1180);
    auto* readOut = child<QLabel>(w, "StatusBar1_Panel1");
    readOut->setText(
        QStringLiteral("Date 2010/05/01 12:00:00   Temperature -12.34 C   Humidity 100.00 %RH"));
    QTRY_VERIFY(readOut->contentsRect().width() >=
                readOut->fontMetrics().horizontalAdvance(readOut->text()));

    // Neither an opened file nor a run makes the window wider or taller.
    QVERIFY(rig.session->openFile(test::csvFixture(QStringLiteral("qm720xc.csv"))));
    QTest::qWait(50);
    QCOMPARE(w.size(), QSize(1180, screen.height()));
    connectWindow(w, *rig.session);
    QTest::mouseClick(child<QPushButton>(w, "Command2"), Qt::LeftButton);
    QTRY_VERIFY_WITH_TIMEOUT(rig.session->data().info(RealTimeData).Points >= 1, 20000);
    QCOMPARE(w.size(), QSize(1180, screen.height()));
    QTest::mouseClick(child<QPushButton>(w, "Command2"), Qt::LeftButton);
    QTRY_VERIFY_WITH_TIMEOUT(!rig.session->realtime().running() && !rig.session->busy(), 20000);
    QCOMPARE(w.size(), QSize(1180, screen.height()));

    // Closed during a run: the run stops, the port closes, and the samples
    // are offered once, as real-time data.
    QTest::mouseClick(child<QPushButton>(w, "Command2"), Qt::LeftButton);
    QVERIFY(rig.session->realtime().running());
    QTRY_VERIFY_WITH_TIMEOUT(rig.session->data().info(RealTimeData).Points >= 1, 20000);
    rig.prompt.questions.clear();
    w.close();
    QVERIFY(!rig.session->realtime().running());
    QVERIFY(!rig.sim->isOpen());
    QCOMPARE(rig.prompt.questions, QStringList{"Is real-time data preserved?"});
    QCOMPARE(scratchAndLock(dir.path()), QStringList());
  }

  void closingAsksSavesSettingsAndRemovesScratchFiles() {
    WINDOW();
    QVERIFY(test::addSample(rig.session->data(), RealTimeData, 20, 50));
    rig.session->data().info(RealTimeData).Modified = true;
    QVERIFY(test::addSample(rig.session->data(), LogData, 21, 51));
    rig.session->data().info(LogData).Modified = true;
    QVERIFY(!QFile::exists(dir.filePath("Logger.ini")));
    QVERIFY(QFile::exists(dir.filePath("real.rand")));

    // Declined both: nothing is written, the scratch files go all the same.
    w.findChild<QAction*>(QStringLiteral("m14"))->trigger();
    QCOMPARE(rig.prompt.questions, (QStringList{"Is the data of the log record preserved?",
                                                "Is real-time data preserved?"}));
    QVERIFY(!w.isVisible());
    QVERIFY(QFile::exists(dir.filePath("Logger.ini")));
    QCOMPARE(scratchAndLock(dir.path()), QStringList());

    // Nothing unsaved: nothing is asked. The settings file gives the port and
    // the folder the window opens with, keeps a port picked at once, and
    // keeps what it does not use.
    QTemporaryDir dir2;
    const QString ini = dir2.filePath(QStringLiteral("Logger.ini"));
    const QString folder = dir2.filePath(QStringLiteral("csv files"));
    QVERIFY(LoggerIni_Save(ini, LoggerIniValues{3, 7, folder}));
    Rig quiet(dir2.path());
    Form1 w2(quiet.session.get(), &quiet.prompt);
    w2.show();
    auto* port = child<QComboBox>(w2, "Combo4");
    QCOMPARE(port->currentText(), QStringLiteral("3"));
    QCOMPARE(quiet.prompt.startFolder, folder);
    QCOMPARE(quiet.sim->port(), QStringLiteral("3"));
    port->lineEdit()->selectAll();
    QTest::keyClicks(port->lineEdit(), QStringLiteral("5"));
    QTest::keyClick(port->lineEdit(), Qt::Key_Return);
    QCOMPARE(LoggerIni_Read(ini).port, qint16(5));
    w2.close();
    QVERIFY(quiet.prompt.questions.isEmpty());
    QCOMPARE(scratchAndLock(dir2.path()), QStringList());
    const LoggerIniValues v = LoggerIni_Read(ini);
    QCOMPARE(QStringLiteral("%1 %2 %3").arg(v.port).arg(v.option).arg(v.folder),
             QStringLiteral("5 7 ") + folder);
  }

  void searchShowsEachPortAndCanBeCancelled() {
    WINDOW(/*numberedPorts=*/true);
    auto* button = child<QPushButton>(w, "Command20");
    auto* panel = child<QLabel>(w, "StatusBar1_Panel1");
    child<QComboBox>(w, "Combo4")->setCurrentText(QString());

    // Each port tried is shown, with the button offering to cancel.
    QStringList shown, captions;
    auto watch = connect(&rig.session->connection(), &Connection::searchingPort, &w, [&] {
      shown << panel->text();
      captions << button->text();
    });
    QTest::mouseClick(button, Qt::LeftButton);
    QVERIFY(rig.session->connected());  // the logger sits on port 1
    QVERIFY2(shown.first().startsWith(QStringLiteral("Searching ")), qPrintable(shown.first()));
    QVERIFY(shown.first() != shown.last());
    QCOMPARE(captions, QStringList(16, QStringLiteral("Cancel")));
    QCOMPARE(button->text(), QStringLiteral("Disconnect"));
    disconnect(watch);
    QTest::mouseClick(button, Qt::LeftButton);
    QVERIFY(!rig.session->connected());

    // The button cancels at the first port: no more are tried (what a
    // cancelled search leaves and says: tst_link_connection).
    int tried = 0;
    connect(&rig.session->connection(), &Connection::searchingPort, &w, [&] {
      if (++tried == 1) QTest::mouseClick(button, Qt::LeftButton);
    });
    child<QComboBox>(w, "Combo4")->setCurrentText(QString());
    QTest::mouseClick(button, Qt::LeftButton);
    QCOMPARE(tried, 1);
    QVERIFY(!rig.session->connected());
    QCOMPARE(button->text(), QStringLiteral("Connect"));
  }

  void offersLeftoversAtStartAndASignalKeepsThemUnsaved() {
    QTemporaryDir dir;
    const double t0 = fmt::dateSerial(2026, 11, 23, 10, 0, 0);
    QList<MeasurementRecord> recs;
    for (int n = 0; n < 25; ++n) recs << test::makeRecord(20 + n * 0.1f, 50, t0 + n * 5 / 86400.0);
    // Left by a window that was killed: its samples and an unused log file.
    QVERIFY(test::writeScratchFile(dir.filePath("real.rand"), recs, QByteArray(7, 'x')));
    QVERIFY(test::writeScratchFile(dir.filePath("log.rand"), {}));

    test::WindowPrompt prompt;
    auto session = test::DemoSession(new sim::SimTransport, &prompt);
    session->data().announceLeftovers = false;
    QCOMPARE(OpenDataFolder(session->data(), dir.path(), &prompt), FolderOpen::Opened);
    QCOMPARE(session->data().recoveredFiles().size(), 1);
    const QString aside = session->data().recoveredFiles().first();
    Form1 w(session.get(), &prompt);
    w.show();
    QVERIFY(prompt.messages.isEmpty());

    prompt.answers << true;
    QCOMPARE(w.offerRecovery(), 1);
    // The question's text: tst_data_sets.
    QCOMPARE(prompt.questions.size(), 1);
    QVERIFY(prompt.questions[0].contains(QStringLiteral("25 real-time samples")));
    const DataSetInfo& rt = session->data().info(RealTimeData);
    QCOMPARE(rt.Points, qint16(25));
    QCOMPARE(rt.Interval, 5);
    QCOMPARE(session->data().Get(RealTimeData, 25).Time, recs.last().Time);
    QCOMPARE(session->shownSet(), int(RealTimeData));

    // Unsaved, they are kept when a signal ends the window, and nobody is
    // asked (what such a close keeps: tst_data_sets); the leftover stays
    // where it was moved.
    prompt.questions.clear();
    QCOMPARE(w.endBySignal(), QStringList{dir.filePath("real.rand")});
    QVERIFY(prompt.questions.isEmpty());
    QVERIFY(!w.isVisible());
    QVERIFY(QFile::exists(aside));
    QVERIFY(QFile::remove(dir.filePath("real.rand")));

    // Declining leaves the set empty; the file is offered no more once it
    // has been moved aside.
    test::WindowPrompt again;
    auto second = test::DemoSession(new sim::SimTransport, &again);
    second->data().announceLeftovers = false;
    QVERIFY(test::writeScratchFile(dir.filePath("log.rand"), recs));
    QCOMPARE(OpenDataFolder(second->data(), dir.path(), &again), FolderOpen::Opened);
    Form1 w2(second.get(), &again);
    QCOMPARE(w2.offerRecovery(), 0);
    QCOMPARE(again.questions.size(), 1);
    QVERIFY(again.questions.first().contains(QStringLiteral("a log of 25 points")));
    QCOMPARE(second->data().info(LogData).Points, qint16(0));
    second->data().closeAndRemove();
  }

  void filePanelShowsBoundsAndOnlyAWholeFile() {
    WINDOW();
    Session& s = *rig.session;
    const auto rows = [&w] { return child<QTreeView>(w, "ListView1")->model()->rowCount(); };
    QVERIFY(s.openFile(test::csvFixture(QStringLiteral("points0.csv"))));
    w.findChild<QAction*>(QStringLiteral("mDisplayFileDump"))->trigger();
    CHECK_SHOWN(w, QStringLiteral("window/shown.tsv"), QStringLiteral("file of no points"));

    // A value that is no number in row 3: refused, and nothing of the file
    // reaches the set, the panel or the list.
    const QString bad = test::csvFixture(QStringLiteral("decimal_comma.csv"));
    QVERIFY(!s.openFile(bad));
    QCOMPARE(rig.prompt.messages, QStringList{"File error\r\r" + QDir::toNativeSeparators(bad) +
                                              ", line 6: '-0,25' is not a number."});
    CHECK_SHOWN(w, QStringLiteral("window/shown.tsv"), QStringLiteral("file of no points"));
    QCOMPARE(rows(), 0);

    // A file with bounds shows them; one without hides the labels again.
    QVERIFY(s.openFile(test::csvFixture(QStringLiteral("qm720xc.csv"))));
    CHECK_SHOWN(w, QStringLiteral("window/shown.tsv"), QStringLiteral("file with bounds"));
    QCOMPARE(rows(), 4);
    QVERIFY(s.openFile(test::csvFixture(QStringLiteral("qm720xcb.csv"))));
    CHECK_SHOWN(w, QStringLiteral("window/shown.tsv"), QStringLiteral("file without bounds"));

    // The window is served while a file is read: a timer due at once fires
    // before the read of the largest file a set can hold is over.
    DataSets full;
    test::fillSeconds(full, RealTimeData, kMaxPoints, 60);
    const QString big = dir.filePath(QStringLiteral("full.csv"));
    QString error;
    QVERIFY2(Csv_Write(full, RealTimeData, QString(), QStringLiteral("BIG"), big, &error),
             qPrintable(error));
    bool served = false;
    QTimer::singleShot(0, &w, [&] { served = s.data().info(FileData).Name != u"BIG"; });
    QVERIFY(s.openFile(big));
    QVERIFY(served);
    QCOMPARE(s.data().info(FileData).Points, kMaxPoints);
  }

  void signalsEndTheWindowProgram_data() {
    QTest::addColumn<int>("sig");
    QTest::addColumn<bool>("leftover");
    QTest::newRow("SIGTERM") << int(SIGTERM) << false;
    QTest::newRow("SIGHUP") << int(SIGHUP) << false;
    // With a leftover the recovery question may be open when it comes.
    QTest::newRow("SIGINT, leftover offered") << int(SIGINT) << true;
  }

  void signalsEndTheWindowProgram() {
    QFETCH(int, sig);
    QFETCH(bool, leftover);
    if (!QFile::exists(windowExecutable())) QSKIP("the window program is not built");
    QTemporaryDir dir;
    if (leftover)
      QVERIFY(test::writeScratchFile(dir.filePath("real.rand"), {test::makeRecord(1, 2, 46000)}));
    QProcess p;
    p.setProgram(windowExecutable());
    p.setArguments({QStringLiteral("--demo"), QStringLiteral("--data-dir"), dir.path()});
    p.start();
    QVERIFY(p.waitForStarted(10000));
    // Started: the folder is locked and the scratch files are open.
    QTRY_COMPARE_WITH_TIMEOUT(
        scratchAndLock(dir.path()),
        (QStringList{"disp.rand", "hygrotab.lock", "log.rand", "read.rand", "real.rand"}), 30000);
    QVERIFY(::kill(static_cast<pid_t>(p.processId()), sig) == 0);
    QVERIFY(p.waitForFinished(30000));
    const QString err = QString::fromLocal8Bit(p.readAllStandardError());
    QCOMPARE(p.exitStatus(), QProcess::NormalExit);
    QVERIFY2(p.exitCode() == 128 + sig, qPrintable(err));
    QVERIFY2(err.contains(QStringLiteral("ended by signal %1").arg(sig)), qPrintable(err));
    // Nothing unsaved: every scratch file and the lock are gone; a
    // leftover stays where it was moved.
    QCOMPARE(scratchAndLock(dir.path()), QStringList());
    QCOMPARE(QDir(dir.path()).entryList({QStringLiteral("real.rand.crash-*")}).size(),
             leftover ? 1 : 0);
  }
};

QTEST_MAIN(TestForm1)
#include "tst_ui_form1.moc"
