// The session behind every command: the port (real or emulated), the data
// folder, connecting, and running the event loop while the logger talks.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <QDir>
#include <QEventLoop>
#include <QSocketNotifier>
#include <QTimer>
#include <cerrno>

#include "cli/cli.h"
#include "data/datafolder.h"
#include "link/bridge.h"
#include "link/serialtransport.h"
#include "sim/demostate.h"
#include "sim/simtransport.h"

namespace hygro::cli {

namespace {
int g_interruptPipe[2] = {-1, -1};
volatile sig_atomic_t g_interrupted = 0;  // the signal's number

void onInterrupt(int sig) {
  const int saved = errno;
  g_interrupted = sig;
  const char c = 1;
  [[maybe_unused]] const auto n = ::write(g_interruptPipe[1], &c, 1);
  errno = saved;
}

// Once per process, before anything can leave files behind: a signal that
// ended the tool on the spot would leave the private scratch folder and skip
// the saving of what was measured.
void catchSignals() {
  static bool done = false;
  if (done) return;
  done = true;
  if (::pipe(g_interruptPipe) == 0) {
    for (const int fd : g_interruptPipe) {
      ::fcntl(fd, F_SETFD, FD_CLOEXEC);
      ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
    }
  }
  struct sigaction sa {};
  sa.sa_handler = onInterrupt;
  sigemptyset(&sa.sa_mask);
  for (const int sig : {SIGINT, SIGTERM, SIGHUP}) ::sigaction(sig, &sa, nullptr);
  // A reader that went away, or a file size limit, shows as a failed write
  // (EPIPE, EFBIG) instead, which the tool survives with its data.
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGXFSZ, SIG_IGN);
}
}  // namespace

void Tool::catchInterrupt() {
  if (interruptClaimed_) return;
  interruptClaimed_ = true;
  if (g_interruptPipe[0] < 0 || !session_) return;
  // The notifier only wakes the event loop; the waits look at the flag.
  auto* notifier = new QSocketNotifier(g_interruptPipe[0], QSocketNotifier::Read, session_.get());
  QObject::connect(notifier, &QSocketNotifier::activated, session_.get(), [] {
    char buf[16];
    while (::read(g_interruptPipe[0], buf, sizeof buf) > 0) {
    }
  });
}

bool Tool::interrupted() const { return g_interrupted != 0; }

QString Tool::interruptName() {
  switch (g_interrupted) {
    case 0:
      return QString();
    case SIGINT:
      return QStringLiteral("SIGINT");
    case SIGTERM:
      return QStringLiteral("SIGTERM");
    case SIGHUP:
      return QStringLiteral("SIGHUP");
    default:
      return QStringLiteral("signal %1").arg(int(g_interrupted));
  }
}

Tool::Tool(const GlobalOptions& options) : options_(options) { catchSignals(); }

Tool::~Tool() {
  archiver_.reset();
  archive_.reset();
  if (!session_) return;
  // Leave the logger alone first, then the scratch files: nothing the tool
  // holds is kept once it ends (the CSV files are the tool's output).
  if (session_->connected()) session_->transport()->close();
  session_->data().closeAndRemove();
  session_.reset();
}

int Tool::open() {
  std::unique_ptr<Transport> transport;
  std::unique_ptr<BridgePins> bridge;
  QString port = options_.port;
  if (options_.demo) {
    auto sim = std::make_unique<sim::SimTransport>();
    sim::LoadDemoState(sim->model());
    port = sim->attachedPort();
    options_.port = port;
    transport = std::move(sim);
    bridge = std::make_unique<NoBridge>();
  } else {
    transport = std::make_unique<SerialTransport>();
    bridge = MakeSystemBridge();
  }
  session_ = std::make_unique<Session>(std::move(transport), std::move(bridge), &prompt_);
  session_->connection().BaudText = options_.baud;
  // A script hears of a pulled-out logger through its exit status; it is not
  // connected again behind the script's back.
  session_->plugBack().setEnabled(false);

  QObject::connect(&session_->exchange(), &Exchange::abandoned, [this] { abandoned_ = true; });
  QObject::connect(session_->transport(), &Transport::disconnected, [this] { gone_ = true; });

  // The scratch files go to a folder of their own unless one is named.
  QString folder = options_.dataDir;
  if (folder.isEmpty()) {
    tempDir_ =
        std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/hygrotab-cli-XXXXXX"));
    if (!tempDir_->isValid()) {
      err(QStringLiteral("%1: cannot create a temporary data folder: %2")
              .arg(kProgram, tempDir_->errorString()));
      return kExitFailure;
    }
    folder = tempDir_->path();
  }
  QString error;
  if (!session_->data().open(folder, &error)) {
    // A named folder held by a running window or tool is refused rather than
    // swapped for a private one: the user pointed two programs at one folder
    // and should hear so, not find the data somewhere else.
    if (session_->data().openError() == DataSets::OpenError::InUse)
      error +=
          QStringLiteral(" Wait until it has ended, or choose another folder with --data-dir.");
    err(QStringLiteral("%1: %2").arg(kProgram, terminalText(error)));
    return kExitFailure;
  }
  return kExitOk;
}

