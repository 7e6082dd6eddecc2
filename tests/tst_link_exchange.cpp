// The wire form and the exchange: frames, decoding, advancing, retries,
// refusals and hostile answers.
#include <QSignalSpy>
#include <QtTest>

#include "link/exchange.h"
#include "link/frame.h"
#include "support/fake_transport.h"
#include "support/scripted_prompt.h"

using namespace hygro;
using hygro::test::Answer;
using hygro::test::FakeTransport;
using hygro::test::Hex;
using hygro::test::ScriptedPrompt;

namespace {
// R(0) to R(3) of an answer that arrived as these bytes.
QList<int> decoded(const char* spaced) {
  const QByteArray bytes = Hex(spaced);
  ReceiveBuffer rx;
  std::copy(bytes.begin(), bytes.end(), rx.bytes.begin());
  rx.ReceiveCount = static_cast<qint16>(bytes.size());
  DecodeAnswer(rx);
  return {rx.R(0), rx.R(1), rx.R(2), rx.R(3)};
}
}  // namespace

class TestExchange : public QObject {
  Q_OBJECT

  struct Rig {
    FakeTransport port;
    ScriptedPrompt prompt;
    Exchange x{&port, &prompt};
    QList<int> dispatched;  // codes whose branch ran, in order
    QByteArray version;     // what the version read (99) took
    Rig() {
      port.open();
      x.setTitleSource([] { return QStringLiteral("QM720-XC"); });
      for (int code : {16, 21, 22, 25, 30, 99}) {
        x.setBranch(code, [this, code](QueuedCommand&, const ReceiveBuffer& rx) {
          dispatched << code;
          if (code == 99)
            version = QByteArray(reinterpret_cast<const char*>(rx.bytes.data()), rx.ReceiveCount);
          return BranchResult::Advance;
        });
      }
    }
    void start(std::initializer_list<int> codes) {
      x.Queue_Reset();
      for (int c : codes) x.Command_Add(1, static_cast<quint8>(c), 0, 0, CommMode::None);
      x.Command_Send();
    }
  };

 private Q_SLOTS:
  void framesEncodeEachValueAsHundredsAndBcd() {
    QCOMPARE(CommandFrame(1, 25, 0, 0), Hex("00 01 00 25 00 00 00 00 FF"));
    QCOMPARE(CommandFrame(1, 44, 234, 96), Hex("00 01 00 44 02 34 00 96 FF"));
    QCOMPARE(CommandFrame(1, 99, 123, 255), Hex("00 01 00 99 01 23 02 55 FF"));
    // The terminator can never appear inside a frame, whatever the values.
    for (int v = 0; v < 256; ++v) {
      const QByteArray f = CommandFrame(1, static_cast<quint8>(v), static_cast<quint8>(v), 0);
      QCOMPARE(f.left(8).count(static_cast<char>(0xFF)), 0);
    }
  }

  void answersDecodeFromTheirLastEightBytes() {
    QCOMPARE(decoded("00 01 00 22 01 02 03 04"), (QList<int>{1, 22, 102, 34}));
    // Leading bytes of a longer answer are ignored.
    QCOMPARE(decoded("EE 77 66 00 01 00 16 02 55 00 07"), (QList<int>{1, 16, 255, 7}));
    // A value that does not fit a byte leaves the raw byte; a short answer
    // decodes only what it has (bytes 0, 1 are the last value's pair:
    // 2 * 100 + 34) and reads nothing outside the buffer.
    QCOMPARE(decoded("09 99 00 01 00 00 00 00").mid(0, 2), (QList<int>{0x09, 1}));
    const QList<int> shortOne = decoded("12 34");
    QCOMPARE(shortOne[0], 0x12);
    QCOMPARE(shortOne[3], 234);
  }

