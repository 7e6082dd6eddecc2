#pragma once
// Where the window keeps its archive: the data folder's SQLite file, another
// SQLite file, or a PostgreSQL database (a URL or a key=value string).
#include <QDialog>

class QLineEdit;
class QPushButton;
class QRadioButton;

namespace hygro {

class ArchiveSetting;
class Session;
class UserPrompt;

class ArchiveTargetDialog : public QDialog {
  Q_OBJECT
 public:
  ArchiveTargetDialog(Session* session, ArchiveSetting* setting, UserPrompt* prompt,
                      QWidget* parent = nullptr);

  // OK: the archive named becomes the window's. False, the dialog staying
  // open, when it cannot be read as one, or cannot be opened and the user
  // does not want it anyway.
  bool apply();

  static QString UseAnywayText(const QString& why);

 Q_SIGNALS:
  // The window's archive is now what `text` names (empty: the default).
  void chosen(const QString& text);

 private:
  ArchiveSetting* setting_;
  UserPrompt* prompt_;
  QRadioButton* default_;
  QRadioButton* other_;
  QLineEdit* text_;
  QPushButton* browse_;
};

}  // namespace hygro
