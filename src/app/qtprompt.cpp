#include "app/qtprompt.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>

namespace hygro {

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

void QtPrompt::message(const QString& text, const QString& title) {
  QMessageBox::information(parent_, title, displayText(text), QMessageBox::Ok);
}

bool QtPrompt::question(QuestionId, const QString& text, const QString& title) {
  return QMessageBox::question(parent_, title, displayText(text),
                               QMessageBox::Yes | QMessageBox::No) == QMessageBox::Yes;
}

std::optional<QString> QtPrompt::saveFileName(const QString& proposed, const QString& filter,
                                              bool* dialogFailed) {
  if (dialogFailed) *dialogFailed = false;
  const QString dir = startFolder.isEmpty() ? QDir::currentPath() : startFolder;
  const QString path = QFileDialog::getSaveFileName(parent_, QString(),
                                                    QDir(dir).filePath(proposed), qtFilter(filter));
  if (path.isEmpty()) return std::nullopt;
  startFolder = QFileInfo(path).absolutePath();
  return path;
}

std::optional<QString> QtPrompt::openFileName(const QString& filter) {
  const QString dir = startFolder.isEmpty() ? QDir::currentPath() : startFolder;
  const QString path = QFileDialog::getOpenFileName(parent_, QString(), dir, qtFilter(filter));
  if (path.isEmpty()) return std::nullopt;
  startFolder = QFileInfo(path).absolutePath();
  return path;
}

}  // namespace hygro
