#pragma once
// Every message, question and file name the core needs from a person goes
// through this interface. The window answers with message boxes and file
// dialogs, the command-line tool with stderr and its options, tests with
// scripted answers. Texts and titles are decided by the caller, exactly.
#include <QString>
#include <optional>

namespace hygro {

class UserPrompt {
 public:
  virtual ~UserPrompt() = default;

  // An OK-only message box.
  virtual void message(const QString& text, const QString& title) = 0;
  // A Yes/No question; true for Yes.
  virtual bool question(const QString& text, const QString& title) = 0;

  // The save dialog. `proposed` is the file name offered, `filter` the dialog's
  // filter text. Returns the chosen path, or nothing when the user cancelled.
  // `dialogFailed` is set when the dialog could not be shown with that
  // proposal (for instance a name the file system refuses), so the caller can
  // offer another one.
  virtual std::optional<QString> saveFileName(const QString& proposed, const QString& filter,
                                              bool* dialogFailed) = 0;
  // The open dialog; nothing when cancelled.
  virtual std::optional<QString> openFileName(const QString& filter) = 0;
};

}  // namespace hygro
