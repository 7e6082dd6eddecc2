#include "app/form1.h"

#include <QApplication>
#include <QCloseEvent>
#include <QComboBox>
#include <QDateTime>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLocale>
#include <QPushButton>
#include <QRadioButton>
#include <QStatusBar>
#include <QVBoxLayout>

#include "app/qtprompt.h"
#include "data/recovery.h"
#include "link/connection.h"
#include "link/portnames.h"
#include "logger/session.h"

namespace hygro {

namespace {
template <typename W, typename... Args>
W* named(const char* name, Args&&... args) {
  auto* w = new W(std::forward<Args>(args)...);
  w->setObjectName(QString::fromLatin1(name));
  return w;
}

void setBack(QLabel* label, const QColor& color, const QColor& text = Qt::black) {
  label->setAutoFillBackground(color.isValid());
  QPalette p = label->palette();
  p.setColor(QPalette::Window,
             color.isValid() ? color : QApplication::palette().color(QPalette::Button));
  p.setColor(QPalette::WindowText, text);
  label->setPalette(p);
}
}  // namespace

QLabel* Form1::valueLabel(const char* name) {
  auto* l = named<QLabel>(name);
  l->setTextInteractionFlags(Qt::TextSelectableByMouse);
  l->setMinimumWidth(160);
  return l;
}

Form1::Form1(Session* session, QtPrompt* prompt, QWidget* parent)
    : QMainWindow(parent), session_(session), prompt_(prompt) {
  setObjectName(QStringLiteral("Form1"));
  setWindowTitle(QStringLiteral("[Hygrotab] Temperature and humidity Logger "));
  prompt_->setParent(this);

  auto* central = new QWidget;
  auto* root = new QHBoxLayout(central);

  // Communication
  auto* comm = named<QGroupBox>("Frame1", QStringLiteral("Communication"));
  auto* commForm = new QFormLayout(comm);
  Combo4 = named<QComboBox>("Combo4");
  Combo4->setEditable(true);  // a device path may be typed as well
  for (int n = 1; n <= 255; ++n) Combo4->addItem(QString::number(n));
  Combo1 = named<QComboBox>("Combo1");
  Combo1->addItems(Connection::BaudChoices());
  Combo1->setCurrentText(session_->connection().BaudText);
  Combo3 = named<QComboBox>("Combo3");
  Combo3->addItems(
      {QStringLiteral("QM510-XC"), QStringLiteral("QM720-XC"), QStringLiteral("QM720-XCB")});
  Combo3->setCurrentText(QStringLiteral("QM720-XC"));
  Command20 = named<QPushButton>("Command20", QStringLiteral("Connect"));
  Label49 = named<QLabel>("Label49");
  Label49->setAlignment(Qt::AlignCenter);
  Label49->setMinimumHeight(24);
  commForm->addRow(QStringLiteral("Port"), Combo4);
  commForm->addRow(QStringLiteral("Speed"), Combo1);
  commForm->addRow(QStringLiteral("Model"), Combo3);
  commForm->addRow(Command20);
  commForm->addRow(Label49);

  // State
  auto* state = named<QGroupBox>("Frame2", QStringLiteral("State"));
  auto* stateForm = new QFormLayout(state);
  Label16 = valueLabel("Label16");
  Label14 = valueLabel("Label14");
  Label26 = valueLabel("Label26");
  Label21 = valueLabel("Label21");
  Label6 = valueLabel("Label6");
  Label48 = valueLabel("Label48");
  Label29 = valueLabel("Label29");
  Label46 = valueLabel("Label46");
  Label31 = named<QLabel>("Label31", QStringLiteral("Upper bound"));
  Label32 = named<QLabel>("Label32", QStringLiteral("Lower bound"));
  Label7 = valueLabel("Label7");
  Label8 = valueLabel("Label8");
  stateForm->addRow(QStringLiteral("State"), Label16);
  stateForm->addRow(QStringLiteral("Name"), Label14);
  stateForm->addRow(QStringLiteral("Start time"), Label26);
  stateForm->addRow(QStringLiteral("Points"), Label21);
  stateForm->addRow(QStringLiteral("Interval"), Label6);
  stateForm->addRow(QStringLiteral("Memory mode"), Label48);
  stateForm->addRow(Label31, Label29);
  stateForm->addRow(Label32, Label46);
  stateForm->addRow(QStringLiteral("Battery"), Label7);
  stateForm->addRow(Label8);
  Command11 = named<QPushButton>("Command11", QStringLiteral("Update"));
  stateForm->addRow(Command11);

  // Real-time measurement
  auto* rt = named<QGroupBox>("Frame3", QStringLiteral("Real time"));
  auto* rtForm = new QFormLayout(rt);
  Label2 = valueLabel("Label2");
  Label4 = valueLabel("Label4");
  Label10 = valueLabel("Label10");
  QFont big = Label2->font();
  big.setPointSizeF(big.pointSizeF() * 1.6);
  big.setBold(true);
  Label2->setFont(big);
  Label4->setFont(big);
  rtForm->addRow(QStringLiteral("Temperature"), Label2);
  rtForm->addRow(QStringLiteral("Humidity"), Label4);
  rtForm->addRow(QStringLiteral("Time"), Label10);
  Command1 = named<QPushButton>("Command1", QStringLiteral("One time"));
  Command2 = named<QPushButton>("Command2", QStringLiteral("Continuous"));
  Combo5 = named<QComboBox>("Combo5");
  for (int n = 2; n <= 60; ++n) Combo5->addItem(QString::number(n));
  Combo5->setCurrentText(QStringLiteral("5"));
  Option3 = named<QRadioButton>("Option3", QStringLiteral("Sec"));
  Option4 = named<QRadioButton>("Option4", QStringLiteral("Min"));
  Option3->setChecked(true);
  auto* intervalRow = new QHBoxLayout;
  intervalRow->addWidget(Combo5);
  intervalRow->addWidget(Option3);
  intervalRow->addWidget(Option4);
  rtForm->addRow(QStringLiteral("Interval"), intervalRow);
  auto* rtButtons = new QHBoxLayout;
  rtButtons->addWidget(Command1);
  rtButtons->addWidget(Command2);
  rtForm->addRow(rtButtons);

  auto* left = new QVBoxLayout;
  left->addWidget(comm);
  left->addWidget(rt);
  left->addStretch();
  root->addLayout(left);
  root->addWidget(state, 1);
  setCentralWidget(central);

  StatusBar1 = named<QStatusBar>("StatusBar1");
  panel1 = named<QLabel>("StatusBar1_Panel1");
  panel2 = named<QLabel>("StatusBar1_Panel2");
  panel3 = named<QLabel>("StatusBar1_Panel3");
  StatusBar1->addWidget(panel1, 1);
  StatusBar1->addWidget(panel2, 2);
  StatusBar1->addPermanentWidget(panel3);
  setStatusBar(StatusBar1);

  tokei.setObjectName(QStringLiteral("tokei"));
  connect(&tokei, &QTimer::timeout, this, [this] {
    panel3->setText(QLocale::system().toString(QDateTime::currentDateTime(), QLocale::ShortFormat));
  });
  tokei.start(1000);

  connect(Command20, &QPushButton::clicked, this, &Form1::Command20_Click);
  connect(Command11, &QPushButton::clicked, &session_->statusOp(),
          &StatusOperation::Command11_Click);
  connect(Command1, &QPushButton::clicked, &session_->realtime(),
          &RealtimeOperation::Command1_Click);
  connect(Command2, &QPushButton::clicked, this, [this] {
    session_->realtime().setContinuousInterval(Combo5->currentText(), Option4->isChecked());
    session_->realtime().Command2_Click();
  });
  connect(Combo1, &QComboBox::currentTextChanged, this,
          [this](const QString& t) { session_->connection().BaudText = t; });
  connect(&session_->statusOp(), &StatusOperation::statusDisplayed, this, &Form1::applyStatus);
  connect(session_, &Session::statusBarText, panel1, &QLabel::setText);
  connect(&session_->realtime(), &RealtimeOperation::sample, this, &Form1::applyRealtime);
  connect(session_, &Session::busyCursor, this, [](bool busy) {
    if (busy && !QApplication::overrideCursor()) QApplication::setOverrideCursor(Qt::BusyCursor);
    if (!busy)
      while (QApplication::overrideCursor()) QApplication::restoreOverrideCursor();
  });
  resize(760, 420);
  session_->statusOp().Status_Disp();
}

void Form1::closeEvent(QCloseEvent* event) {
  // Measurements nobody saved are offered for saving before the scratch files
  // go; closing itself is never refused.
  session_->realtime().endRun();
  if (endingBySignal_) {
    QMainWindow::closeEvent(event);
    return;
  }
  session_->Data_Save_Ask(LogData, QuestionId::SaveLogAtClose);
  session_->Data_Save_Ask(RealTimeData, QuestionId::SaveRealAtClose);
  QMainWindow::closeEvent(event);
}

int Form1::offerRecovery() {
  const int loaded = OfferRecovery(session_->data(), *prompt_, session_->windowTitle());
  if (loaded > 0) session_->statusOp().Status_Disp();
  return loaded;
}

QStringList Form1::endBySignal() {
  endingBySignal_ = true;
  session_->shutDown();
  close();
  return session_->data().closeKeepingUnsaved();
}

void Form1::connectOnce() { session_->Port_Set_Command(PortSearch::Once, Combo4->currentText()); }

void Form1::Command20_Click() {
  session_->connection().BaudText = Combo1->currentText();
  const QString port = Combo4->currentText().trimmed();
  // A typed port is tried alone; an untouched box searches like the logger's
  // own software: the FTDI ports first, then 16 down to 1.
  session_->Port_Set_Command(port.isEmpty() ? PortSearch::Search : PortSearch::Once, port);
}

void Form1::applyStatus(const StatusView& v) {
  setWindowTitle(v.caption);
  panel1->setText(v.statusBar);
  const bool connected = v.state != DisplayState::NotConnected;
  Command20->setText(connected ? QStringLiteral("Disconnect") : QStringLiteral("Connect"));
  Combo1->setEnabled(!connected);
  Combo3->setEnabled(!connected);
  Combo4->setEnabled(!connected);
  Label49->setText(v.Label49);
  if (connected)
    setBack(Label49, QColor(128, 255, 128));
  else
    setBack(Label49, Qt::black, Qt::white);
  Label16->setText(v.Label16);
  Label14->setText(v.Label14);
  Label26->setText(v.Label26);
  Label21->setText(v.Label21);
  Label6->setText(v.Label6);
  Label48->setText(v.Label48);
  Label29->setText(v.Label29);
  Label46->setText(v.Label46);
  for (QLabel* l : {Label29, Label46, Label31, Label32}) l->setVisible(v.boundsVisible);
  Label7->setText(v.Label7);
  setBack(Label7, v.batteryAlarm ? QColor(255, 0, 0) : QColor());
  Label8->setText(v.Label8);
  setBack(Label8, v.endAlarm ? QColor(255, 0, 0) : QColor());
  Command2->setText(v.Command2);
  const bool idle = v.state == DisplayState::Idle;
  const bool continuous = v.state == DisplayState::Continuous;
  Command1->setEnabled(idle);
  Command2->setEnabled(idle || continuous);
  Command11->setEnabled(idle || v.state == DisplayState::Recording ||
                        v.state == DisplayState::Reserving);
  if (!connected || v.state == DisplayState::Idle) applyRealtime();
}

void Form1::applyRealtime() {
  const auto& r = session_->realtime().labels();
  Label2->setText(r.Label2);
  Label4->setText(r.Label4);
  Label10->setText(r.Label10);
}

}  // namespace hygro
