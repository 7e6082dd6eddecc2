// The settings dialogs and the download window on the emulated logger: the
// controls are set by name, OK is pressed, and the bytes the logger received
// and the messages shown are checked (their names: tst_ui_form1).
#include <QAbstractSlider>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QtTest>

#include "dialogs/downloadprogress.h"
#include "dialogs/form11.h"
#include "dialogs/form2.h"
#include "dialogs/form4.h"
#include "dialogs/form5.h"
#include "dialogs/form8.h"
#include "link/frame.h"
#include "logger/session.h"
#include "support/emulator_rig.h"
#include "support/ui_dialogs.h"
#include "support/widget_table.h"

using namespace hygro;
using test::child;
using test::click;

namespace {

// A command as the logger receives it (its bytes: tst_link_exchange).
QByteArray frame(int code, int p2, int p3) { return CommandFrame(1, code, p2, p3); }

struct Rig : test::EmulatorRig {
  using EmulatorRig::EmulatorRig;
  // A download cancelled before its stream began holds no exchange, yet
  // is not over.
  bool idle() {
    QDeadlineTimer deadline(15000);
    while ((session.busy() || session.download().downloading()) && !deadline.hasExpired())
      QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    return !session.busy() && !session.download().downloading();
  }
  // The frames sent since connecting or since the last take, end to end.
  QByteArray take() { return std::exchange(frames, {}).join(); }
};

const QString kSetCompletion = QStringLiteral("Set completion");

}  // namespace

class TestSettingsDialogs : public QObject {
  Q_OBJECT
 private Q_SLOTS:
  void settingsOpenOnTheLoggerAndAreWritten() {
    Rig r(QStringLiteral("idle.json"));  // upper 30 C on, lower -5 C off
    {
      // Never connected: the defaults.
      Form11 f(&r.session);
      QCOMPARE(child<QAbstractSlider>(f, "VScroll1")->value(), Form11::kDefaultUpper);
      QCOMPARE(child<QAbstractSlider>(f, "VScroll2")->value(), Form11::kDefaultLower);
      QVERIFY(child<QRadioButton>(f, "Option2")->isChecked());
      QVERIFY(child<QRadioButton>(f, "Option4")->isChecked());
    }
    QVERIFY(r.connect());
    {
      Form11 f(&r.session);
      QVERIFY(child<QPushButton>(f, "Command1")->isDefault());  // Enter presses OK
      CHECK_SHOWN(f, QStringLiteral("window/shown.tsv"), QStringLiteral("alarm bounds"));

      // The bars keep their rule; Cancel writes nothing.
      test::checkBoundBars(f, "VScroll1", "VScroll2");
      click(f, "Command2");
      QCOMPARE(f.result(), int(QDialog::Rejected));
      QVERIFY(r.idle());
      QCOMPARE(r.take(), QByteArray());
    }
    {
      // 35 C on: 7460 = 29 * 256 + 36; -5 C off: 3460 = 13 * 256 + 132.
      Form11 f(&r.session);
      child<QAbstractSlider>(f, "VScroll1")->setValue(35);
      click(f, "Command1");
      QCOMPARE(f.result(), int(QDialog::Accepted));
      QVERIFY(r.idle());
      const QByteArray sent = r.take();
      QVERIFY(sent.startsWith(frame(45, 29 + 128, 36) + frame(46, 13, 132) + frame(99, 0, 0)));
      QCOMPARE(r.prompt.messages(), QStringList{kSetCompletion});
    }
    {
      // Opens on what the status read after the write brought back.
      Form11 f(&r.session);
      QCOMPARE(child<QAbstractSlider>(f, "VScroll1")->value(), 35);
      child<QAbstractSlider>(f, "VScroll1")->setValue(30);
      child<QRadioButton>(f, "Option2")->setChecked(true);
      child<QRadioButton>(f, "Option3")->setChecked(true);
      click(f, "Command1");
      QVERIFY(r.idle());
      QVERIFY(r.take().startsWith(frame(45, 27, 48) + frame(46, 13 + 128, 132)));
    }
    // The memory mode, one time on the logger.
    r.prompt.calls.clear();
    {
      Form8 f(&r.session);
      QVERIFY(child<QPushButton>(f, "Command1")->isDefault());  // Enter presses OK
      CHECK_SHOWN(f, QStringLiteral("window/shown.tsv"), QStringLiteral("memory mode"));
      child<QRadioButton>(f, "Option1")->setChecked(true);
      click(f, "Command1");
      QVERIFY(r.idle());
      QVERIFY(r.take().startsWith(frame(49, 1, 1) + frame(99, 0, 0)));
      QCOMPARE(r.prompt.messages(), QStringList{kSetCompletion});
    }
    {
      Form8 f(&r.session);
      QVERIFY(child<QRadioButton>(f, "Option1")->isChecked());
      child<QRadioButton>(f, "Option2")->setChecked(true);
      click(f, "Command1");
      QVERIFY(r.idle());
      QVERIFY(r.take().startsWith(frame(49, 0, 0) + frame(99, 0, 0)));
    }

    // The identification name: refused with a forbidden character, sent
    // otherwise.
    r.prompt.calls.clear();
    Form2 f(&r.session);
    QVERIFY(child<QPushButton>(f, "Command1")->isDefault());  // Enter presses OK
    QCOMPARE(f.windowTitle(), QStringLiteral("Recognition name setting"));
    f.show();
    auto* text = child<QLineEdit>(f, "Text1");
    QCOMPARE(text->text(), QStringLiteral("LAB1"));
    QCOMPARE(text->selectedText(), QStringLiteral("LAB1"));

    text->setText(QStringLiteral("A/B"));
    click(f, "Command1");
    QCOMPARE(r.prompt.calls.size(), 1);
    QCOMPARE(r.prompt.calls[0].text,
             QStringLiteral("認識名称には次の文字は使えません\r\r           "
                            "\\ / : * ? \" < > |"));
    QCOMPARE(r.prompt.calls[0].title, QStringLiteral("QM510-XC"));
    QCOMPARE(text->text(), QStringLiteral("LAB1"));
    QCOMPARE(text->selectedText(), QStringLiteral("LAB1"));
    QVERIFY(f.isVisible());
    QVERIFY(r.idle());
    QCOMPARE(r.take(), QByteArray());

    // Enter in the box is OK; a short name is padded with blanks.
    text->setText(QStringLiteral("AB"));
    QTest::keyClick(text, Qt::Key_Return);
    QCOMPARE(f.result(), int(QDialog::Accepted));
    QVERIFY(r.idle());
    QVERIFY(r.take().startsWith(frame(40, 'A', 'B') + frame(41, ' ', ' ') + frame(99, 0, 0)));

    // Reopened: the padding is not in the way of typing on.
    Form2 again(&r.session);
    QCOMPARE(child<QLineEdit>(again, "Text1")->text(), QStringLiteral("AB"));
  }

