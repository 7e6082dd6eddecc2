#include "link/promptgate.h"

namespace hygro {

void PromptGate::flush() {
  // A message shown here may run the event loop, and an answer handled in it
  // may add more: take them one at a time.
  while (!waiting_.isEmpty()) {
    const auto [text, title] = waiting_.takeFirst();
    if (inner_) inner_->message(text, title);
  }
}

void PromptGate::message(const QString& text, const QString& title) {
  if (held_ && held_()) {
    waiting_.append({text, title});
    return;
  }
  flush();
  if (inner_) inner_->message(text, title);
}

bool PromptGate::question(QuestionId id, const QString& text, const QString& title,
                          SafeAnswer safe) {
  flush();
  return inner_ && inner_->question(id, text, title, safe);
}

std::optional<QString> PromptGate::saveFileName(const QString& proposed, const QString& filter,
                                                bool* dialogFailed) {
  if (!inner_) return std::nullopt;
  return inner_->saveFileName(proposed, filter, dialogFailed);
}

std::optional<QString> PromptGate::openFileName(const QString& filter) {
  if (!inner_) return std::nullopt;
  return inner_->openFileName(filter);
}

}  // namespace hygro
