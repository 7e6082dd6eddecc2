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
  bool question(QuestionId id, const QString& text, const QString& title) override;
  std::optional<QString> saveFileName(const QString& proposed, const QString& filter,
                                      bool* dialogFailed) override;
  std::optional<QString> openFileName(const QString& filter) override;

  // The core's texts break lines with carriage returns.
  static QString displayText(const QString& text);
  // "Name(*.ext)|*.ext" to Qt's "Name (*.ext)".
  static QString qtFilter(const QString& filter);

 private:
  QWidget* parent_;
};

}  // namespace hygro
