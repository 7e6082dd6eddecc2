#include "support/emulator_rig.h"

#include <QCoreApplication>
#include <QDeadlineTimer>

#include "sim/demostate.h"

namespace hygro::test {

const QList<int> kStatusCodes{99, 42, 43, 30, 23, 23, 23, 23, 23, 38,
                              34, 35, 36, 37, 47, 48, 50, 51, 57};

void ShortenWaits(Connection& c) {
  c.CloseWaitMs = 1;
  c.PulseHighMs = 1;
  c.PulseLowMs = 1;
}

std::unique_ptr<Session> DemoSession(sim::SimTransport* sim, UserPrompt* prompt) {
  sim::LoadDemoState(sim->model());
  auto session = std::make_unique<Session>(std::unique_ptr<Transport>(sim),
                                           std::make_unique<NoBridge>(), prompt);
  ShortenWaits(session->connection());
  return session;
}

QList<int> CommandCodes(const QList<QByteArray>& frames) {
  QList<int> c;
  for (const QByteArray& f : frames) c << (f[2] * 100 + ((f[3] >> 4) & 0xF) * 10 + (f[3] & 0xF));
  return c;
}

EmulatorRig::EmulatorRig(const QString& state, const QString& model, sim::SimTransport* emulator)
    : sim(emulator ? emulator : new sim::SimTransport) {
  if (!state.isEmpty()) {
    QString error;
    if (!sim->model().loadFile(QStringLiteral(HYGROTAB_TEST_DATA "/sim/") + state, &error))
      qFatal("state %s: %s", qPrintable(state), qPrintable(error));
  }
  if (!model.isEmpty()) sim->model().setModel(model);
  ShortenWaits(session.connection());
  session.data().open(dir.path(), nullptr);
  QObject::connect(&session.exchange(), &Exchange::frameSent,
                   [this](const QByteArray& f) { frames << f; });
}

EmulatorRig::~EmulatorRig() { session.data().closeAndRemove(); }

bool EmulatorRig::connect() {
  session.Port_Set_Command(PortSearch::Once, QStringLiteral("1"));
  const bool idle = waitIdle();
  connectCodes = takeCodes();
  return idle && session.connected();
}

bool EmulatorRig::waitIdle(int ms) {
  QDeadlineTimer deadline(ms);
  while (session.busy() && !deadline.hasExpired())
    QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
  return !session.busy();
}

QList<int> EmulatorRig::takeCodes() {
  const QList<int> c = codes();
  frames.clear();
  return c;
}

}  // namespace hygro::test
