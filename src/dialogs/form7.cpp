#include "dialogs/form7.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QScrollBar>
#include <QVBoxLayout>

#include "data/formats.h"
#include "dialogs/dialogparts.h"
#include "logger/session.h"

namespace hygro {

namespace {

// Up is later.
QScrollBar* verticalBar(const char* name, int min, int max, int page) {
  auto* bar = named<RaisingScrollBar>(name);
  bar->setRange(min, max);
  bar->setPageStep(page);
  return bar;
}

QLabel* valueCaption(const char* name) {
  auto* l = named<QLabel>(name);
  QFont f = l->font();
  f.setPointSizeF(f.pointSizeF() * 1.25);
  f.setBold(true);
  l->setFont(f);
  l->setAlignment(Qt::AlignCenter);
  return l;
}

}  // namespace

DialogClock SystemClock() {
  return [] { return QDateTime::currentDateTime(); };
}

// ---- RaisingScrollBar

RaisingScrollBar::RaisingScrollBar(QWidget* parent) : QScrollBar(Qt::Vertical, parent) {
  setInvertedAppearance(true);
  setInvertedControls(false);  // Up and the wheel away from the user raise it
  setFocusPolicy(Qt::StrongFocus);
  setMinimumHeight(88);
  // The arrows and the trough step by screen position; mirror their step so
  // that the top arrow raises the value, as the keys do.
  connect(this, &QAbstractSlider::actionTriggered, this, [this](int action) {
    if (!byMouse_) return;
    if (action == SliderSingleStepAdd || action == SliderSingleStepSub ||
        action == SliderPageStepAdd || action == SliderPageStepSub)
      setSliderPosition(2 * value() - sliderPosition());
  });
}

void RaisingScrollBar::mousePressEvent(QMouseEvent* event) {
  byMouse_ = true;
  QScrollBar::mousePressEvent(event);
}

void RaisingScrollBar::mouseReleaseEvent(QMouseEvent* event) {
  QScrollBar::mouseReleaseEvent(event);
  byMouse_ = false;
}

// ---- ReservationPicker

ReservationPicker::ReservationPicker(QWidget* parent) : QWidget(parent) {
  VScroll1 = verticalBar("VScroll1", 0, 0, 7);  // the days ahead: reset()
  VScroll2 = verticalBar("VScroll2", 0, 23, 6);
  VScroll3 = verticalBar("VScroll3", 0, 59, 10);
  VScroll1->setAccessibleName(QStringLiteral("Date"));
  VScroll2->setAccessibleName(QStringLiteral("Hour"));
  VScroll3->setAccessibleName(QStringLiteral("Minute"));
  Label5 = valueCaption("Label5");
  Label6 = valueCaption("Label6");
  Label7 = valueCaption("Label7");
  // Wide enough for the longest caption at any scale.
  Label5->setMinimumWidth(Label5->fontMetrics().horizontalAdvance(QStringLiteral("8888/88/88/")) +
                          8);

  auto* grid = new QGridLayout(this);
  grid->setContentsMargins(0, 0, 0, 0);
  const QStringList heads{QStringLiteral("Date"), QStringLiteral("Hour"), QStringLiteral("Minute")};
  const QList<QScrollBar*> bars{VScroll1, VScroll2, VScroll3};
  const QList<QLabel*> labels{Label5, Label6, Label7};
  for (int i = 0; i < 3; ++i) {
    auto* head = new QLabel(heads[i]);
    head->setAlignment(Qt::AlignCenter);
    auto* cell = new QHBoxLayout;
    cell->addWidget(labels[i], 1);
    cell->addWidget(bars[i]);
    grid->addWidget(head, 0, i);
    grid->addLayout(cell, 1, i);
    grid->setColumnStretch(i, i == 0 ? 2 : 1);
  }
  for (QScrollBar* bar : bars)
    connect(bar, &QScrollBar::valueChanged, this, &ReservationPicker::showValues);
  reset(QDateTime::currentDateTime());
}

void ReservationPicker::reset(const QDateTime& now) {
  today_ = now.date();
  const QSignalBlocker b1(VScroll1), b2(VScroll2), b3(VScroll3);
  // The logger keeps the day of the month, not the month: no further than
  // the day the present minute comes round again.
  const QDateTime last =
      fmt::toDateTime(RecordingOperation::LastReservable(fmt::fromDateTime(now)));
  VScroll1->setMaximum(int(today_.daysTo(last.date())));
  VScroll1->setValue(0);
  VScroll2->setValue(now.time().hour());
  VScroll3->setValue(now.time().minute());
  showValues();
}

void ReservationPicker::showValues() {
  Label5->setText(today_.addDays(VScroll1->value()).toString(QStringLiteral("yyyy/MM/dd/")));
  Label6->setText(fmt::format00(VScroll2->value()) + QLatin1Char(':'));
  Label7->setText(fmt::format00(VScroll3->value()));
}

QString ReservationPicker::captions() const {
  return Label5->text() + Label6->text() + Label7->text();
}

bool ReservationPicker::at(double* serial) const {
  static const QRegularExpression form(
      QStringLiteral("^(\\d{4})/(\\d{1,2})/(\\d{1,2})/?\\s*(\\d{1,2}):(\\d{1,2})$"));
  const auto m = form.match(captions());
  if (!m.hasMatch()) return false;
  return fmt::makeDateSerial(m.captured(1).toInt(), m.captured(2).toInt(), m.captured(3).toInt(),
                             m.captured(4).toInt(), m.captured(5).toInt(), 0, serial);
}

// ---- IntervalPicker

IntervalPicker::IntervalPicker(const char* secondsName, const char* minutesName, QWidget* parent)
    : QWidget(parent) {
  Combo2 = named<QComboBox>("Combo2");
  Combo2->setAccessibleName(QStringLiteral("Record interval"));
  seconds = named<QRadioButton>(secondsName, QStringLiteral("Sec"));
  minutesOption = named<QRadioButton>(minutesName, QStringLiteral("Min"));
  unitCaption = new QLabel;
  unitCaption->setMinimumWidth(unitCaption->fontMetrics().horizontalAdvance(QStringLiteral("Min")) +
                               4);
  auto* row = new QHBoxLayout(this);
  row->setContentsMargins(0, 0, 0, 0);
  row->addWidget(Combo2, 1);
  row->addWidget(unitCaption);
  row->addSpacing(12);
  row->addWidget(seconds);
  row->addWidget(minutesOption);
  seconds->setChecked(true);
  refill();
  Combo2->setCurrentText(QStringLiteral("5"));
  connect(seconds, &QRadioButton::toggled, this, [this] { refill(); });
}

QStringList IntervalPicker::items(bool minutes) {
  // Below 2 s the logger cannot keep up; a byte holds any value, the lists
  // stop where the other unit takes over.
  QStringList list;
  for (int v = minutes ? 1 : 2; v <= (minutes ? 60 : 59); ++v) list << QString::number(v);
  return list;
}

void IntervalPicker::refill() {
  const QString keep = Combo2->currentText();
  const QStringList list = items(minutes());
  Combo2->clear();
  Combo2->addItems(list);
  const int i = list.indexOf(keep);
  Combo2->setCurrentIndex(i >= 0 ? i : 0);
  unitCaption->setText(minutes() ? minutesOption->text() : seconds->text());
}

void IntervalPicker::set(int value, bool inMinutes) {
  (inMinutes ? minutesOption : seconds)->setChecked(true);
  refill();
  const int i = Combo2->findText(QString::number(value));
  if (i >= 0) Combo2->setCurrentIndex(i);
}

void IntervalPicker::setSeconds(qint32 s) {
  if (s >= 60 && s % 60 == 0 && s / 60 <= 60)
    set(s / 60, true);
  else if (s >= 2 && s <= 59)
    set(s, false);
  else
    set(5, false);  // nothing the lists can show: the usual five seconds
}

int IntervalPicker::value() const { return static_cast<int>(fmt::val(Combo2->currentText())); }

bool IntervalPicker::minutes() const { return minutesOption->isChecked(); }

// ---- Form7

Form7::Form7(Session* session, QWidget* parent, DialogClock clock)
    : QDialog(parent), session_(session), clock_(std::move(clock)) {
  setObjectName(QStringLiteral("Form7"));
  setWindowTitle(QStringLiteral("Reservation"));
  setMinimumWidth(360);

  Label1 = named<QLabel>("Label1");
  Label1->setAlignment(Qt::AlignCenter);
  QFont f = Label1->font();
  f.setPointSizeF(f.pointSizeF() * 1.2);
  Label1->setFont(f);
  Label1->setMinimumWidth(
      Label1->fontMetrics().horizontalAdvance(QStringLiteral("8888/88/88 88:88:88:")) + 16);

  auto* startBox = named<QGroupBox>("Frame1", QStringLiteral("Recording begins at"));
  picker_ = new ReservationPicker;
  (new QVBoxLayout(startBox))->addWidget(picker_);

  auto* intervalBox = named<QGroupBox>("Frame2", QStringLiteral("Record interval"));
  interval_ = new IntervalPicker("Option1", "Option2");
  (new QVBoxLayout(intervalBox))->addWidget(interval_);

  Command1 = named<QPushButton>("Command1", QStringLiteral("OK"));
  Command2 = named<QPushButton>("Command2", QStringLiteral("Cancel"));
  Command1->setDefault(true);
  auto* buttons = new QDialogButtonBox;
  buttons->addButton(Command1, QDialogButtonBox::AcceptRole);
  buttons->addButton(Command2, QDialogButtonBox::RejectRole);

  auto* now = new QHBoxLayout;
  now->addWidget(new QLabel(QStringLiteral("Now")));
  now->addWidget(Label1, 1);

  auto* root = new QVBoxLayout(this);
  root->addLayout(now);
  root->addWidget(startBox);
  root->addWidget(intervalBox);
  root->addStretch(1);
  root->addWidget(buttons);

  connect(Command1, &QPushButton::clicked, this, &Form7::Command1_Click);
  connect(Command2, &QPushButton::clicked, this, &QDialog::reject);

  Timer1 = new QTimer(this);
  Timer1->setObjectName(QStringLiteral("Timer1"));
  Timer1->setInterval(1000);
  connect(Timer1, &QTimer::timeout, this, &Form7::Timer1_Timer);
  Timer1->start();

  Form_Load();
  if (session_) interval_->setSeconds(session_->status().SetInterval);
  setTabOrder(picker_->VScroll1, picker_->VScroll2);
  setTabOrder(picker_->VScroll2, picker_->VScroll3);
  setTabOrder(picker_->VScroll3, interval_->Combo2);
  setTabOrder(interval_->Combo2, interval_->seconds);
  setTabOrder(interval_->seconds, interval_->minutesOption);
  setTabOrder(interval_->minutesOption, Command1);
  setTabOrder(Command1, Command2);
}

void Form7::Form_Load() {
  const QDateTime now = clock_();
  Label1->setText(now.toString(QStringLiteral("yyyy/MM/dd HH:mm:ss")));
  picker_->reset(now);
}

void Form7::Timer1_Timer() {
  Label1->setText(clock_().toString(QStringLiteral("yyyy/MM/dd HH:mm:ss:")));
}

void Form7::Command1_Click() {
  double at = 0;
  const bool valid = picker_->at(&at);
  if (!valid || !session_ ||
      !session_->recording().Reservation_Check(at, fmt::fromDateTime(clock_()))) {
    // Back to the present time, as when the dialog was opened.
    Form_Load();
    return;
  }
  hide();
  ReservationSettings s;
  s.at = at;
  s.intervalValue = interval_->value();
  s.minutes = interval_->minutes();
  // A refusal (the battery) has told the user why; the dialog goes either way.
  if (session_->recording().Yoyaku_Set(s))
    accept();
  else
    reject();
}

}  // namespace hygro
