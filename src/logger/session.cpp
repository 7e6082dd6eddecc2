#include "logger/session.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QThread>
#include <atomic>

#include "data/csv.h"
#include "data/formats.h"
#include "data/recovery.h"
#include "data/userprompt.h"

namespace hygro {

namespace {
const SessionClock kSystemClock;
}  // namespace

Session::Session(std::unique_ptr<Transport> transport, std::unique_ptr<BridgePins> bridge,
                 UserPrompt* prompt, QObject* parent)
    : QObject(parent),
      clock_(&kSystemClock),
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

  status_op_ = std::make_unique<StatusOperation>(*this, status_);
  realtime_ = std::make_unique<RealtimeOperation>(*this, status_);
  recording_ = std::make_unique<RecordingOperation>(*this, status_);
  download_ = std::make_unique<DownloadOperation>(*this, status_);
  settings_ = std::make_unique<SettingsOperation>(*this, status_);
  clockOffset_ = std::make_unique<ClockOffsetOperation>(*this, status_);

  exchange_->setTitleSource([this] { return ModelName(); });
  connection_->appendStatusRead = [this](CommMode mode) { status_op_->Status_Read(mode); };
  connection_->beforeConnect = [this] {
    Data_Save_Ask(LogData, QuestionId::SaveLogBeforeConnect);
    Data_Save_Ask(RealTimeData, QuestionId::SaveRealBeforeConnect);
  };
  connect(connection_.get(), &Connection::clearRecState, this, [this] {
    // Disconnecting ends a continuous run like its own stop button, and a
    // download the user gave up by disconnecting, without a word.
    realtime_->endRun();
    download_->cutShort(false);
    status_.RecState = RecState::Idle;
    status_.read = false;
  });
  connect(connection_.get(), &Connection::statusTextChanged, this, &Session::statusBarText);
  connect(connection_.get(), &Connection::deviceLost, this, [this] { download_->cutShort(); });
  connect(exchange_.get(), &Exchange::busyCursor, this, &Session::busyCursor);
  connect(exchange_.get(), &Exchange::abandoned, this, [this] {
    // With the port closed a continuous run could only time out again and
    // again: it ends with the exchange.
    realtime_->endRun();
  });
  connect(exchange_.get(), &Exchange::exchangeEnded, this, [this] {
    // Cut short (time-out, refusals, disconnect): no part of a log is kept.
    download_->exchangeEnded();
    if (!connected()) forgetLogger();
    clockOffset_->exchangeEnded();
    status_op_->Status_Disp();
    Q_EMIT exchangeEnded();
    realtime_->exchangeEnded();
  });
}

Session::~Session() {
  // The operations go first: their timers and handlers reach the link.
  clockOffset_.reset();
  settings_.reset();
  download_.reset();
  recording_.reset();
  realtime_.reset();
  status_op_.reset();
  plugBack_.reset();
  if (transport_ && transport_->isOpen()) transport_->close();
}

bool Session::connected() const { return transport_->isOpen(); }

void Session::setClock(const SessionClock* clock) { clock_ = clock ? clock : &kSystemClock; }

const StatusView& Session::view() const { return status_op_->view(); }

void Session::send() {
  Q_EMIT controlsLocked();
  exchange_->Command_Send();
}

bool Session::Port_Set_Command(PortSearch mode, const QString& port) {
  const bool done = connection_->Port_Set_Command(
      mode == PortSearch::Once ? QStringLiteral("Once") : QString(), port);
  if (done && !connected()) {
    forgetLogger();
    status_op_->Status_Disp();
  }
  return done;
}

void Session::forgetLogger() {
  // Messages from now on are titled as the program's own, and the next
  // logger starts without the last one's readings.
  connection_->ModelName = QStringLiteral("Hygrotab");
  realtime_->clearLabels();
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
    case QuestionId::InitialiseLogger:
    case QuestionId::ShowLeftover:
    case QuestionId::Other:
      break;
  }
  return {};
}

void Session::Data_Save_Ask(int set, QuestionId id) {
  // A set saved once stays saved, whatever the logger holds meanwhile.
  if (!data_.holdsUnsaved(set)) return;
  if (!gate_.question(id, QuestionText(id), ModelName())) return;
  Csv_Save(data_, set, setModel(set), setName(set), gate_);
}

QString Session::setModel(int set) const {
  return set == RealTimeData ? ModelName() : data_.info(set).Model;
}

QString Session::setName(int set) const {
  return set == RealTimeData ? status_.IdentName : data_.info(set).Name;
}

void Session::shutDown() {
  realtime_->endRun();
  download_->cutShort(false);
  if (busy()) exchange_->Pro_End();
  if (connected()) transport_->close();
}

bool Session::saveSet(int set) {
  if (data_.info(set).Points <= 0) return false;
  return Csv_Save(data_, set, setModel(set), setName(set), gate_) == CsvSaveResult::Saved;
}

bool Session::openFile() {
  const std::optional<QString> path = gate_.openFileName(kCsvOpenFilter);
  if (!path) return false;
  return openFile(*path);
}

bool Session::openFile(const QString& path) {
  if (readingFile_) return false;  // a drop while a file is being read
  CsvImport file;
  QString why;
  CsvOpenResult result = CsvOpenResult::Cancelled;
  if (!QCoreApplication::instance()) {
    result = Csv_Parse(path, &file, &why);
  } else {
    // The file is read on a thread of its own while the window keeps
    // painting and its timers and signals are served; clicks and keys wait
    // until the file is in. A file is bounded in size, but a slow disk or
    // share is not.
    readingFile_ = true;
    Q_EMIT busyCursor(true);
    std::atomic_bool cancel{false};
    const std::unique_ptr<QThread> reader(
        QThread::create([&] { result = Csv_Parse(path, &file, &why, &cancel); }));
    QEventLoop loop;
    connect(reader.get(), &QThread::finished, &loop, &QEventLoop::quit);
    reader->start();
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    // Left early: the program is ending (a signal, the last window closed).
    const bool ending = !reader->isFinished();
    cancel = ending;
    reader->wait();
    if (ending) result = CsvOpenResult::Cancelled;
    Q_EMIT busyCursor(false);
    readingFile_ = false;
  }
  if (result == CsvOpenResult::Cancelled) return false;
  if (result != CsvOpenResult::Opened) {
    // FileData, the list and the file data panel stay as they were.
    gate_.message(Csv_RefusalText(result, why), ModelName());
    return false;
  }
  showFileSet(file);
  return true;
}

void Session::showFileSet(const CsvImport& file) {
  Csv_Commit(data_, file);
  dataView_.setDataSetIndex(FileData);
  dataView_.fitTime(data_, FileData);
  Q_EMIT dumpCleared(false);
  Q_EMIT dataSetChanged(FileData);
  showSet(FileData);
}

int Session::offerRecovery(UserPrompt& prompt) {
  const QList<int> loaded = OfferRecovery(data_, prompt, windowTitle());
  if (!loaded.isEmpty()) dataView_.setDataSetIndex(loaded.last());
  return int(loaded.size());
}

void Session::showSet(int set) {
  if (set < LogData || set > FileData) return;
  dataView_.setDataSetIndex(set);
  Q_EMIT shownSetChanged(set);
  status_op_->Status_Disp();
}

}  // namespace hygro