bool ArchiveTargetOf(const GlobalOptions& options, ArchiveTarget* target, QString* why) {
  if (!options.archive.isEmpty()) return ArchiveTarget::parse(options.archive, target, why);
  const QString folder = options.dataDir.isEmpty() ? DefaultDataDir() : options.dataDir;
  *target = ArchiveTarget::sqliteFile(DefaultArchivePath(folder), true);
  return true;
}

int Tool::openArchive() {
  if (options_.noArchive || !session_) return kExitOk;
  ArchiveTarget target;
  QString why;
  if (!ArchiveTargetOf(options_, &target, &why)) {
    err(QStringLiteral("%1: --archive: %2").arg(kProgram, why));
    return kExitFailure;
  }
  archive_ = std::make_unique<Archive>(target);
  if (!archive_->open(&why)) {
    err(QStringLiteral("%1: %2; the logger was left alone (--no-archive goes without)")
            .arg(kProgram, why));
    archive_.reset();
    return kExitFailure;
  }
  archiver_ = std::make_unique<SessionArchiver>(*session_, *archive_);
  // The tool tells the logger itself, and reads its clock after that.
  archiver_->readClockAfterDownload = false;
  return kExitOk;
}

void Tool::noteClockOffset() {
  if (!archiver_ || !archiver_->readClock()) return;
  runUntil([this] { return !archiver_->clockPending(); });
}

bool Tool::connectForDownload() {
  session_->download().setMarkAtOnce(false);
  if (!connect()) return false;
  prompt().answerer = [](QuestionId q) -> std::optional<bool> {
    if (q == QuestionId::SaveLogBeforeDownload) return false;
    return std::nullopt;
  };
  return true;
}

bool Tool::startDownload() {
  const int messagesBefore = prompt().messages;
  session_->download().Command5_Click();
  if (session_->download().downloading() || session_->busy()) return true;
  // Refused before anything was sent ("No download data.").
  if (prompt().messages == messagesBefore)
    err(QStringLiteral("%1: the download did not start").arg(kProgram));
  return false;
}

bool Tool::connect() {
  const bool once = !options_.port.isEmpty();
  abandoned_ = false;
  gone_ = false;
  bool waited = false;
  if (options_.waitForLogger > 0) {
    waited = session_->connection().waitForLogger(options_.port, options_.waitForLogger * 1000,
                                                  [this] { return interrupted(); });
    if (!waited && interrupted()) {
      err(QStringLiteral("%1: interrupted (%2)").arg(kProgram, interruptName()));
      return false;
    }
  }
  // Without a logger after the wait, one more try says why.
  if (!waited)
    session_->Port_Set_Command(once ? PortSearch::Once : PortSearch::Search, options_.port);
  // No logger: the session has said "... not connected." already.
  if (!session_->connected()) {
    // A port that would not open has been explained; one that opened was silent.
    if (once && session_->connection().lastOpenError() == PortOpenError::None)
      err(QStringLiteral("%1: no logger answered on %2").arg(kProgram, options_.port));
    return false;
  }
  model_ = session_->ModelName();
  runUntilIdle();
  return !failed();
}

bool Tool::connectQuietly(const QString& port) {
  abandoned_ = false;
  gone_ = false;
  options_.port = port;
  if (!session_->connection().reconnect(port)) return false;
  model_ = session_->ModelName();
  runUntilIdle();
  return !failed();
}

void Tool::disconnect() {
  if (session_->connected()) session_->connection().Command20_Click();
}

void Tool::runUntil(const std::function<bool()>& done) {
  while (!done() && session_->connected() && !(interruptClaimed_ && interrupted())) {
    QEventLoop loop;
    // Wake up whenever something may have changed what `done` looks at.
    QTimer tick;
    QObject::connect(&tick, &QTimer::timeout, &loop, &QEventLoop::quit);
    QObject::connect(session_.get(), &Session::exchangeEnded, &loop, &QEventLoop::quit);
    QObject::connect(&session_->realtime(), &RealtimeOperation::sample, &loop, &QEventLoop::quit);
    tick.start(50);
    loop.exec();
  }
}

void Tool::runUntilIdle(bool interruptible) {
  // An interrupt the command does not deal with lets the exchange end: the
  // logger is not left half way through a sequence, and failed() reports it.
  while (session_->busy() && !(interruptible && interruptClaimed_ && interrupted())) {
    QEventLoop loop;
    QObject::connect(session_.get(), &Session::exchangeEnded, &loop, &QEventLoop::quit);
    QTimer tick;  // to look at the interrupt flag now and then
    QObject::connect(&tick, &QTimer::timeout, &loop, &QEventLoop::quit);
    tick.start(100);
    if (!session_->busy()) break;
    loop.exec();
  }
}

bool Tool::failed() {
  if (abandoned_) return true;  // the exchange has shown its time-out or refusal message
  if (gone_ || !session_->connected()) {
    err(QStringLiteral("%1: the connection to the logger was lost").arg(kProgram));
    abandoned_ = true;  // said once
    return true;
  }
  if (interrupted() && !interruptClaimed_) {
    err(QStringLiteral("%1: interrupted (%2)").arg(kProgram, interruptName()));
    abandoned_ = true;
    return true;
  }
  return false;
}

}  // namespace hygro::cli