  // The queue runs in order however its answers are cut, and ends once.
  void splitAnswersAndAnswersInOneChunk() {
    Rig r;
    QSignalSpy ended(&r.x, &Exchange::exchangeEnded);
    r.start({16, 22, 21});
    const QByteArray a = Answer(1, 16, 0, 0);
    r.port.feedNow(a.left(3));
    r.port.feedNow(a.mid(3, 4));
    QVERIFY(r.dispatched.isEmpty());
    // The rest of the first answer and the whole second one in one chunk:
    // the bytes after the terminator start the next answer at buffer 0.
    r.port.feedNow(a.mid(7) + Answer(1, 22, 0, 0));
    QCOMPARE(r.dispatched, (QList<int>{16, 22}));
    QCOMPARE(r.port.writes.size(), 3);
    r.port.feedNow(Answer(1, 21, 0, 0) + Hex("01 02 03 FF"));
    QCOMPARE(r.dispatched, (QList<int>{16, 22, 21}));
    QVERIFY(!r.x.busy());  // trailing noise after the last answer is dropped
    QVERIFY(r.prompt.calls.isEmpty());
    QTest::qWait(30);
    QCOMPARE(ended.count(), 1);
  }

  void refusalsResendThenGiveUpOnTheEleventh() {
    Rig r;
    r.start({30});
    for (int i = 0; i < 10; ++i) r.port.feedNow(Hex("EE FF"));
    QCOMPARE(r.port.writes.size(), 11);  // the first send and ten resends
    QVERIFY(r.x.busy());
    QVERIFY(r.dispatched.isEmpty());
    r.port.feedNow(Hex("EE FF"));
    QVERIFY(!r.x.busy());
    QVERIFY(!r.port.isOpen());
    QCOMPARE(r.prompt.messages(),
             QStringList{QStringLiteral("Communication fault\r\rCommunication is ended")});
    QCOMPARE(r.prompt.calls[0].title, QStringLiteral("QM720-XC"));

    // A good answer starts the count over.
    Rig again;
    again.start({16, 30});
    for (int i = 0; i < 10; ++i) again.port.feedNow(Hex("EE FF"));
    again.port.feedNow(Answer(1, 16, 0, 0));
    for (int i = 0; i < 10; ++i) again.port.feedNow(Hex("EE FF"));
    QVERIFY(again.x.busy());
    again.port.feedNow(Answer(1, 30, 0, 0));
    QCOMPARE(again.dispatched, (QList<int>{16, 30}));
    QVERIFY(again.prompt.calls.isEmpty());
  }

  void silenceIsResentThreeTimesFiveHundredMsApart() {
    Rig r;
    QSignalSpy abandoned(&r.x, &Exchange::abandoned);
    r.start({16});
    QTRY_VERIFY_WITH_TIMEOUT(!r.x.busy(), 4000);
    QCOMPARE(r.port.writes.size(), 4);
    for (const QByteArray& w : r.port.writes) QCOMPARE(w, CommandFrame(1, 16, 0, 0));
    for (int i = 1; i < 4; ++i) {
      const qint64 gap = r.port.writeTimes[i] - r.port.writeTimes[i - 1];
      QVERIFY2(gap >= 450 && gap < 1500, qPrintable(QString::number(gap)));
    }
    QCOMPARE(r.prompt.messages(),
             QStringList{QStringLiteral("タイムアウト\r\rThe communication is ended.")});
    QCOMPARE(abandoned.count(), 1);
    QVERIFY(!r.port.isOpen());
  }

