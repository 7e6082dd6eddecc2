#include "data/csv.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>

#include "data/formats.h"
#include "data/userprompt.h"

namespace hygro {
namespace {

const QString kFileError = QStringLiteral("File error");
const QString kWrongForm = QStringLiteral("The form of the file is different. ");
const QString kIllegalName = QStringLiteral("File name is illegal");
const QString kModelWithoutBounds = QStringLiteral("QM510-XC");

void appendQuoted(QByteArray& out, const QByteArray& text) {
  out += '"';
  out += text;
  out += '"';
}

void appendQuoted(QByteArray& out, const QString& text) { appendQuoted(out, text.toLocal8Bit()); }

// --- reading -------------------------------------------------------------

// Reads items the way the file form expects them: separated by commas,
// quoted items taken without their quotes (commas and line ends inside them
// belong to the item), unquoted items up to the next comma or line end with
// their leading blanks skipped. Items are counted, not lines. Blank lines
// between records are skipped; a line end right after a comma ends an empty
// item.
class ItemReader {
 public:
  // Longer items are cut: nothing in a valid file comes near this, and a
  // hostile file must not make us hold gigabytes.
  static constexpr qsizetype kMaxItem = 64 * 1024;

  explicit ItemReader(QIODevice& in) : in_(in) {
    if (fill(3) && buf_.size() >= 3 && buf_.startsWith("\xEF\xBB\xBF")) pos_ = 3;
  }

  bool failed() const { return failed_; }

  // True when nothing but blanks, line ends or an end-of-file mark remains
  // at a record boundary.
  bool atEnd() {
    if (failed_) return false;
    if (!afterComma_) {
      for (;;) {
        const int c = peek();
        if (c < 0) return !failed_;
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n' && c != 0x1A) return false;
        ++pos_;
      }
    }
    return peek() < 0 && !failed_;
  }

  bool item(QByteArray* out) {
    out->clear();
    if (failed_ || ended_) return false;
    if (afterComma_) {
      skipWhile([](int c) { return c == ' ' || c == '\t'; });
    } else {
      skipWhile([](int c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; });
    }
    int c = peek();
    if (c < 0) {
      if (failed_ || !afterComma_) return false;
      ended_ = true;  // "a," at the very end: one last empty item
      return true;
    }
    if (c == '"') {
      ++pos_;
      for (;;) {
        const qsizetype start = pos_;
        while (pos_ < buf_.size() && buf_.at(pos_) != '"') ++pos_;
        append(out, start, pos_);
        if (pos_ < buf_.size()) {
          ++pos_;  // the closing quote
          break;
        }
        if (!fill(1)) break;  // no closing quote: the item runs to the end
      }
      // Anything between the closing quote and the delimiter is dropped.
      skipWhile([](int ch) { return ch != ',' && ch != '\r' && ch != '\n'; });
    } else {
      for (;;) {
        const qsizetype start = pos_;
        while (pos_ < buf_.size()) {
          const char ch = buf_.at(pos_);
          if (ch == ',' || ch == '\r' || ch == '\n') break;
          ++pos_;
        }
        append(out, start, pos_);
        if (pos_ < buf_.size() || !fill(1)) break;
      }
    }
    consumeDelimiter();
    return !failed_;
  }

 private:
  template <class Pred>
  void skipWhile(Pred pred) {
    for (;;) {
      const int c = peek();
      if (c < 0 || !pred(c)) return;
      ++pos_;
    }
  }

  void consumeDelimiter() {
    const int c = peek();
    if (c == ',') {
      ++pos_;
      afterComma_ = true;
    } else if (c == '\r') {
      ++pos_;
      if (peek() == '\n') ++pos_;
      afterComma_ = false;
    } else if (c == '\n') {
      ++pos_;
      afterComma_ = false;
    } else {
      afterComma_ = false;  // end of file
    }
  }

  void append(QByteArray* out, qsizetype from, qsizetype to) {
    const qsizetype room = kMaxItem - out->size();
    if (room > 0) out->append(buf_.constData() + from, qMin(room, to - from));
  }

  int peek() {
    if (pos_ >= buf_.size() && !fill(1)) return -1;
    return static_cast<unsigned char>(buf_.at(pos_));
  }

