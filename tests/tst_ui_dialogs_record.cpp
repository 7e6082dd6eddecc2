// The recording dialogs on the emulated logger: what they open with, the
// bytes their OK sends, and what they refuse.
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QStyle>
#include <QStyleOptionSlider>
#include <QtTest>

#include "data/formats.h"
#include "dialogs/form12.h"
#include "dialogs/form6.h"
#include "dialogs/form7.h"
#include "link/frame.h"
#include "logger/session.h"
#include "support/emulator_rig.h"
#include "support/ui_dialogs.h"
#include "support/widget_table.h"

using namespace hygro;
using test::child;
using test::click;

namespace {

using Rig = test::EmulatorRig;
using test::kStatusCodes;

#define CONNECTED(r, ...) \
  Rig r(__VA_ARGS__);     \
  QVERIFY(r.connect())

// A fixed present time for the dialogs.
DialogClock fixedClock(const QDateTime* now) {
  return [now] { return *now; };
}

void leave(QWidget* w) {
  QFocusEvent out(QEvent::FocusOut, Qt::TabFocusReason);
  QApplication::sendEvent(w, &out);
}

}  // namespace

class TestRecordDialogs : public QObject {
  Q_OBJECT
 private Q_SLOTS:
  void startDialogSendsWhatItShows_data() {
    QTest::addColumn<QString>("model");
    QTest::addColumn<bool>("boundsShown");
    QTest::addColumn<QByteArray>("upper");
    QTest::addColumn<QByteArray>("lower");
    // 25 C with its alarm on: 6460 = 25 * 256 + 60; -8 C off: 3160 = 12 * 256 + 88.
    QTest::newRow("QM720-XC") << "QM720-XC" << true << CommandFrame(1, 45, 25 + 128, 60)
                              << CommandFrame(1, 46, 12, 88);
    QTest::newRow("QM510-XC") << "QM510-XC" << false << CommandFrame(1, 45, 0, 0)
                              << CommandFrame(1, 46, 0, 0);
  }
  void startDialogSendsWhatItShows() {
    QFETCH(QString, model);
    QFETCH(bool, boundsShown);
    QFETCH(QByteArray, upper);
    QFETCH(QByteArray, lower);
    CONNECTED(r, QStringLiteral("idle.json"), model);
    QCOMPARE(r.session.recording().Command4_Click(), RecordButton::ShowStartDialog);
    Form12 f(&r.session);
    f.show();

    // Opens with what the logger holds: LAB1, 10 min, 30 C on, -5 C off, one time.
    CHECK_SHOWN(f, QStringLiteral("window/shown.tsv"), QStringLiteral("start"));
    QCOMPARE(child<QGroupBox>(f, "Frame3")->isVisible(), boundsShown);

    child<QLineEdit>(f, "Text1")->setText(QStringLiteral("T1"));
    child<QRadioButton>(f, "Option1")->setChecked(true);
    child<QComboBox>(f, "Combo2")->setCurrentText(QStringLiteral("2"));
    child<QScrollBar>(f, "VScroll4")->setValue(25);
    child<QScrollBar>(f, "VScroll5")->setValue(-8);
    child<QRadioButton>(f, "Option8")->setChecked(true);
    // Enter starts, as OK does; it never leads off to the reservation.
    QVERIFY(!child<QPushButton>(f, "Command3")->isDefault());
    QTest::keyClick(child<QLineEdit>(f, "Text1"), Qt::Key_Return);
    QCOMPARE(f.result(), int(QDialog::Accepted));
    QVERIFY(r.waitIdle());
    // What the dialog's values became (the sequence around them: tst_logger_ops).
    QCOMPARE(r.frames.mid(0, 5),
             (QByteArrayList{CommandFrame(1, 40, 'T', '1'), CommandFrame(1, 41, ' ', ' '), upper,
                             lower, CommandFrame(1, 49, 1, 1)}));
    QCOMPARE(r.frame(25), CommandFrame(1, 25, 1, 1));  // every 2 s: the fast start
    QCOMPARE(r.frame(11), CommandFrame(1, 11, 0x82, 2));
    QVERIFY2(r.prompt.calls.isEmpty(), qPrintable(r.prompt.messages().join('|')));
    QCOMPARE(r.session.view().Label16, QStringLiteral("Recording"));

    // Cancel sends nothing.
    r.frames.clear();
    Form12 again(&r.session);
    again.show();
    click(again, "Command2");
    QCOMPARE(again.result(), int(QDialog::Rejected));
    QVERIFY(r.frames.isEmpty());
  }

