#include "data/csv.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>

#include "data/filekind.h"
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
// item. The whole file is in memory: it is small by the time it gets here.
class ItemReader {
 public:
  // Longer items are cut: nothing in a valid file comes near this.
  static constexpr qsizetype kMaxItem = 64 * 1024;

  explicit ItemReader(const QByteArray& data) : d_(data) {
    if (d_.startsWith("\xEF\xBB\xBF")) pos_ = 3;
  }

  // The line (from 1) on which the last item read began.
  int line() const { return itemLine_; }

  // True when nothing but blanks, line ends or an end-of-file mark remains
  // at a record boundary.
  bool atEnd() {
    if (!afterComma_) {
      while (pos_ < d_.size()) {
        const char c = d_.at(pos_);
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n' && c != 0x1A) return false;
        ++pos_;
      }
    }
    return pos_ >= d_.size();
  }

  bool item(QByteArray* out) {
    out->clear();
    if (ended_) return false;
    if (afterComma_) {
      skipWhile([](char c) { return c == ' ' || c == '\t'; });
    } else {
      skipWhile([](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; });
    }
    if (pos_ >= d_.size() && !afterComma_) return false;
    itemLine_ = lineAt(pos_);
    if (pos_ >= d_.size()) {
      ended_ = true;  // "a," at the very end: one last empty item
      return true;
    }
    if (d_.at(pos_) == '"') {
      ++pos_;
      const qsizetype start = pos_;
      while (pos_ < d_.size() && d_.at(pos_) != '"') ++pos_;
      append(out, start, pos_);
      if (pos_ < d_.size()) ++pos_;  // the closing quote; without one the item runs to the end
      // Anything between the closing quote and the delimiter is dropped.
      skipWhile([](char ch) { return ch != ',' && ch != '\r' && ch != '\n'; });
    } else {
      const qsizetype start = pos_;
      skipWhile([](char ch) { return ch != ',' && ch != '\r' && ch != '\n'; });
      append(out, start, pos_);
    }
    consumeDelimiter();
    return true;
  }

  // After the last item of a record: spreadsheets pad every line to the
  // widest one with empty items ("...,\"Remarks \","). When nothing but
  // empty items follows on this line, they are passed over with the line
  // end; otherwise nothing is taken and the items are counted as always.
  void skipEmptyRest() {
    if (!afterComma_) return;
    qsizetype p = pos_;
    for (;;) {
      while (p < d_.size() && (d_.at(p) == ' ' || d_.at(p) == '\t')) ++p;
      if (p + 1 < d_.size() && d_.at(p) == '"' && d_.at(p + 1) == '"') {
        p += 2;
        while (p < d_.size() && (d_.at(p) == ' ' || d_.at(p) == '\t')) ++p;
      }
      if (p < d_.size() && d_.at(p) == ',') {
        ++p;
        continue;
      }
      if (p < d_.size() && d_.at(p) != '\r' && d_.at(p) != '\n') return;  // an item with content
      break;
    }
    pos_ = p;
    consumeDelimiter();
  }

 private:
  template <class Pred>
  void skipWhile(Pred pred) {
    while (pos_ < d_.size() && pred(d_.at(pos_))) ++pos_;
  }

  void consumeDelimiter() {
    const char c = pos_ < d_.size() ? d_.at(pos_) : '\0';
    afterComma_ = c == ',';
    if (c == ',' || c == '\n') {
      ++pos_;
    } else if (c == '\r') {
      ++pos_;
      if (pos_ < d_.size() && d_.at(pos_) == '\n') ++pos_;
    }
  }

  void append(QByteArray* out, qsizetype from, qsizetype to) {
    out->append(d_.constData() + from, qMin(kMaxItem, to - from));
  }

  // Lines end with LF, CR LF or a lone CR. Positions only move forward.
  int lineAt(qsizetype pos) {
    for (; counted_ < pos && counted_ < d_.size(); ++counted_) {
      const char c = d_.at(counted_);
      if (c == '\n' || (c == '\r' && (counted_ + 1 >= d_.size() || d_.at(counted_ + 1) != '\n')))
        ++line_;
    }
    return line_;
  }

  const QByteArray& d_;
  qsizetype pos_ = 0;
  qsizetype counted_ = 0;  // lines are counted up to here
  int line_ = 1;
  int itemLine_ = 1;
  bool ended_ = false;
  bool afterComma_ = false;
};

// The first line longer than kCsvMaxLine bytes, or 0.
int overlongLine(const QByteArray& d) {
  int line = 1;
  qsizetype start = 0;
  for (qsizetype i = 0; i < d.size(); ++i) {
    const char c = d.at(i);
    if (c != '\r' && c != '\n') continue;
    if (i - start > kCsvMaxLine) return line;
    if (c == '\r' && i + 1 < d.size() && d.at(i + 1) == '\n') ++i;
    ++line;
    start = i + 1;
  }
  return d.size() - start > kCsvMaxLine ? line : 0;
}

