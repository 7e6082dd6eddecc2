#include "app/loggerini.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStringDecoder>
#include <QStringEncoder>
#include <cerrno>
#include <cstring>
#include <optional>

namespace hygro {

namespace {

constexpr qint64 kMaxLine = 64 * 1024;

// The file is in the system's code page on Windows, UTF-8 elsewhere, like the
// CSV files.
#ifdef Q_OS_WIN
constexpr auto kEncoding = QStringConverter::System;
#else
constexpr auto kEncoding = QStringConverter::Utf8;
#endif

std::optional<qint16> shortField(QStringView field) {
  bool ok = false;
  const int n = field.trimmed().toInt(&ok, 10);
  if (!ok || n < -32768 || n > 32767) return std::nullopt;
  return static_cast<qint16>(n);
}

// Splits the line into its fields; nullopt when the quoting is broken.
std::optional<QStringList> splitFields(QStringView line) {
  QStringList fields;
  qsizetype i = 0;
  const qsizetype n = line.size();
  while (true) {
    while (i < n && line[i].isSpace()) ++i;
    QString field;
    if (i < n && line[i] == QLatin1Char('"')) {
      ++i;
      bool closed = false;
      while (i < n) {
        if (line[i] == QLatin1Char('"')) {
          if (i + 1 < n && line[i + 1] == QLatin1Char('"')) {
            field += QLatin1Char('"');
            i += 2;
            continue;
          }
          closed = true;
          ++i;
          break;
        }
        field += line[i++];
      }
      if (!closed) return std::nullopt;
      while (i < n && line[i].isSpace()) ++i;
      if (i < n && line[i] != QLatin1Char(',')) return std::nullopt;
    } else {
      const qsizetype start = i;
      while (i < n && line[i] != QLatin1Char(',')) {
        if (line[i] == QLatin1Char('"')) return std::nullopt;
        ++i;
      }
      field = line.mid(start, i - start).trimmed().toString();
    }
    fields << field;
    if (i >= n) break;
    ++i;  // the comma
  }
  return fields;
}

}  // namespace

QByteArray LoggerIni_Line(const LoggerIniValues& values) {
  QString folder = values.folder;
  folder.replace(QLatin1Char('"'), QStringLiteral("\"\""));
  const QString line = QString::number(values.port) + QLatin1Char(',') +
                       QString::number(values.option) + QStringLiteral(",\"") + folder +
                       QStringLiteral("\"\r\n");
  QStringEncoder encode(kEncoding);
  return encode(line);
}

QByteArray LoggerIni_Extra(const LoggerIniExtras& values) {
  QString lines;
  // One line each: a company name never spans two.
  QString company = values.company;
  company.replace(QLatin1Char('\r'), QLatin1Char(' ')).replace(QLatin1Char('\n'), QLatin1Char(' '));
  if (!company.trimmed().isEmpty())
    lines += QStringLiteral("Company=") + company + QStringLiteral("\r\n");
  if (values.fahrenheit) lines += QStringLiteral("Unit=F\r\n");
  QStringEncoder encode(kEncoding);
  return encode(lines);
}

LoggerIniExtras LoggerIni_ReadExtras(const QString& path) {
  LoggerIniExtras extras;
  QFile file(path);
  if (!file.open(QIODevice::ReadOnly)) return extras;
  const QByteArray head = file.read(4 * kMaxLine);
  // After the first line, each line on its own: one that does not decode
  // is left out.
  const QList<QByteArray> lines = head.split('\n');
  for (qsizetype i = 1; i < lines.size(); ++i) {
    QByteArray raw = lines[i];
    if (raw.endsWith('\r')) raw.chop(1);
    QStringDecoder decode(kEncoding);
    const QString line = decode(raw);
    if (decode.hasError()) continue;
    if (line.startsWith(QLatin1String("Company=")))
      extras.company = line.mid(8);
    else if (line == QLatin1String("Unit=F"))
      extras.fahrenheit = true;
  }
  return extras;
}

LoggerIniValues LoggerIni_Read(const QString& path) {
  const LoggerIniValues defaults;
  QFile file(path);
  if (!file.open(QIODevice::ReadOnly)) return defaults;
  const QByteArray head = file.read(kMaxLine + 2);
  qsizetype end = head.indexOf('\n');
  if (end < 0) {
    if (head.size() > kMaxLine) return defaults;
    end = head.size();
  }
  QByteArray raw = head.left(end);
  if (raw.endsWith('\r')) raw.chop(1);
  if (raw.trimmed().isEmpty()) return defaults;
  QStringDecoder decode(kEncoding);
  const QString line = decode(raw);
  if (decode.hasError()) return defaults;

  const std::optional<QStringList> fields = splitFields(line);
  if (!fields || fields->size() != 3) return defaults;
  const std::optional<qint16> port = shortField(fields->at(0));
  const std::optional<qint16> option = shortField(fields->at(1));
  if (!port || !option) return defaults;
  return LoggerIniValues{*port, *option, fields->at(2)};
}

bool LoggerIni_Save(const QString& path, const LoggerIniValues& values, QString* error,
                    const LoggerIniExtras& extras) {
  const auto fail = [&](const QString& reason) {
    if (error)
      *error = QStringLiteral("The settings file %1 could not be written: %2")
                   .arg(QDir::toNativeSeparators(path), reason);
    return false;
  };
  const QFileInfo info(path);
  if (info.isDir()) return fail(QStringLiteral("it is a folder."));
  if (!info.absoluteDir().exists())
    return fail(QStringLiteral("the folder %1 does not exist.")
                    .arg(QDir::toNativeSeparators(info.absolutePath())));

  // No direct-write fallback: a file cut short by a failed write would lose
  // the settings it replaced.
  QSaveFile file(path);
  if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
    return fail(file.errorString() + QLatin1Char('.'));
  const QByteArray line = LoggerIni_Line(values) + LoggerIni_Extra(extras);
  errno = 0;
  const qint64 written = file.write(line);
  if (written != line.size()) {
    const int reason = errno;
    file.cancelWriting();
    return fail(reason != 0 ? QString::fromLocal8Bit(std::strerror(reason)) + QLatin1Char('.')
                            : file.errorString() + QLatin1Char('.'));
  }
  if (!file.commit()) return fail(file.errorString() + QLatin1Char('.'));
  return true;
}

QString ArchiveIni_Path(const QString& dataFolder) {
  return QDir(dataFolder).filePath(QStringLiteral("Archive.ini"));
}

QString ArchiveIni_Read(const QString& path) {
  QFile file(path);
  if (!file.open(QIODevice::ReadOnly)) return {};
  return QString::fromUtf8(file.readLine(kMaxLine)).trimmed();
}

bool ArchiveIni_Save(const QString& path, const QString& target, QString* error) {
  QSaveFile file(path);
  const QByteArray line = target.trimmed().toUtf8() + "\r\n";
  if (file.open(QIODevice::WriteOnly) && file.write(line) == line.size() && file.commit())
    return true;
  if (error)
    *error = QStringLiteral("The settings file %1 could not be written: %2.")
                 .arg(QDir::toNativeSeparators(path), file.errorString());
  return false;
}

}  // namespace hygro
