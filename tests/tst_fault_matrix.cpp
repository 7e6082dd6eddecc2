// Every logger operation under every fault the line can bring, through the
// real serial port path: hygrotab-sim on a pseudo-terminal, the headless
// session driven as the window's buttons drive it (in-process: the tool has no
// command for every button, and here the data sets and the port are looked at
// directly). Each cell checks what the user is told, the port afterwards, a
// ceiling on the time, and that records already held survive.
// The ctest run takes one cell per fault; HYGROTAB_FAULT_MATRIX=full runs all,
// and HYGROTAB_FAULT_TABLE=FILE appends each cell's row to FILE
// (scripts/fault-matrix.sh builds the table in docs/reliability.md from them).
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>
#include <functional>
#include <memory>

#include "data/formats.h"
#include "link/bridge.h"
#include "link/serialtransport.h"
#include "logger/session.h"
#include "support/data_fixtures.h"
#include "support/data_table.h"
#include "support/scripted_prompt.h"
#include "support/sim_process.h"

using namespace hygro;
using hygro::test::ScriptedPrompt;
using hygro::test::SimProcess;

namespace {

// Long enough for a loaded machine running every test twice over; a cell
// that is still busy then has hung.
constexpr int kCeilingMs = 30000;
constexpr int kTotalLogPoints = 144;  // what idle.json holds
const QString kModel = QStringLiteral("QM720-XC");

// The setting on the emulator's control line that brings `fault` to `op`.
QString faultCommand(const QString& op, const QString& fault) {
  const bool perOperation = fault == QLatin1String("unplug in exchange");
  return test::dataValue(QStringLiteral("faults/controls.tsv"),
                         perOperation ? fault + QLatin1Char('/') + op : fault);
}

// CR as the table shows it; the clock the logger read back varies from run to run.
QString shown(const QString& op, QString text) {
  if (op == QLatin1String("set clock") &&
      text.startsWith(RecordingOperation::SetCompletionText() + QStringLiteral("\r\r")))
    text.replace(QRegularExpression(QStringLiteral("\\d")), QStringLiteral("#"));
  return text.replace(QLatin1Char('\r'), QStringLiteral("↵"));
}

// One cell: an emulated logger with its control line, a session on its
// terminal, and known records in the sets the operation does not own.
struct CellRig {
  ScriptedPrompt prompt;
  SimProcess sim;
  std::unique_ptr<Session> session;
  QTemporaryDir dir;
  QString link;
  QList<int> sentCodes;
  QMap<int, QByteArray> held;  // the records of each set held, byte for byte

  bool start(const QString& state, QString* error) {
    // A link of its own: terminal numbers come back at once to the next
    // emulator, and a pulled-out logger must leave a port that is not there.
    link = dir.filePath(QStringLiteral("ttyLOGGER"));
    if (!sim.start({QStringLiteral("--state"), SimProcess::state(state), QStringLiteral("--link"),
                    link, QStringLiteral("--control")},
                   error))
      return false;
    session = std::make_unique<Session>(std::make_unique<SerialTransport>(),
                                        std::make_unique<NoBridge>(), &prompt);
    session->data().open(dir.path(), nullptr);
    QObject::connect(&session->exchange(), &Exchange::frameSent, [this](const QByteArray& f) {
      sentCodes << (f[2] * 100 + ((f[3] >> 4) & 0xF) * 10 + (f[3] & 0xF));
    });
    return true;
  }
  ~CellRig() {
    if (session) {
      session->shutDown();
      session->data().closeAndRemove();
      session.reset();
    }
  }

  void hold(int set) {
    test::fillReferenceSet(session->data(), set);
    held.insert(set, records(set));
  }
  QByteArray records(int set) const {
    QByteArray out;
    for (int n = 1; n <= session->data().info(set).Points; ++n)
      out.append(reinterpret_cast<const char*>(session->data().at(set, n)),
                 sizeof(MeasurementRecord));
    return out;
  }
  bool heldIntact() const {
    for (auto it = held.cbegin(); it != held.cend(); ++it)
      if (records(it.key()) != it.value()) return false;
    return true;
  }

  // Sends one fault setting and waits for the emulator to take it.
  bool control(const QString& line) {
    QProcess& p = sim.process();
    p.write((line + QLatin1Char('\n')).toUtf8());
    if (!QTest::qWaitFor([&] { return p.canReadLine(); }, 10000)) return false;
    return p.readLine().trimmed() == "ok";
  }

  bool connectAndSettle() {
    session->Port_Set_Command(PortSearch::Once, link);
    return QTest::qWaitFor([&] { return !session->busy(); }, kCeilingMs) && session->connected();
  }

