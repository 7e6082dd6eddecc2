#pragma once
// Every message, question and file name the core needs from a person goes
// through this interface. The window answers with message boxes and file
// dialogs, the command-line tool with stderr and its options, tests with
// scripted answers. Texts and titles are decided by the caller, exactly.
#include <QString>
#include <optional>

namespace hygro {

// Which question is asked. A client that answers some questions on its own
// (the command-line tool, a test) recognises them by this, never by text.
enum class QuestionId {
  SaveLogBeforeConnect,   // a connection would lose the downloaded log
  SaveRealBeforeConnect,  // ... or the real-time samples
  SaveLogAtClose,
  SaveRealAtClose,
  SaveRealBeforeRun,      // a new measurement would lose unsaved samples
  SaveRunAtStop,          // a continuous run has just ended
  SaveLogBeforeDownload,  // a download would lose the downloaded log
  StartOverUndownloaded,  // a recording start would lose a log never downloaded
  InitialiseLogger,       // the logger's memory would be erased
  ShowLeftover,           // data of a run that did not end normally
  Other,
};

// The answer of a question that loses nothing. A box shows it as the
// default button, so Enter (or a hasty click) never costs data.
enum class SafeAnswer { Yes, No };

class UserPrompt {
 public:
  virtual ~UserPrompt() = default;

  // An OK-only message box.
  virtual void message(const QString& text, const QString& title) = 0;
  // A Yes/No question; true for Yes. `safe` is the answer to offer as the
  // default: No for every question whose Yes loses data (a log never
  // downloaded, the logger's memory), Yes for the "save it first?" kind.
  // Every implementation takes the same default, so the call means the same
  // whichever type it is made through.
  virtual bool question(QuestionId id, const QString& text, const QString& title,
                        SafeAnswer safe = SafeAnswer::Yes) = 0;

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
