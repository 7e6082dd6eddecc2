#include "dialogs/form12.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFocusEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QVBoxLayout>
#include <algorithm>

#include "data/formats.h"
#include "dialogs/dialogparts.h"
#include "logger/conversions.h"

namespace hygro {

namespace {

QString boundCaption(int degrees) { return QString::number(degrees) + QLatin1Char('C'); }

// One bound: its bar, its value and its alarm options.
QWidget* boundColumn(const QString& title, QScrollBar* bar, QLabel* value, QRadioButton* on,
                     QRadioButton* off) {
  auto* box = new QWidget;
  auto* grid = new QGridLayout(box);
  grid->setContentsMargins(0, 0, 0, 0);
  auto* head = new QLabel(title);
  head->setAlignment(Qt::AlignCenter);
  QFont f = value->font();
  f.setPointSizeF(f.pointSizeF() * 1.25);
  f.setBold(true);
  value->setFont(f);
  value->setAlignment(Qt::AlignCenter);
  value->setMinimumWidth(value->fontMetrics().horizontalAdvance(QStringLiteral("-88C")) + 8);
  auto* options = new QVBoxLayout;
  options->addWidget(on);
  options->addWidget(off);
  options->addStretch(1);
  grid->addWidget(head, 0, 0, 1, 3);
  grid->addWidget(value, 1, 0);
  grid->addWidget(bar, 1, 1);
  grid->addLayout(options, 1, 2);
  grid->setColumnStretch(0, 1);
  grid->setColumnStretch(2, 1);
  return box;
}

}  // namespace

Form12::Form12(Session* session, QWidget* parent, DialogClock clock)
    : QDialog(parent), session_(session), clock_(std::move(clock)) {
  setObjectName(QStringLiteral("Form12"));
  setWindowTitle(QStringLiteral("Recording start"));

  // Name
  auto* nameBox = named<QGroupBox>("Frame1", QStringLiteral("Identification name"));
  Text1 = named<QLineEdit>("Text1");
  Text1->setMaxLength(4);  // the logger keeps four characters
  Text1->setPlaceholderText(QStringLiteral("up to 4 characters"));
  Text1->installEventFilter(this);
  (new QVBoxLayout(nameBox))->addWidget(Text1);

  // Interval
  auto* intervalBox = named<QGroupBox>("Frame2", QStringLiteral("Record interval"));
  interval_ = new IntervalPicker("Option1", "Option2");
  (new QVBoxLayout(intervalBox))->addWidget(interval_);

  // Bounds
  Frame3 = named<QGroupBox>("Frame3", QStringLiteral("Alarm bound pair temperature"));
  // Up is warmer.
  VScroll4 = named<RaisingScrollBar>("VScroll4");
  VScroll5 = named<RaisingScrollBar>("VScroll5");
  VScroll4->setPageStep(5);
  VScroll5->setPageStep(5);
  VScroll4->setRange(kUpperMin, kUpperMax);
  VScroll5->setRange(kLowerMin, kLowerMax);
  VScroll4->setAccessibleName(QStringLiteral("Upper bound temperature"));
  VScroll5->setAccessibleName(QStringLiteral("Lower bound temperature"));
  Label1 = named<QLabel>("Label1");
  Label2 = named<QLabel>("Label2");
  Option3 = named<QRadioButton>("Option3", QStringLiteral("ＯＮ"));
  Option4 = named<QRadioButton>("Option4", QStringLiteral("ＯＦＦ"));
  Option5 = named<QRadioButton>("Option5", QStringLiteral("ＯＮ"));
  Option6 = named<QRadioButton>("Option6", QStringLiteral("ＯＦＦ"));
  auto* upperGroup = new QButtonGroup(this);
  upperGroup->addButton(Option3);
  upperGroup->addButton(Option4);
  auto* lowerGroup = new QButtonGroup(this);
  lowerGroup->addButton(Option5);
  lowerGroup->addButton(Option6);
  auto* bounds = new QHBoxLayout(Frame3);
  bounds->addWidget(
      boundColumn(QStringLiteral("Upper bound temperature"), VScroll4, Label1, Option3, Option4));
  bounds->addSpacing(12);
  bounds->addWidget(
      boundColumn(QStringLiteral("Lower bound temperature"), VScroll5, Label2, Option5, Option6));
  connect(VScroll4, &QScrollBar::valueChanged, this, &Form12::VScroll4_Change);
  connect(VScroll5, &QScrollBar::valueChanged, this, &Form12::VScroll5_Change);

  // Memory mode
  auto* modeBox = named<QGroupBox>("Frame4", QStringLiteral("Memory Mode"));
  Option7 = named<QRadioButton>("Option7", QStringLiteral("One Time Mode"));
  Option8 = named<QRadioButton>("Option8", QStringLiteral("Endless Mode"));
  auto* modes = new QHBoxLayout(modeBox);
  modes->addWidget(Option7);
  modes->addWidget(Option8);
  modes->addStretch(1);

  // Reserved start
  auto* reserveBox = named<QGroupBox>("Frame5", QStringLiteral("Start time"));
  Check1 = named<QCheckBox>("Check1", QStringLiteral("Reservation"));
  picker_ = new ReservationPicker;
  picker_->setEnabled(false);
  Command3 = named<QPushButton>("Command3", QStringLiteral("Reservation only..."));
  Command3->setToolTip(
      QStringLiteral("Reserve a start with the name, bounds and memory mode the logger has"));
  auto* reserveTop = new QHBoxLayout;
  reserveTop->addWidget(Check1);
  reserveTop->addStretch(1);
  reserveTop->addWidget(Command3);
  auto* reserve = new QVBoxLayout(reserveBox);
  reserve->addLayout(reserveTop);
  reserve->addWidget(picker_);
  connect(Check1, &QCheckBox::toggled, picker_, &QWidget::setEnabled);

  Command1 = named<QPushButton>("Command1", QStringLiteral("OK"));
  Command2 = named<QPushButton>("Command2", QStringLiteral("Cancel"));
  auto* buttons = new QDialogButtonBox;
  buttons->addButton(Command1, QDialogButtonBox::AcceptRole);
  buttons->addButton(Command2, QDialogButtonBox::RejectRole);
  connect(Command1, &QPushButton::clicked, this, &Form12::Command1_Click);
  connect(Command2, &QPushButton::clicked, this, &QDialog::reject);
  connect(Command3, &QPushButton::clicked, this, &Form12::Command3_Click);

  auto* left = new QVBoxLayout;
  left->addWidget(nameBox);
  left->addWidget(intervalBox);
  left->addWidget(modeBox);
  left->addStretch(1);
  auto* right = new QVBoxLayout;
  right->addWidget(Frame3);
  right->addWidget(reserveBox);
  right->addStretch(1);
  auto* columns = new QHBoxLayout;
  columns->addLayout(left, 1);
  columns->addLayout(right, 1);
  auto* root = new QVBoxLayout(this);
  root->addLayout(columns, 1);
  root->addWidget(buttons);
  // Only once the button is inside the dialog does the dialog take it as
  // its default; before, the first button of the focus chain
  // ("Reservation only...") would answer Enter.
  Command1->setDefault(true);

  QWidget* order[] = {Text1,
                      interval_->Combo2,
                      interval_->seconds,
                      interval_->minutesOption,
                      Option7,
                      Option8,
                      VScroll4,
                      Option3,
                      Option4,
                      VScroll5,
                      Option5,
                      Option6,
                      Check1,
                      Command3,
                      picker_->VScroll1,
                      picker_->VScroll2,
                      picker_->VScroll3,
                      Command1,
                      Command2};
  for (size_t i = 1; i < std::size(order); ++i) setTabOrder(order[i - 1], order[i]);

  Command100_Click();
}

void Form12::Command100_Click() {
  const StartSettings s = session_ ? session_->recording().startDefaults() : StartSettings{};
  goodName_ = s.name;
  Text1->setText(s.name);
  interval_->set(s.intervalValue, s.minutes);
  // Lower first, so the upper's push rule does not move a valid pair.
  VScroll5->setValue(s.lowerDegrees);
  VScroll4->setValue(s.upperDegrees);
  VScroll4_Change();
  VScroll5_Change();
  (s.upperOn ? Option3 : Option4)->setChecked(true);
  (s.lowerOn ? Option5 : Option6)->setChecked(true);
  (s.loop ? Option8 : Option7)->setChecked(true);
  Frame3->setVisible(session_ && HasAlarmBounds(session_->ModelName()));
  Check1->setChecked(false);
  picker_->reset(clock_());
}

StartSettings Form12::settings() const {
  StartSettings s;
  s.name = Text1->text();
  s.intervalValue = interval_->value();
  s.minutes = interval_->minutes();
  s.upperDegrees = VScroll4->value();
  s.upperOn = Option3->isChecked();
  s.lowerDegrees = VScroll5->value();
  s.lowerOn = Option5->isChecked();
  s.loop = Option8->isChecked();
  s.reserve = Check1->isChecked();
  if (s.reserve) picker_->at(&s.reserveAt);
  return s;
}

void Form12::VScroll4_Change() {
  Label1->setText(boundCaption(VScroll4->value()));
  if (VScroll4->value() <= VScroll5->value()) VScroll5->setValue(VScroll4->value() - 1);
}

void Form12::VScroll5_Change() {
  Label2->setText(boundCaption(VScroll5->value()));
  if (VScroll4->value() <= VScroll5->value()) VScroll4->setValue(VScroll5->value() + 1);
}

bool Form12::eventFilter(QObject* watched, QEvent* event) {
  if (watched == Text1) {
    // Leaving the name box counts; the window losing the focus to another
    // program or a popup does not.
    if (event->type() == QEvent::FocusOut && !checkingName_) {
      const Qt::FocusReason why = static_cast<QFocusEvent*>(event)->reason();
      if (why != Qt::ActiveWindowFocusReason && why != Qt::PopupFocusReason) Text1_LostFocus();
    }
    if (event->type() == QEvent::FocusIn) Text1->selectAll();
  }
  return QDialog::eventFilter(watched, event);
}

void Form12::Text1_LostFocus() {
  if (!session_) return;
  checkingName_ = true;
  const bool ok = session_->settings().IdentNameCheck(Text1->text());
  checkingName_ = false;
  if (ok) {
    goodName_ = Text1->text();
    refusedPending_ = false;
  } else {
    // A click on OK that took the focus away must not start with the old
    // name behind the user's back.
    refusedPending_ = true;
    nameRefused();
  }
}

void Form12::nameRefused() {
  Text1->setText(goodName_);
  Text1->setFocus(Qt::OtherFocusReason);
  Text1->selectAll();
}

void Form12::Command1_Click() {
  if (refusedPending_) {
    refusedPending_ = false;
    return;
  }
  if (!session_) return;
  checkingName_ = true;
  const bool nameOk = session_->settings().IdentNameCheck(Text1->text());
  checkingName_ = false;
  if (!nameOk) {
    nameRefused();
    return;
  }
  const StartSettings s = settings();
  if (s.reserve &&
      !session_->recording().Reservation_Check(s.reserveAt, fmt::fromDateTime(clock_()))) {
    picker_->reset(clock_());
    return;
  }
  // A refusal (the year of the clock) has told the user why; the dialog goes either way.
  if (session_->recording().Log_Start(s))
    accept();
  else
    reject();
}

void Form12::Command3_Click() {
  hide();
  Form7 reservation(session_, this, clock_);
  if (reservation.exec() == QDialog::Accepted) {
    accept();
    return;
  }
  show();
}

}  // namespace hygro
