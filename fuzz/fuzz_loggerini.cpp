// Feeds arbitrary bytes to the settings-file reader as the file's content.
// For any content: no crash, and what was read, written back and read again
// gives the same values and the same line (the file settles after one save).
#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <cstdint>
#include <cstdlib>

#include "app/loggerini.h"
#include "fuzz_support.h"

namespace {

bool same(const hygro::LoggerIniValues& a, const hygro::LoggerIniValues& b) {
  return a.port == b.port && a.option == b.option && a.folder == b.folder;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  fuzz::start(argc, argv);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace hygro;
  const QString path = fuzz::folder->filePath(QStringLiteral("Logger.ini"));
  {
    QFile f(path);
    fuzz::check(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
  }
  const LoggerIniValues first = LoggerIni_Read(path);
  QString error;
  fuzz::check(LoggerIni_Save(path, first, &error));
  const LoggerIniValues second = LoggerIni_Read(path);
  fuzz::check(same(first, second));
  fuzz::check(LoggerIni_Line(second) == LoggerIni_Line(first));
  return 0;
}
