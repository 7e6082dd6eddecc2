#pragma once
// For the window's tests: a prompt that records what the window says and
// answers from queues instead of showing boxes, and a child lookup by
// objectName that names a missing control.
#include <QQueue>
#include <QStringList>
#include <QWidget>

#include "dialogs/qtprompt.h"
#include "sim/simtransport.h"
#include "support/emulator_rig.h"

namespace hygro::test {

class WindowPrompt : public QtPrompt {
 public:
  QQueue<bool> answers;  // questions take the next answer; No when none is left
  QStringList questions;
  QList<SafeAnswer> defaults;  // the default answer each question offered
  QStringList messages;
  QStringList proposed;  // the names the save dialog was offered
  // Paths the save and open dialogs answer with (cancel when empty).
  QQueue<QString> savePaths;
  QQueue<QString> openPaths;
  void message(const QString& text, const QString&) override { messages << text; }
  bool question(QuestionId, const QString& text, const QString&,
                SafeAnswer safe = SafeAnswer::Yes) override {
    questions << text;
    defaults << safe;
    return !answers.isEmpty() && answers.dequeue();
  }
  std::optional<QString> saveFileName(const QString& name, const QString&, bool* failed) override {
    if (failed) *failed = false;
    proposed << name;
    if (savePaths.isEmpty()) return std::nullopt;
    return savePaths.dequeue();
  }
  std::optional<QString> openFileName(const QString&) override {
    if (openPaths.isEmpty()) return std::nullopt;
    return openPaths.dequeue();
  }
};

// The demo logger's session answering to a WindowPrompt: what a window
// under test is built on.
struct WindowRig {
  WindowRig() : sim(new sim::SimTransport), session(DemoSession(sim, &prompt)) {}
  WindowPrompt prompt;
  sim::SimTransport* sim;
  std::unique_ptr<Session> session;
};

template <typename T>
T* child(QWidget& w, const char* name) {
  T* c = w.findChild<T*>(QString::fromLatin1(name));
  if (!c) qWarning("no %s", name);
  return c;
}

}  // namespace hygro::test

// Declares `w`, the main window on `rig`'s session, shown (at `size`, when
// given) and exposed.
#define SHOW_WINDOW(w, rig, ...)                                                       \
  hygro::Form1 w((rig).session.get(), &(rig).prompt);                                  \
  for (const QSize size_ : std::initializer_list<QSize>{__VA_ARGS__}) w.resize(size_); \
  w.show();                                                                            \
  QVERIFY(QTest::qWaitForWindowExposed(&w))