  void startDialogControlsFollowTheirRules() {
    CONNECTED(r, QStringLiteral("idle.json"));
    Form12 f(&r.session);
    test::checkBoundBars(f, "VScroll4", "VScroll5");
    // Up is warmer, as the bar shows it.
    auto* upper = child<QScrollBar>(f, "VScroll4");
    upper->setValue(42);
    QStyleOptionSlider opt;
    opt.initFrom(upper);
    opt.orientation = Qt::Vertical;
    opt.minimum = upper->minimum();
    opt.maximum = upper->maximum();
    opt.sliderPosition = opt.sliderValue = upper->value();
    opt.upsideDown = true;
    const QRect top = upper->style()->subControlRect(QStyle::CC_ScrollBar, &opt,
                                                     QStyle::SC_ScrollBarSubLine, upper);
    QVERIFY(top.center().y() < upper->height() / 2);
    QTest::mouseClick(upper, Qt::LeftButton, {}, top.center());
    QCOMPARE(upper->value(), 43);

    // (The value list of each unit: the reservation dialog's test, on the
    // picker both dialogs share.)
    // Settings no list holds open as five seconds; a whole hour as 60 min.
    LoggerStatus held = r.session.status();
    held.SetInterval = 90;
    QCOMPARE(RecordingOperation::StartDefaultsFrom(held).intervalValue, 5);
    QVERIFY(!RecordingOperation::StartDefaultsFrom(held).minutes);
    held.SetInterval = 3600;
    QCOMPARE(RecordingOperation::StartDefaultsFrom(held).intervalValue, 60);
    QVERIFY(RecordingOperation::StartDefaultsFrom(held).minutes);

    // A forbidden name is refused.
    f.show();
    auto* text = child<QLineEdit>(f, "Text1");
    text->setText(QStringLiteral("A/B"));
    leave(text);
    QCOMPARE(r.prompt.messages(), QStringList{SettingsOperation::ForbiddenNameMessage()});
    QCOMPARE(r.prompt.calls.last().title, QStringLiteral("QM510-XC"));
    QCOMPARE(text->text(), QStringLiteral("LAB1"));
    // The click whose focus change was refused does not start anything.
    click(f, "Command1");
    QVERIFY(f.isVisible());
    QVERIFY(r.frames.isEmpty());

    // Enter in the box (no focus change) is checked as well.
    text->setText(QStringLiteral("X*"));
    f.Command1_Click();
    QCOMPARE(r.prompt.messages().size(), 2);
    QCOMPARE(text->text(), QStringLiteral("LAB1"));
    QVERIFY(f.isVisible());
    QVERIFY(r.frames.isEmpty());

    // A good name is kept and becomes the one to fall back to.
    text->setText(QStringLiteral("OK1"));
    leave(text);
    QCOMPARE(r.prompt.messages().size(), 2);
    text->setText(QStringLiteral("a|b"));
    leave(text);
    QCOMPARE(text->text(), QStringLiteral("OK1"));
  }