  void hostileAnswersAreDefined() {
    Rig r;
    r.start({16, 22});
    // 300 bytes without a terminator: the buffer never overflows, and what
    // the terminator completes is no answer to anything, so it is dropped.
    r.port.feedNow(QByteArray(300, '\x11'));
    QCOMPARE(int(r.x.rx.ReceiveCount), ReceiveBuffer::Capacity);
    r.port.feedNow(Hex("FF"));
    QCOMPARE(int(r.x.rx.ReceiveCount), 0);
    // Lone terminators and binary garbage with terminators inside.
    r.port.feedNow(Hex("FF FF 00 EE FF 01 02 03 04 05 06 07 08 FF"));
    QVERIFY(r.dispatched.isEmpty());
    QCOMPARE(r.port.writes.size(), 1);  // nothing taken for a refusal either
    r.port.feedNow(Answer(1, 16, 0, 0) + Answer(1, 22, 0, 0));
    QCOMPARE(r.dispatched, (QList<int>{16, 22}));
    QVERIFY(!r.x.busy());
    r.port.feedNow(Hex("FF FF 00 EE FF"));  // nothing awaited: ignored
    QCOMPARE(r.dispatched.size(), 2);
    QVERIFY(r.prompt.calls.isEmpty());

    // Printable noise overflowing the buffer straight before the version
    // answer: the terminator ends the noise, not a version text, and the
    // resend's answer is the one read.
    Rig v;
    const QByteArray answer("QM720-XC V1\x02\xFF");
    QObject::connect(&v.x, &Exchange::frameSent, [&] {
      v.port.feed(v.port.writes.size() == 1 ? QByteArray(120, 'Z') + answer : answer);
    });
    v.start({99});
    QTRY_VERIFY_WITH_TIMEOUT(!v.x.busy(), 10000);
    QCOMPARE(v.dispatched, QList<int>{99});
    QCOMPARE(v.version, QByteArray("QM720-XC V1\x02"));
    QCOMPARE(v.port.writes.size(), 2);
    QVERIFY(v.prompt.calls.isEmpty());
  }

  // The logger answers every frame it gets, in order, however late. After a
  // resend two answers are on their way, and the second must not be taken for
  // the next frame's, even when both frames share a command code.
  void lateAnswersGoToTheFrameTheyAnswer() {
    Rig r;
    r.x.TimeOutMs = 100;           // one resend, then the answers come at once
    QList<QPair<int, int>> reads;  // (P2, R2) of every 23 taken
    r.x.setBranch(23, [&](QueuedCommand& e, const ReceiveBuffer& rx) {
      reads << qMakePair(int(e.P2), int(rx.R(2)));
      return BranchResult::Advance;
    });
    bool armedAfterStale = false;
    // What the logger sends after each write (nothing after the first).
    const QList<QByteArray> plan{
        {}, Answer(1, 23, 1, 2), Answer(1, 23, 1, 2) + Answer(1, 23, 3, 4)};
    QObject::connect(&r.x, &Exchange::frameSent, [&] {
      const auto n = r.port.writes.size();
      if (n == 3) {
        // The late answer of the resend alone first: it must leave the time-out armed.
        QTimer::singleShot(0, &r.port, [&] {
          r.port.feedNow(Answer(1, 23, 1, 2));
          armedAfterStale = r.x.timeOutArmed() && r.x.busy();
          r.port.feedNow(Answer(1, 23, 3, 4));
        });
      } else if (n <= plan.size() && !plan[n - 1].isEmpty()) {
        r.port.feed(plan[n - 1]);
      }
    });
    r.x.Queue_Reset();
    r.x.Command_Add(1, 23, 20, 0, CommMode::None);
    r.x.Command_Add(1, 23, 22, 0, CommMode::None);
    r.x.Command_Send();
    QTRY_VERIFY_WITH_TIMEOUT(!r.x.busy(), 10000);
    QCOMPARE(reads, (QList<QPair<int, int>>{{20, 1}, {22, 3}}));
    QVERIFY(armedAfterStale);
    QCOMPARE(r.port.writes.size(), 3);
    QVERIFY(r.prompt.calls.isEmpty());

    // An answer lost on the way: the next frame's answer, which names its
    // own code, is still taken; a stray answer naming another code is not,
    // nor is anything but text for the version read.
    Rig s;
    s.x.TimeOutMs = 100;
    QList<int> r2;
    for (int code : {16, 22, 21}) {
      s.x.setBranch(code, [&r2](QueuedCommand&, const ReceiveBuffer& rx) {
        r2 << rx.R(2);
        return BranchResult::Advance;
      });
    }
    const QList<QByteArray> plan2{{},
                                  Answer(1, 16, 7, 0),
                                  Answer(1, 22, 25, 0),
                                  Answer(1, 22, 9, 9) + Answer(1, 21, 5, 220),
                                  Answer(1, 21, 5, 220) + QByteArray("QM720-XC V1\x02\xFF")};
    QObject::connect(&s.x, &Exchange::frameSent, [&] {
      const auto n = s.port.writes.size();
      if (n <= plan2.size() && !plan2[n - 1].isEmpty()) s.port.feed(plan2[n - 1]);
    });
    s.start({16, 22, 21, 99});
    QTRY_VERIFY_WITH_TIMEOUT(!s.x.busy(), 10000);
    QCOMPARE(r2, (QList<int>{7, 25, 5}));
    QCOMPARE(s.version, QByteArray("QM720-XC V1\x02"));
    QCOMPARE(s.port.writes.size(), 5);
    QVERIFY(s.prompt.calls.isEmpty());
  }

