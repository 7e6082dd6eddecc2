// hygrotab-sim: serves the emulated logger on a pseudo-terminal, so the
// program and its tests reach it through a real serial port device.
#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>
#if defined(__linux__)
#include <sys/inotify.h>
#endif

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QSocketNotifier>
#include <QTimer>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>

#include "sim/devicemodel.h"
#include "sim/pacing.h"
#include "sim/simline.h"

namespace {

int g_signalPipe[2] = {-1, -1};

void onSignal(int) {
  const char c = 1;
  [[maybe_unused]] const auto n = ::write(g_signalPipe[1], &c, 1);
}

// The master side of the pseudo-terminal and the line behind it.
class PtyHost : public QObject {
 public:
  explicit PtyHost(hygro::sim::SimLine& line) : m_line(line) {
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, [this] { deliver(); });
  }
  ~PtyHost() override { shut(); }

  bool open(QString* error) {
    m_master = ::posix_openpt(O_RDWR | O_NOCTTY);
    if (m_master < 0 || ::grantpt(m_master) != 0 || ::unlockpt(m_master) != 0) {
      *error = QString::fromLocal8Bit(std::strerror(errno));
      return false;
    }
    ::fcntl(m_master, F_SETFL, ::fcntl(m_master, F_GETFL) | O_NONBLOCK);
    const char* name = ::ptsname(m_master);
    if (!name) {
      *error = QStringLiteral("ptsname failed");
      return false;
    }
    m_path = QString::fromLocal8Bit(name);
    // Holding a slave descriptor of our own keeps the master readable while
    // the program closes and reopens the port; raw mode so that nothing is
    // echoed or translated before the program sets its own line settings.
    m_slave = ::open(name, O_RDWR | O_NOCTTY);
    if (m_slave < 0) {
      *error = QString::fromLocal8Bit(std::strerror(errno));
      return false;
    }
    termios tio{};
    ::tcgetattr(m_slave, &tio);
    ::cfmakeraw(&tio);
    ::tcsetattr(m_slave, TCSANOW, &tio);

    watchClients(name);

    m_readNotifier = new QSocketNotifier(m_master, QSocketNotifier::Read, this);
    connect(m_readNotifier, &QSocketNotifier::activated, this, [this] { readInput(); });
    m_writeNotifier = new QSocketNotifier(m_master, QSocketNotifier::Write, this);
    m_writeNotifier->setEnabled(false);
    connect(m_writeNotifier, &QSocketNotifier::activated, this, [this] { flush(); });
    return true;
  }

  QString path() const { return m_path; }
  // Called once the line has been pulled out by a fault setting.
  std::function<void()> onUnplug;

  // The device goes away: the program's descriptor sees a hang-up.
  void shut() {
    m_timer.stop();
    delete m_readNotifier;
    delete m_writeNotifier;
    delete m_watchNotifier;
    m_readNotifier = m_writeNotifier = m_watchNotifier = nullptr;
    if (m_watch >= 0) ::close(m_watch);
    m_watch = -1;
    if (m_slave >= 0) ::close(m_slave);
    if (m_master >= 0) ::close(m_master);
    m_slave = m_master = -1;
  }

