// The window's prompt as the user meets it: the file a save dialog writes
// carries its type's extension, replacing a file is asked about, and Enter on
// a question gives the answer that loses nothing.
#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QtTest>
#include <functional>

#include "dialogs/qtprompt.h"
#include "support/data_table.h"

using namespace hygro;

namespace {

const QString kCsv = QStringLiteral(" CSV(*.csv)|*.csv");

// Acts on the modal boxes and dialogs shown meanwhile, one step for each, in
// the order they come up.
class ModalSteps : public QObject {
 public:
  explicit ModalSteps(QList<std::function<void(QWidget*)>> steps) : steps_(std::move(steps)) {
    connect(&timer_, &QTimer::timeout, this, [this] {
      QWidget* m = QApplication::activeModalWidget();
      if (!m || m == handled_ || !m->isVisible() || steps_.isEmpty()) return;
      handled_ = m;
      steps_.takeFirst()(m);
    });
    timer_.start(10);
  }
  bool done() const { return steps_.isEmpty(); }

 private:
  QList<std::function<void(QWidget*)>> steps_;
  QPointer<QWidget> handled_;
  QTimer timer_;
};

QLineEdit* nameBox(QWidget* dialog) {
  return dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
}

// The name typed into a save dialog, then Save.
std::function<void(QWidget*)> typeName(const QString& name, QString* offered = nullptr) {
  return [name, offered](QWidget* m) {
    auto* dialog = qobject_cast<QFileDialog*>(m);
    if (!dialog) return;
    if (offered) *offered = nameBox(dialog)->text();
    nameBox(dialog)->setText(name);
    static_cast<QDialog*>(dialog)->accept();  // Save
  };
}

// Notes a box's text and default button, then presses Enter.
std::function<void(QWidget*)> pressEnter(QString* text, QMessageBox::StandardButton* byDefault) {
  return [text, byDefault](QWidget* m) {
    auto* box = qobject_cast<QMessageBox*>(m);
    if (!box) return;
    if (text) *text = box->text();
    *byDefault = box->standardButton(box->defaultButton());
    QTest::keyClick(box, Qt::Key_Return);
  };
}

}  // namespace

class TstUiPrompt : public QObject {
  Q_OBJECT
 private Q_SLOTS:
  void extensionComesFromTheFilter_data() {
    test::addDataRows(QStringLiteral("window/extensions.tsv"), {"typed", "filter", "saved"});
  }
  void extensionComesFromTheFilter() {
    QFETCH(QString, typed);
    QFETCH(QString, filter);
    QFETCH(QString, saved);
    QCOMPARE(QtPrompt::withExtension(typed, filter), saved);
  }

  void saveDialogGivesTheExtensionAndAsksBeforeReplacing() {
    QTemporaryDir dir;
    QtPrompt prompt;
    prompt.startFolder = dir.path();
    QString offered;
    bool failed = true;
    {
      ModalSteps steps({typeName(QStringLiteral("report"), &offered)});
      const auto path = prompt.saveFileName(QStringLiteral("ROOM1_100501_130405"), kCsv, &failed);
      QVERIFY(steps.done());
      QCOMPARE(path, std::optional<QString>(dir.filePath(QStringLiteral("report.csv"))));
    }
    QCOMPARE(offered, QStringLiteral("ROOM1_100501_130405.csv"));
    QVERIFY(!failed);

    // Replacing a file is asked about, with No as the default.
    const QString old = dir.filePath(QStringLiteral("old.csv"));
    QFile f(old);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.close();

    // Enter keeps the file: the dialog comes back on the same name.
    QString asked, offeredAgain;
    QMessageBox::StandardButton byDefault = QMessageBox::NoButton;
    {
      ModalSteps steps({typeName(QStringLiteral("old")), pressEnter(&asked, &byDefault),
                        [&offeredAgain](QWidget* m) {
                          offeredAgain = nameBox(m)->text();
                          qobject_cast<QDialog*>(m)->reject();
                        }});
      QCOMPARE(prompt.saveFileName(QStringLiteral("x"), kCsv, nullptr), std::nullopt);
      QVERIFY(steps.done());
    }
    QVERIFY2(asked.contains(QStringLiteral("old.csv")), qPrintable(asked));
    QCOMPARE(byDefault, QMessageBox::No);
    QCOMPARE(offeredAgain, QStringLiteral("old.csv"));

    // Yes replaces it.
    ModalSteps steps({typeName(QStringLiteral("old")), [](QWidget* m) {
                        auto* box = qobject_cast<QMessageBox*>(m);
                        if (box) box->button(QMessageBox::Yes)->click();
                      }});
    QCOMPARE(prompt.saveFileName(QStringLiteral("x"), kCsv, nullptr), std::optional<QString>(old));
    QVERIFY(steps.done());
  }

  void enterGivesTheSafeAnswer() {
    QtPrompt prompt;
    QMessageBox::StandardButton first = QMessageBox::NoButton, second = QMessageBox::NoButton;
    ModalSteps steps({pressEnter(nullptr, &first), pressEnter(nullptr, &second)});
    QVERIFY(!prompt.question(QuestionId::StartOverUndownloaded, QStringLiteral("Lose it?"),
                             QString(), SafeAnswer::No));
    QCOMPARE(first, QMessageBox::No);
    QVERIFY(prompt.question(QuestionId::SaveLogAtClose, QStringLiteral("Save it?"), QString()));
    QCOMPARE(second, QMessageBox::Yes);
    QVERIFY(steps.done());
  }
};

QTEST_MAIN(TstUiPrompt)
#include "tst_ui_prompt.moc"
