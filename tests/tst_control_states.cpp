// The status display as a function of the logger's status, and the
// control-state table of each logger state, computed without a window from
// the status the session shows after talking to the emulator.
#include <QtTest>

#include "data/formats.h"
#include "logger/controls.h"
#include "logger/session.h"
#include "support/data_table.h"
#include "support/emulator_rig.h"

using namespace hygro;

namespace {

struct Rig : test::EmulatorRig {
  using EmulatorRig::EmulatorRig;
  ControlTable table() const { return StatusControls(session.view()); }
};

// What the table sets for `name`, written as the expectations are: `Name+`
// enabled, `Name-` disabled, `Name^` shown, `Name_` hidden, `Name=caption`,
// `Name@Colour` (in the order of BackColour).
QStringList written(const ControlTable& t, const QString& name) {
  static const char* const colours[] = {"ButtonFace", "Black", "LightGreen", "Red"};
  QStringList out;
  const ControlState* s = t.find(name);
  if (!s) return out;
  if (s->enabled) out << name + (*s->enabled ? u'+' : u'-');
  if (s->visible) out << name + (*s->visible ? u'^' : u'_');
  if (s->text) out << name + u'=' + *s->text;
  if (s->back) out << name + u'@' + QLatin1String(colours[int(*s->back)]);
  return out;
}

// The expectations, separated by '|', that `t` does not meet, each with
// what the table sets instead; `Name?` expects no entry at all.
QStringList mismatches(const ControlTable& t, const QString& expect) {
  QStringList bad;
  static const QRegularExpression re(QStringLiteral("^(\\w+)[-+^_=@?]"));
  for (const QString& item : expect.split(QLatin1Char('|'))) {
    const QString name = re.match(item).captured(1);
    const QStringList got = written(t, name);
    if (item == name + u'?' ? !t.find(name) : got.contains(item)) continue;
    bad << item + QStringLiteral(" (got ") + got.join(u' ') + QLatin1Char(')');
  }
  return bad;
}

// The status and link a row of tests/data/status/display.tsv describes.
void parseState(const QString& items, LoggerStatus* st, StatusLink* link) {
  using Setter = std::function<void(LoggerStatus&, StatusLink&, const QString&)>;
  static const QHash<QString, RecState> states{{"idle", RecState::Idle},
                                               {"recording", RecState::Recording},
                                               {"reserving", RecState::Reserving},
                                               {"continuous", RecState::Continuous}};
  static const QHash<QString, Setter> keys{
      {"link", [](auto&, auto& l, const QString& v) { l.connected = v.toInt() != 0; }},
      {"model", [](auto&, auto& l, const QString& v) { l.model = v; }},
      {"status", [](auto&, auto& l, const QString& v) { l.statusText = v; }},
      {"shown", [](auto&, auto& l, const QString& v) { l.shownSet = v.toInt(); }},
      {"rec", [](auto& s, auto&, const QString& v) { s.RecState = states.value(v); }},
      {"start", [](auto& s, auto&, const QString& v) { fmt::parseGeneralDate(v, &s.StartTime); }},
      {"bytes", [](auto& s, auto&, const QString& v) { s.RecordedBytes = v.toInt(); }},
      {"loop", [](auto& s, auto&, const QString& v) { s.LoopMode = quint8(v.toInt()); }},
      {"wrapped", [](auto& s, auto&, const QString& v) { s.Wrapped = quint8(v.toInt()); }},
      {"interval", [](auto& s, auto&, const QString& v) { s.LogInterval = v.toInt(); }},
      {"set", [](auto& s, auto&, const QString& v) { s.SetInterval = v.toInt(); }},
      {"upper", [](auto& s, auto&, const QString& v) { s.UpperRaw = v.toInt(); }},
      {"upperOn", [](auto& s, auto&, const QString& v) { s.UpperOn = v.toInt() != 0; }},
      {"lower", [](auto& s, auto&, const QString& v) { s.LowerRaw = v.toInt(); }},
      {"battery", [](auto& s, auto&, const QString& v) { s.BatteryVoltage = v; }},
      {"error", [](auto& s, auto&, const QString&) { s.ErrorMark = QStringLiteral("Error"); }},
      {"stop", [](auto& s, auto&, const QString&) { s.StopMark = QStringLiteral("Stop"); }},
      {"name", [](auto& s, auto&, const QString& v) { s.IdentName = v; }},
      {"reserve", [](auto& s, auto&, const QString& v) {
         const QStringList dhm = v.split(u' ');
         s.ReserveDay = quint8(dhm.value(0).toInt());
         s.ReserveHour = quint8(dhm.value(1).toInt());
         s.ReserveMinute = quint8(dhm.value(2).toInt());
       }}};
  for (const QString& item : items.split(u'|')) {
    const QString key = item.section(u'=', 0, 0);
    if (!keys.contains(key)) QTest::qFail(qPrintable("unknown key " + key), __FILE__, __LINE__);
    keys.value(key, [](auto&, auto&, const QString&) {})(*st, *link, item.section(u'=', 1));
  }
}

QString field(const StatusView& v, const QString& name) {
  static const QStringList states{"NotConnected", "Idle", "Recording", "Reserving", "Continuous"};
  const QHash<QString, QString> fields{{"state", states.value(int(v.state))},
                                       {"caption", v.caption},
                                       {"statusBar", v.statusBar},
                                       {"Label49", v.Label49},
                                       {"Label16", v.Label16},
                                       {"Label26", v.Label26},
                                       {"Label48", v.Label48},
                                       {"Label29", v.Label29},
                                       {"Label46", v.Label46},
                                       {"boundsVisible", QString::number(v.boundsVisible)},
                                       {"Label21", v.Label21},
                                       {"Label19", v.Label19},
                                       {"Label6", v.Label6},
                                       {"Label7", v.Label7},
                                       {"batteryAlarm", QString::number(v.batteryAlarm)},
                                       {"Label8", v.Label8},
                                       {"endAlarm", QString::number(v.endAlarm)},
                                       {"Label14", v.Label14},
                                       {"Command4", v.Command4},
                                       {"Command2", v.Command2},
                                       {"Label3", v.Label3}};
  return fields.value(name, QStringLiteral("<no field %1>").arg(name));
}

#define CHECK_TABLE(table, expect)                                         \
  do {                                                                     \
    const QStringList bad_ = mismatches((table), (expect));                \
    QVERIFY2(bad_.isEmpty(), qPrintable(bad_.join(QStringLiteral("; ")))); \
  } while (false)

const QString kLockNames = QStringLiteral(
    "Combo2|Combo4|Combo5|Command1|Command2|Command4|Command5|Command6|Command7|"
    "Command11|Command13|Command19|Command26|Command28|Option1|Option2|Option3|"
    "Option4|m1|m2|m3|m11|m12|m21|m22|m23|m31|m32|m33|m34");

}  // namespace