  // Makes at least `need` unread bytes available if the device has them.
  bool fill(qsizetype need) {
    if (pos_ > 0 && pos_ >= buf_.size()) {
      buf_.clear();
      pos_ = 0;
    } else if (pos_ > kChunk) {
      buf_.remove(0, pos_);
      pos_ = 0;
    }
    while (buf_.size() - pos_ < need) {
      if (eof_ || failed_) return buf_.size() - pos_ > 0;
      const qsizetype old = buf_.size();
      buf_.resize(old + kChunk);
      const qint64 n = in_.read(buf_.data() + old, kChunk);
      if (n < 0) {
        buf_.resize(old);
        failed_ = true;
        return false;
      }
      buf_.resize(old + n);
      if (n == 0) eof_ = true;
    }
    return true;
  }

  static constexpr qsizetype kChunk = 64 * 1024;
  QIODevice& in_;
  QByteArray buf_;
  qsizetype pos_ = 0;
  bool eof_ = false;
  bool failed_ = false;
  bool ended_ = false;
  bool afterComma_ = false;
};

// Rounds like a conversion to a 32-bit integer (half to even); false when
// the value does not fit.
bool toLong(double v, qint32* out) {
  const double r = std::nearbyint(v);
  if (!(r >= std::numeric_limits<qint32>::min() && r <= std::numeric_limits<qint32>::max()))
    return false;
  *out = static_cast<qint32>(r);
  return true;
}

bool toSingle(double v, float* out) {
  if (!(std::fabs(v) <= static_cast<double>(std::numeric_limits<float>::max()))) return false;
  *out = static_cast<float>(v);
  return true;
}

bool readBound(const QString& item, qint32* raw, bool* on) {
  if (item == u"OFF" || item.isEmpty()) {
    *on = false;
    *raw = 0;
    return true;
  }
  *on = true;
  return fmt::degreesToRawChecked(fmt::val(item), raw);
}

bool fileNameAllowed(const QString& name) {
  for (const QChar c : name) {
    if (c.unicode() < 0x20 || QStringView(u"\\/:*?\"<>|").contains(c)) return false;
  }
  return true;
}

enum class WriteOutcome { Written, OpenFailed, WriteFailed };

WriteOutcome writeFile(DataSets& sets, int set, const QString& modelName,
                       const QString& recognitionName, const QString& path, QString* error) {
  QSaveFile file(path);
  // Where no temporary file can be made next to the target (a folder we may
  // not create files in), write the chosen file in place.
  file.setDirectWriteFallback(true);
  // Unbuffered: a buffered QSaveFile can report a short write at commit time
  // as success, which would leave a cut file behind on a full disk.
  if (path.isEmpty() || !file.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
    if (error) *error = file.errorString();
    return WriteOutcome::OpenFailed;
  }
  const QByteArray content = Csv_Content(sets, set, modelName, recognitionName);
  qint64 written = 0;
  int reason = 0;  // errno of the write that failed: QFile has no reason for a short write
  while (written < content.size()) {
    errno = 0;
    const qint64 n = file.write(content.constData() + written, content.size() - written);
    if (n <= 0) {
      reason = errno;
      break;
    }
    written += n;
  }
  if (written != content.size() || file.size() != content.size() || !file.commit()) {
    if (error) {
      *error = written != content.size()
                   ? QStringLiteral("only %1 of %2 bytes could be written (%3)")
                         .arg(written)
                         .arg(content.size())
                         .arg(reason != 0 ? QString::fromLocal8Bit(std::strerror(reason))
                                          : QStringLiteral("is the disk full?"))
                   : file.errorString();
    }
    file.cancelWriting();
    return WriteOutcome::WriteFailed;
  }
  sets.info(set).Modified = false;
  return WriteOutcome::Written;
}

}  // namespace

QByteArray Csv_Header(const DataSets& sets, int set, const QString& modelName,
                      const QString& recognitionName) {
  const DataSetInfo& info = sets.info(set);
  const bool withBounds = HasAlarmBounds(modelName);

  QByteArray out;
  if (withBounds) {
    out +=
        "\"Recognition name\",\"Start time\",\"Recording points\",\"Record interval\","
        "\"Upper bound temperature setting\",\"Lower bound temperature setting\"\r\n";
  } else {
    out +=
        "\"Recognition name\",\"Start time\",\"Recording points\",\"Record interval\",\"\","
        "\"\"\r\n";
  }

  // The start time is that of record 1, whatever it holds when the set is empty.
  appendQuoted(out, recognitionName);
  out += ',';
  appendQuoted(out, fmt::formatGeneralDate(sets.Get(set, 1).Time));
  out += ',';
  appendQuoted(out, fmt::strWithBlank(info.Points));
  out += ',';
  appendQuoted(out, fmt::strWithBlank(info.Interval));
  out += ',';
  appendQuoted(out, withBounds ? fmt::boundText(info.UpperRaw, info.UpperOn) : QString());
  out += ',';
  appendQuoted(out, withBounds ? fmt::boundText(info.LowerRaw, info.LowerOn) : QString());
  out += "\r\n";

  out += "\"Record number\",\"Date\",\"Temperature\",\"Humidity \",\"Remarks \"\r\n";
  return out;
}

void Csv_AppendRow(QByteArray& out, int n, const MeasurementRecord& r) {
  out += QByteArray::number(n);
  out += ",\"";
  out += fmt::formatGeneralDate(r.Time).toLatin1();
  out += "\",\"";
  out += fmt::formatHashDot00(r.Temperature).toLatin1();
  out += "\",\"";
  out += fmt::formatHashDot00(r.Humidity).toLatin1();
  out += "\",\"";
  // The remark bytes are already in the file's encoding; copy all 50.
  const qsizetype at = out.size();
  out.append(r.Remarks, MeasurementRecord::kRemarksLength);
  for (qsizetype i = at; i < out.size(); ++i) {
    if (out[i] == '\0') out[i] = ' ';
  }
  out += "\"\r\n";
}

QByteArray Csv_Row(int n, const MeasurementRecord& rec) {
  QByteArray out;
  Csv_AppendRow(out, n, rec);
  return out;
}

QByteArray Csv_Content(const DataSets& sets, int set, const QString& modelName,
                       const QString& recognitionName) {
  const int points = qMax<int>(0, sets.info(set).Points);
  QByteArray out;
  out.reserve(400 + points * 112);
  out += Csv_Header(sets, set, modelName, recognitionName);
  for (int n = 1; n <= points; ++n) Csv_AppendRow(out, n, sets.Get(set, n));
  return out;
}

QString Csv_ProposedName(const DataSets& sets, int set, const QString& recognitionName) {
  const QString stamp = fmt::formatFileStamp(sets.Get(set, 1).Time);
  return fileNameAllowed(recognitionName) ? recognitionName + u'_' + stamp : stamp;
}

bool Csv_Write(DataSets& sets, int set, const QString& modelName, const QString& recognitionName,
               const QString& path, QString* error) {
  QString why;
  const WriteOutcome outcome = writeFile(sets, set, modelName, recognitionName, path, &why);
  if (outcome == WriteOutcome::Written) return true;
  if (error) {
    *error = (outcome == WriteOutcome::OpenFailed ? QStringLiteral("Cannot create %1: %2")
                                                  : QStringLiteral("Cannot write %1: %2"))
                 .arg(QDir::toNativeSeparators(path), why);
  }
  return false;
}

CsvSaveResult Csv_Save(DataSets& sets, int set, const QString& modelName,
                       const QString& recognitionName, UserPrompt& prompt, QString* savedPath) {
  const QString stamp = fmt::formatFileStamp(sets.Get(set, 1).Time);
  QString proposed = Csv_ProposedName(sets, set, recognitionName);
  for (;;) {
    bool dialogFailed = false;
    const std::optional<QString> path =
        prompt.saveFileName(proposed, kCsvSaveFilter, &dialogFailed);
    if (!path) {
      if (dialogFailed && proposed != stamp) {
        proposed = stamp;
        continue;
      }
      return CsvSaveResult::Cancelled;
    }
    QString why;
    switch (writeFile(sets, set, modelName, recognitionName, *path, &why)) {
      case WriteOutcome::Written:
        if (savedPath) *savedPath = *path;
        return CsvSaveResult::Saved;
      case WriteOutcome::OpenFailed:
        prompt.message(kIllegalName, modelName);
        continue;
      case WriteOutcome::WriteFailed:
        prompt.message(QStringLiteral("The file could not be written.") + QStringLiteral("\r\r") +
                           QDir::toNativeSeparators(*path) + QStringLiteral(": ") + why +
                           QStringLiteral(". The data have not been saved."),
                       modelName);
        return CsvSaveResult::Failed;
    }
  }
}

CsvOpenResult Csv_Open(DataSets& sets, UserPrompt& prompt, const QString& titleModel) {
  const std::optional<QString> path = prompt.openFileName(kCsvOpenFilter);
  if (!path) return CsvOpenResult::Cancelled;
  return Csv_Read(sets, *path, prompt, titleModel);
}

CsvOpenResult Csv_Read(DataSets& sets, const QString& path, UserPrompt& prompt,
                       const QString& titleModel) {
  QFile file(path);
  if (!file.open(QIODevice::ReadOnly)) {
    prompt.message(kFileError, titleModel);
    return CsvOpenResult::FileError;
  }
  return Csv_Read(sets, file, prompt, titleModel);
}

CsvOpenResult Csv_Read(DataSets& sets, QIODevice& in, UserPrompt& prompt,
                       const QString& titleModel) {
  auto fileError = [&] {
    prompt.message(kFileError, titleModel);
    return CsvOpenResult::FileError;
  };
  ItemReader reader(in);
  QByteArray bytes;
  auto next = [&](QString* item) {
    if (!reader.item(&bytes)) return false;
    *item = QString::fromLocal8Bit(bytes);
    return true;
  };

  QString title[6];
  for (QString& t : title) {
    if (!next(&t)) return fileError();
  }
  QString model;
  if (title[0] == u"Recognition name" && title[1] == u"Start time" &&
      title[2] == u"Recording points" && title[3] == u"Record interval") {
    if (title[4] == u"Upper bound temperature setting" &&
        title[5] == u"Lower bound temperature setting")
      model = ModelWithBounds();
    else if (title[4].isEmpty() && title[5].isEmpty())
      model = kModelWithoutBounds;
  }
  if (model.isEmpty()) {
    prompt.message(kWrongForm, titleModel);
    return CsvOpenResult::WrongForm;
  }

  QString value[6];
  for (QString& v : value) {
    if (!next(&v)) return fileError();
  }
  double startTime = 0;
  qint32 pointsShown = 0, interval = 0, upperRaw = 0, lowerRaw = 0;
  bool upperOn = false, lowerOn = false;
  if (!fmt::parseGeneralDate(value[1], &startTime) || !toLong(fmt::val(value[2]), &pointsShown) ||
      !toLong(fmt::val(value[3]), &interval) || !readBound(value[4], &upperRaw, &upperOn) ||
      !readBound(value[5], &lowerRaw, &lowerOn))
    return fileError();
  for (int k = 0; k < 5; ++k) {
    if (!reader.item(&bytes)) return fileError();
  }

  // From here on FileData is being replaced. Its records go to the scratch
  // file in groups; the guard writes the last group on every way out.
  struct Bulk {
    DataSets& sets;
    explicit Bulk(DataSets& s) : sets(s) { sets.beginBulk(FileData); }
    ~Bulk() { sets.endBulk(FileData); }
  } bulk(sets);
  DataSetInfo& info = sets.info(FileData);
  info.Name = value[0];
  info.StartTime = startTime;
  info.PointsShown = pointsShown;
  info.Interval = interval;
  info.UpperRaw = upperRaw;
  info.UpperOn = upperOn;
  info.LowerRaw = lowerRaw;
  info.LowerOn = lowerOn;
  info.Points = 0;
  Stats_Clear(info.Stats);

  const double newRunAfter = static_cast<double>(interval) + 1.0;
  float run = 1;
  double previous = startTime;
  QString item[5];
  while (!reader.atEnd()) {
    if (info.Points == kMaxPoints) return fileError();
    ++info.Points;
    for (QString& it : item) {
      if (!next(&it)) return fileError();
    }
    MeasurementRecord rec;
    if (!fmt::parseGeneralDate(item[1], &rec.Time) ||
        !toSingle(fmt::val(item[2]), &rec.Temperature) ||
        !toSingle(fmt::val(item[3]), &rec.Humidity))
      return fileError();
    const double gap = std::floor((rec.Time - previous) * 86400.0 + 0.5);
    if (gap > newRunAfter) ++run;
    rec.Block = run;
    rec.setRemarks(item[4]);
    previous = rec.Time;
    sets.Put(FileData, info.Points, rec);
    Stats_Add(rec, info.Points, info.Stats);
  }
  if (reader.failed()) return fileError();
  // The model is the file's only once the whole file was read.
  info.Model = model;
  sets.DataSetIndex = FileData;
  return CsvOpenResult::Opened;
}

}  // namespace hygro