  bool idle() const {
    return !session->busy() && !session->download().downloading() && !session->realtime().running();
  }
};

// Appends a row of the table in docs/reliability.md to $HYGROTAB_FAULT_TABLE.
void appendRow(const QStringList& fields) {
  QFile f(qEnvironmentVariable("HYGROTAB_FAULT_TABLE"));
  if (f.fileName().isEmpty() || !f.open(QIODevice::Append | QIODevice::Text)) return;
  QStringList clean;
  for (QString s : fields) clean << s.replace(u'\t', u' ').replace(u'\n', u' ');
  f.write((clean.join(u'\t') + u'\n').toUtf8());
}

}  // namespace

class TestFaultMatrix : public QObject {
  Q_OBJECT
 private Q_SLOTS:
  void cell_data() {
    QTest::addColumn<int>("index");
    QTest::addColumn<QStringList>("row");
    const bool full = qEnvironmentVariable("HYGROTAB_FAULT_MATRIX") == QLatin1String("full");
    int index = 0;
    for (const QStringList& row : test::dataRows(QStringLiteral("faults/matrix.tsv"))) {
      ++index;
      if (full || row.value(2) == QLatin1String("quick"))
        QTest::newRow(qPrintable(row[0] + QLatin1Char('/') + row[1])) << index << row;
    }
  }

