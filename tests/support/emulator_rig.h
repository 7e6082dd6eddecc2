#pragma once
// A session on the emulated logger with the identification waits shortened,
// its data sets in a scratch folder and every frame it sends recorded.
#include <QByteArray>
#include <QList>
#include <QTemporaryDir>
#include <memory>

#include "logger/session.h"
#include "sim/simtransport.h"
#include "support/scripted_prompt.h"
#include "support/session_ops.h"

namespace hygro::test {

// The identification pulses and the close wait, cut to a millisecond.
void ShortenWaits(Connection& c);

// A session on the demo logger (no data folder opened) with the waits cut.
std::unique_ptr<Session> DemoSession(sim::SimTransport* sim, UserPrompt* prompt);

// The command code of each frame, as the protocol numbers them.
QList<int> CommandCodes(const QList<QByteArray>& frames);

struct EmulatorRig {
  ScriptedPrompt prompt;
  sim::SimTransport* sim;
  Session session{std::unique_ptr<Transport>(sim), std::make_unique<NoBridge>(), &prompt};
  QTemporaryDir dir;
  QList<QByteArray> frames;  // sent since connecting, or since the last takeCodes()
  QList<int> connectCodes;   // the command codes sent while connecting

  // `state` names a file in the emulator's state folder; empty keeps the
  // emulator's own. A `model` given replaces the state's model name. The
  // session takes `emulator` (a plain one when null).
  explicit EmulatorRig(const QString& state = QString(), const QString& model = QString(),
                       sim::SimTransport* emulator = nullptr);
  ~EmulatorRig();
  EmulatorRig(const EmulatorRig&) = delete;
  EmulatorRig& operator=(const EmulatorRig&) = delete;

  // Connects on port 1 and waits for the status reads; true when it ended
  // connected. The frames it sent move to connectCodes.
  bool connect();
  bool waitIdle(int ms = 20000);
  QList<int> codes() const { return CommandCodes(frames); }
  // The codes sent since the last call (or since connecting), in order.
  QList<int> takeCodes();
  // The frame of the first command with that code.
  QByteArray frame(int code) const { return frames.value(codes().indexOf(code)); }
  const MeasurementRecord& rec(int set, int n) { return *session.data().at(set, n); }
  // Runs a button's handler, then waits until the exchange it started ended.
  template <typename C, typename R, typename... Params, typename... Args>
  bool run(R (C::*handler)(Params...), Args&&... args) {
    (opOf<C>(session).*handler)(std::forward<Args>(args)...);
    return waitIdle();
  }
};

// The status reads that follow every operation, in order.
extern const QList<int> kStatusCodes;

}  // namespace hygro::test