  // A stream is asked for once and keeps the input armed, its answers in
  // whatever pieces they come. Asked for twice it is sent twice; the second
  // copy is no answer to the frame after the stream.
  void streams() {
    Rig r;
    int points = 0;
    const auto stream = [&points](QueuedCommand& e, const ReceiveBuffer& rx) {
      ++points;
      e.Tag += rx.R(3);
      return e.Tag < 12 ? BranchResult::Hold : BranchResult::Advance;
    };
    const QByteArray point = Answer(0, 0, 0, 4);
    r.x.setBranch(44, stream);
    r.x.Queue_Reset();
    r.x.Command_Add(1, 44, 0, 12, CommMode::Download);
    r.x.Command_Send();
    r.port.feedNow(point + point.left(5));
    QCOMPARE(points, 1);
    r.port.feedNow(point.mid(5) + point);
    QCOMPARE(points, 3);
    QVERIFY(!r.x.busy());
    QCOMPARE(r.port.writes.size(), 1);

    Rig twice;
    twice.x.TimeOutMs = 100;
    points = 0;
    twice.x.setBranch(44, stream);
    int battery = -1;
    twice.x.setBranch(16, [&](QueuedCommand&, const ReceiveBuffer& rx) {
      battery = rx.R(3);
      return BranchResult::Advance;
    });
    QObject::connect(&twice.x, &Exchange::frameSent, [&] {
      const auto n = twice.port.writes.size();
      if (n == 2) twice.port.feed(point.repeated(3));
      if (n == 3) twice.port.feed(point.repeated(3) + Answer(1, 16, 0, 1));
    });
    twice.x.Queue_Reset();
    twice.x.Command_Add(1, 44, 0, 12, CommMode::Download);
    twice.x.Command_Add(1, 16, 0, 0, CommMode::Download);
    twice.x.Command_Send();
    QTRY_VERIFY_WITH_TIMEOUT(!twice.x.busy(), 10000);
    QCOMPARE(points, 3);
    QCOMPARE(battery, 1);
    QCOMPARE(twice.port.writes.size(), 3);
    QVERIFY(twice.prompt.calls.isEmpty());
  }

  void theQueueHoldsOneHundredAndOneEntries() {
    Rig r;
    r.x.Queue_Reset();
    for (int i = 0; i < CommandQueue::Capacity; ++i)
      QVERIFY(r.x.Command_Add(1, 16, 0, 0, CommMode::None));
    QVERIFY(!r.x.Command_Add(1, 16, 0, 0, CommMode::None));
    QCOMPARE(int(r.x.queue.Count), 101);
  }

  void aClosedPortWritesNothingAndTimesOut() {
    Rig r;
    r.x.TimeOutMs = 10;
    r.port.close();
    r.start({16});
    QTRY_VERIFY(!r.x.busy());
    QVERIFY(r.port.writes.isEmpty());
    QCOMPARE(r.prompt.messages().size(), 1);
  }
};

QTEST_MAIN(TestExchange)
#include "tst_link_exchange.moc"
