// The logger clock's offset, read through the exchange without setting it.
#include <QSignalSpy>
#include <QtTest>

#include "data/formats.h"
#include "logger/session.h"
#include "support/emulator_rig.h"
#include "support/fake_clock.h"
#include "support/fake_transport.h"
#include "support/scripted_prompt.h"

using namespace hygro;

class TestClockOffset : public QObject {
  Q_OBJECT
 private Q_SLOTS:
  void readsTheClockWithoutSettingIt() {
    test::FakeClock pc(fmt::dateSerial(2026, 3, 1, 10, 0, 0));
    test::EmulatorRig r(QStringLiteral("idle.json"));
    QVERIFY(r.connect());
    r.session.setClock(&pc);
    r.sim->model().setClock(QDateTime(QDate(2026, 3, 1), QTime(13, 25, 7), Qt::UTC));
    QSignalSpy read(&r.session.clockOffset(), &ClockOffsetOperation::offsetRead);
    r.takeCodes();
    QVERIFY(r.run(&ClockOffsetOperation::Clock_Read));
    r.session.setClock(nullptr);

    QFile expected(QStringLiteral(HYGROTAB_TEST_DATA "/clock/offset_read.hex"));
    QVERIFY(expected.open(QIODevice::ReadOnly));
    QByteArray wire;
    for (const QByteArray& frame : r.frames) wire += frame.toHex(' ') + '\n';
    QCOMPARE(wire, expected.readAll());
    QCOMPARE(read.count(), 1);
    const auto offset = read[0][0].value<std::optional<qint64>>();
    QVERIFY(offset.has_value());
    QVERIFY2(*offset >= 12307 && *offset <= 12308, qPrintable(QString::number(*offset)));
  }

  void anHourTurningOverIsReadAgain_data() {
    QTest::addColumn<QList<int>>("dayHour");  // the five answers to 5, per round
    QTest::addColumn<int>("frames");
    QTest::addColumn<qint64>("offset");  // -1: nothing read
    QTest::newRow("steady") << QList<int>{13, 13, 13} << 5 << qint64(59);
    QTest::newRow("turned over once") << QList<int>{13, 13, 14, 14, 14, 14} << 10 << qint64(119);
    QTest::newRow("turning over twice") << QList<int>{13, 13, 14, 14, 14, 15} << 10 << qint64(-1);
  }
  void anHourTurningOverIsReadAgain() {
    // Each round answers 5, 4, 5, 6, 5 in turn; the minute and second read
    // 59:59 while the hour is 13 and 00:59 after that.
    QFETCH(QList<int>, dayHour);
    QFETCH(int, frames);
    QFETCH(qint64, offset);
    test::ScriptedPrompt prompt;
    auto* port = new test::FakeTransport;
    Session session{std::unique_ptr<Transport>(port), std::make_unique<NoBridge>(), &prompt};
    test::FakeClock pc(fmt::dateSerial(2026, 3, 26, 13, 59, 0));
    session.setClock(&pc);
    port->open();
    port->autoAnswer = true;
    for (int round = 0; round < dayHour.size() / 3; ++round) {
      const int first = dayHour[round * 3], mid = dayHour[round * 3 + 1];
      const int last = dayHour[round * 3 + 2];
      const bool late = mid != 13;
      port->script << test::Answer(1, 5, 26, first) << test::Answer(1, 4, 26, 3)
                   << test::Answer(1, 5, 26, mid)
                   << test::Answer(1, 6, late ? 0 : 59, 59) << test::Answer(1, 5, 26, last);
    }
    QSignalSpy read(&session.clockOffset(), &ClockOffsetOperation::offsetRead);
    QVERIFY(session.clockOffset().Clock_Read());
    QTRY_VERIFY_WITH_TIMEOUT(!session.busy(), 10000);
    session.setClock(nullptr);
    QCOMPARE(read.count(), 1);
    const auto got = read[0][0].value<std::optional<qint64>>();
    QCOMPARE(got.value_or(-1), offset);
    QCOMPARE(port->writes.size(), frames);
    QVERIFY(prompt.messages().isEmpty());
  }
};

QTEST_MAIN(TestClockOffset)
#include "tst_logger_clockoffset.moc"
