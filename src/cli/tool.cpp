// The session behind every command: the port (real or emulated), the data
// folder, connecting, and running the event loop while the logger talks.
#include <signal.h>
#include <unistd.h>

#include <QDir>
#include <QEventLoop>
#include <QSocketNotifier>
#include <QTimer>

#include "cli/cli.h"
#include "link/bridge.h"
#include "link/serialtransport.h"
#include "sim/demostate.h"
#include "sim/simtransport.h"

namespace hygro::cli {

namespace {
int g_interruptPipe[2] = {-1, -1};
volatile sig_atomic_t g_interrupted = 0;

void onInterrupt(int) {
  g_interrupted = 1;
  const char c = 1;
  [[maybe_unused]] const auto n = ::write(g_interruptPipe[1], &c, 1);
}
}  // namespace

void Tool::catchInterrupt() {
  if (g_interruptPipe[0] >= 0 || ::pipe(g_interruptPipe) != 0) return;
  struct sigaction sa {};
  sa.sa_handler = onInterrupt;
  sigemptyset(&sa.sa_mask);
  ::sigaction(SIGINT, &sa, nullptr);
  ::sigaction(SIGTERM, &sa, nullptr);
  // The notifier only wakes the event loop; the waits look at the flag.
  auto* notifier = new QSocketNotifier(g_interruptPipe[0], QSocketNotifier::Read, session_.get());
  QObject::connect(notifier, &QSocketNotifier::activated, session_.get(), [] {
    char buf[16];
    [[maybe_unused]] const auto n = ::read(g_interruptPipe[0], buf, sizeof buf);
  });
}

bool Tool::interrupted() const { return g_interrupted != 0; }

Tool::Tool(const GlobalOptions& options) : options_(options) {}

Tool::~Tool() {
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

  QObject::connect(&session_->exchange(), &Exchange::abandoned, [this] { abandoned_ = true; });
  QObject::connect(session_->transport(), &Transport::disconnected, [this] { gone_ = true; });

  // The scratch files go to a folder of their own unless one is named: a
  // folder shared with a running window would have its files taken for the
  // leftovers of a crash.
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
  } else if (!QDir().mkpath(folder)) {
    err(QStringLiteral("%1: cannot create the data folder %2").arg(kProgram, folder));
    return kExitFailure;
  }
  QString error;
  if (!session_->data().open(folder, &error)) {
    err(QStringLiteral("%1: %2").arg(kProgram, error));
    return kExitFailure;
  }
  return kExitOk;
}

bool Tool::connect() {
  const bool once = !options_.port.isEmpty();
  abandoned_ = false;
  gone_ = false;
  session_->Port_Set_Command(once ? QStringLiteral("Once") : QStringLiteral("Search"),
                             options_.port);
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

void Tool::runUntil(const std::function<bool()>& done) {
  while (!done() && session_->connected() && !interrupted()) {
    QEventLoop loop;
    // Wake up whenever something may have changed what `done` looks at.
    QTimer tick;
    QObject::connect(&tick, &QTimer::timeout, &loop, &QEventLoop::quit);
    QObject::connect(session_.get(), &Session::exchangeEnded, &loop, &QEventLoop::quit);
    QObject::connect(session_.get(), &Session::realtimeSample, &loop, &QEventLoop::quit);
    tick.start(50);
    loop.exec();
  }
}

void Tool::runUntilIdle(bool interruptible) {
  while (session_->busy() && !(interruptible && interrupted())) {
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
  return false;
}

}  // namespace hygro::cli