  // The communication setting connects and disconnects; the version dialog
  // shows the hardware line only after a status read.
  void communicationSettingAndVersion() {
    Rig r(QStringLiteral("idle.json"));
    {
      Form4 f(&r.session);
      CHECK_SHOWN(f, QStringLiteral("window/shown.tsv"), QStringLiteral("version"));
      QVERIFY(!child<QLabel>(f, "Label1")->isHidden() &&
              !child<QLabel>(f, "Label1")->text().isEmpty());
      QCOMPARE(child<QLabel>(f, "Label3")->text(), r.session.ModelName());
    }
    {
      Form5 f(&r.session, QStringLiteral("1"));
      QVERIFY(child<QPushButton>(f, "Command1")->isDefault());  // Enter presses OK
      CHECK_SHOWN(f, QStringLiteral("window/shown.tsv"), QStringLiteral("communication"));
      QVERIFY(!f.online());
      child<QRadioButton>(f, "Option1")->setChecked(true);
      click(f, "Command1");
      QVERIFY(f.online());
      QVERIFY(r.idle());
      QVERIFY(r.session.connected());
      r.take();
    }
    {
      Form4 f(&r.session);
      // 1.02: the emulator's firmware byte.
      CHECK_SHOWN(f, QStringLiteral("window/shown.tsv"), QStringLiteral("version, connected"));
      click(f, "Command_ok");
      QCOMPARE(f.result(), int(QDialog::Accepted));
    }
    {
      Form5 f(&r.session, QStringLiteral("1"));
      QVERIFY(f.online());
      // Unchanged: nothing happens.
      click(f, "Command1");
      QVERIFY(r.session.connected());
      QCOMPARE(r.take(), QByteArray());
    }
    {
      Form5 f(&r.session, QStringLiteral("1"));
      child<QRadioButton>(f, "Option2")->setChecked(true);
      click(f, "Command1");
      QVERIFY(!f.online());
      QVERIFY(!r.session.connected());
      QVERIFY(!r.sim->isOpen());
    }
    // (Online on a port without a logger: tst_link_connection says so.)
    QCOMPARE(Form5::PortSetMode(QStringLiteral(" 3 ")), PortSearch::Once);
    QCOMPARE(Form5::PortSetMode(QString()), PortSearch::Search);
  }

  // (A whole download in the window: tst_ui_form1; its texts: tst_logger_ops.)
  void cancelHidesTheWindowAndTurnsOffTheWatchdog() {
    Rig r(QStringLiteral("idle.json"));
    QVERIFY(r.connect());
    DownloadProgress w(&r.session);
    auto* button = child<QPushButton>(w, "Command1");
    // The stream stops after 20 points; the watchdog is far enough away that
    // the test can look and press before it would fail the download.
    r.sim->faults().stallAfterPoints = 20;
    r.session.download().setWatchdogInterval(1000);

    r.session.download().Command5_Click();
    QVERIFY(w.isVisible());
    // Esc does nothing while the points have not started.
    QVERIFY(!button->isEnabled());
    QTest::keyClick(&w, Qt::Key_Escape);
    QVERIFY(w.isVisible());
    QTRY_COMPARE_WITH_TIMEOUT(child<QLabel>(w, "Label1")->text(),
                              QStringLiteral("Download\u3000(20/144)"), 10000);
    QCOMPARE(w.windowTitle(), QStringLiteral("Download\u3000(20/144)"));
    QCOMPARE(child<QProgressBar>(w, "ProgressBar1")->value(), 20);
    QVERIFY(button->isEnabled());
    QVERIFY(r.session.download().downloading());

    QTest::mouseClick(button, Qt::LeftButton);
    QVERIFY(!w.isVisible());
    // A watchdog still running would give up 55 ms into the silence.
    r.session.download().setWatchdogInterval(5);
    QTest::qWait(500);
    QVERIFY(r.session.download().downloading());
    QVERIFY(!w.isVisible());
    QVERIFY(r.prompt.messages().isEmpty());
    // The user gives up by disconnecting: no part of the log is kept.
    r.session.Port_Set_Command(PortSearch::Once, QStringLiteral("1"));
    QVERIFY(r.idle());
    QVERIFY(r.prompt.messages().isEmpty());
    QCOMPARE(r.session.data().info(LogData).Points, 0);
  }
};

QTEST_MAIN(TestSettingsDialogs)
#include "tst_ui_dialogs_settings.moc"