// A temperature or humidity as the program writes it ("23.46", ".04",
// "-.25", "100.00"), with a sign and blanks allowed around it. Val would
// take "22,31" as 22 and an empty cell as 0, and a report built on that is
// false.
bool plainNumber(const QString& text) {
  static const QRegularExpression form(
      QStringLiteral("^[ \\t]*[+-]?(\\d+\\.?\\d*|\\.\\d+)[ \\t]*$"));
  return form.match(text).hasMatch();
}

// Quoted as in a message, cut where it would drown the message.
QString shown(const QString& item) {
  constexpr qsizetype kShown = 40;
  return u'\'' + (item.size() > kShown ? item.left(kShown) + QStringLiteral("…") : item) + u'\'';
}

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
  // Where no temporary file can be made next to the target (a folder we may
  // not create files in), the chosen file is written in place; so is a
  // device or a pipe.
  WholeFileWriter file(path);
  // Unbuffered: a buffered QSaveFile can report a short write at commit time
  // as success, which would leave a cut file behind on a full disk.
  if (path.isEmpty() || !file.open(QIODevice::WriteOnly | QIODevice::Unbuffered, true)) {
    if (error) *error = path.isEmpty() ? QStringLiteral("no file name") : file.errorString();
    return WriteOutcome::OpenFailed;
  }
  const QByteArray content = Csv_Content(sets, set, modelName, recognitionName);
  qint64 written = 0;
  int reason = 0;  // errno of the write that failed: QFile has no reason for a short write
  while (written < content.size()) {
    errno = 0;
    const qint64 n = file.device().write(content.constData() + written, content.size() - written);
    if (n <= 0) {
      reason = errno;
      break;
    }
    written += n;
  }
  // A device or a pipe has no size to compare.
  const bool sized = file.inPlace() || file.device().size() == content.size();
  if (written != content.size() || !sized || !file.commit()) {
    if (error) {
      *error = written != content.size()
                   ? QStringLiteral("only %1 of %2 bytes could be written (%3)")
                         .arg(written)
                         .arg(content.size())
                         .arg(reason != 0 ? QString::fromLocal8Bit(std::strerror(reason))
                                          : QStringLiteral("is the disk full?"))
                   : file.errorString();
    }
    file.cancel();
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

namespace {

// Reads the whole device, at most kCsvMaxFileSize bytes. False with *why.
bool readWhole(QIODevice& in, QByteArray* data, QString* why, const std::atomic_bool* cancel) {
  constexpr qint64 kChunk = 1 << 20;
  data->clear();
  if (!in.isSequential())
    data->reserve(qBound<qint64>(0, in.size() - in.pos(), kCsvMaxFileSize) + 1);
  for (;;) {
    if (cancel && cancel->load()) return false;
    const qsizetype old = data->size();
    const qint64 room = kCsvMaxFileSize + 1 - old;
    if (room <= 0) {
      *why = QStringLiteral(
                 "the file is longer than %1 bytes, more than a file of %2 records can need")
                 .arg(kCsvMaxFileSize)
                 .arg(kMaxPoints);
      return false;
    }
    data->resize(old + qMin(kChunk, room));
    const qint64 n = in.read(data->data() + old, data->size() - old);
    if (n < 0) {
      data->resize(old);
      *why = QStringLiteral("the file cannot be read: %1").arg(in.errorString());
      return false;
    }
    data->resize(old + n);
    if (n == 0) return true;
  }
}

constexpr const char* kTitles = "the titles";

// The items of the file into *file. *why gets the line and what is wrong.
CsvOpenResult parseItems(const QByteArray& data, CsvImport* file, QString* why,
                         const std::atomic_bool* cancel) {
  auto fail = [&](CsvOpenResult result, int line, const QString& text) {
    *why = QStringLiteral("line %1: %2").arg(line).arg(text);
    return result;
  };
  auto fileError = [&](int line, const QString& text) {
    return fail(CsvOpenResult::FileError, line, text);
  };
  if (const int line = overlongLine(data))
    return fileError(line, QStringLiteral("the line is longer than %1 bytes").arg(kCsvMaxLine));

  ItemReader reader(data);
  QByteArray bytes;
  auto next = [&](QString* item) {
    if (!reader.item(&bytes)) return false;
    *item = QString::fromLocal8Bit(bytes);
    return true;
  };
  // Items are read by count, so a short line borrows from the next one and
  // only the end of the file can leave a record without its items.
  auto endsEarly = [&](int got, int of, const char* what) {
    if (got == 0 && what == kTitles) return fileError(1, QStringLiteral("the file is empty"));
    return fileError(reader.line(), QStringLiteral("the file ends after %1 of the %2 items of %3")
                                        .arg(got)
                                        .arg(of)
                                        .arg(QLatin1String(what)));
  };

  QString title[6];
  for (int k = 0; k < 6; ++k) {
    if (!next(&title[k])) return endsEarly(k, 6, kTitles);
  }
  reader.skipEmptyRest();
  const QString expected[4] = {QStringLiteral("Recognition name"), QStringLiteral("Start time"),
                               QStringLiteral("Recording points"),
                               QStringLiteral("Record interval")};
  for (int k = 0; k < 4; ++k) {
    if (title[k] != expected[k])
      return fail(
          CsvOpenResult::WrongForm, 1,
          QStringLiteral("title %1 is %2, not '%3'").arg(k + 1).arg(shown(title[k]), expected[k]));
  }
  if (title[4] == u"Upper bound temperature setting" &&
      title[5] == u"Lower bound temperature setting") {
    file->model = ModelWithBounds();
  } else if (title[4].isEmpty() && title[5].isEmpty()) {
    file->model = kModelWithoutBounds;
  } else {
    return fail(CsvOpenResult::WrongForm, 1,
                QStringLiteral("titles 5 and 6 are %1 and %2, not 'Upper bound temperature "
                               "setting' and 'Lower bound temperature setting', nor both empty")
                    .arg(shown(title[4]), shown(title[5])));
  }

  QString value[6];
  int valueLine[6] = {};
  for (int k = 0; k < 6; ++k) {
    if (!next(&value[k])) return endsEarly(k, 6, "the header values");
    valueLine[k] = reader.line();
  }
  reader.skipEmptyRest();
  if (!fmt::parseGeneralDate(value[1], &file->startTime))
    return fileError(
        valueLine[1],
        QStringLiteral("the start time %1 is not a date and time").arg(shown(value[1])));
  if (!toLong(fmt::val(value[2]), &file->pointsShown))
    return fileError(
        valueLine[2],
        QStringLiteral("the recording points %1 are out of range").arg(shown(value[2])));
  if (!toLong(fmt::val(value[3]), &file->interval))
    return fileError(valueLine[3],
                     QStringLiteral("the record interval %1 is out of range").arg(shown(value[3])));
  if (!readBound(value[4], &file->upperRaw, &file->upperOn))
    return fileError(valueLine[4],
                     QStringLiteral("the upper bound %1 is out of range").arg(shown(value[4])));
  if (!readBound(value[5], &file->lowerRaw, &file->lowerOn))
    return fileError(valueLine[5],
                     QStringLiteral("the lower bound %1 is out of range").arg(shown(value[5])));
  file->name = value[0];
  for (int k = 0; k < 5; ++k) {
    if (!reader.item(&bytes)) return endsEarly(k, 5, "the row titles");
  }
  reader.skipEmptyRest();

  const double newRunAfter = static_cast<double>(file->interval) + 1.0;
  float run = 1;
  double previous = file->startTime;
  QString item[5];
  int itemLine[5] = {};
  std::vector<MeasurementRecord>& records = file->records;
  records.clear();
  while (!reader.atEnd()) {
    if (records.size() % 1024 == 0 && cancel && cancel->load()) return CsvOpenResult::Cancelled;
    for (int k = 0; k < 5; ++k) {
      if (!next(&item[k])) return endsEarly(k, 5, "a record");
      itemLine[k] = reader.line();
    }
    reader.skipEmptyRest();
    if (records.size() == static_cast<size_t>(kMaxPoints))
      return fileError(itemLine[0], QStringLiteral("more than %1 records").arg(kMaxPoints));
    MeasurementRecord rec;
    if (!fmt::parseGeneralDate(item[1], &rec.Time))
      return fileError(itemLine[1], shown(item[1]) + QStringLiteral(" is not a date and time"));
    for (int k : {2, 3}) {
      float* v = k == 2 ? &rec.Temperature : &rec.Humidity;
      if (!plainNumber(item[k]))
        return fileError(itemLine[k], shown(item[k]) + QStringLiteral(" is not a number"));
      if (!toSingle(fmt::val(item[k]), v))
        return fileError(itemLine[k], shown(item[k]) + QStringLiteral(" is out of range"));
    }
    const double gap = std::floor(fmt::secondsBetween(previous, rec.Time) + 0.5);
    if (gap > newRunAfter) ++run;
    rec.Block = run;
    rec.setRemarks(item[4]);
    previous = rec.Time;
    records.push_back(rec);
  }
  return CsvOpenResult::Opened;
}

// "data.csv, line 57: ..." for a file that has a name.
QString named(const QString& path, const QString& why) {
  return path.isEmpty() ? why : QDir::toNativeSeparators(path) + QStringLiteral(", ") + why;
}

}  // namespace

CsvOpenResult Csv_Parse(QIODevice& in, CsvImport* file, QString* why,
                        const std::atomic_bool* cancel) {
  const auto* fd = qobject_cast<QFileDevice*>(&in);
  const QString path = fd ? fd->fileName() : QString();
  *file = {};
  QByteArray data;
  QString problem;
  if (!readWhole(in, &data, &problem, cancel)) {
    if (cancel && cancel->load()) return CsvOpenResult::Cancelled;
    *why =
        path.isEmpty() ? problem : QDir::toNativeSeparators(path) + QStringLiteral(": ") + problem;
    return CsvOpenResult::FileError;
  }
  const CsvOpenResult result = parseItems(data, file, &problem, cancel);
  if (result != CsvOpenResult::Opened) {
    *file = {};
    *why = named(path, problem);
  }
  return result;
}

CsvOpenResult Csv_Parse(const QString& path, CsvImport* file, QString* why,
                        const std::atomic_bool* cancel) {
  *file = {};
  const QString shownPath = QDir::toNativeSeparators(path);
  // Asked before opening: opening a pipe would wait for a writer, and a
  // device such as /dev/zero never ends.
  const FileKind kind = KindOfPath(path);
  if (kind != FileKind::Missing && kind != FileKind::Regular) {
    *why = QStringLiteral("%1 is %2; only a regular file can be opened")
               .arg(shownPath, FileKindText(kind));
    return CsvOpenResult::FileError;
  }
  QFile f(path);
  if (!f.open(QIODevice::ReadOnly)) {
    *why = QStringLiteral("%1 cannot be opened: %2").arg(shownPath, f.errorString());
    return CsvOpenResult::FileError;
  }
  // The same question of what was opened, in case the name changed hands.
  if (const FileKind opened = KindOfHandle(f.handle()); opened != FileKind::Regular) {
    *why = QStringLiteral("%1 is %2; only a regular file can be opened")
               .arg(shownPath, FileKindText(opened));
    return CsvOpenResult::FileError;
  }
  if (f.size() > kCsvMaxFileSize) {
    *why = QStringLiteral("%1 is %2 bytes long, more than a file of %3 records can need (%4)")
               .arg(shownPath)
               .arg(f.size())
               .arg(kMaxPoints)
               .arg(kCsvMaxFileSize);
    return CsvOpenResult::FileError;
  }
  return Csv_Parse(f, file, why, cancel);
}

void Csv_Commit(DataSets& sets, const CsvImport& file) {
  // Records go to the scratch file in groups; the guard writes the last
  // group on every way out.
  struct Bulk {
    DataSets& sets;
    explicit Bulk(DataSets& s) : sets(s) { sets.beginBulk(FileData); }
    ~Bulk() { sets.endBulk(FileData); }
  };
  sets.Empty(FileData);
  DataSetInfo& info = sets.info(FileData);
  info.Name = file.name;
  info.StartTime = file.startTime;
  info.PointsShown = file.pointsShown;
  info.Interval = file.interval;
  info.UpperRaw = file.upperRaw;
  info.UpperOn = file.upperOn;
  info.LowerRaw = file.lowerRaw;
  info.LowerOn = file.lowerOn;
  info.Model = file.model;
  {
    const Bulk bulk(sets);
    for (const MeasurementRecord& rec : file.records) {
      ++info.Points;
      sets.Put(FileData, info.Points, rec);
      Stats_Add(rec, info.Points, info.Stats);
    }
  }
}

QString Csv_RefusalText(CsvOpenResult result, const QString& why) {
  const QString& headline = result == CsvOpenResult::WrongForm ? kWrongForm : kFileError;
  return why.isEmpty() ? headline : headline + QStringLiteral("\r\r") + why + u'.';
}

namespace {
// Reads from a path or an open device, then commits or says why not.
template <typename Source>
CsvOpenResult ReadInto(DataSets& sets, Source& source, UserPrompt& prompt,
                       const QString& titleModel) {
  CsvImport file;
  QString why;
  const CsvOpenResult result = Csv_Parse(source, &file, &why);
  if (result == CsvOpenResult::Opened)
    Csv_Commit(sets, file);
  else
    prompt.message(Csv_RefusalText(result, why), titleModel);
  return result;
}
}  // namespace

CsvOpenResult Csv_Read(DataSets& sets, const QString& path, UserPrompt& prompt,
                       const QString& titleModel) {
  return ReadInto(sets, path, prompt, titleModel);
}

CsvOpenResult Csv_Read(DataSets& sets, QIODevice& in, UserPrompt& prompt,
                       const QString& titleModel) {
  return ReadInto(sets, in, prompt, titleModel);
}

}  // namespace hygro
