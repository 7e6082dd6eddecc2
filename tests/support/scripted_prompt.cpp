#include "support/scripted_prompt.h"

namespace hygro::test {

void ScriptedPrompt::message(const QString& text, const QString& title) {
  calls.append({QStringLiteral("message"), text, title});
}

bool ScriptedPrompt::question(QuestionId id, const QString& text, const QString& title,
                              SafeAnswer safe) {
  calls.append({QStringLiteral("question"), text, title, id, safe});
  return questionAnswers.isEmpty() ? false : questionAnswers.dequeue();
}

std::optional<QString> ScriptedPrompt::saveFileName(const QString& proposed, const QString& filter,
                                                    bool* dialogFailed) {
  calls.append({QStringLiteral("save"), proposed, filter});
  if (dialogFailed) *dialogFailed = false;
  if (saveAnswers.isEmpty()) return std::nullopt;
  const SaveAnswer a = saveAnswers.dequeue();
  if (a.dialogFails) {
    if (dialogFailed) *dialogFailed = true;
    return std::nullopt;
  }
  return a.path;
}

std::optional<QString> ScriptedPrompt::openFileName(const QString& filter) {
  calls.append({QStringLiteral("open"), filter, QString()});
  return openAnswers.isEmpty() ? std::nullopt : openAnswers.dequeue();
}

QStringList ScriptedPrompt::texts(const QString& kind) const {
  QStringList out;
  for (const Call& c : calls) {
    if (c.kind == kind) out << c.text;
  }
  return out;
}

}  // namespace hygro::test
