// Feeds arbitrary bytes to the CSV reader. Beyond "no crash, no hang" it
// checks what must hold for any input: at most one message, a point count in
// range, and for a file that was read, that writing it out and reading that
// back gives the same file again.
#include <QBuffer>
#include <cstdint>
#include <cstdlib>

#include "data/csv.h"
#include "data/userprompt.h"

namespace {

class CountingPrompt : public hygro::UserPrompt {
 public:
  int messages = 0;
  void message(const QString&, const QString&) override { ++messages; }
  bool question(hygro::QuestionId, const QString&, const QString&,
                hygro::SafeAnswer = hygro::SafeAnswer::Yes) override {
    return false;
  }
  std::optional<QString> saveFileName(const QString&, const QString&, bool*) override {
    return std::nullopt;
  }
  std::optional<QString> openFileName(const QString&) override { return std::nullopt; }
};

hygro::CsvOpenResult readInto(hygro::DataSets& sets, const QByteArray& bytes,
                              CountingPrompt& prompt) {
  QByteArray copy = bytes;
  QBuffer buf(&copy);
  buf.open(QIODevice::ReadOnly);
  return hygro::Csv_Read(sets, buf, prompt, QStringLiteral("QM720-XC"));
}

void check(bool ok) {
  if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace hygro;
  const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
  DataSets sets;
  CountingPrompt prompt;
  const CsvOpenResult r = readInto(sets, input, prompt);
  const DataSetInfo& info = sets.info(FileData);
  check(info.Points >= 0 && info.Points <= kMaxPoints);
  check(prompt.messages == (r == CsvOpenResult::Opened ? 0 : 1));
  // The file set is replaced only by a file read to its end.
  check(!info.Model.isEmpty() == (r == CsvOpenResult::Opened));
  if (r != CsvOpenResult::Opened) return 0;

  const QByteArray first = Csv_Content(sets, FileData, info.Model, info.Name);
  // Texts are written unescaped, so a quote in a name or remark legitimately
  // changes how the written file reads back.
  if (info.Name.contains(u'"')) return 0;
  for (int n = 1; n <= info.Points; ++n) {
    if (QByteArray(sets.at(FileData, n)->Remarks, MeasurementRecord::kRemarksLength).contains('"'))
      return 0;
  }
  DataSets again;
  CountingPrompt prompt2;
  check(readInto(again, first, prompt2) == CsvOpenResult::Opened);
  check(again.info(FileData).Points == info.Points);
  check(Csv_Content(again, FileData, again.info(FileData).Model, again.info(FileData).Name) ==
        first);
  return 0;
}
