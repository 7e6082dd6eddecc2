#include "logger/session.h"

#include "data/csv.h"
#include "data/formats.h"
#include "data/userprompt.h"

namespace hygro {

QString StatusView::stateWord() const {
  switch (state) {
    case DisplayState::Recording:
      return QStringLiteral("Recording");
    case DisplayState::Reserving:
      return QStringLiteral("Reserving");
    case DisplayState::NotConnected:
      return QStringLiteral("----");
    default:
      return QStringLiteral("Record stop");
  }
}

Session::Session(std::unique_ptr<Transport> transport, std::unique_ptr<BridgePins> bridge,
                 UserPrompt* prompt, QObject* parent)
    : QObject(parent),
      transport_(std::move(transport)),
      bridge_(bridge ? std::move(bridge) : std::make_unique<NoBridge>()),
      prompt_(prompt),
      data_(prompt) {
  exchange_ = std::make_unique<Exchange>(transport_.get(), prompt_);
  connection_ =
      std::make_unique<Connection>(transport_.get(), bridge_.get(), exchange_.get(), prompt_);
  exchange_->setTitleSource([this] { return ModelName(); });
  connection_->appendStatusRead = [this](const QString& mode) { Status_Read(mode); };
  connection_->beforeConnect = [this] {
    Data_Save_Ask(LogData,
                  QStringLiteral("When the communication begins, the data previously downloaded "
                                 "is lost. \r\rIs the data of the log record preserved?"));
    Data_Save_Ask(RealTimeData,
                  QStringLiteral("When the communication begins, the data previously measured is "
                                 "lost.\r\rIs real-time data preserved?"));
  };
  connect(connection_.get(), &Connection::clearRecState, this, [this] {
    // Disconnecting ends a continuous run like its own stop button.
    if (stopContinuation()) finishRealtimeRun();
    status_.RecState.clear();
  });
  connect(connection_.get(), &Connection::statusTextChanged, this, &Session::statusBarText);
  connect(connection_.get(), &Connection::deviceLost, this, [this] { downloadFailed(false); });
  connect(exchange_.get(), &Exchange::busyCursor, this, &Session::busyCursor);
  connect(exchange_.get(), &Exchange::abandoned, this, [this] {
    // With the port closed a continuous run could only time out again and
    // again: it ends with the exchange.
    if (stopContinuation()) finishRealtimeRun();
  });
  connect(exchange_.get(), &Exchange::exchangeEnded, this, [this] {
    Download_Timer.stop();
    // Cut short (time-out, refusals, disconnect): what came is kept.
    if (downloading_) downloadCutShort();
    Status_Disp();
    Q_EMIT exchangeEnded();
    if (stopPending_) {
      stopPending_ = false;
      // Outside the answer's dispatch: the end of a run asks a question.
      QTimer::singleShot(0, this, &Session::completeRunStop);
    }
  });

  continuation.setObjectName(QStringLiteral("continuation"));
  // A coarse timer may fire early and make a second of the run too short.
  continuation.setTimerType(Qt::PreciseTimer);
  connect(&continuation, &QTimer::timeout, this, &Session::continuationTick);
  Download_Timer.setObjectName(QStringLiteral("Download_Timer"));
  connect(&Download_Timer, &QTimer::timeout, this, &Session::downloadWatchdog);

  registerBranches();
}

Session::~Session() {
  continuation.stop();
  Download_Timer.stop();
  if (transport_ && transport_->isOpen()) transport_->close();
}

bool Session::connected() const { return transport_->isOpen(); }

void Session::registerBranches() {
  registerStatusBranches();
  registerRealtimeBranches();
  registerRecordingBranches();
  registerDownloadBranches();
  registerSettingsBranches();
}

bool Session::Port_Set_Command(const QString& mode, const QString& port) {
  const bool done = connection_->Port_Set_Command(mode, port);
  if (done && !connected()) Status_Disp();
  return done;
}

void Session::Data_Save_Ask(int set, const QString& question) {
  // For the log set the flag also stands for "the logger holds data never
  // downloaded"; with nothing held here there is nothing to save.
  const DataSetInfo& info = data_.info(set);
  if (!(info.Modified || info.Unsaved) || info.Points <= 0 || !prompt_) return;
  if (!prompt_->question(question, ModelName())) return;
  Csv_Save(data_, set, ModelName(), status_.IdentName, *prompt_);
}

bool Session::batteryOk() const {
  return fmt::val(status_.BatteryVoltage) >= 2.5 && status_.ErrorMark != QLatin1String("Error");
}

QString Session::SetCompletionText() { return QStringLiteral("Set completion"); }

}  // namespace hygro
