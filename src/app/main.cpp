// hygrotab: the window program.
#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QLockFile>
#include <QStandardPaths>
#include <QTimer>
#include <cstdio>

#include "app/form1.h"
#include "app/qtprompt.h"
#include "data/datasets.h"
#include "link/bridge.h"
#include "link/serialtransport.h"
#include "logger/session.h"
#include "sim/demostate.h"
#include "sim/simtransport.h"

namespace {

// The application folder when it is writable (a portable install), else the
// per-user application data folder.
QString DefaultDataDir() {
  const QString appDir = QCoreApplication::applicationDirPath();
  if (QFileInfo(appDir).isWritable()) return appDir;
  const QString dir = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
  QDir().mkpath(dir);
  return dir;
}

}  // namespace

int main(int argc, char** argv) {
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
  parser.process(app);

  const QString folder = parser.isSet(dataDir) ? parser.value(dataDir) : DefaultDataDir();
  QDir().mkpath(folder);
  // One running instance per data folder; a second one ends silently.
  QLockFile lock(QDir(folder).filePath(QStringLiteral("hygrotab.lock")));
  lock.setStaleLockTime(0);
  if (!lock.tryLock(0)) return 0;

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
  QString error;
  if (!session.data().open(folder, &error)) {
    prompt.message(error, QStringLiteral("Hygrotab"));
    return 1;
  }

  hygro::Form1 window(&session, &prompt);
  window.show();
  if (parser.isSet(demo) || parser.isSet(port)) {
    const QString p = parser.isSet(port) ? parser.value(port) : QStringLiteral("1");
    QTimer::singleShot(0, &window,
                       [&session, p] { session.Port_Set_Command(QStringLiteral("Once"), p); });
  }
  const int rc = app.exec();
  session.data().closeAndRemove();
  return rc;
}