 private:
  // A serial port library puts the terminal in exclusive mode (TIOCEXCL) so
  // that no other program opens it, and takes it out again when it closes
  // the port. A client that is killed never does; a real port forgets the
  // mode at its last close, but our own descriptor keeps this terminal from
  // ever closing for the last time. So the host counts the clients that
  // open and close the device and ends exclusive mode when the last has gone,
  // however it went.
  void watchClients(const char* name) {
#if defined(__linux__)
    m_watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_watch < 0) return;
    if (::inotify_add_watch(m_watch, name, IN_OPEN | IN_CLOSE) < 0) {
      ::close(m_watch);
      m_watch = -1;
      return;
    }
    m_watchNotifier = new QSocketNotifier(m_watch, QSocketNotifier::Read, this);
    connect(m_watchNotifier, &QSocketNotifier::activated, this, [this] { clientsChanged(); });
#else
    Q_UNUSED(name);
#endif
  }

  void clientsChanged() {
#if defined(__linux__)
    alignas(inotify_event) char buf[4096];
    for (;;) {
      const auto n = ::read(m_watch, buf, sizeof buf);
      if (n <= 0) break;  // EAGAIN: all read
      for (qsizetype at = 0; at + qsizetype(sizeof(inotify_event)) <= n;) {
        inotify_event e;
        std::memcpy(&e, buf + at, sizeof e);
        if (e.mask & IN_OPEN) ++m_clients;
        if (e.mask & IN_CLOSE) m_clients = std::max(0, m_clients - 1);
        if (e.mask & IN_Q_OVERFLOW) m_clients = 0;  // lost count: take them as gone
        at += qsizetype(sizeof(inotify_event)) + e.len;
      }
    }
    if (m_clients == 0 && m_slave >= 0) ::ioctl(m_slave, TIOCNXCL);
#endif
  }

  void readInput() {
    char buf[4096];
    for (;;) {
      const auto n = ::read(m_master, buf, sizeof buf);
      if (n > 0) {
        m_line.receive(QByteArray(buf, int(n)), hygro::sim::monotonicMicros());
        continue;
      }
      break;  // EAGAIN: all read
    }
    arm();
  }

  void arm() {
    if (m_line.unplugDue() && onUnplug) {
      // Not from inside the notifier that brought us here: it is deleted by shut().
      QTimer::singleShot(0, this, [this] {
        if (m_master >= 0 && onUnplug) onUnplug();
      });
      return;
    }
    if (!m_line.hasPending()) return;
    const qint64 delta = m_line.headAnswerDue() - hygro::sim::monotonicMicros();
    m_timer.start(hygro::sim::timerMillis(delta, m_line.headIsLast()));
  }

  void deliver() {
    if (m_master < 0) return;
    if (m_line.headIsLast()) {
      const qint64 due = m_line.headAnswerDue();
      const qint64 left = due - hygro::sim::monotonicMicros();
      if (left > 0 && left <= hygro::sim::kExactWindowUs) hygro::sim::sleepUntilMicros(due);
    }
    m_pending.append(m_line.takeDue(hygro::sim::monotonicMicros()));
    flush();
    arm();
  }

  void flush() {
    while (!m_pending.isEmpty() && m_master >= 0) {
      const auto n = ::write(m_master, m_pending.constData(), size_t(m_pending.size()));
      if (n <= 0) break;  // the terminal's queue is full: wait until it drains
      m_pending.remove(0, n);
    }
    if (m_writeNotifier) m_writeNotifier->setEnabled(!m_pending.isEmpty());
  }

  hygro::sim::SimLine& m_line;
  QTimer m_timer;
  int m_master = -1;
  int m_slave = -1;
  int m_watch = -1;   // inotify on the device, for clients coming and going
  int m_clients = 0;  // descriptors of the device open elsewhere
  QString m_path;
  QSocketNotifier* m_readNotifier = nullptr;
  QSocketNotifier* m_writeNotifier = nullptr;
  QSocketNotifier* m_watchNotifier = nullptr;
  QByteArray m_pending;
};

int intOption(const QCommandLineParser& p, const QString& name, int fallback, bool* ok) {
  if (!p.isSet(name)) return fallback;
  bool good = false;
  const QString v = p.value(name);
  const int n = v == QLatin1String("all") ? -1 : v.toInt(&good);
  if (!good && v != QLatin1String("all")) {
    std::fprintf(stderr, "hygrotab-sim: --%s needs a number\n", qPrintable(name));
    *ok = false;
  }
  return n;
}

// One fault setting by its option name; the control channel takes the same
// names. False (with *error) for a value that does not parse.
bool applyFault(hygro::sim::Faults& f, const QString& name, const QString& value, QString* error) {
  const auto number = [&](const QString& text, int* out) {
    bool good = false;
    *out = text.toInt(&good);
    if (!good || *out < 0) *error = QStringLiteral("--%1 needs a number").arg(name);
    return good && *out >= 0;
  };
  int n = 0;
  if (name == QLatin1String("refuse")) return number(value, &f.refuseNext);
  if (name == QLatin1String("silence")) {
    if (value == QLatin1String("all")) {
      f.silenceNext = -1;
      return true;
    }
    return number(value, &f.silenceNext);
  }
  if (name == QLatin1String("late")) {
    const QStringList parts = value.split(QLatin1Char(':'));
    int ms = 0;
    if (parts.size() != 2 || !number(parts[0], &n) || !number(parts[1], &ms)) {
      *error = QStringLiteral("--late needs N:MS");
      return false;
    }
    f.lateNext = n;
    f.lateMs = ms;
    return true;
  }
  if (name == QLatin1String("truncate")) return number(value, &f.truncateNext);
  if (name == QLatin1String("flood")) return number(value, &f.floodNext);
  if (name == QLatin1String("garbage")) {
    const bool on = value != QLatin1String("off");
    f.garbageBefore = on ? QByteArrayLiteral("\x13\x57\x9B") : QByteArray();
    f.garbageAfter = on ? QByteArrayLiteral("\x42") : QByteArray();
    return true;
  }
  if (name == QLatin1String("stall-after")) return number(value, &f.stallAfterPoints);
  if (name == QLatin1String("unplug-on")) return number(value, &f.unplugOnCode);
  if (name == QLatin1String("unplug-after-points")) return number(value, &f.unplugAfterPoints);
  *error = QStringLiteral("unknown fault %1").arg(name);
  return false;
}

}  // namespace