  void startDialogReservesAStart() {
    CONNECTED(r, QStringLiteral("idle.json"));
    const QDateTime now(QDate(2030, 1, 15), QTime(8, 0, 20));
    Form12 f(&r.session, nullptr, fixedClock(&now));
    f.show();
    child<QCheckBox>(f, "Check1")->setChecked(true);
    CHECK_SHOWN(f, QStringLiteral("window/shown.tsv"), QStringLiteral("reserve at 08:00:20"));

    // Before the present minute: refused, back to the present, nothing sent.
    child<QScrollBar>(f, "VScroll2")->setValue(7);
    click(f, "Command1");
    QCOMPARE(r.prompt.messages(),
             QStringList{QStringLiteral("The mistake is found at the reservation time.")});
    QCOMPARE(child<QLabel>(f, "Label6")->text(), QStringLiteral("08:"));
    QVERIFY(f.isVisible());
    QVERIFY(r.frames.isEmpty());

    child<QScrollBar>(f, "VScroll1")->setValue(1);
    child<QScrollBar>(f, "VScroll3")->setValue(45);
    QCOMPARE(child<QLabel>(f, "Label5")->text(), QStringLiteral("2030/01/16/"));
    click(f, "Command1");
    QVERIFY(r.waitIdle());
    QCOMPARE(r.codes(),
             QList<int>({40, 41, 45, 46, 49, 1, 2, 3, 4, 5, 6, 25, 31, 32, 33, 17}) + kStatusCodes);
    QCOMPARE(r.frames.mid(12, 4),
             (QByteArrayList{CommandFrame(1, 31, 16, 0), CommandFrame(1, 32, 8, 0),
                             CommandFrame(1, 33, 45, 0), CommandFrame(1, 17, 0x83, 10)}));
    QCOMPARE(r.session.view().Label16, QStringLiteral("Reserving"));
  }

  void reservationDialogReservesWithTheLoggersSettings() {
    CONNECTED(r, QStringLiteral("idle.json"));
    QDateTime now(QDate(2030, 1, 15), QTime(8, 0, 20));
    Form7 f(&r.session, nullptr, fixedClock(&now));
    f.show();
    CHECK_SHOWN(f, QStringLiteral("window/shown.tsv"), QStringLiteral("reservation at 08:00:20"));
    now = now.addSecs(1);
    QTRY_COMPARE_WITH_TIMEOUT(child<QLabel>(f, "Label1")->text(),
                              QStringLiteral("2030/01/15 08:00:21:"), 10000);

    // Seconds list 2..59, minutes 1..60, the chosen unit's caption beside it.
    child<QRadioButton>(f, "Option1")->setChecked(true);
    CHECK_SHOWN(f, QStringLiteral("window/shown.tsv"), QStringLiteral("interval in seconds"));
    child<QRadioButton>(f, "Option2")->setChecked(true);
    CHECK_SHOWN(f, QStringLiteral("window/shown.tsv"), QStringLiteral("interval in minutes"));
    QVERIFY(f.findChildren<QLabel*>().end() !=
            std::find_if(f.findChildren<QLabel*>().begin(), f.findChildren<QLabel*>().end(),
                         [](QLabel* l) { return l->text() == QLatin1String("Min"); }));
    child<QComboBox>(f, "Combo2")->setCurrentText(QStringLiteral("3"));

    // The present minute itself may be reserved.
    click(f, "Command1");
    QCOMPARE(f.result(), int(QDialog::Accepted));
    QVERIFY(r.waitIdle());
    QCOMPARE(r.frames.mid(6, 5),
             (QByteArrayList{CommandFrame(1, 25, 0, 0), CommandFrame(1, 31, 15, 0),
                             CommandFrame(1, 32, 8, 0), CommandFrame(1, 33, 0, 0),
                             CommandFrame(1, 17, 0x83, 3)}));
    QVERIFY2(r.prompt.calls.isEmpty(), qPrintable(r.prompt.messages().join('|')));
  }

