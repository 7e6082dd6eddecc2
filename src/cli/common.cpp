// Output, argument parsing and the checks of option values shared by the
// commands.
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryFile>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "cli/cli.h"
#include "data/filekind.h"
#include "data/formats.h"

namespace hygro::cli {

namespace {
int g_outputErrno = 0;  // why stdout failed; 0 while it works

bool writeLine(FILE* stream, const QString& line) {
  const QByteArray bytes = (line + QLatin1Char('\n')).toUtf8();
  errno = 0;
  const size_t n = std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stream);
  const bool ok = std::fflush(stream) == 0 && n == static_cast<size_t>(bytes.size());
  if (!ok && errno == 0) errno = EIO;
  return ok;
}

bool looksLikeNumber(const QString& arg) {
  return arg.size() > 1 && arg[0] == QLatin1Char('-') &&
         (arg[1].isDigit() || arg[1] == QLatin1Char('.'));
}
}  // namespace

bool out(const QString& line) {
  if (g_outputErrno != 0) return false;
  if (writeLine(stdout, line)) return true;
  g_outputErrno = errno;
  return false;
}

void err(const QString& line) { writeLine(stderr, line); }

bool outputLost() { return g_outputErrno != 0; }

QString outputError() {
  return g_outputErrno != 0 ? QString::fromLocal8Bit(std::strerror(g_outputErrno)) : QString();
}

Progress::Progress() : tty_(::isatty(STDERR_FILENO) == 1) {}

void Progress::show(int done, int total, const QString& caption) {
  if (tty_) {
    constexpr int kWidth = 40;
    const int filled = total > 0 ? static_cast<int>(qint64(done) * kWidth / total) : 0;
    const QString bar =
        QString(filled, QLatin1Char('#')) + QString(kWidth - filled, QLatin1Char('.'));
    const QByteArray line = (QStringLiteral("\r[%1] %2").arg(bar, caption)).toUtf8();
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stderr);
    std::fflush(stderr);
    open_ = true;
    return;
  }
  const int tenth = total > 0 ? static_cast<int>(qint64(done) * 10 / total) : 10;
  if (done == 0 || tenth > lastTenth_ || done == total) {
    if (done == 0 && shownStart_) return;
    shownStart_ = shownStart_ || done == 0;
    lastTenth_ = tenth;
    err(caption);
  }
}

void Progress::end() {
  if (open_) std::fputc('\n', stderr);
  open_ = false;
}

bool outputWritable(const QString& path, bool overwrite, QString* why) {
  if (path == kStdout) return true;
  switch (KindOfPath(path)) {
    case FileKind::Pipe:
    case FileKind::Device:
      return true;  // written to in place, nothing is replaced
    case FileKind::Folder:
      *why = QStringLiteral("it is a folder");
      return false;
    case FileKind::Socket:
    case FileKind::Other:
      *why = QStringLiteral("it is %1").arg(FileKindText(KindOfPath(path)));
      return false;
    case FileKind::Regular: {
      if (!overwrite) {
        *why = QStringLiteral("the file exists (--overwrite replaces it)");
        return false;
      }
      // Appending nothing changes nothing; the file is replaced in place when
      // no new file can be made beside it.
      QFile f(path);
      if (!f.open(QIODevice::WriteOnly | QIODevice::Append)) {
        *why = f.errorString();
        return false;
      }
      return true;
    }
    case FileKind::Missing:
      break;
  }
  const QFileInfo fi(path);
  if (fi.isSymLink()) {
    *why = QStringLiteral("it is a symbolic link to %1, which does not exist")
               .arg(QDir::toNativeSeparators(fi.symLinkTarget()));
    return false;
  }
  const QDir folder = fi.absoluteDir();
  if (!folder.exists()) {
    *why = QStringLiteral("the folder %1 does not exist")
               .arg(QDir::toNativeSeparators(folder.absolutePath()));
    return false;
  }
  QTemporaryFile probe(folder.filePath(QStringLiteral(".hygrotab-cli-XXXXXX")));
  if (!probe.open()) {
    *why = QStringLiteral("no file can be created in %1: %2")
               .arg(QDir::toNativeSeparators(folder.absolutePath()), probe.errorString());
    return false;
  }
  return true;
}

