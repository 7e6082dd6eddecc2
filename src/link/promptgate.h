#pragma once
// The prompt the core talks to. A message raised while an answer of the
// logger is being handled waits until the handling is over: shown at once,
// its modal box would run the event loop and let the next answer in halfway
// through this one. Questions are never deferred (they need their answer),
// so the core asks none while it handles an answer.
#include <QList>
#include <QPair>
#include <functional>

#include "data/userprompt.h"

namespace hygro {

class PromptGate : public UserPrompt {
 public:
  explicit PromptGate(UserPrompt* inner) : inner_(inner) {}

  // Whether messages are to wait now.
  void setHoldWhile(std::function<bool()> held) { held_ = std::move(held); }
  // Shows the messages that waited, in the order they were raised.
  void flush();
  int waiting() const { return static_cast<int>(waiting_.size()); }
  UserPrompt* inner() const { return inner_; }

  void message(const QString& text, const QString& title) override;
  bool question(QuestionId id, const QString& text, const QString& title,
                SafeAnswer safe = SafeAnswer::Yes) override;
  std::optional<QString> saveFileName(const QString& proposed, const QString& filter,
                                      bool* dialogFailed) override;
  std::optional<QString> openFileName(const QString& filter) override;

 private:
  UserPrompt* inner_;
  std::function<bool()> held_;
  QList<QPair<QString, QString>> waiting_;
};

}  // namespace hygro
