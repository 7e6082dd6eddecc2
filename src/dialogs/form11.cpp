#include "dialogs/form11.h"

#include <QDialogButtonBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QSlider>
#include <QVBoxLayout>
#include <algorithm>

#include "data/formats.h"
#include "dialogs/dialogparts.h"
#include "logger/conversions.h"
#include "logger/session.h"

namespace hygro {

namespace {

struct BoundControls {
  QSlider* bar;
  QRadioButton* on;
  QRadioButton* off;
  QLabel* value;
};

// One bound: its value large on top, the bar beside the ON/OFF choice.
QGroupBox* boundFrame(QWidget* parent, const QString& title, const char* barName,
                      const char* onName, const char* offName, const char* labelName, int min,
                      int max, BoundControls* out) {
  auto* frame = new QGroupBox(title, parent);
  auto* bar = new QSlider(Qt::Vertical, frame);
  bar->setObjectName(QString::fromLatin1(barName));
  bar->setRange(min, max);
  bar->setSingleStep(1);
  bar->setPageStep(5);
  bar->setTickPosition(QSlider::TicksRight);
  bar->setTickInterval(10);
  bar->setMinimumHeight(180);
  auto* on = new QRadioButton(QStringLiteral("ＯＮ"), frame);
  on->setObjectName(QString::fromLatin1(onName));
  auto* off = new QRadioButton(QStringLiteral("ＯＦＦ"), frame);
  off->setObjectName(QString::fromLatin1(offName));
  auto* value = new QLabel(frame);
  value->setObjectName(QString::fromLatin1(labelName));
  value->setAlignment(Qt::AlignCenter);
  QFont big = value->font();
  big.setPointSizeF(big.pointSizeF() * 1.8);
  big.setBold(true);
  value->setFont(big);
  value->setMinimumWidth(value->fontMetrics().horizontalAdvance(QStringLiteral("-20C")) + 8);

  auto* choice = new QVBoxLayout;
  choice->addWidget(value);
  choice->addSpacing(8);
  choice->addWidget(on);
  choice->addWidget(off);
  choice->addStretch(1);
  // The bar's ends, so the range is plain before it is tried.
  auto* scale = new QVBoxLayout;
  auto* top = new QLabel(QString::number(max), frame);
  auto* bottom = new QLabel(QString::number(min), frame);
  top->setAlignment(Qt::AlignHCenter);
  bottom->setAlignment(Qt::AlignHCenter);
  scale->addWidget(top);
  scale->addWidget(bar, 1, Qt::AlignHCenter);
  scale->addWidget(bottom);
  auto* row = new QHBoxLayout(frame);
  row->addLayout(scale);
  row->addSpacing(8);
  row->addLayout(choice, 1);
  *out = {bar, on, off, value};
  return frame;
}

}  // namespace

Form11::Form11(Session* session, QWidget* parent) : QDialog(parent), session_(session) {
  setObjectName(QStringLiteral("Form11"));
  setWindowTitle(QStringLiteral("Alarm bound pair temperature setting"));

  BoundControls upper{}, lower{};
  QGroupBox* upperFrame = boundFrame(this, QStringLiteral("Upper bound temperature\n"), "VScroll1",
                                     "Option1", "Option2", "Label1", kUpperMin, kUpperMax, &upper);
  QGroupBox* lowerFrame = boundFrame(this, QStringLiteral("Lower bound temperature"), "VScroll2",
                                     "Option3", "Option4", "Label2", kLowerMin, kLowerMax, &lower);
  upperFrame->setObjectName(QStringLiteral("Frame1"));
  lowerFrame->setObjectName(QStringLiteral("Frame2"));
  VScroll1 = upper.bar;
  Option1 = upper.on;
  Option2 = upper.off;
  Label1 = upper.value;
  VScroll2 = lower.bar;
  Option3 = lower.on;
  Option4 = lower.off;
  Label2 = lower.value;

  const OkCancelRow row = MakeOkCancelRow(this, "Command1", "Command2");
  Command1 = row.ok;
  Command2 = row.cancel;
  QDialogButtonBox* buttons = row.box;

  auto* frames = new QHBoxLayout;
  frames->addWidget(upperFrame);
  frames->addWidget(lowerFrame);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(frames, 1);
  layout->addWidget(buttons);

  fillFromLogger();
  connect(VScroll1, &QSlider::valueChanged, this, &Form11::VScroll1_Change);
  connect(VScroll2, &QSlider::valueChanged, this, &Form11::VScroll2_Change);
  connect(Command1, &QPushButton::clicked, this, &Form11::Command1_Click);
  connect(Command2, &QPushButton::clicked, this, &QDialog::reject);

  setTabOrder(VScroll1, Option1);
  setTabOrder(Option1, Option2);
  setTabOrder(Option2, VScroll2);
  setTabOrder(VScroll2, Option3);
  setTabOrder(Option3, Option4);
  setTabOrder(Option4, Command1);
  setTabOrder(Command1, Command2);
  VScroll1->setFocus();
}

// The dialog opens on what the logger holds, as last read; a bound outside
// the bars' range is brought to the nearest value they offer.
void Form11::fillFromLogger() {
  int up = kDefaultUpper, lo = kDefaultLower;
  bool upOn = false, loOn = false;
  if (session_ && session_->connected()) {
    // The bounds a recording start would offer: erased ones are no choice.
    const StartSettings held = session_->recording().startDefaults();
    up = held.upperDegrees;
    lo = held.lowerDegrees;
    upOn = held.upperOn;
    loOn = held.lowerOn;
  }
  {
    const QSignalBlocker b1(VScroll1), b2(VScroll2);
    VScroll1->setValue(up);
    VScroll2->setValue(lo);
  }
  Label1->setText(QString::number(VScroll1->value()) + QLatin1Char('C'));
  Label2->setText(QString::number(VScroll2->value()) + QLatin1Char('C'));
  (upOn ? Option1 : Option2)->setChecked(true);
  (loOn ? Option3 : Option4)->setChecked(true);
}

void Form11::VScroll1_Change(int value) {
  Label1->setText(QString::number(value) + QLatin1Char('C'));
  if (value <= VScroll2->value()) VScroll2->setValue(value - 1);
}

void Form11::VScroll2_Change(int value) {
  Label2->setText(QString::number(value) + QLatin1Char('C'));
  if (VScroll1->value() <= value) VScroll1->setValue(value + 1);
}

void Form11::Command1_Click() {
  if (session_)
    session_->settings().Alarm_set(VScroll1->value(), Option1->isChecked(), VScroll2->value(),
                                   Option3->isChecked());
  accept();
}

}  // namespace hygro