int outputIsInput(const QString& option, const QString& path, const QStringList& inputs,
                  const QString& command) {
  if (path == kStdout || KindOfPath(path) != FileKind::Regular) return kExitOk;
  for (const QString& input : inputs) {
    if (SameFile(path, input))
      return usageError(
          QStringLiteral("--%1 %2 is the file being read; the output would destroy it")
              .arg(option, QDir::toNativeSeparators(path)),
          command);
  }
  return kExitOk;
}

bool outBytes(const QByteArray& bytes) {
  if (g_outputErrno != 0) return false;
  errno = 0;
  const size_t n = std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
  if (std::fflush(stdout) == 0 && n == static_cast<size_t>(bytes.size())) return true;
  g_outputErrno = errno != 0 ? errno : EIO;
  return false;
}

bool writeOutput(const QString& path, const QByteArray& bytes, QString* why) {
  if (path == kStdout) {
    if (outBytes(bytes)) return true;
    *why = QStringLiteral("stdout: %1").arg(outputError());
    return false;
  }
  return WriteWholeFile(path, bytes, why);
}

bool outputIsStream(const QString& path) {
  if (path == kStdout) return true;
  const FileKind kind = KindOfPath(path);
  return kind == FileKind::Pipe || kind == FileKind::Device;
}

int usageError(const QString& message, const QString& command) {
  err(kProgram + QStringLiteral(": ") + message);
  err(command.isEmpty() ? QStringLiteral("Try '%1 --help'.").arg(kProgram)
                        : QStringLiteral("Try '%1 %2 --help'.").arg(kProgram, command));
  return kExitUsage;
}

QString terminalText(const QString& text) {
  QString t = text;
  t.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
  t.replace(QLatin1Char('\r'), QLatin1Char('\n'));
  return t;
}

bool parseArgs(const QStringList& args, const std::vector<OptionDef>& defs, ParsedArgs* out,
               QString* error) {
  *out = {};
  bool optionsEnded = false;
  for (qsizetype i = 0; i < args.size(); ++i) {
    const QString& a = args[i];
    if (optionsEnded || !a.startsWith(QLatin1Char('-')) || a == QLatin1String("-") ||
        looksLikeNumber(a)) {
      out->positional << a;
      continue;
    }
    if (a == QLatin1String("--")) {
      optionsEnded = true;
      continue;
    }
    if (a == QLatin1String("-h") || a == QLatin1String("--help")) {
      out->help = true;
      continue;
    }
    if (!a.startsWith(QLatin1String("--"))) {
      *error = QStringLiteral("unknown option '%1'").arg(a);
      return false;
    }
    const qsizetype eq = a.indexOf(QLatin1Char('='));
    const QString name = a.mid(2, eq < 0 ? -1 : eq - 2);
    const auto def =
        std::find_if(defs.begin(), defs.end(), [&](const OptionDef& s) { return s.name == name; });
    if (def == defs.end()) {
      *error = QStringLiteral("unknown option '--%1'").arg(name);
      return false;
    }
    if (!def->takesValue) {
      if (eq >= 0) {
        *error = QStringLiteral("option '--%1' takes no value").arg(name);
        return false;
      }
      if (!out->flags.contains(name)) out->flags << name;
      continue;
    }
    if (eq >= 0) {
      out->values.insert(name, a.mid(eq + 1));
    } else if (i + 1 < args.size()) {
      out->values.insert(name, args[++i]);
    } else {
      *error = QStringLiteral("option '--%1' needs a value").arg(name);
      return false;
    }
  }
  return true;
}

bool parseInt(const QString& text, const QString& what, int min, int max, int* out,
              QString* error) {
  bool ok = false;
  const int v = text.trimmed().toInt(&ok);
  if (!ok || v < min || v > max) {
    *error = QStringLiteral("%1 must be a whole number from %2 to %3, not '%4'")
                 .arg(what)
                 .arg(min)
                 .arg(max)
                 .arg(text);
    return false;
  }
  *out = v;
  return true;
}

