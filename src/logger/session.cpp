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

QString RecStateWord(RecState state) {
  switch (state) {
    case RecState::Recording:
      return QStringLiteral("kirokucyu");
    case RecState::Reserving:
      return QStringLiteral("yoyakucyu");
    case RecState::Continuous:
      return QStringLiteral("renzoku");
    case RecState::Idle:
      break;
  }
  return {};
}

// ---------------------------------------------------------------- Operation

Operation::Operation(Session& session) : QObject(&session), s_(session) {}
Exchange& Operation::x() const { return *s_.exchange_; }
DataSets& Operation::data() const { return s_.data_; }
LoggerStatus& Operation::st() const { return s_.status_; }
UserPrompt* Operation::prompt() const { return &s_.gate_; }
QString Operation::model() const { return s_.ModelName(); }
bool Operation::busy() const { return s_.busy(); }
bool Operation::connected() const { return s_.connected(); }

// ---------------------------------------------------------------- Session

Session::Session(std::unique_ptr<Transport> transport, std::unique_ptr<BridgePins> bridge,
                 UserPrompt* prompt, QObject* parent)
    : QObject(parent),
      transport_(std::move(transport)),
      bridge_(bridge ? std::move(bridge) : std::make_unique<NoBridge>()),
      gate_(prompt),
      data_(&gate_) {
  exchange_ = std::make_unique<Exchange>(transport_.get(), &gate_);
  connection_ =
      std::make_unique<Connection>(transport_.get(), bridge_.get(), exchange_.get(), &gate_);
  plugBack_ = std::make_unique<PlugBack>(transport_.get(), connection_.get(), exchange_.get());
  connect(plugBack_.get(), &PlugBack::reconnected, this, &Session::notice);
  gate_.setHoldWhile([this] { return exchange_->handlingAnswers(); });
  connect(exchange_.get(), &Exchange::answersHandled, this, [this] { gate_.flush(); });

  status_op_ = std::make_unique<StatusOperation>(*this);
  realtime_ = std::make_unique<RealtimeOperation>(*this);
  recording_ = std::make_unique<RecordingOperation>(*this);
  download_ = std::make_unique<DownloadOperation>(*this);
  settings_ = std::make_unique<SettingsOperation>(*this);

  exchange_->setTitleSource([this] { return ModelName(); });
  connection_->appendStatusRead = [this](CommMode mode) { status_op_->Status_Read(mode); };
  connection_->beforeConnect = [this] {
    Data_Save_Ask(LogData, QuestionId::SaveLogBeforeConnect);
    Data_Save_Ask(RealTimeData, QuestionId::SaveRealBeforeConnect);
  };
  connect(connection_.get(), &Connection::clearRecState, this, [this] {
    // Disconnecting ends a continuous run like its own stop button.
    realtime_->endRun();
    status_.RecState = RecState::Idle;
    status_.read = false;
  });
  connect(connection_.get(), &Connection::statusTextChanged, this, &Session::statusBarText);
  connect(connection_.get(), &Connection::deviceLost, this, [this] { download_->failed(false); });
  connect(exchange_.get(), &Exchange::busyCursor, this, &Session::busyCursor);
  connect(exchange_.get(), &Exchange::abandoned, this, [this] {
    // With the port closed a continuous run could only time out again and
    // again: it ends with the exchange.
    realtime_->endRun();
  });
  connect(exchange_.get(), &Exchange::exchangeEnded, this, [this] {
    download_->Download_Timer.stop();
    // Cut short (time-out, refusals, disconnect): what came is kept.
    if (download_->downloading_) download_->cutShort();
    status_op_->Status_Disp();
    Q_EMIT exchangeEnded();
    if (realtime_->stopPending_) {
      realtime_->stopPending_ = false;
      // Outside the answer's handling: the end of a run asks a question.
      QTimer::singleShot(0, realtime_.get(), &RealtimeOperation::completeStop);
    }
  });
}

