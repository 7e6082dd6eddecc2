#pragma once
// The download's progress window. It follows the session's download signals:
// shown when a download starts, closed when it ends. Its button stays
// disabled until the points stream, then cancels: the window goes and nobody
// watches the stream any more. Shown without a local event loop, so the
// download runs on while it is up.
#include <QDialog>
#include <QTimer>

class QLabel;
class QProgressBar;
class QPushButton;

namespace hygro {

class Session;

class DownloadProgress : public QDialog {
  Q_OBJECT
 public:
  explicit DownloadProgress(Session* session, QWidget* parent = nullptr);

  // At most this often the texts and the bar are redrawn while points pour
  // in; the first and the last state are always shown.
  int RedrawMs = 50;

 public Q_SLOTS:
  void reject() override;  // Esc and the close box: the button, when it may be used

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void started();
  void progress(int done, int total, const QString& caption);
  void finished();
  void applyPending();
  void Command1_Click();

  Session* session_;
  QLabel* Label1;
  QProgressBar* ProgressBar1;
  QPushButton* Command1;
  QTimer redraw_;
  int done_ = 0;
  int total_ = 0;
  QString caption_;
  bool pending_ = false;
  bool watching_ = false;  // a download runs and its window follows it
};

}  // namespace hygro