  void reservationDialogRefusals() {
    {
      CONNECTED(r, QStringLiteral("idle.json"));
      const QDateTime now(QDate(2030, 1, 15), QTime(8, 10, 0));
      // The date bar reaches the day the present minute comes round again,
      // and on that day the minutes from then on are refused (a time past
      // takes the same way: the start dialog's test).
      Form7 h(&r.session, nullptr, fixedClock(&now));
      h.show();
      auto* date = child<QScrollBar>(h, "VScroll1");
      QCOMPARE(date->maximum(), 31);
      date->setValue(date->maximum());
      QCOMPARE(child<QLabel>(h, "Label5")->text(), QStringLiteral("2030/02/15/"));
      click(h, "Command1");
      QVERIFY2(r.prompt.messages().value(0).endsWith(
                   QStringLiteral("The last time that can be reserved now is 2030/02/15 08:09.")),
               qPrintable(r.prompt.messages().join('|')));
      QCOMPARE(date->value(), 0);
      QVERIFY(h.isVisible());
      QVERIFY(r.frames.isEmpty());
      // February has no 31st: all of it, and not a day more.
      const QDateTime end(QDate(2031, 1, 31), QTime(10, 0, 0));
      Form12 f(&r.session, nullptr, fixedClock(&end));
      QCOMPARE(child<QScrollBar>(f, "VScroll1")->maximum(), 28);
    }
    {
      CONNECTED(r, QStringLiteral("lowbattery.json"));
      const QDateTime now(QDate(2030, 1, 15), QTime(8, 10, 0));
      Form7 f(&r.session, nullptr, fixedClock(&now));
      f.show();
      click(f, "Command1");
      QCOMPARE(r.prompt.messages(), QStringList{QStringLiteral("Please change a battery.")});
      QCOMPARE(f.result(), int(QDialog::Rejected));
      QVERIFY(!f.isVisible());
      QVERIFY(r.frames.isEmpty());
    }
  }

  void startDialogLeadsToTheReservation() {
    CONNECTED(r, QStringLiteral("idle.json"));
    const QDateTime now(QDate(2030, 1, 15), QTime(8, 0, 0));
    Form12 f(&r.session, nullptr, fixedClock(&now));
    f.show();
    bool sawForm7 = false;
    // Cancelled: back to the start dialog.
    QTimer::singleShot(0, &f, [&] {
      auto* form7 = f.findChild<Form7*>(QStringLiteral("Form7"));
      sawForm7 = form7 && form7->isVisible() && !f.isVisible();
      if (form7) click(*form7, "Command2");
    });
    click(f, "Command3");
    QVERIFY(sawForm7);
    QVERIFY(f.isVisible());
    QVERIFY(r.frames.isEmpty());
    // Confirmed: the reservation is made and the start dialog is done.
    QTimer::singleShot(0, &f, [&] {
      if (auto* form7 = f.findChild<Form7*>(QStringLiteral("Form7"))) click(*form7, "Command1");
    });
    click(f, "Command3");
    QCOMPARE(f.result(), int(QDialog::Accepted));
    QVERIFY(r.waitIdle());
    QCOMPARE(r.codes().mid(0, 11), QList<int>({1, 2, 3, 4, 5, 6, 25, 31, 32, 33, 17}));
  }

  void clockDialogSetsAndConfirms() {
    CONNECTED(r, QStringLiteral("idle.json"));
    QDateTime now(QDate(2030, 1, 15), QTime(8, 0, 0));
    Form6 f(&r.session, nullptr, fixedClock(&now));
    f.show();
    CHECK_SHOWN(f, QStringLiteral("window/shown.tsv"), QStringLiteral("clock at 08:00:00"));
    now = now.addSecs(5);
    QTRY_COMPARE_WITH_TIMEOUT(child<QLabel>(f, "Label1")->text(),
                              QStringLiteral("2030/01/15 08:00:05"), 10000);

    click(f, "Command1");
    QCOMPARE(f.result(), int(QDialog::Accepted));
    QVERIFY(r.waitIdle());
    // The logger's clock as read back: the computer's time of a moment ago.
    QCOMPARE(r.prompt.messages().size(), 1);
    const QString text = r.prompt.messages().first();
    QVERIFY2(text.startsWith(QStringLiteral("Set completion\r\r")), qPrintable(text));
    double readBack = 0;
    QVERIFY2(fmt::parseGeneralDate(text.mid(16), &readBack), qPrintable(text));
    QVERIFY2(qAbs(readBack - fmt::nowSerial()) * 86400 < 5, qPrintable(text));

    r.frames.clear();
    Form6 g(&r.session, nullptr, fixedClock(&now));
    g.show();
    click(g, "Command2");
    QVERIFY(r.frames.isEmpty());
  }
};

QTEST_MAIN(TestRecordDialogs)
#include "tst_ui_dialogs_record.moc"