Session::~Session() {
  // The operations go first: their timers and handlers reach the link.
  settings_.reset();
  download_.reset();
  recording_.reset();
  realtime_.reset();
  status_op_.reset();
  plugBack_.reset();
  if (transport_ && transport_->isOpen()) transport_->close();
}

bool Session::connected() const { return transport_->isOpen(); }

const StatusView& Session::view() const { return status_op_->view(); }

void Session::send() {
  Q_EMIT controlsLocked();
  exchange_->Command_Send();
}

bool Session::Port_Set_Command(PortSearch mode, const QString& port) {
  const bool done = connection_->Port_Set_Command(
      mode == PortSearch::Once ? QStringLiteral("Once") : QString(), port);
  if (done && !connected()) status_op_->Status_Disp();
  return done;
}

QString Session::QuestionText(QuestionId id) {
  switch (id) {
    case QuestionId::SaveLogBeforeConnect:
      return QStringLiteral(
          "When the communication begins, the data previously downloaded is lost. \r\rIs the "
          "data of the log record preserved?");
    case QuestionId::SaveRealBeforeConnect:
      return QStringLiteral(
          "When the communication begins, the data previously measured is lost.\r\rIs real-time "
          "data preserved?");
    case QuestionId::SaveLogAtClose:
      return QStringLiteral("Is the data of the log record preserved?");
    case QuestionId::SaveRealAtClose:
    case QuestionId::SaveRealBeforeRun:
      return QStringLiteral("Is real-time data preserved?");
    case QuestionId::SaveRunAtStop:
      return QStringLiteral("Is the measurement data preserved?");
    case QuestionId::SaveLogBeforeDownload:
      return QStringLiteral(
          "The data previously downloaded is not preserved. \rDo you preserve it?");
    case QuestionId::StartOverUndownloaded:
      return QStringLiteral(
          "There is data never downloaded. \rMay I begin the data before though it is lost?");
    case QuestionId::ShowLeftover:
    case QuestionId::Other:
      break;
  }
  return {};
}

void Session::Data_Save_Ask(int set, QuestionId id) {
  // For the log set the flag also stands for "the logger holds data never
  // downloaded"; with nothing held here there is nothing to save.
  const DataSetInfo& info = data_.info(set);
  if (!(info.Modified || info.Unsaved) || info.Points <= 0) return;
  if (!gate_.question(id, QuestionText(id), ModelName())) return;
  Csv_Save(data_, set, ModelName(), status_.IdentName, gate_);
}

void Session::shutDown() {
  realtime_->endRun();
  download_->Download_Cancel();
  if (busy()) exchange_->Pro_End();
  download_->Download_Timer.stop();
  if (connected()) transport_->close();
}

bool Session::saveSet(int set) {
  if (data_.info(set).Points <= 0) return false;
  return Csv_Save(data_, set, ModelName(), status_.IdentName, gate_) == CsvSaveResult::Saved;
}

bool Session::openFile() { return fileOpened(Csv_Open(data_, gate_, ModelName())); }

bool Session::openFile(const QString& path) {
  return fileOpened(Csv_Read(data_, path, gate_, ModelName()));
}

bool Session::fileOpened(CsvOpenResult result) {
  if (result == CsvOpenResult::Cancelled || result == CsvOpenResult::WrongForm) return false;
  // A file that broke off part-way may have left the rows read before the
  // fault in the file set: it is redrawn, but only a whole file is put in
  // front of the user in place of what they were looking at.
  if (data_.DataSetIndex == FileData) Q_EMIT dumpCleared();
  Q_EMIT dataSetChanged(FileData);
  if (result != CsvOpenResult::Opened) return false;
  showSet(FileData);
  return true;
}

void Session::showSet(int set) {
  if (set < LogData || set > FileData) return;
  data_.DataSetIndex = set;
  Q_EMIT shownSetChanged(set);
  status_op_->Status_Disp();
}

bool Session::batteryOk() const {
  return fmt::val(status_.BatteryVoltage) >= 2.5 && status_.ErrorMark != QLatin1String("Error");
}

QString RecordingOperation::SetCompletionText() { return QStringLiteral("Set completion"); }

}  // namespace hygro