int main(int argc, char* argv[]) {
  QCoreApplication app(argc, argv);
  QCoreApplication::setApplicationName(QStringLiteral("hygrotab-sim"));
  QCoreApplication::setApplicationVersion(QStringLiteral(HYGROTAB_VERSION));

  QCommandLineParser p;
  p.setApplicationDescription(QStringLiteral(
      "Serves an emulated Hygrotab temperature/humidity logger on a pseudo-terminal.\n"
      "The terminal's path is printed on the first line of standard output."));
  p.addHelpOption();
  p.addVersionOption();
  p.addOptions({
      {QStringLiteral("state"), QStringLiteral("Load the logger's state from a JSON file."),
       QStringLiteral("FILE")},
      {QStringLiteral("link"), QStringLiteral("Make a symbolic link PATH to the terminal."),
       QStringLiteral("PATH")},
      {QStringLiteral("baud"), QStringLiteral("Line speed for pacing (default 57600)."),
       QStringLiteral("N"), QStringLiteral("57600")},
      {QStringLiteral("no-pace"), QStringLiteral("Answer at once instead of at wire speed.")},
      {QStringLiteral("model"), QStringLiteral("Logger model (QM720-XC, QM720-XCB, QM510-XC)."),
       QStringLiteral("NAME")},
      {QStringLiteral("refuse"), QStringLiteral("Refuse the next N frames."), QStringLiteral("N")},
      {QStringLiteral("silence"),
       QStringLiteral("Leave the next N frames unanswered (\"all\": every frame)."),
       QStringLiteral("N")},
      {QStringLiteral("delay"), QStringLiteral("Wait MS milliseconds before every answer."),
       QStringLiteral("MS")},
      {QStringLiteral("delay-jitter"),
       QStringLiteral("Wait up to MS milliseconds more, varying from answer to answer."),
       QStringLiteral("MS")},
      {QStringLiteral("garbage"), QStringLiteral("Send junk bytes before and after answers.")},
      {QStringLiteral("stall-after"), QStringLiteral("Stop a point stream after K points."),
       QStringLiteral("K")},
      {QStringLiteral("unplug-after-ms"),
       QStringLiteral("Close the terminal (the logger is pulled out) after MS and exit."),
       QStringLiteral("MS")},
      {QStringLiteral("late"),
       QStringLiteral("The next N answers arrive MS milliseconds later than they would."),
       QStringLiteral("N:MS")},
      {QStringLiteral("truncate"),
       QStringLiteral("The next N answers lose their last bytes, the terminator among them."),
       QStringLiteral("N")},
      {QStringLiteral("flood"),
       QStringLiteral("The next N answers are replaced by more than 100 bytes without a "
                      "terminator."),
       QStringLiteral("N")},
      {QStringLiteral("unplug-on"),
       QStringLiteral("Pull the logger out when a frame with command code CODE arrives."),
       QStringLiteral("CODE")},
      {QStringLiteral("unplug-after-points"),
       QStringLiteral("Pull the logger out after K points of a point stream."),
       QStringLiteral("K")},
      {QStringLiteral("clock-stuck"),
       QStringLiteral("The logger's clock runs on but ignores every setting.")},
      {QStringLiteral("control"),
       QStringLiteral("Take fault settings from standard input, one a line, named as the "
                      "options (\"refuse 11\", \"late 1:900\", \"garbage off\"; \"unplug\" "
                      "pulls the logger out now); each is answered \"ok\" or \"error\".")},
  });
  p.process(app);

  hygro::sim::DeviceModel model;
  if (p.isSet(QStringLiteral("state"))) {
    QString err;
    if (!model.loadFile(p.value(QStringLiteral("state")), &err)) {
      std::fprintf(stderr, "hygrotab-sim: %s\n", qPrintable(err));
      return 2;
    }
  }
  model.setClockStuck(p.isSet(QStringLiteral("clock-stuck")));
  if (p.isSet(QStringLiteral("model"))) {
    const QString m = p.value(QStringLiteral("model"));
    model.setModel(m);
    model.setVersionText((m + QStringLiteral(" V1")).toLatin1());
  }

  bool ok = true;
  hygro::sim::SimLine line(model);
  const int baud = intOption(p, QStringLiteral("baud"), 57600, &ok);
  line.setBaud(p.isSet(QStringLiteral("no-pace")) ? 0 : baud);
  hygro::sim::Faults& f = line.faults();
  f.refuseNext = intOption(p, QStringLiteral("refuse"), 0, &ok);
  f.silenceNext = intOption(p, QStringLiteral("silence"), 0, &ok);
  f.delayMs = intOption(p, QStringLiteral("delay"), 0, &ok);
  f.delayJitterMs = intOption(p, QStringLiteral("delay-jitter"), 0, &ok);
  f.stallAfterPoints = intOption(p, QStringLiteral("stall-after"), -1, &ok);
  if (p.isSet(QStringLiteral("garbage"))) {
    f.garbageBefore = QByteArrayLiteral("\x13\x57\x9B");
    f.garbageAfter = QByteArrayLiteral("\x42");
  }
  for (const char* name : {"late", "truncate", "flood", "unplug-on", "unplug-after-points"}) {
    const QString option = QString::fromLatin1(name);
    QString why;
    if (p.isSet(option) && !applyFault(f, option, p.value(option), &why)) {
      std::fprintf(stderr, "hygrotab-sim: %s\n", qPrintable(why));
      ok = false;
    }
  }
  const int unplugMs = intOption(p, QStringLiteral("unplug-after-ms"), -1, &ok);
  if (!ok) return 2;

  PtyHost host(line);
  QString err;
  if (!host.open(&err)) {
    std::fprintf(stderr, "hygrotab-sim: cannot open a pseudo-terminal: %s\n", qPrintable(err));
    return 1;
  }

  QString link;
  if (p.isSet(QStringLiteral("link"))) {
    link = p.value(QStringLiteral("link"));
    if (QFileInfo(link).isSymLink()) QFile::remove(link);
    if (::symlink(QFile::encodeName(host.path()).constData(),
                  QFile::encodeName(link).constData()) != 0) {
      std::fprintf(stderr, "hygrotab-sim: cannot link %s: %s\n", qPrintable(link),
                   std::strerror(errno));
      return 1;
    }
  }
  std::printf("%s\n", qPrintable(host.path()));
  std::fflush(stdout);

  if (::pipe(g_signalPipe) == 0) {
    struct sigaction sa {};
    sa.sa_handler = onSignal;
    sigemptyset(&sa.sa_mask);
    ::sigaction(SIGTERM, &sa, nullptr);
    ::sigaction(SIGINT, &sa, nullptr);
    auto* sn = new QSocketNotifier(g_signalPipe[0], QSocketNotifier::Read, &app);
    QObject::connect(sn, &QSocketNotifier::activated, &app, [] { QCoreApplication::quit(); });
  }
  const auto unplug = [&host] {
    host.shut();
    std::fprintf(stderr, "hygrotab-sim: unplugged\n");
    QCoreApplication::quit();
  };
  host.onUnplug = unplug;
  if (unplugMs >= 0) QTimer::singleShot(unplugMs, &app, unplug);
  if (p.isSet(QStringLiteral("control"))) {
    // A test arms each fault at the moment it chooses (after connecting, say)
    // and waits for the "ok" before it acts.
    ::fcntl(STDIN_FILENO, F_SETFL, ::fcntl(STDIN_FILENO, F_GETFL) | O_NONBLOCK);
    auto* input = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, &app);
    auto buffer = std::make_shared<QByteArray>();
    QObject::connect(input, &QSocketNotifier::activated, &app, [&line, input, buffer, unplug] {
      char chunk[256];
      for (;;) {
        const auto n = ::read(STDIN_FILENO, chunk, sizeof chunk);
        if (n > 0) {
          buffer->append(chunk, int(n));
          continue;
        }
        if (n == 0) input->setEnabled(false);  // the test went away: keep serving
        break;
      }
      qsizetype end;
      while ((end = buffer->indexOf('\n')) >= 0) {
        const QString command = QString::fromUtf8(buffer->left(end)).trimmed();
        buffer->remove(0, end + 1);
        if (command.isEmpty()) continue;
        if (command == QLatin1String("unplug")) {
          std::printf("ok\n");
          std::fflush(stdout);
          unplug();
          return;
        }
        QString why;
        const bool good = applyFault(line.faults(), command.section(QLatin1Char(' '), 0, 0),
                                     command.section(QLatin1Char(' '), 1), &why);
        if (!good) std::fprintf(stderr, "hygrotab-sim: %s\n", qPrintable(why));
        std::printf(good ? "ok\n" : "error\n");
        std::fflush(stdout);
      }
    });
  }

  const int rc = app.exec();
  host.shut();
  if (!link.isEmpty()) QFile::remove(link);
  return rc;
}
