// watch: every logger that is plugged in is downloaded into the archive, one
// line each, until the tool is stopped.
#include <QDateTime>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QHash>
#include <QScopeGuard>
#include <QTimer>

#include "cli/cli.h"
#include "link/portnames.h"

namespace hygro::cli {

namespace {

const QString kCmd = QStringLiteral("watch");
constexpr int kLookEveryMs = 500;
// A port whose logger could not be read while it stayed plugged in is tried
// again after a while, not over and over.
constexpr qint64 kRetryAfterMs = 30000;

// What became of one port while it stays plugged in.
struct PortState {
  bool done = false;   // read (or found empty): nothing more until it is plugged in again
  qint64 retryAt = 0;  // steady milliseconds; 0: now
  bool saidSilent = false;
};

QString stamp() {
  return QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

class Watcher {
 public:
  Watcher(Tool& tool, bool restart, const QString& fixedPort, bool demo)
      : tool_(tool), s_(tool.session()), restart_(restart), fixed_(fixedPort), demo_(demo) {
    clock_.start();
    s_.download().setMarkAtOnce(false);
    // The archive holds every log read: nothing is asked about saving it.
    tool_.prompt().answerer = [](QuestionId q) -> std::optional<bool> {
      if (q == QuestionId::SaveLogBeforeConnect || q == QuestionId::SaveRealBeforeConnect ||
          q == QuestionId::SaveLogBeforeDownload)
        return false;
      return std::nullopt;
    };
    QObject::connect(&s_.download(), &DownloadOperation::finished,
                     [this](bool ok) { downloadOk_ = ok; });
  }

  // Looks at the ports once and reads every logger newly plugged in.
  void look() {
    const QStringList present = presentPorts();
    for (auto it = ports_.begin(); it != ports_.end();) {
      if (present.contains(it.key()))
        ++it;
      else
        it = ports_.erase(it);  // pulled out: the next plug-in is new
    }
    for (const QString& port : present) {
      if (tool_.interrupted()) return;
      PortState& state = ports_[port];
      if (state.done || clock_.elapsed() < state.retryAt) continue;
      read(port, state);
    }
  }

 private:
  QStringList presentPorts() const {
    if (demo_) return {fixed_};
    if (fixed_.isEmpty()) return s_.transport()->preferredPorts();
    return QFileInfo::exists(PortPath(fixed_)) ? QStringList{fixed_} : QStringList{};
  }

  void later(PortState& state) { state.retryAt = clock_.elapsed() + kRetryAfterMs; }

  void read(const QString& port, PortState& state) {
    if (!tool_.connectQuietly(port)) {
      // Another device, or a logger that does not answer (yet).
      if (!state.saidSilent)
        err(QStringLiteral("%1 %2: no logger answers; trying again every %3 s")
                .arg(stamp(), port)
                .arg(kRetryAfterMs / 1000));
      state.saidSilent = true;
      tool_.disconnect();
      return later(state);
    }
    state.saidSilent = false;
    const LoggerStatus& st = s_.status();
    const QString who =
        QStringLiteral("%1 %2 %3 %4").arg(stamp(), port, s_.ModelName(), st.IdentName.trimmed());
    if (!LogHeld(st)) {
      out(who + QStringLiteral(": no log to download"));
      state.done = true;
      return tool_.disconnect();
    }
    downloadOk_ = false;
    Progress progress;
    const QMetaObject::Connection shown =
        QObject::connect(&s_.download(), &DownloadOperation::progress,
                         [&progress](int done, int total, const QString& caption) {
                           progress.show(done, total, caption);
                         });
    const auto ended = qScopeGuard([&] {
      QObject::disconnect(shown);
      progress.end();
    });
    if (!tool_.startDownload()) {
      tool_.disconnect();
      return later(state);
    }
    tool_.runUntilIdle();
    if (tool_.interrupted()) return tool_.disconnect();
    if (tool_.failed() || !downloadOk_) {
      // Pulled out half way: the logger keeps its log, never marked, and the
      // next plug-in reads it again.
      out(who + QStringLiteral(": the download did not complete; the log stays on the logger"));
      tool_.disconnect();
      return later(state);
    }
    SessionArchiver* archiver = tool_.archiver();
    if (!archiver->lastError().isEmpty()) {
      out(who + QStringLiteral(": not kept in the archive, so not marked downloaded"));
      tool_.disconnect();
      return later(state);
    }
    const qint32 points = s_.data().info(LogData).Points;
    QString line = who;
    if (const QString serial = SessionArchiver::BridgeSerial(s_); !serial.isEmpty())
      line += QStringLiteral(" (bridge %1)").arg(serial);
    line += QStringLiteral(": %1 points").arg(points);
    if (const std::optional<ArchiveStored>& kept = archiver->lastKept())
      line += QStringLiteral(", log %1 (%2 new)").arg(kept->logId).arg(kept->added);
    if (!s_.download().Download_Mark()) {
      out(line + QStringLiteral("; the logger could not be told it is downloaded"));
      tool_.disconnect();
      return later(state);
    }
    tool_.runUntilIdle(false);
    if (tool_.failed()) {
      out(line + QStringLiteral("; the logger may still count it as never downloaded"));
      tool_.disconnect();
      return later(state);
    }
    tool_.noteClockOffset();
    if (restart_) line += restartRecording();
    out(line);
    state.done = true;
    tool_.disconnect();
  }

  // A new recording with what the logger holds, as the start dialog offers it.
  QString restartRecording() {
    RecordingOperation& rec = s_.recording();
    if (rec.Command4_Click() != RecordButton::ShowStartDialog)
      return QStringLiteral("; not restarted");
    if (!rec.Log_Start(rec.startDefaults())) return QStringLiteral("; not restarted");
    tool_.runUntilIdle(false);
    if (tool_.failed() || s_.view().state != DisplayState::Recording)
      return QStringLiteral("; not restarted");
    return QStringLiteral("; recording again");
  }

  Tool& tool_;
  Session& s_;
  bool restart_;
  QString fixed_;
  bool demo_;
  QElapsedTimer clock_;
  QHash<QString, PortState> ports_;
  bool downloadOk_ = false;
};

int runWatch(const GlobalOptions& global, const ParsedArgs& args) {
  if (!args.positional.isEmpty())
    return usageError(QStringLiteral("watch takes no arguments besides its options"), kCmd);
  if (global.noArchive)
    return usageError(QStringLiteral("watch keeps every log in the archive; --no-archive leaves "
                                     "it nowhere to keep them"),
                      kCmd);
  Tool tool(global);
  if (const int rc = tool.open()) return rc;
  if (const int rc = tool.openArchive()) return rc;
  tool.catchInterrupt();
  Watcher watcher(tool, args.has(QStringLiteral("restart")), tool.options().port, global.demo);
  err(QStringLiteral("%1: watching %2 for loggers; keeping their logs in %3")
          .arg(kProgram,
               global.port.isEmpty() && !global.demo ? QStringLiteral("the FTDI ports")
                                                     : tool.options().port,
               tool.archive()->display()));
  while (!tool.interrupted()) {
    watcher.look();
    if (tool.interrupted()) break;
    QEventLoop loop;
    QTimer::singleShot(kLookEveryMs, &loop, &QEventLoop::quit);
    loop.exec();
  }
  tool.disconnect();
  err(QStringLiteral("%1: watch stopped (%2)").arg(kProgram, Tool::interruptName()));
  return kExitOk;
}

}  // namespace

Command watchCommand() {
  return {kCmd,
          QStringLiteral("download every logger plugged in into the archive"),
          QStringLiteral(
              "Usage: hygrotab-cli [global options] watch [--archive TARGET] [--restart]\n"
              "\n"
              "Waits for loggers to be plugged in: the FTDI ports the system lists, or only\n"
              "--port PORT. Each logger is downloaded into the archive, marked as downloaded\n"
              "once it is kept there, and one line is printed for it. A logger pulled out\n"
              "during its download keeps its log, and the next plug-in reads it again. A\n"
              "port where no logger answers is tried again every 30 s. Runs until SIGINT or\n"
              "SIGTERM (exit status 0).\n"
              "\n"
              "  --restart   then starts a new recording with the settings the logger holds\n"
              "              (what the window's start dialog offers)\n"
              "\n"
              "The udev rule and the unit hygrotab-download@.service run it for each logger\n"
              "plugged in (see the README)."),
          {{QStringLiteral("restart"), false}},
          runWatch};
}

}  // namespace hygro::cli
