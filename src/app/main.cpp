// hygrotab: the window program.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSocketNotifier>
#include <QTimer>
#include <cstdio>
#include <cstring>
#include <functional>

#include "app/form1.h"
#include "app/loggerini.h"
#include "archive/archivesetting.h"
#include "data/datafolder.h"
#include "data/datasets.h"
#include "dialogs/qtprompt.h"
#include "link/bridge.h"
#include "link/serialtransport.h"
#include "logger/session.h"
#include "sim/demostate.h"
#include "sim/simtransport.h"

namespace {

// Signals end the window the way closing it does, but with nobody there to
// answer the save questions: the handler only writes the signal's number to
// a pipe, and the event loop does the rest.
int g_signalPipe[2] = {-1, -1};

void onSignal(int sig) {
  const char c = static_cast<char>(sig);
  [[maybe_unused]] const auto n = ::write(g_signalPipe[1], &c, 1);
}

// From here on the signals no longer end the process at once; they are
// handled on the event loop, message boxes' included.
void catchSignals() {
  if (::pipe(g_signalPipe) != 0) return;
  ::fcntl(g_signalPipe[0], F_SETFD, FD_CLOEXEC);
  ::fcntl(g_signalPipe[1], F_SETFD, FD_CLOEXEC);
  struct sigaction sa {};
  sa.sa_handler = onSignal;
  sigemptyset(&sa.sa_mask);
  for (const int sig : {SIGINT, SIGTERM, SIGHUP}) ::sigaction(sig, &sa, nullptr);
}

// Calls `handle` with the signal's number, on the event loop.
void watchSignals(QObject* context, const std::function<void(int)>& handle) {
  if (g_signalPipe[0] < 0) return;
  auto* notifier = new QSocketNotifier(g_signalPipe[0], QSocketNotifier::Read, context);
  QObject::connect(notifier, &QSocketNotifier::activated, context, [notifier, handle] {
    char c = 0;
    if (::read(g_signalPipe[0], &c, 1) != 1) return;
    // Once is enough: a second signal during the ending changes nothing.
    notifier->setEnabled(false);
    handle(static_cast<unsigned char>(c));
  });
}

// With HYGROTAB_STARTUP_REPORT set: the time from the process's start to the
// window's first paint, and the memory then in use, on stderr.
class FirstPaintReport : public QObject {
 public:
  explicit FirstPaintReport(const QElapsedTimer& clock) : clock_(clock) {}
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::Paint && !done_) {
      done_ = true;
      const qint64 ms = clock_.elapsed();
      QTimer::singleShot(0, this, [ms] {
        QString rss;
        QFile status(QStringLiteral("/proc/self/status"));
        if (status.open(QIODevice::ReadOnly))
          for (const QByteArray& line : status.readAll().split('\n'))
            if (line.startsWith("VmRSS:")) rss = QString::fromLatin1(line.mid(6).simplified());
        std::fprintf(stderr, "hygrotab: first paint after %lld ms, VmRSS %s\n",
                     static_cast<long long>(ms), qPrintable(rss));
      });
    }
    return QObject::eventFilter(watched, event);
  }

 private:
  const QElapsedTimer& clock_;
  bool done_ = false;
};

}  // namespace

