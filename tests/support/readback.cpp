#include "support/readback.h"

#include <QDir>
#include <QProcess>
#include <QStandardPaths>

namespace hygro::test {

bool pdfText(const QString& pdf, QString* text, const QString& mode) {
  QStringList args{QStringLiteral("-enc"), QStringLiteral("UTF-8"), pdf, QStringLiteral("-")};
  if (!mode.isEmpty()) args.prepend(mode);
  QProcess p;
  p.start(QStringLiteral("pdftotext"), args);
  if (!p.waitForFinished(120000) || p.exitCode() != 0) return false;
  *text = QString::fromUtf8(p.readAllStandardOutput());
  return true;
}

QString flat(const QString& line) {
  return QString(line).replace(QChar(0x3000), QLatin1Char(' ')).simplified();
}

QStringList flatLines(const QString& text) {
  QStringList lines;
  for (const QString& l : text.split(QLatin1Char('\n'))) lines << flat(l);
  return lines;
}

bool sheetsAsCsv(const QStringList& books, const QString& dir, QString* said) {
  const QString soffice = QStandardPaths::findExecutable(QStringLiteral("soffice"));
  if (soffice.isEmpty()) {
    *said = QStringLiteral(
        "LibreOffice (soffice) is missing: run scripts/install-deps.sh (libreoffice-calc-nogui)");
    return false;
  }
  QProcess lo;
  lo.setWorkingDirectory(dir);
  lo.start(soffice, QStringList{QStringLiteral("-env:UserInstallation=file://") +
                                    QDir(dir).filePath(QStringLiteral("profile")),
                                QStringLiteral("--headless"), QStringLiteral("--convert-to"),
                                QStringLiteral("csv:Text - txt - csv (StarCalc):44,34,76,1,,0,"
                                               "true,true,false,false,false,-1"),
                                QStringLiteral("--outdir"), dir} +
                        books);
  const bool finished = lo.waitForFinished(300000);
  *said = QString::fromUtf8(lo.readAllStandardOutput() + lo.readAllStandardError());
  return finished && lo.exitCode() == 0;
}

}  // namespace hygro::test
