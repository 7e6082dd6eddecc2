// Feeds arbitrary bytes to the program as the logger's answers. The first
// byte chooses the operation and how the questions are answered; the rest is
// a row of chunks (a length byte, then that many bytes), one chunk delivered
// after each frame the program writes. When the chunks run out the logger
// falls silent, so every run ends through the time-out.
//
// Beyond "no crash", what must hold for any answers: the exchange ends (no
// hang), every data set keeps a point count in range, and the messages shown
// are few (one per way of ending, not one per answer).
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTimer>
#include <cstdint>
#include <cstdlib>
#include <deque>

#include "fuzz_support.h"
#include "link/bridge.h"
#include "link/transport.h"
#include "logger/session.h"

namespace {

using namespace hygro;

class ChunkTransport : public Transport {
 public:
  std::deque<QByteArray> chunks;

  void setPort(const QString& p) override { port_ = p; }
  QString port() const override { return port_; }
  void setBaud(int b) override { baud_ = b; }
  int baud() const override { return baud_; }
  bool open() override { return open_ = true; }
  void close() override { open_ = false; }
  bool isOpen() const override { return open_; }
  qint64 bytesAvailable() const override { return rx_.size(); }
  QByteArray readAll() override { return std::exchange(rx_, QByteArray()); }
  void clearInput() override { rx_.clear(); }
  bool isPresent() const override { return true; }
  qint64 write(const QByteArray& bytes) override {
    if (!open_) return -1;
    if (!chunks.empty()) {
      rx_ += chunks.front();
      chunks.pop_front();
      QTimer::singleShot(0, this, [this] { Q_EMIT readyRead(); });
    }
    return bytes.size();
  }

 private:
  QString port_;
  int baud_ = 57600;
  bool open_ = false;
  QByteArray rx_;
};

class AnsweringPrompt : public UserPrompt {
 public:
  bool yes = false;
  int messages = 0;
  void message(const QString&, const QString&) override { ++messages; }
  bool question(QuestionId, const QString&, const QString&, SafeAnswer = SafeAnswer::Yes) override {
    return yes;
  }
  std::optional<QString> saveFileName(const QString&, const QString&, bool*) override {
    return std::nullopt;
  }
  std::optional<QString> openFileName(const QString&) override { return std::nullopt; }
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  fuzz::start(argc, argv);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const uint8_t choice = data[0];
  auto transport = std::make_unique<ChunkTransport>();
  ChunkTransport* port = transport.get();
  for (size_t i = 1; i < size;) {
    const size_t n = std::min<size_t>(data[i], size - i - 1);
    port->chunks.emplace_back(reinterpret_cast<const char*>(data + i + 1),
                              static_cast<qsizetype>(n));
    i += 1 + n;
  }

  AnsweringPrompt prompt;
  prompt.yes = choice & 0x80;
  Session session(std::move(transport), std::make_unique<NoBridge>(), &prompt);
  QString error;
  fuzz::check(session.data().open(fuzz::folder->path(), &error));
  // The logger's answers either come or they do not: the time-out is shortened
  // so a silent end costs milliseconds, not seconds.
  session.exchange().TimeOutMs = 2;
  port->open();

  switch (choice % 4) {
    case 0:
      session.statusOp().Command11_Click();
      break;
    case 1:
      session.realtime().Command1_Click();
      break;
    case 2:
      session.download().Command5_Click();
      break;
    default:
      session.settings().Command27_Click();
      break;
  }
  QElapsedTimer clock;
  clock.start();
  while (session.busy()) {
    QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    fuzz::check(clock.elapsed() < 20000);  // a hang is a finding
  }
  QCoreApplication::processEvents();
  for (int set = 0; set < 3; ++set) {
    const qint16 points = session.data().info(set).Points;
    fuzz::check(points >= 0 && points <= kMaxPoints);
  }
  fuzz::check(prompt.messages <= 3);
  session.shutDown();
  session.data().closeAndRemove();
  return 0;
}