int main(int argc, char** argv) {
  QElapsedTimer startClock;
  startClock.start();
  QApplication app(argc, argv);
  QApplication::setApplicationName(QStringLiteral("Hygrotab"));
  QApplication::setApplicationVersion(QStringLiteral(HYGROTAB_VERSION));

  QCommandLineParser parser;
  parser.setApplicationDescription(QStringLiteral("Hygrotab temperature and humidity logger"));
  parser.addHelpOption();
  parser.addVersionOption();
  const QCommandLineOption demo(QStringLiteral("demo"),
                                QStringLiteral("Use the built-in emulated logger (no hardware)."));
  const QCommandLineOption dataDir(QStringLiteral("data-dir"),
                                   QStringLiteral("Folder for the settings and scratch files."),
                                   QStringLiteral("DIR"));
  const QCommandLineOption port(
      QStringLiteral("port"),
      QStringLiteral("Connect at start to PORT (a number or a device path)."),
      QStringLiteral("PORT"));
  parser.addOptions({demo, dataDir, port});
  parser.addPositionalArgument(
      QStringLiteral("file"),
      QStringLiteral("A CSV file to open at start (shown as the file data)."),
      QStringLiteral("[FILE]"));
  parser.process(app);
  if (parser.positionalArguments().size() > 1) {
    std::fprintf(stderr, "hygrotab: one file at a time\n");
    return 2;
  }
  const QString startFile = parser.positionalArguments().value(0);

  const QString folder = parser.isSet(dataDir) ? parser.value(dataDir) : hygro::DefaultDataDir();

  // Before the folder is taken: from then on a signal must not end the
  // process without giving the folder back.
  catchSignals();

  hygro::QtPrompt prompt;
  std::unique_ptr<hygro::Transport> transport;
  std::unique_ptr<hygro::BridgePins> bridge;
  if (parser.isSet(demo)) {
    auto sim = std::make_unique<hygro::sim::SimTransport>();
    hygro::sim::LoadDemoState(sim->model());
    sim->setBaud(57600);
    sim->setPacing(true);
    transport = std::move(sim);
    bridge = std::make_unique<hygro::NoBridge>();
  } else {
    transport = std::make_unique<hygro::SerialTransport>();
    bridge = hygro::MakeSystemBridge();
  }
  hygro::Session session(std::move(transport), std::move(bridge), &prompt);

  hygro::Form1* window = nullptr;
  int signalled = 0;
  watchSignals(&app, [&](int sig) {
    signalled = sig;
    QStringList kept;
    if (window)
      kept = window->endBySignal();
    else
      session.data().closeAndRemove();  // before the window: nothing held yet
    QString text = QStringLiteral("hygrotab: ended by signal %1 (%2).")
                       .arg(sig)
                       .arg(QString::fromLocal8Bit(::strsignal(sig)));
    if (!kept.isEmpty())
      text += QStringLiteral(
                  " Data nobody saved were kept in %1 and will be offered at the next "
                  "start.")
                  .arg(kept.join(QStringLiteral(", ")));
    std::fprintf(stderr, "%s\n", text.toLocal8Bit().constData());
    // Ends every event loop, a message box's too.
    QCoreApplication::exit(128 + sig);
  });

  // One running instance per data folder: a second one ends silently. A
  // folder that cannot be used at all is said, not taken for an instance.
  session.data().announceLeftovers = false;
  switch (hygro::OpenDataFolder(session.data(), folder, &prompt)) {
    case hygro::FolderOpen::Opened:
      break;
    case hygro::FolderOpen::InUse:
      return 0;
    case hygro::FolderOpen::Failed:
      return signalled ? 128 + signalled : 1;
  }

  // Every download goes into the archive before the logger is told it is
  // downloaded, every real-time run when it ends: the data folder's, unless
  // the settings name another. The data folder's is opened at its first use,
  // another one at once, so that one that cannot be used is said now.
  hygro::ArchiveSetting archive(session, folder);
  QString archiveProblem;
  if (const QString chosen = hygro::ArchiveIni_Read(hygro::ArchiveIni_Path(folder));
      !chosen.isEmpty()) {
    hygro::ArchiveTarget target;
    QString why;
    if (!archive.targetOf(chosen, &target, &why)) {
      archiveProblem = QStringLiteral("The archive in the settings cannot be used: %1. The data "
                                      "folder's archive is used instead.")
                           .arg(why);
    } else {
      archive.use(chosen, target);
      if (!archive.tryOpen(&why)) archiveProblem = hygro::ArchiveSetting::UnusableText(why);
    }
  }

  hygro::Form1 mainWindow(&session, &prompt);
  mainWindow.setArchive(&archive);
  window = &mainWindow;
  FirstPaintReport firstPaint(startClock);
  if (qEnvironmentVariableIsSet("HYGROTAB_STARTUP_REPORT"))
    mainWindow.installEventFilter(&firstPaint);
  mainWindow.show();
  // The leftovers of a run that ended abnormally are offered first, over the
  // window, and only then is the logger connected: connecting asks about the
  // sets they fill.
  const bool connectAtStart = parser.isSet(demo) || parser.isSet(port);
  const QString startPort = parser.isSet(port) ? parser.value(port) : QStringLiteral("1");
  QTimer::singleShot(0, &mainWindow, [&] {
    if (!archiveProblem.isEmpty()) prompt.message(archiveProblem, QStringLiteral("Archive"));
    mainWindow.offerRecovery();
    if (!startFile.isEmpty() && !signalled) session.openFile(startFile);
    if (connectAtStart && !signalled) mainWindow.connectOnce(startPort);
  });
  const int rc = app.exec();
  // The closing by a signal has dealt with the files and the folder already.
  if (signalled) return 128 + signalled;
  session.data().closeAndRemove();
  return rc;
}