  void cell() {
    QFETCH(int, index);
    QFETCH(QStringList, row);
    const QString op = row[0], fault = row[1];
    // What the cell expects: the message (exact, or a prefix when it ends in
    // "...", '-' for none) and its title, the port, whether the effect is there.
    QString wanted = row[3] == QLatin1String("-") ? QString() : row[3];
    const bool prefix = wanted.endsWith(QLatin1String("..."));
    if (prefix) wanted.chop(3);
    const QString title = row[4];
    const bool portOpen = row[5] == QLatin1String("open");
    const bool completes = row[6] == QLatin1String("completes");
    const bool connectOp = op == QLatin1String("connect");

    CellRig r;
    QString error;
    const QString state = op == QLatin1String("stop recording") ? QStringLiteral("recording.json")
                                                                : QStringLiteral("idle.json");
    QVERIFY2(r.start(state, &error), qPrintable(error));
    r.hold(FileData);
    if (op != QLatin1String("download")) r.hold(LogData);
    if (!op.contains(QLatin1String("measurement"))) r.hold(RealTimeData);
    if (!connectOp) QVERIFY2(r.connectAndSettle(), qPrintable(r.prompt.messages().join('|')));
    r.prompt.calls.clear();
    r.sentCodes.clear();
    QSignalSpy abandoned(&r.session->exchange(), &Exchange::abandoned);

    QVERIFY2(r.control(faultCommand(op, fault)), qPrintable(faultCommand(op, fault)));
    if (fault == QLatin1String("unplug idle")) {
      if (connectOp) {
        QVERIFY(QTest::qWaitFor([&] { return r.sim.process().state() == QProcess::NotRunning; },
                                10000));
      } else {
        QVERIFY2(QTest::qWaitFor([&] { return !r.session->connected(); }, 10000),
                 "the program did not notice that the logger was pulled out");
      }
    }

    Session& s = *r.session;
    QElapsedTimer clock;
    clock.start();
    bool ended = true;
    // Each operation as the window's buttons drive it, and what shows that it
    // got through.
    const auto statusReadEnded = [&] {
      return !r.sentCodes.isEmpty() && r.sentCodes.last() == 57 && abandoned.isEmpty();
    };
    std::function<bool()> completed;
    if (connectOp) {
      s.Port_Set_Command(PortSearch::Once, r.link);
      completed = [&] { return s.connected() && s.ModelName() == kModel && s.status().read; };
    } else if (op == QLatin1String("status read")) {
      s.statusOp().Command11_Click();
      completed = [&] {
        return statusReadEnded() && s.status().FirmwareVersion == QLatin1String("QM720-XC V1.02");
      };
    } else if (op == QLatin1String("one-time measurement")) {
      s.realtime().Command1_Click();
    } else if (op == QLatin1String("continuous measurement")) {
      s.realtime().setContinuousInterval(QStringLiteral("2"), false);
      s.realtime().Command2_Click();
      // A run that works is stopped after its first sample, as a user would.
      const auto sampled = [&] { return s.data().info(RealTimeData).Points >= 1 && !s.busy(); };
      ended = QTest::qWaitFor([&] { return !s.realtime().running() || sampled(); }, kCeilingMs);
      if (ended && s.realtime().running()) s.realtime().Command2_Click();
    } else if (op == QLatin1String("download")) {
      s.download().Command5_Click();
      completed = [&] { return s.data().info(LogData).Points == kTotalLogPoints; };
    } else if (op == QLatin1String("start recording")) {
      if (s.connected()) QCOMPARE(s.recording().Command4_Click(), RecordButton::ShowStartDialog);
      StartSettings settings = s.recording().startDefaults();
      settings.name = QStringLiteral("FLT1");
      s.recording().Log_Start(settings);
      completed = [&] {
        return s.status().RecState == RecState::Recording && s.status().IdentName == "FLT1";
      };
    } else if (op == QLatin1String("stop recording")) {
      if (s.connected()) QCOMPARE(s.recording().Command4_Click(), RecordButton::Stopping);
      // The record button forgets the state at once; the status read confirms it.
      completed = [&] {
        return s.status().RecState == RecState::Idle && r.sentCodes.contains(12) &&
               statusReadEnded() && s.connected();
      };
    } else if (op == QLatin1String("reserve a start")) {
      ReservationSettings reservation;
      reservation.at = fmt::nowSerial() + 1.0;
      reservation.intervalValue = 5;
      reservation.minutes = true;
      s.recording().Yoyaku_Set(reservation);
      completed = [&] { return s.status().RecState == RecState::Reserving; };
    } else if (op == QLatin1String("set clock")) {
      s.recording().Now_Time_set();
      completed = [&] { return s.recording().clockSet(); };
    } else if (op == QLatin1String("set name")) {
      s.settings().Set_HGName(QStringLiteral("FLT1"));
      completed = [&] { return s.status().IdentName == QLatin1String("FLT1"); };
    } else if (op == QLatin1String("set alarm bounds")) {
      s.settings().Alarm_set(25, true, 0, false);
      completed = [&] { return s.view().Label29 == QLatin1String("25 C"); };
    } else if (op == QLatin1String("set memory mode")) {
      s.settings().M_Mode_Set(true);
      completed = [&] { return s.status().LoopMode != 0; };
    } else if (op == QLatin1String("initialise")) {
      s.settings().Command27_Click();
      completed = [] { return true; };  // nothing comes back to look at
    }
    if (op.contains(QLatin1String("measurement")))
      completed = [&] { return s.data().info(RealTimeData).Points >= 1; };
    QVERIFY2(completed, qPrintable(op));
    ended = ended && QTest::qWaitFor([&] { return r.idle(); }, kCeilingMs);
    // A port closing under a download is reported as the exchange unwinds.
    if (!portOpen) ended = ended && QTest::qWaitFor([&] { return !s.connected(); }, 10000);
    const double seconds = double(clock.elapsed()) / 1000.0;

    QList<ScriptedPrompt::Call> said;
    for (const auto& c : r.prompt.calls)
      if (c.kind == QLatin1String("message")) said << c;
    QStringList problems;
    if (!ended) problems << QStringLiteral("still busy after %1 s").arg(kCeilingMs / 1000);
    if (wanted.isEmpty()) {
      if (!said.isEmpty()) problems << QStringLiteral("unexpected message");
    } else if (said.size() != 1) {
      problems << QStringLiteral("%1 messages instead of one").arg(said.size());
    } else {
      const bool textOk = prefix ? said[0].text.startsWith(wanted) : said[0].text == wanted;
      if (!textOk) problems << QStringLiteral("wrong message");
      if (said[0].title != title) problems << QStringLiteral("wrong title");
    }
    if (s.connected() != portOpen)
      problems << (portOpen ? QStringLiteral("port closed") : QStringLiteral("port open"));
    const bool heldOk = r.heldIntact();
    if (!heldOk) problems << QStringLiteral("held records lost");
    if (completes && !completed()) problems << QStringLiteral("operation did not complete");
    if (!completes && completed() && fault != QLatin1String("unplug idle"))
      problems << QStringLiteral("completed although it should have failed");

    QStringList texts, titles;
    for (const auto& c : said) {
      texts << QLatin1Char('"') + shown(op, c.text) + QLatin1Char('"');
      titles << c.title;
    }
    const QString message = texts.isEmpty() ? QStringLiteral("(nothing)") : texts.join(u"; ");
    const QString port = s.connected() ? QStringLiteral("open") : QStringLiteral("closed");
    appendRow(
        {QString::number(index), op, fault, message, titles.join(u"; "), port,
         heldOk ? QStringLiteral("yes") : QStringLiteral("no"), QString::number(seconds, 'f', 1),
         problems.isEmpty() ? QStringLiteral("ok") : QStringLiteral("FAIL"), problems.join(u", ")});
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join(u", ") + QStringLiteral(" | said: ") +
                                            message + QStringLiteral(" [") + titles.join(u"; ") +
                                            QStringLiteral("] port ") + port));
  }
};

QTEST_MAIN(TestFaultMatrix)
#include "tst_fault_matrix.moc"
