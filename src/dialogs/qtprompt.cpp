#include "dialogs/qtprompt.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QRegularExpression>

namespace hygro {

namespace {

// The patterns of a filter: after the bar in the core's form, inside the
// parentheses in Qt's.
QStringList filterPatterns(const QString& filter) {
  QString patterns;
  const int bar = filter.indexOf(QLatin1Char('|'));
  if (bar >= 0) {
    patterns = filter.mid(bar + 1);
  } else {
    static const QRegularExpression inParens(QStringLiteral("\\(([^)]*)\\)"));
    patterns = inParens.match(filter).captured(1);
  }
  static const QRegularExpression separators(QStringLiteral("[;\\s]+"));
  return patterns.split(separators, Qt::SkipEmptyParts);
}

}  // namespace

QString QtPrompt::displayText(const QString& text) {
  QString t = text;
  t.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
  t.replace(QLatin1Char('\r'), QLatin1Char('\n'));
  return t;
}

QString QtPrompt::qtFilter(const QString& filter) {
  const QStringList parts = filter.split(QLatin1Char('|'));
  if (parts.size() < 2) return filter;
  QString name = parts[0].trimmed();
  const int paren = name.indexOf(QLatin1Char('('));
  if (paren > 0) name = name.left(paren).trimmed();
  return QStringLiteral("%1 (%2)").arg(name, parts[1].trimmed());
}

QString QtPrompt::withExtension(const QString& path, const QString& filter) {
  const QStringList patterns = filterPatterns(filter);
  const QString name = QFileInfo(path).fileName();
  if (name.isEmpty()) return path;
  QString extension;
  for (const QString& p : patterns) {
    const QRegularExpression fits(QRegularExpression::wildcardToRegularExpression(p),
                                  QRegularExpression::CaseInsensitiveOption);
    if (fits.match(name).hasMatch()) return path;
    const bool plainExtension = p.startsWith(QLatin1String("*.")) &&
                                p.indexOf(QLatin1Char('*'), 1) < 0 && !p.contains(QLatin1Char('?'));
    if (extension.isEmpty() && plainExtension) extension = p.mid(1);
  }
  if (extension.isEmpty()) return path;
  // "name." means no extension at all, not an empty one.
  QString base = path;
  while (base.endsWith(QLatin1Char('.'))) base.chop(1);
  return base + extension;
}

void QtPrompt::message(const QString& text, const QString& title) {
  QMessageBox::information(parent_, title, displayText(text), QMessageBox::Ok);
}

bool QtPrompt::question(QuestionId, const QString& text, const QString& title, SafeAnswer safe) {
  const QMessageBox::StandardButton byDefault =
      safe == SafeAnswer::No ? QMessageBox::No : QMessageBox::Yes;
  return QMessageBox::question(parent_, title, displayText(text),
                               QMessageBox::Yes | QMessageBox::No, byDefault) == QMessageBox::Yes;
}

std::optional<QString> QtPrompt::saveFileName(const QString& proposed, const QString& filter,
                                              bool* dialogFailed) {
  if (dialogFailed) *dialogFailed = false;
  const QString dir = startFolder.isEmpty() ? QDir::currentPath() : startFolder;
  // Offered with its extension, so what the user sees is the name it gets.
  QString offer = withExtension(QDir(dir).filePath(proposed), filter);
  for (;;) {
    QFileDialog dialog(parent_);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setNameFilter(qtFilter(filter));
    // The dialog would ask about the name as typed; the file gets the name
    // with the extension, and that is the one asked about below.
    dialog.setOption(QFileDialog::DontConfirmOverwrite);
    dialog.setDirectory(QFileInfo(offer).absolutePath());
    dialog.selectFile(QFileInfo(offer).fileName());
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return std::nullopt;
    const QString path = withExtension(dialog.selectedFiles().constFirst(), filter);
    startFolder = QFileInfo(path).absolutePath();
    if (!QFileInfo::exists(path)) return path;
    const QString title = parent_ ? parent_->window()->windowTitle() : QString();
    if (question(QuestionId::Other,
                 QStringLiteral("%1 already exists.\rDo you want to replace it?")
                     .arg(QDir::toNativeSeparators(path)),
                 title, SafeAnswer::No))
      return path;
    offer = path;  // back to the dialog, on the same name
  }
}

std::optional<QString> QtPrompt::openFileName(const QString& filter) {
  const QString dir = startFolder.isEmpty() ? QDir::currentPath() : startFolder;
  const QString path = QFileDialog::getOpenFileName(parent_, QString(), dir, qtFilter(filter));
  if (path.isEmpty()) return std::nullopt;
  startFolder = QFileInfo(path).absolutePath();
  return path;
}

}  // namespace hygro