bool parseBound(const QString& text, const QString& option, int min, int max, Bound* out,
                QString* error) {
  static const QRegularExpression form(QStringLiteral("^([+-]?\\d+):(on|off)$"),
                                       QRegularExpression::CaseInsensitiveOption);
  const auto m = form.match(text.trimmed());
  if (!m.hasMatch()) {
    *error = QStringLiteral("--%1 takes DEGREES:on or DEGREES:off (for example 30:on), not '%2'")
                 .arg(option, text);
    return false;
  }
  int degrees = 0;
  if (!parseInt(m.captured(1), QStringLiteral("the %1 bound").arg(option), min, max, &degrees,
                error))
    return false;
  out->degrees = degrees;
  out->on = m.captured(2).compare(QLatin1String("on"), Qt::CaseInsensitive) == 0;
  return true;
}

bool parseRecordInterval(const QString& text, RecordInterval* out, QString* error) {
  static const QRegularExpression form(QStringLiteral("^(\\d+)([sm])$"),
                                       QRegularExpression::CaseInsensitiveOption);
  const auto m = form.match(text.trimmed());
  if (!m.hasMatch()) {
    *error = QStringLiteral(
                 "--interval takes a number and a unit, s (seconds) or m (minutes), "
                 "for example 10s or 5m, not '%1'")
                 .arg(text);
    return false;
  }
  int value = 0;
  if (!parseInt(m.captured(1), QStringLiteral("the record interval"), 1, 255, &value, error))
    return false;
  out->value = value;
  out->minutes = m.captured(2).compare(QLatin1String("m"), Qt::CaseInsensitive) == 0;
  return true;
}

bool parseReservation(const QString& text, double* serial, QString* error) {
  static const QRegularExpression form(
      QStringLiteral("^(\\d{4})-(\\d{1,2})-(\\d{1,2})[ T](\\d{1,2}):(\\d{2})$"));
  const auto m = form.match(text.trimmed());
  if (!m.hasMatch() ||
      !fmt::makeDateSerial(m.captured(1).toInt(), m.captured(2).toInt(), m.captured(3).toInt(),
                           m.captured(4).toInt(), m.captured(5).toInt(), 0, serial)) {
    *error =
        QStringLiteral("--reserve takes a date and time \"YYYY-MM-DD HH:MM\", not '%1'").arg(text);
    return false;
  }
  return true;
}

bool parseMemoryMode(const QString& text, bool* loop, QString* error) {
  if (text == QLatin1String("one-time")) {
    *loop = false;
  } else if (text == QLatin1String("loop")) {
    *loop = true;
  } else {
    *error = QStringLiteral("the memory mode is one-time or loop, not '%1'").arg(text);
    return false;
  }
  return true;
}

void printField(const QString& caption, const QString& value) {
  out(caption + QStringLiteral(": ") + value);
}

QString sampleLine(const MeasurementRecord& rec) {
  return fmt::formatDateTime(rec.Time) + QLatin1Char('\t') + fmt::format0_00(rec.Temperature) +
         QLatin1Char('\t') + fmt::format0_00(rec.Humidity);
}

// ---------------------------------------------------------------- prompt

void CliPrompt::message(const QString& text, const QString&) {
  ++messages;
  err(terminalText(text));
}

bool CliPrompt::question(QuestionId id, const QString& text, const QString&, SafeAnswer) {
  if (answerer) {
    if (const std::optional<bool> a = answerer(id)) return *a;
  }
  // Nobody can answer: say what would have been asked, and take it as No.
  refused = true;
  ++messages;
  err(terminalText(text));
  return false;
}

std::optional<QString> CliPrompt::saveFileName(const QString&, const QString&, bool*) {
  if (saveTo.isEmpty()) return std::nullopt;
  return saveTo;
}

std::optional<QString> CliPrompt::openFileName(const QString&) { return std::nullopt; }

}  // namespace hygro::cli
