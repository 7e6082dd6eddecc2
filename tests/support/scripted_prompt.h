#pragma once
// A UserPrompt for tests: answers come from queues filled by the test, and
// every call is recorded so the test can check texts, titles and order.
// An empty queue answers "No" / cancel, so a test never hangs in a loop.
#include <QQueue>
#include <QString>
#include <QStringList>
#include <optional>

#include "data/userprompt.h"

namespace hygro::test {

class ScriptedPrompt : public UserPrompt {
 public:
  struct Call {
    QString kind;                       // "message", "question", "save", "open"
    QString text;                       // message/question text, proposed name, or filter
    QString title;                      // box title; the filter for "save"
    QuestionId id = QuestionId::Other;  // for "question"
    SafeAnswer safe = SafeAnswer::Yes;  // the default button the question offers
  };

  // Answers, consumed in order.
  QQueue<bool> questionAnswers;
  // A save answer: a path, cancel (nullopt), or a dialog failure.
  struct SaveAnswer {
    std::optional<QString> path;
    bool dialogFails = false;
  };
  QQueue<SaveAnswer> saveAnswers;
  QQueue<std::optional<QString>> openAnswers;

  QList<Call> calls;

  void message(const QString& text, const QString& title) override;
  bool question(QuestionId id, const QString& text, const QString& title,
                SafeAnswer safe = SafeAnswer::Yes) override;
  std::optional<QString> saveFileName(const QString& proposed, const QString& filter,
                                      bool* dialogFailed) override;
  std::optional<QString> openFileName(const QString& filter) override;

  // Texts of the calls of one kind, in order.
  QStringList texts(const QString& kind) const;
  QStringList messages() const { return texts(QStringLiteral("message")); }
};

}  // namespace hygro::test
