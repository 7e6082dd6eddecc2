#include "app/form1.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QComboBox>
#include <QDateTime>
#include <QDir>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QImageWriter>
#include <QItemSelectionModel>
#include <QLineEdit>
#include <QLocale>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QPainter>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QScrollArea>
#include <QSignalBlocker>
#include <QStackedWidget>
#include <QStatusBar>
#include <QStyle>
#include <QTreeView>
#include <QUrl>
#include <QVBoxLayout>

#include "app/graphpanel.h"
#include "app/loggerini.h"
#include "archive/archivesetting.h"
#include "data/dataview.h"
#include "data/dump.h"
#include "data/formats.h"
#include "dialogs/archivedialog.h"
#include "dialogs/archivetargetdialog.h"
#include "dialogs/dialogparts.h"
#include "dialogs/downloadprogress.h"
#include "dialogs/form10.h"
#include "dialogs/form11.h"
#include "dialogs/form12.h"
#include "dialogs/form2.h"
#include "dialogs/form4.h"
#include "dialogs/form5.h"
#include "dialogs/form6.h"
#include "dialogs/form7.h"
#include "dialogs/form8.h"
#include "dialogs/form9.h"
#include "dialogs/qtprompt.h"
#include "link/connection.h"
#include "link/exchange.h"
#include "logger/controls.h"
#include "logger/session.h"

