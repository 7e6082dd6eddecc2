#pragma once
// The window's answers to the core's prompts: message boxes and file dialogs.
#include <QString>

#include "data/userprompt.h"

class QWidget;

namespace hygro {

class QtPrompt : public UserPrompt {
 public:
  explicit QtPrompt(QWidget* parent = nullptr) : parent_(parent) {}
  void setParent(QWidget* parent) { parent_ = parent; }
  QString startFolder;

  void message(const QString& text, const QString& title) override;
  bool question(QuestionId id, const QString& text, const QString& title,
                SafeAnswer safe = SafeAnswer::Yes) override;
  // The name the file gets always carries the filter's extension, and a file
  // of that name is replaced only when the user says so.
  std::optional<QString> saveFileName(const QString& proposed, const QString& filter,
                                      bool* dialogFailed) override;
  std::optional<QString> openFileName(const QString& filter) override;

  // The core's texts break lines with carriage returns.
  static QString displayText(const QString& text);
  // "Name(*.ext)|*.ext" to Qt's "Name (*.ext)".
  static QString qtFilter(const QString& filter);
  // `path` with the extension `filter` names ("Name(*.ext)|*.ext", or Qt's
  // "Name (*.ext)") added, unless its file name already fits one of the
  // filter's patterns (letter case aside).
  static QString withExtension(const QString& path, const QString& filter);

 private:
  QWidget* parent_;
};

}  // namespace hygro