class TestControlStates : public QObject {
  Q_OBJECT
 private Q_SLOTS:
  void statusDisplayIsAFunctionOfTheStatus_data() {
    test::addDataRows(QStringLiteral("status/display.tsv"), {"state", "expect"});
  }
  void statusDisplayIsAFunctionOfTheStatus() {
    QFETCH(QString, state);
    QFETCH(QString, expect);
    LoggerStatus st;
    StatusLink link;
    parseState(state, &st, &link);
    const StatusView v = StatusDisplay(st, link);
    QStringList bad;
    for (const QString& item : expect.split(u'|')) {
      const QString name = item.section(u'=', 0, 0), want = item.section(u'=', 1);
      if (field(v, name) != want) bad << QStringLiteral("%1 is \"%2\"").arg(item, field(v, name));
    }
    QVERIFY2(bad.isEmpty(), qPrintable(bad.join(QStringLiteral("; "))));
  }

  // Each names every operating control, in one order, and only enables or
  // disables it.
  void lockAndUnlockNameEveryOperatingControl() {
    const auto setting = [](const ControlTable& t, bool enabled) {
      QStringList names;
      for (const auto& [n, s] : t.entries())
        if (s.enabled == std::optional<bool>(enabled) && !s.visible && !s.text && !s.back)
          names << n;
      return names.join(QLatin1Char('|'));
    };
    QCOMPARE(setting(Controls_Lock(), false), kLockNames);
    QCOMPARE(setting(Controls_Unlock(), true),
             kLockNames + QStringLiteral("|Option5|Option6|Option7|Option8|Option9"));
  }

  void tableOfEachState_data() {
    QTest::addColumn<QString>("state");  // the emulator's state[@model]; empty: never connected
    QTest::addColumn<int>("shown");      // the DisplayState the status lands in
    QTest::addColumn<QString>("expect");
    static const QStringList states{"NotConnected", "Idle", "Recording", "Reserving", "Continuous"};
    for (const QStringList& row : test::dataRows(QStringLiteral("status/controls.tsv")))
      QTest::newRow(qPrintable(row[0])) << row[1] << int(states.indexOf(row[2])) << row[3];
  }
  void tableOfEachState() {
    QFETCH(QString, state);
    QFETCH(int, shown);
    QFETCH(QString, expect);
    Rig r(state.section(u'@', 0, 0), state.section(u'@', 1));
    if (state.isEmpty()) {
      r.session.statusOp().Status_Disp();
    } else {
      QVERIFY(r.connect());
      QCOMPARE(int(r.session.view().state), shown);
    }
    CHECK_TABLE(r.table(), expect);
  }

  void continuousRun() {
    Rig r(QStringLiteral("idle.json"));
    QVERIFY(r.connect());
    r.session.realtime().Command2_Click();
    QCOMPARE(r.session.view().state, DisplayState::Continuous);
    const ControlTable t = r.table();
    CHECK_TABLE(t,
                "Command2+|Command2=Stop|Command4-|Label16?|Option5-|Option7-|"
                "Option8+|Option9+|m1+|m3+|m31+|m2-|m21-|m22-|m33-|Command1-|Command11-|"
                "Command10-|Command12-|Command22-|Command23-");
    // Only the enabling of the record button and the state label is left:
    // their texts stay as the last status showed them.
    QVERIFY(!t.find(QStringLiteral("Command4"))->text);
    CHECK_TABLE(t,
                "HScroll1_|HScroll2_|HScroll3_|HScroll4_|VScroll1_|VScroll2_|VScroll3_|VScroll4_");
    // (Back to idle the table is the idle row's: StatusControls of the same view.)
  }
};

QTEST_MAIN(TestControlStates)
#include "tst_control_states.moc"