namespace hygro {

namespace {

QAction* namedAction(QMenu* menu, const char* name, const QString& text) {
  QAction* a = menu->addAction(text);
  a->setObjectName(QString::fromLatin1(name));
  return a;
}

QColor backColour(BackColour c) {
  switch (c) {
    case BackColour::Black:
      return Qt::black;
    case BackColour::LightGreen:
      return QColor(128, 255, 128);
    case BackColour::Red:
      return QColor(255, 0, 0);
    case BackColour::ButtonFace:
      break;
  }
  return {};
}

// A label's back colour; an invalid colour is the button face, drawn as the
// window's own background so the label looks like plain text.
void setBack(QLabel* label, const QColor& color) {
  label->setAutoFillBackground(color.isValid());
  QPalette p = label->palette();
  const QColor face = QApplication::palette().color(QPalette::Button);
  p.setColor(QPalette::Window, color.isValid() ? color : face);
  p.setColor(QPalette::WindowText,
             color.isValid() && color.lightness() < 100 ? QColor(Qt::white) : QColor(Qt::black));
  label->setPalette(p);
}

QLabel* valueLabel(const char* name) {
  auto* l = named<QLabel>(name);
  l->setTextInteractionFlags(Qt::TextSelectableByMouse);
  return l;
}

QLabel* caption(const QString& text) {
  auto* l = new QLabel(text);
  QPalette p = l->palette();
  p.setColor(QPalette::WindowText, p.color(QPalette::PlaceholderText));
  l->setPalette(p);
  return l;
}

// The most the mouse read-out writes into the status bar.
const QString kWidestReadOut =
    QStringLiteral("Date 0000/00/00 00:00:00   Temperature -00.00 C   Humidity 100.00 %RH");

// The room the window never takes for itself: a title bar above it.
constexpr int kTitleBarHeight = 40;

// A line of text that gives way to the layout: cut short with an ellipsis
// (the whole of it in the tooltip) rather than widening the window.
class ElidingLabel : public QLabel {
 public:
  using QLabel::QLabel;
  QSize minimumSizeHint() const override {
    return {fontMetrics().horizontalAdvance(QStringLiteral("…")) * 4,
            QLabel::minimumSizeHint().height()};
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter p(this);
    const QRect r = contentsRect();
    const QString shown = fontMetrics().elidedText(text(), Qt::ElideRight, r.width());
    setToolTip(shown == text() ? QString() : text());
    p.setPen(palette().color(foregroundRole()));
    p.drawText(r, int(alignment()), shown);
  }
};

}  // namespace

// The logger's panel's width where the screen has room for it.
constexpr int kRoomyPanelWidth = 300;

Form1::Form1(Session* session, QtPrompt* prompt, QWidget* parent)
    : QMainWindow(parent), session_(session), prompt_(prompt) {
  setObjectName(QStringLiteral("Form1"));
  // The start-up order of the logger's own software is kept: caption, the
  // presence check (the connection runs it from its creation), the lists,
  // the settings file, the port, the list columns, the status display.
  setWindowTitle(QStringLiteral("[Hygrotab] Temperature and humidity Logger "));
  prompt_->setParent(this);

  dump_ = new DumpModel(session_->data(), session_->dataView(), this);

  auto* central = new QWidget;
  auto* root = new QHBoxLayout(central);
  root->setContentsMargins(8, 8, 8, 4);
  root->setSpacing(10);
  // The logger's panel scrolls when the screen is short of its height.
  QWidget* loggerPanel = buildLoggerPanel();
  auto* loggerScroll = new QScrollArea;
  loggerScroll->setObjectName(QStringLiteral("LoggerPanel"));
  loggerScroll->setFrameShape(QFrame::NoFrame);
  loggerScroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  loggerScroll->setWidgetResizable(true);
  loggerScroll->setWidget(loggerPanel);
  loggerScroll->viewport()->setBackgroundRole(QPalette::Window);
  root->addWidget(loggerScroll);
  QWidget* dataArea = buildDataArea();
  root->addWidget(dataArea, 1);
  // A screen narrower than the window's least width (a small screen at a
  // large scale) scrolls the window's content sideways instead of cutting
  // off its right-hand side, the print buttons and the graphs' value bars.
  // Room for the panel and its scroll bar, once: showing the bar then hides
  // no column, and nothing the panel shows later widens the window. A narrow
  // screen (a small one at a large scale) gets the panel at its least width,
  // so the data area keeps what it needs beside it.
  const int bar = loggerScroll->style()->pixelMetric(QStyle::PM_ScrollBarExtent) + 4;
  int panelWidth = qMax(loggerPanel->sizeHint().width(), kRoomyPanelWidth);
  if (const QScreen* s = screen()) {
    const QMargins m = root->contentsMargins();
    const int room = s->availableSize().width() - m.left() - m.right() - root->spacing() -
                     dataArea->minimumSizeHint().width() - bar;
    panelWidth = qBound(loggerPanel->minimumSizeHint().width(), room, panelWidth);
  }
  loggerScroll->setFixedWidth(panelWidth + bar);
  auto* fit = new QScrollArea;
  fit->setObjectName(QStringLiteral("WindowArea"));
  fit->setFrameShape(QFrame::NoFrame);
  fit->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  fit->setWidgetResizable(true);
  fit->setWidget(central);
  fit->viewport()->setBackgroundRole(QPalette::Window);
  setCentralWidget(fit);

  StatusBar1 = named<QStatusBar>("StatusBar1");
  panel1 = named<QLabel>("StatusBar1_Panel1");
  panel2 = named<QLabel>("StatusBar1_Panel2");
  panel3 = named<QLabel>("StatusBar1_Panel3");
  // The first panel holds the mouse read-out whole; the second (the
  // download's progress) takes what is left and never widens the window.
  panel1->setMinimumWidth(panel1->fontMetrics().horizontalAdvance(kWidestReadOut) + 8);
  panel2->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  panel2->setMinimumWidth(60);
  StatusBar1->addWidget(panel1, 2);
  StatusBar1->addWidget(panel2, 1);
  StatusBar1->addPermanentWidget(panel3);
  setStatusBar(StatusBar1);

  buildMenus();
  registerControls();

  tokei.setObjectName(QStringLiteral("tokei"));
  const auto tick = [this] {
    panel3->setText(QLocale::system().toString(QDateTime::currentDateTime(), QLocale::ShortFormat));
  };
  connect(&tokei, &QTimer::timeout, this, tick);
  tick();
  tokei.start(1000);

  // The settings file: the port for the box and the connection, the folder
  // for the file dialogs. Without it the defaults stand.
  const QString ini = loggerIniPath();
  const LoggerIniValues stored = ini.isEmpty() ? LoggerIniValues{} : LoggerIni_Read(ini);
  iniOption_ = stored.option;
  findChild<QAction*>(QStringLiteral("mLinkTimeAxes"))
      ->setChecked((iniOption_ & kOptionLinkTimeAxes) != 0);
  const LoggerIniExtras extras = ini.isEmpty() ? LoggerIniExtras{} : LoggerIni_ReadExtras(ini);
  company_ = extras.company;
  setUnit(extras.fahrenheit ? analysis::Unit::Fahrenheit : analysis::Unit::Celsius);
  if (!stored.folder.isEmpty()) prompt_->startFolder = stored.folder;
  session_->connection().Port_Settings_Apply(QString::number(stored.port));
  Combo4->setCurrentText(QString::number(stored.port));

  // Buttons and menus.
  connect(Command20, &QPushButton::clicked, this, &Form1::Command20_Click);
  connect(Command11, &QPushButton::clicked, &session_->statusOp(),
          &StatusOperation::Command11_Click);
  connect(Command1, &QPushButton::clicked, &session_->realtime(),
          &RealtimeOperation::Command1_Click);
  connect(Command2, &QPushButton::clicked, this, [this] {
    session_->realtime().setContinuousInterval(Combo5->currentText(), Option4->isChecked());
    session_->realtime().Command2_Click();
  });
  connect(Command4, &QPushButton::clicked, &session_->recording(),
          &RecordingOperation::Command4_Click);
  connect(Command5, &QPushButton::clicked, &session_->download(),
          &DownloadOperation::Command5_Click);
  connect(Command26, &QPushButton::clicked, this, &Form1::openAlarmDialog);
  connect(Command27, &QPushButton::clicked, &session_->settings(),
          &SettingsOperation::Command27_Click);
  connect(Command28, &QPushButton::clicked, this, &Form1::openMemoryModeDialog);
  for (QPushButton* print : {Command23, Command24, Command25})
    connect(print, &QPushButton::clicked, this, &Form1::openPrintDialog);
  connect(Combo1, &QComboBox::currentTextChanged, this,
          [this](const QString& t) { session_->connection().BaudText = t; });
  connect(Combo4, &QComboBox::textActivated, this, &Form1::Combo4_Click);

  // The view selection: an option switched on, by a click or by the Display
  // menu, does the switching.
  connect(Option5, &QRadioButton::toggled, this, [this](bool on) {
    if (on) showSet(LogData);
  });
  connect(Option6, &QRadioButton::toggled, this, [this](bool on) {
    if (on) showSet(RealTimeData);
  });
  connect(Option7, &QRadioButton::toggled, this, [this](bool on) {
    if (on) showSet(FileData);
  });
  connect(Option8, &QRadioButton::toggled, this, [this](bool on) {
    if (on) showView(false);
  });
  connect(Option9, &QRadioButton::toggled, this, [this](bool on) {
    if (on) showView(true);
  });
  connect(ListView1->header(), &QHeaderView::sectionClicked, this, [this](int column) {
    dump_->columnClick(column);
    ListView1->header()->setSortIndicatorShown(true);
    ListView1->header()->setSortIndicator(dump_->sortColumn(), dump_->sortOrder());
  });
  connect(ListView1, &QTreeView::clicked, this,
          [this](const QModelIndex& i) { panel1->setText(dump_->itemClickText(i.row())); });
  connect(graphs_, &GraphPanel::cursorText, panel1, &QLabel::setText);
  connect(Command14, &QPushButton::clicked, this, &Form1::m11_Click);

  // The session's side.
  connect(&session_->statusOp(), &StatusOperation::statusDisplayed, this,
          &Form1::onStatusDisplayed);
  connect(session_, &Session::statusBarText, panel1, &QLabel::setText);
  connect(&session_->realtime(), &RealtimeOperation::sample, this, [this](int recordNo) {
    applyRealtime();
    followDataSet();
    if (dumpView() && dump_->dataSet() == RealTimeData && dump_->rowCount() == recordNo - 1)
      dump_->Dump_Add(recordNo);
    else
      refreshDataArea();
  });
  connect(session_, &Session::dumpCleared, this, [this](bool resetSort) {
    dump_->clear();
    if (!resetSort) return;
    dump_->resetSort();
    ListView1->header()->setSortIndicatorShown(false);
  });
  connect(session_, &Session::extremesMarked, this, &Form1::onExtremesMarked);
  connect(session_, &Session::dataSetChanged, this, &Form1::onDataSetChanged);
  connect(session_, &Session::controlsLocked, this, [this] {
    if (!session_->realtime().running()) lockControls();
  });
  connect(session_, &Session::shownSetChanged, this, [this] {
    followDataSet();
    refreshDataArea();
  });
  connect(&session_->dataView(), &DataView::dataSetIndexChanged, this, &Form1::followDataSet);
  connect(&session_->dataView(), &DataView::dumpViewChanged, this, &Form1::onDumpViewChanged);
  // Every exchange locks the operating controls until the status display
  // that ends it; a continuous run keeps its own state (its Stop button
  // must stay usable between samples).
  connect(&session_->exchange(), &Exchange::frameSent, this, [this] {
    if (!locked_ && !session_->realtime().running()) lockControls();
  });
  connect(&session_->connection(), &Connection::searchingPort, this,
          [this](const QString& p) { panel1->setText(QStringLiteral("Searching %1…").arg(p)); });
  connect(&session_->recording(), &RecordingOperation::startDialogRequested, this,
          &Form1::openStartDialog);
  progress_ = new DownloadProgress(session_, this);
  connect(&session_->download(), &DownloadOperation::started, this, &Form1::showDownloadProgress);
  connect(&session_->download(), &DownloadOperation::progress, this,
          [this](int, int, const QString& text) { panel2->setText(text); });
  connect(&session_->download(), &DownloadOperation::finished, this, [this] { panel2->clear(); });
  connect(session_, &Session::notice, panel2, &QLabel::setText);
  // The busy pointer stays up while an exchange runs.
  connect(session_, &Session::busyCursor, this, [](bool busy) {
    if (busy && !QApplication::overrideCursor()) QApplication::setOverrideCursor(Qt::BusyCursor);
    if (!busy)
      while (QApplication::overrideCursor()) QApplication::restoreOverrideCursor();
  });

  session_->statusOp().Status_Disp();
  Option5->setChecked(true);
  Option8->setChecked(true);
  refreshDataArea();
  setAcceptDrops(true);
  // Roomy, but never more than the screen offers; the layout shrinks the
  // graphs, scrolls the logger's panel and, at the last, the content
  // sideways when the screen is small.
  QSize opening(1180, 760);
  if (const QScreen* s = screen())
    opening = opening.boundedTo(s->availableSize() - QSize(0, kTitleBarHeight));
  resize(opening);
}

Form1::~Form1() = default;

QWidget* Form1::buildLoggerPanel() {
  auto* panel = new QWidget;
  auto* col = new QVBoxLayout(panel);
  col->setContentsMargins(0, 0, 0, 0);
  col->setSpacing(8);

  // Communication
  auto* comm = named<QGroupBox>("Frame1", QStringLiteral("Communication"));
  auto* commForm = new QFormLayout(comm);
  Combo4 = named<QComboBox>("Combo4");
  Combo4->setEditable(true);  // a device path may be typed as well
  for (int n = 1; n <= 255; ++n) Combo4->addItem(QString::number(n));
  Combo4->lineEdit()->setPlaceholderText(QStringLiteral("all ports"));
  Combo4->setToolTip(
      QStringLiteral("Port number (1 is /dev/ttyUSB0) or a device path; empty searches the ports"));
  Combo1 = named<QComboBox>("Combo1");
  Combo1->addItems(Connection::BaudChoices());
  Combo1->setCurrentText(QStringLiteral("57600"));
  session_->connection().BaudText = Combo1->currentText();
  Combo3 = named<QComboBox>("Combo3");
  Combo3->addItems(
      {QStringLiteral("QM510-XC"), QStringLiteral("QM720-XC"), QStringLiteral("QM720-XCB")});
  Combo3->setCurrentText(QStringLiteral("QM720-XC"));
  Command20 = named<QPushButton>("Command20", QStringLiteral("Connect"));
  Command20->setDefault(true);
  Label49 = named<QLabel>("Label49");
  Label49->setAlignment(Qt::AlignCenter);
  Label49->setMargin(4);
  auto* connectRow = new QHBoxLayout;
  connectRow->addWidget(Command20, 1);
  connectRow->addWidget(Label49, 1);
  commForm->addRow(QStringLiteral("&Port"), Combo4);
  commForm->addRow(QStringLiteral("Spee&d"), Combo1);
  commForm->addRow(QStringLiteral("Mode&l"), Combo3);
  commForm->addRow(connectRow);
  col->addWidget(comm);

  // State of the logger
  auto* state = named<QGroupBox>("Frame2", QStringLiteral("State"));
  auto* stateForm = new QFormLayout(state);
  stateForm->setVerticalSpacing(4);
  auto* Label16 = valueLabel("Label16");
  QFont bold = Label16->font();
  bold.setBold(true);
  Label16->setFont(bold);
  QLabel* Label31 = caption(QStringLiteral("Upper bound"));
  Label31->setObjectName(QStringLiteral("Label31"));
  QLabel* Label32 = caption(QStringLiteral("Lower bound"));
  Label32->setObjectName(QStringLiteral("Label32"));
  auto* Label19 = valueLabel("Label19");  // the interval in seconds, kept for printing
  Label19->hide();
  auto* Label8 = valueLabel("Label8");
  Label8->setWordWrap(true);
  Label8->setMargin(2);
  stateForm->addRow(caption(QStringLiteral("State")), Label16);
  stateForm->addRow(caption(QStringLiteral("Name")), valueLabel("Label14"));
  stateForm->addRow(caption(QStringLiteral("Start time")), valueLabel("Label26"));
  stateForm->addRow(caption(QStringLiteral("Points")), valueLabel("Label21"));
  stateForm->addRow(caption(QStringLiteral("Interval")), valueLabel("Label6"));
  stateForm->addRow(caption(QStringLiteral("Memory")), valueLabel("Label48"));
  stateForm->addRow(Label31, valueLabel("Label29"));
  stateForm->addRow(Label32, valueLabel("Label46"));
  stateForm->addRow(caption(QStringLiteral("Battery")), valueLabel("Label7"));
  stateForm->addRow(Label8);
  stateForm->addRow(Label19);
  Command11 = named<QPushButton>("Command11", QStringLiteral("&Update"));
  Command26 = named<QPushButton>("Command26", QStringLiteral("&Alarm…"));
  Command28 = named<QPushButton>("Command28", QStringLiteral("&Memory mode…"));
  Command27 = named<QPushButton>("Command27", QStringLiteral("&Initialise"));
  auto* settingsRow = new QGridLayout;
  settingsRow->addWidget(Command11, 0, 0);
  settingsRow->addWidget(Command26, 0, 1);
  settingsRow->addWidget(Command28, 1, 0);
  settingsRow->addWidget(Command27, 1, 1);
  stateForm->addRow(settingsRow);
  col->addWidget(state);

  // Recording and download
  auto* rec = named<QGroupBox>("Frame4", QStringLiteral("Recording"));
  auto* recRow = new QHBoxLayout(rec);
  Command4 = named<QPushButton>("Command4", QStringLiteral("Start"));
  Command5 = named<QPushButton>("Command5", QStringLiteral("Do&wnload"));
  recRow->addWidget(Command4, 1);
  recRow->addWidget(Command5, 1);
  col->addWidget(rec);

  // Real-time measurement
  auto* rt = named<QGroupBox>("Frame3", QStringLiteral("Real time"));
  auto* rtGrid = new QGridLayout(rt);
  Label2 = valueLabel("Label2");
  Label4 = valueLabel("Label4");
  Label10 = valueLabel("Label10");
  QFont big = Label2->font();
  big.setPointSizeF(big.pointSizeF() * 1.7);
  big.setBold(true);
  for (QLabel* l : {Label2, Label4}) {
    l->setFont(big);
    l->setAlignment(Qt::AlignCenter);
    l->setMinimumHeight(QFontMetrics(big).height());
  }
  Label10->setAlignment(Qt::AlignCenter);
  auto* tCap = caption(QStringLiteral("Temperature"));
  auto* hCap = caption(QStringLiteral("Humidity"));
  tCap->setAlignment(Qt::AlignCenter);
  hCap->setAlignment(Qt::AlignCenter);
  rtGrid->addWidget(tCap, 0, 0);
  rtGrid->addWidget(hCap, 0, 1);
  rtGrid->addWidget(Label2, 1, 0);
  rtGrid->addWidget(Label4, 1, 1);
  rtGrid->addWidget(Label10, 2, 0, 1, 2);
  Combo5 = named<QComboBox>("Combo5");
  for (int n = 2; n <= 60; ++n) Combo5->addItem(QString::number(n));
  Combo5->setCurrentText(QStringLiteral("5"));
  Option3 = named<QRadioButton>("Option3", QStringLiteral("Sec"));
  Option4 = named<QRadioButton>("Option4", QStringLiteral("Min"));
  Option3->setChecked(true);
  auto* intervalRow = new QHBoxLayout;
  intervalRow->addWidget(caption(QStringLiteral("Every")));
  intervalRow->addWidget(Combo5);
  intervalRow->addWidget(Option3);
  intervalRow->addWidget(Option4);
  intervalRow->addStretch();
  rtGrid->addLayout(intervalRow, 3, 0, 1, 2);
  Command1 = named<QPushButton>("Command1", QStringLiteral("&One time"));
  Command2 = named<QPushButton>("Command2", QStringLiteral("Continuous"));
  rtGrid->addWidget(Command1, 4, 0);
  rtGrid->addWidget(Command2, 4, 1);
  col->addWidget(rt);

  // The logger's software keeps a second interval list here; nothing in
  // this window reads it, but the control states name it.
  Combo2 = named<QComboBox>("Combo2", panel);
  for (int n = 2; n <= 59; ++n) Combo2->addItem(QString::number(n));
  Combo2->setCurrentText(QStringLiteral("5"));
  Combo2->hide();

  col->addStretch();
  panel->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
  return panel;
}

QWidget* Form1::buildDataArea() {
  auto* area = new QWidget;
  auto* col = new QVBoxLayout(area);
  col->setContentsMargins(0, 0, 0, 0);

  auto* bar = new QHBoxLayout;
  auto* sets = named<QGroupBox>("Frame8", QStringLiteral("Data"));
  auto* setsRow = new QHBoxLayout(sets);
  Option5 = named<QRadioButton>("Option5", QStringLiteral("Log"));
  Option6 = named<QRadioButton>("Option6", QStringLiteral("Real"));
  Option7 = named<QRadioButton>("Option7", QStringLiteral("File"));
  for (QRadioButton* o : {Option5, Option6, Option7}) setsRow->addWidget(o);
  auto* views = named<QGroupBox>("Frame11", QStringLiteral("View"));
  auto* viewsRow = new QHBoxLayout(views);
  Option8 = named<QRadioButton>("Option8", QStringLiteral("Graph"));
  Option9 = named<QRadioButton>("Option9", QStringLiteral("Dump"));
  viewsRow->addWidget(Option8);
  viewsRow->addWidget(Option9);
  Label3 = named<QLabel>("Label3");
  QFont f = Label3->font();
  f.setPointSizeF(f.pointSizeF() * 1.3);
  f.setBold(true);
  Label3->setFont(f);
  // As wide as the longest set name from the start, so the window's least
  // width, which the logger's panel is fitted to, never grows later.
  int widestName = 0;
  for (int set : {LogData, RealTimeData, FileData})
    widestName = qMax(widestName, QFontMetrics(f).horizontalAdvance(DataSetName(set)));
  Label3->setMinimumWidth(widestName);
  Label3->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
  Command23 = named<QPushButton>("Command23", QStringLiteral("&Print…"));
  auto* file = named<QGroupBox>("FileFrame", QStringLiteral("File data"));
  auto* fileRow = new QHBoxLayout(file);
  Command14 = named<QPushButton>("Command14", QStringLiteral("Open"));
  fileInfo = new ElidingLabel;
  fileInfo->setObjectName(QStringLiteral("FileInfo"));
  // What the file's header says, and under it the bounds of a file that has
  // them: on two lines, so neither squeezes the other.
  auto* fileText = new QVBoxLayout;
  fileText->setSpacing(0);
  fileText->addWidget(fileInfo);
  auto* bounds = named<QWidget>("FileBounds");
  auto* boundsRow = new QHBoxLayout(bounds);
  boundsRow->setContentsMargins(0, 0, 0, 0);
  for (const auto& [title, name, value] :
       {std::tuple{"Upper bound", "FileUpperCaption", "FileUpper"},
        std::tuple{"Lower bound", "FileLowerCaption", "FileLower"}}) {
    QLabel* t = caption(QLatin1String(title));
    t->setObjectName(QLatin1String(name));
    boundsRow->addWidget(t);
    boundsRow->addWidget(valueLabel(value));
    boundsRow->addSpacing(8);
  }
  boundsRow->addStretch();
  // Like the line above it, the bounds never widen the window: a narrow
  // window cuts them short instead.
  bounds->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  bounds->hide();
  fileText->addWidget(bounds);
  fileRow->addWidget(Command14);
  fileRow->addLayout(fileText, 1);
  bar->addWidget(sets);
  bar->addWidget(views);
  bar->addWidget(file, 1);
  bar->addSpacing(12);
  // The set's name over its print button: one column, narrow enough for a
  // small screen at a large scale.
  auto* titleCol = new QVBoxLayout;
  titleCol->setSpacing(2);
  titleCol->addWidget(Label3, 0, Qt::AlignRight);
  titleCol->addWidget(Command23, 0, Qt::AlignRight | Qt::AlignBottom);
  bar->addLayout(titleCol);
  col->addLayout(bar);

  dataStack = named<QStackedWidget>("DataStack");

  // The graphs' page: temperature (ondo) above humidity (situdo), each with
  // its four bars.
  auto* graphPage = new QWidget;
  auto* gcol = new QVBoxLayout(graphPage);
  gcol->setContentsMargins(0, 0, 0, 0);
  gcol->setSpacing(4);
  graphs_ = new GraphPanel(session_->data(), session_->dataView());
  graphs_->setContinuousRun([this] { return session_->realtime().running(); });
  gcol->addWidget(graphs_, 1);
  dataStack->addWidget(graphPage);

  ListView1 = named<QTreeView>("ListView1");
  ListView1->setRootIsDecorated(false);
  ListView1->setUniformRowHeights(true);
  ListView1->setAlternatingRowColors(true);
  // A run of rows selected is what the list print offers as its range.
  ListView1->setSelectionMode(QAbstractItemView::ExtendedSelection);
  ListView1->setModel(dump_);
  ListView1->header()->setSectionsClickable(true);
  ListView1->header()->setStretchLastSection(true);
  {
    const QFontMetrics fm = ListView1->fontMetrics();
    ListView1->setColumnWidth(0, fm.horizontalAdvance(QStringLiteral("Record No")) + 28);
    ListView1->setColumnWidth(1, fm.horizontalAdvance(QStringLiteral("0000/00/00 00:00:00")) + 28);
    ListView1->setColumnWidth(2, fm.horizontalAdvance(QStringLiteral("Temp (C)")) + 28);
    ListView1->setColumnWidth(3, fm.horizontalAdvance(QStringLiteral("Humi (%RH)")) + 28);
  }
  dataStack->addWidget(ListView1);
  col->addWidget(dataStack, 1);

  // Under the data: the print button of the view shown (the other is hidden).
  Command24 = named<QPushButton>("Command24", QStringLiteral("Print graphs…"));
  Command25 = named<QPushButton>("Command25", QStringLiteral("Print list…"));
  Command25->setVisible(false);
  auto* printRow = new QHBoxLayout;
  printRow->addStretch();
  printRow->addWidget(Command24);
  printRow->addWidget(Command25);
  col->addLayout(printRow);
  return area;
}

void Form1::buildMenus() {
  QMenuBar* bar = menuBar();
  bar->setObjectName(QStringLiteral("MenuBar"));

  QMenu* m1 = bar->addMenu(QStringLiteral("File(&F)"));
  m1->setObjectName(QStringLiteral("m1"));
  connect(namedAction(m1, "m11", QStringLiteral("Open(&O)")), &QAction::triggered, this,
          &Form1::m11_Click);
  archiveAction_ = namedAction(m1, "mArchive", QStringLiteral("Archive…"));
  archiveAction_->setVisible(false);
  connect(archiveAction_, &QAction::triggered, this, &Form1::openArchiveDialog);
  QMenu* m12 = m1->addMenu(QStringLiteral("Save(&S)"));
  m12->setObjectName(QStringLiteral("m12"));
  connect(namedAction(m12, "m121", QStringLiteral("RealTimeData(&R)")), &QAction::triggered, this,
          [this] { saveSet(RealTimeData); });
  connect(namedAction(m12, "m122", QStringLiteral("LogData(&L)")), &QAction::triggered, this,
          [this] { saveSet(LogData); });
  connect(namedAction(m1, "m13", QStringLiteral("Print(&P)")), &QAction::triggered, this,
          &Form1::openPrintDialog);
  connect(namedAction(m1, "mSaveGraph", QStringLiteral("Save graph image…")), &QAction::triggered,
          this, &Form1::mSaveGraph_Click);
  m1->addSeparator();
  connect(namedAction(m1, "m14", QStringLiteral("End")), &QAction::triggered, this,
          &Form1::m14_Click);

  QMenu* m2 = bar->addMenu(QStringLiteral("Record(&R)"));
  m2->setObjectName(QStringLiteral("m2"));
  connect(namedAction(m2, "m21", QStringLiteral("Recording start/stop(&S)")), &QAction::triggered,
          Command4, &QPushButton::click);
  connect(namedAction(m2, "m22", QStringLiteral("Reservation(&Y)…")), &QAction::triggered, this,
          &Form1::openReservationDialog);
  connect(namedAction(m2, "m23", QStringLiteral("Status update(&U)")), &QAction::triggered,
          Command11, &QPushButton::click);
  m2->addSeparator();
  downloadAction = namedAction(m2, "mDownload", QStringLiteral("Download(&D)"));
  connect(downloadAction, &QAction::triggered, Command5, &QPushButton::click);

  QMenu* m3 = bar->addMenu(QStringLiteral("Tool(&T)"));
  m3->setObjectName(QStringLiteral("m3"));
  connect(namedAction(m3, "m31", QStringLiteral("Communication setting(&C)…")), &QAction::triggered,
          this, &Form1::openCommDialog);
  connect(namedAction(m3, "m32", QStringLiteral("Memory mode(&M)…")), &QAction::triggered, this,
          &Form1::openMemoryModeDialog);
  connect(namedAction(m3, "m33", QStringLiteral("Ident_name_Setting(&N)")), &QAction::triggered,
          this, &Form1::openNameDialog);
  connect(namedAction(m3, "m34", QStringLiteral("Clock setting(&T)…")), &QAction::triggered, this,
          &Form1::openClockDialog);
  alarmAction = namedAction(m3, "mAlarm", QStringLiteral("Alarm setting(&A)…"));
  connect(alarmAction, &QAction::triggered, this, &Form1::openAlarmDialog);
  m3->addSeparator();
  QAction* plugBack =
      namedAction(m3, "mPlugBack", QStringLiteral("Reconnect when plugged back in"));
  plugBack->setCheckable(true);
  plugBack->setChecked(session_->plugBack().enabled());
  connect(plugBack, &QAction::toggled, this,
          [this](bool on) { session_->plugBack().setEnabled(on); });
  archiveTargetAction_ = namedAction(m3, "mArchiveTarget", QStringLiteral("Archive…"));
  archiveTargetAction_->setVisible(false);
  connect(archiveTargetAction_, &QAction::triggered, this, &Form1::openArchiveTargetDialog);

  QMenu* display = bar->addMenu(QStringLiteral("Display(&V)"));
  display->setObjectName(QStringLiteral("mDisplay"));
  const struct {
    const char* menuName;
    const char* title;
    QRadioButton* set;
  } displaySets[] = {{"mDisplayLog", "Log(&L)", Option5},
                     {"mDisplayReal", "RealTime(&R)", Option6},
                     {"mDisplayFile", "File(&F)", Option7}};
  for (const auto& s : displaySets) {
    QMenu* sub = display->addMenu(QString::fromLatin1(s.title));
    sub->setObjectName(QString::fromLatin1(s.menuName));
    QRadioButton* setOption = s.set;
    const QString base = QString::fromLatin1(s.menuName);
    QAction* graph = sub->addAction(QStringLiteral("Graph(&G)"));
    graph->setObjectName(base + QStringLiteral("Graph"));
    QAction* dumpAction = sub->addAction(QStringLiteral("Dump(&D)"));
    dumpAction->setObjectName(base + QStringLiteral("Dump"));
    connect(graph, &QAction::triggered, this, [this, setOption] {
      setOption->setChecked(true);
      Option8->setChecked(true);
    });
    connect(dumpAction, &QAction::triggered, this, [this, setOption] {
      setOption->setChecked(true);
      Option9->setChecked(true);
    });
  }

  display->addSeparator();
  QAction* link = namedAction(display, "mLinkTimeAxes", QStringLiteral("Link time axes"));
  link->setCheckable(true);
  connect(link, &QAction::toggled, this, [this](bool on) {
    graphs_->setLinkTimeAxes(on);
    iniOption_ = static_cast<qint16>(on ? iniOption_ | kOptionLinkTimeAxes
                                        : iniOption_ & ~kOptionLinkTimeAxes);
  });
  buildAnalysis(m1, m3, display);

  QMenu* help = bar->addMenu(QStringLiteral("Help(&H)"));
  help->setObjectName(QStringLiteral("mHelp"));
  connect(namedAction(help, "mVersion", QStringLiteral("Version(&A)")), &QAction::triggered, this,
          &Form1::openVersionDialog);
}

void Form1::registerControls() {
  // By name, from this window's own widgets and menus only: a dialog that
  // has controls of the same names (Option1, Command1…) is never touched.
  const auto add = [this](QObject* root) {
    for (QObject* o : root->findChildren<QObject*>()) {
      const QString n = o->objectName();
      if (n.isEmpty() || n.startsWith(QLatin1String("qt_")) || controls_.contains(n)) continue;
      controls_.insert(n, o);
    }
  };
  add(centralWidget());
  add(menuBar());
  add(statusBar());
}

QString Form1::loggerIniPath() const {
  const QString folder = session_->data().folder();
  if (folder.isEmpty()) return {};
  return QDir(folder).filePath(QStringLiteral("Logger.ini"));
}

bool Form1::Save() {
  const QString path = loggerIniPath();
  if (path.isEmpty()) return false;
  LoggerIniValues v;
  bool ok = false;
  const int port = Combo4->currentText().trimmed().toInt(&ok);
  // A device path cannot be kept in the file; the last number stays.
  if (ok && port >= 1 && port <= 255) {
    v.port = static_cast<qint16>(port);
  } else {
    v.port = LoggerIni_Read(path).port;
  }
  v.option = iniOption_;
  v.folder = prompt_->startFolder.isEmpty() ? QDir::currentPath() : prompt_->startFolder;
  QString error;
  if (LoggerIni_Save(path, v, &error, {company_, unit_ == analysis::Unit::Fahrenheit}))
    return saveArchiveIni();
  if (!endingBySignal_)
    prompt_->message(QStringLiteral("The settings could not be saved.\r\r") + error,
                     session_->windowTitle());
  return false;
}

int Form1::shownSet() const { return session_->shownSet(); }

// ---- connection

void Form1::connectOnce() { session_->Port_Set_Command(PortSearch::Once, Combo4->currentText()); }

void Form1::connectOnce(const QString& port) {
  // Shown as typed, without the settings file taking it as the stored number.
  const QSignalBlocker quiet(Combo4);
  Combo4->setCurrentText(port);
  connectOnce();
}

void Form1::Command20_Click() {
  if (searching_) {
    session_->connection().cancelSearch();
    return;
  }
  session_->connection().BaudText = Combo1->currentText();
  const QString port = Combo4->currentText().trimmed();
  if (!port.isEmpty() || session_->connected()) {
    session_->Port_Set_Command(PortSearch::Once, port);
    return;
  }
  // An empty port box searches like the logger's own software: the FTDI
  // ports first, then 16 down to 1. The button cancels meanwhile.
  searching_ = true;
  Command20->setText(QStringLiteral("Cancel"));
  for (QWidget* w : {static_cast<QWidget*>(Combo1), static_cast<QWidget*>(Combo3),
                     static_cast<QWidget*>(Combo4)})
    w->setEnabled(false);
  session_->Port_Set_Command(PortSearch::Search, QString());
  searching_ = false;
  if (closed_) return;
  if (session_->connected()) Combo4->setCurrentText(session_->connection().CommPort());
  session_->statusOp().Status_Disp();
}

void Form1::Combo4_Click(const QString& text) {
  // Picking a port keeps it for the next start.
  bool ok = false;
  text.trimmed().toInt(&ok);
  if (ok) Save();
}

// ---- status display

void Form1::onStatusDisplayed(const StatusView& v) {
  setWindowTitle(v.caption);
  panel1->setText(v.statusBar);
  applyControls(StatusControls(v));
  // Shown in the middle of an exchange (a download's start): still locked.
  locked_ = false;
  if (session_->busy() && v.state != DisplayState::Continuous) lockControls();
  const bool connected = v.state != DisplayState::NotConnected;
  if (!searching_)
    Command20->setText(connected ? QStringLiteral("Disconnect") : QStringLiteral("Connect"));
  alarmAction->setEnabled(Command26->isEnabled());
  downloadAction->setEnabled(Command5->isEnabled());
  if (connected && v.state != DisplayState::Continuous) applyRealtime();
  followDataSet();
}

void Form1::applyControls(const ControlTable& table) {
  for (const auto& [name, state] : table.entries()) applyControl(name, state);
  alarmAction->setEnabled(Command26->isEnabled());
  downloadAction->setEnabled(Command5->isEnabled());
  // The Open button goes with its menu entry.
  if (auto* open = qobject_cast<QAction*>(controls_.value(QStringLiteral("m11"))))
    Command14->setEnabled(open->isEnabled() && open->isVisible());
  // The other print entry points go with the print button.
  Command24->setEnabled(Command23->isEnabled());
  Command25->setEnabled(Command23->isEnabled());
  if (auto* print = qobject_cast<QAction*>(controls_.value(QStringLiteral("m13"))))
    print->setEnabled(Command23->isEnabled());
}

void Form1::lockControls() {
  locked_ = true;
  applyControls(Controls_Lock());
}

void Form1::applyControl(const QString& name, const ControlState& state) {
  QObject* o = controls_.value(name);
  if (!o) return;  // a control this window does not have (yet)
  if (auto* menu = qobject_cast<QMenu*>(o)) {
    if (state.enabled) menu->menuAction()->setEnabled(*state.enabled);
    if (state.visible) menu->menuAction()->setVisible(*state.visible);
    if (state.text) menu->setTitle(*state.text);
    return;
  }
  if (auto* action = qobject_cast<QAction*>(o)) {
    if (state.enabled) action->setEnabled(*state.enabled);
    if (state.visible) action->setVisible(*state.visible);
    if (state.text) action->setText(*state.text);
    return;
  }
  auto* w = qobject_cast<QWidget*>(o);
  if (!w) return;
  if (state.enabled) w->setEnabled(*state.enabled);
  if (state.visible && w != Combo2) w->setVisible(*state.visible);
  if (state.text) {
    if (auto* label = qobject_cast<QLabel*>(w))
      label->setText(*state.text);
    else if (auto* button = qobject_cast<QAbstractButton*>(w))
      button->setText(*state.text);
    else if (auto* box = qobject_cast<QGroupBox*>(w))
      box->setTitle(*state.text);
  }
  if (state.back) {
    if (auto* label = qobject_cast<QLabel*>(w)) setBack(label, backColour(*state.back));
  }
}

void Form1::applyRealtime() {
  const auto& r = session_->realtime().labels();
  Label2->setText(r.Label2);
  Label4->setText(r.Label4);
  Label10->setText(r.Label10);
}

// The core chooses the set now and then (a measurement, a download, an
// opened file): the options follow without switching again.
void Form1::followDataSet() {
  QRadioButton* opt[] = {Option5, Option6, Option7};
  const int set = shownSet();
  if (set < 0 || set > 2 || opt[set]->isChecked()) return;
  const QSignalBlocker b5(Option5), b6(Option6), b7(Option7);
  opt[set]->setChecked(true);
  Label3->setText(DataSetName(set));
}

// ---- view selection

void Form1::showSet(int set) {
  if (shownSet() == set) return;
  session_->showSet(set);
}

void Form1::showView(bool dump) { session_->dataView().setDumpView(dump); }

void Form1::onDumpViewChanged(bool dump) {
  {
    const QSignalBlocker b8(Option8), b9(Option9);
    (dump ? Option9 : Option8)->setChecked(true);
  }
  refreshDataArea();
  session_->statusOp().Status_Disp();
}

bool Form1::dumpView() const { return session_->dataView().DumpView(); }

void Form1::fillList() { dump_->Dump_Fill(shownSet()); }

void Form1::refreshDataArea() {
  Label3->setText(DataSetName(shownSet()));
  Command24->setVisible(!dumpView());
  Command25->setVisible(dumpView());
  if (dumpView()) {
    dataStack->setCurrentWidget(ListView1);
    fillList();
  } else {
    dataStack->setCurrentIndex(0);
    graphs_->redraw();
  }
}

void Form1::onDataSetChanged(int set) {
  followDataSet();
  if (set == FileData) showFilePanel();
  if (set != shownSet()) return;  // drawn when it is next shown
  // The same rows (labelled just now): the place in the list and the
  // selection stay.
  const DataSetInfo& info = session_->data().info(set);
  if (dumpView() && dump_->dataSet() == set && dump_->rowCount() == info.Points && info.Points > 0)
    return;
  refreshDataArea();
}

// A completed measurement or download: the list showing the set gets the
// extremes' texts in its rows.
void Form1::onExtremesMarked(int set) {
  if (!dumpView() || set != shownSet()) return;
  const DataSetInfo& info = session_->data().info(set);
  if (dump_->dataSet() != set || dump_->rowCount() != info.Points) fillList();
  Stats_Label(*dump_, info.Stats);
}

// The file data panel: what the opened file's header says, with the bounds
// of a file that has them.
void Form1::showFilePanel() {
  const DataSetInfo& f = session_->data().info(FileData);
  auto* bounds = findChild<QWidget*>(QStringLiteral("FileBounds"));
  const bool none = f.Points <= 0 && f.Name.isEmpty();
  bounds->setVisible(!none && HasAlarmBounds(f.Model));
  if (none) {
    fileInfo->clear();
    return;
  }
  auto boundText = [](qint32 raw, bool on) {
    return on ? QString::number(fmt::boundDegrees(raw)) + QStringLiteral(" C")
              : QStringLiteral("OFF");
  };
  bounds->findChild<QLabel*>(QStringLiteral("FileUpper"))
      ->setText(boundText(f.UpperRaw, f.UpperOn));
  bounds->findChild<QLabel*>(QStringLiteral("FileLower"))
      ->setText(boundText(f.LowerRaw, f.LowerOn));
  const QString interval = fmt::intervalText(f.Interval);
  QStringList parts;
  if (!f.Name.trimmed().isEmpty()) parts << f.Name.trimmed();
  if (f.StartTime != 0) parts << fmt::formatDateTime(f.StartTime);
  parts << QString::number(f.PointsShown) + QStringLiteral(" Point");
  if (!interval.isEmpty()) parts << interval;
  fileInfo->setText(parts.join(QStringLiteral("   ")));
}

// ---- files

void Form1::m11_Click() { session_->openFile(); }

void Form1::mSaveGraph_Click() {
  if (session_->data().info(shownSet()).Points <= 0) {
    prompt_->message(QStringLiteral("There is no graph to save."), session_->windowTitle());
    return;
  }
  if (dumpView()) graphs_->redraw();  // the graphs of the set on display, not an older picture
  bool failed = false;
  const QString proposed = QStringLiteral("%1_graph.png").arg(DataSetName(shownSet()));
  const auto path =
      prompt_->saveFileName(proposed, QStringLiteral("PNG image(*.png)|*.png"), &failed);
  if (!path) return;
  saveGraphImage(*path);
}

bool Form1::saveGraphImage(const QString& path) {
  QImageWriter writer(path, "png");
  if (writer.write(graphs_->graphsImage())) return true;
  prompt_->message(QStringLiteral("The graph image could not be saved.\r\r%1\r(%2)")
                       .arg(QDir::toNativeSeparators(path), writer.errorString()),
                   session_->windowTitle());
  return false;
}

void Form1::dragEnterEvent(QDragEnterEvent* event) {
  const QList<QUrl> urls = event->mimeData()->urls();
  if (!urls.isEmpty() && urls.first().isLocalFile()) event->acceptProposedAction();
}

void Form1::dropEvent(QDropEvent* event) {
  const QList<QUrl> urls = event->mimeData()->urls();
  if (urls.isEmpty() || !urls.first().isLocalFile()) return;
  event->acceptProposedAction();
  // Not while the logger is being talked to: the file would take the place
  // of the set the exchange is filling.
  if (!Command14->isEnabled()) {
    prompt_->message(QStringLiteral("A file cannot be opened while the logger is busy."),
                     session_->windowTitle());
    return;
  }
  session_->openFile(urls.first().toLocalFile());
}

void Form1::saveSet(int set) { session_->saveSet(set); }

void Form1::m14_Click() { close(); }

// ---- dialogs: each entry point opens its dialog over the window.

template <typename Dialog, typename... Args>
Dialog* Form1::showDialog(Args&&... args) {
  // Modal to the user, but shown without a nested event loop: the exchange a
  // dialog starts runs on, and the window redraws from it meanwhile.
  auto* d = new Dialog(session_, std::forward<Args>(args)..., this);
  d->setAttribute(Qt::WA_DeleteOnClose);
  d->setWindowModality(Qt::ApplicationModal);
  d->show();
  return d;
}

void Form1::openStartDialog() { showDialog<Form12>(); }
void Form1::openReservationDialog() { showDialog<Form7>(); }
void Form1::openClockDialog() { showDialog<Form6>(); }
void Form1::openAlarmDialog() { showDialog<Form11>(); }
void Form1::openMemoryModeDialog() { showDialog<Form8>(); }
void Form1::openNameDialog() { showDialog<Form2>(); }
void Form1::openCommDialog() { showDialog<Form5>(Combo4->currentText().trimmed()); }
void Form1::openVersionDialog() { showDialog<Form4>(); }
void Form1::showDownloadProgress() {
  // The progress window follows the download itself; this only brings it to
  // the front should it be behind the main window.
  if (progress_) progress_->raise();
}

void Form1::setArchive(ArchiveSetting* archive) {
  archive_ = archive;
  archiveAction_->setVisible(archive_ != nullptr);
  archiveTargetAction_->setVisible(archive_ != nullptr);
}

void Form1::openArchiveDialog() {
  if (archive_) showDialog<ArchiveDialog>(&archive_->archive(), prompt_);
}

void Form1::openArchiveTargetDialog() {
  if (!archive_) return;
  auto* d = showDialog<ArchiveTargetDialog>(archive_, prompt_);
  connect(d, &ArchiveTargetDialog::chosen, this, [this] { saveArchiveIni(); });
}

bool Form1::saveArchiveIni() {
  const QString folder = session_->data().folder();
  if (!archive_ || folder.isEmpty()) return true;
  const QString path = ArchiveIni_Path(folder);
  // Nothing chosen ever: no file.
  if (archive_->text().isEmpty() && !QFileInfo::exists(path)) return true;
  QString error;
  if (ArchiveIni_Save(path, archive_->text(), &error)) return true;
  if (!endingBySignal_)
    prompt_->message(QStringLiteral("The settings could not be saved.\r\r") + error,
                     session_->windowTitle());
  return false;
}

void Form1::openPrintDialog() {
  if (session_->data().info(shownSet()).Points <= 0) {
    prompt_->message(QStringLiteral("There is no data to print."), session_->windowTitle());
    return;
  }
  PrintDialog* d = nullptr;
  if (dumpView())
    d = showDialog<Form10>(prompt_, selectedRecords());
  else
    d = showDialog<Form9>(prompt_);
  d->setSummaryOptions(company_, unit_);
  connect(d, &PrintDialog::printStarted, this, &Form1::printStarted);
}

std::pair<int, int> Form1::selectedRecords() const {
  int first = 0, last = 0;
  if (dump_->dataSet() != shownSet() || !ListView1->selectionModel()) return {0, 0};
  // The list may be sorted: the range is by record number, not by row.
  for (const QModelIndex& index : ListView1->selectionModel()->selectedRows()) {
    const int n = dump_->recordAt(index.row());
    if (n <= 0) continue;
    first = first == 0 ? n : qMin(first, n);
    last = qMax(last, n);
  }
  return {first, last};
}

// ---- shutdown

void Form1::stopEverything() {
  // A search in progress gives up at its next port; a run, a download or
  // any exchange ends with the port closed.
  if (searching_) session_->connection().cancelSearch();
  session_->shutDown();
}

void Form1::closeOtherWindows() {
  for (QWidget* w : QApplication::topLevelWidgets())
    if (w != this && w->isVisible()) w->close();
}

void Form1::closeEvent(QCloseEvent* event) {
  if (closed_) {
    QMainWindow::closeEvent(event);
    return;
  }
  closed_ = true;
  stopEverything();
  if (endingBySignal_) {
    Save();
    closeOtherWindows();
    QMainWindow::closeEvent(event);
    return;
  }
  // Measurements nobody saved are offered for saving before the scratch
  // files go; closing itself is never refused.
  session_->Data_Save_Ask(LogData, QuestionId::SaveLogAtClose);
  session_->Data_Save_Ask(RealTimeData, QuestionId::SaveRealAtClose);
  Save();
  session_->data().closeAndRemove();
  closeOtherWindows();
  QMainWindow::closeEvent(event);
}

int Form1::offerRecovery() {
  const int loaded = session_->offerRecovery(*prompt_);
  if (loaded > 0) {
    followDataSet();
    refreshDataArea();
    session_->statusOp().Status_Disp();
  }
  return loaded;
}

QStringList Form1::endBySignal() {
  endingBySignal_ = true;
  close();
  return session_->data().closeKeepingUnsaved();
}

}  // namespace hygro
