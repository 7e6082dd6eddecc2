// start: a new recording, now or at a reserved time, with the settings the
// window's start dialog collects.
#include "cli/cli.h"
#include "data/formats.h"

namespace hygro::cli {

namespace {

const QString kCmd = QStringLiteral("start");

int runStart(const GlobalOptions& global, const ParsedArgs& args) {
  if (!args.positional.isEmpty())
    return usageError(QStringLiteral("start takes no arguments besides its options"), kCmd);
  if (!args.has(QStringLiteral("interval")))
    return usageError(QStringLiteral("start needs --interval (for example --interval 10m)"), kCmd);

  QString error;
  RecordInterval interval;
  if (!parseRecordInterval(args.value(QStringLiteral("interval")), &interval, &error))
    return usageError(error, kCmd);
  std::optional<bool> loop;
  if (args.has(QStringLiteral("mode"))) {
    bool l = false;
    if (!parseMemoryMode(args.value(QStringLiteral("mode")), &l, &error))
      return usageError(error, kCmd);
    loop = l;
  }
  std::optional<Bound> upper, lower;
  if (args.has(QStringLiteral("upper"))) {
    Bound b;
    if (!parseBound(args.value(QStringLiteral("upper")), QStringLiteral("upper"), kUpperMin,
                    kUpperMax, &b, &error))
      return usageError(error, kCmd);
    upper = b;
  }
  if (args.has(QStringLiteral("lower"))) {
    Bound b;
    if (!parseBound(args.value(QStringLiteral("lower")), QStringLiteral("lower"), kLowerMin,
                    kLowerMax, &b, &error))
      return usageError(error, kCmd);
    lower = b;
  }
  if (upper && lower && upper->degrees <= lower->degrees)
    return usageError(QStringLiteral("the upper bound must be above the lower bound"), kCmd);
  std::optional<double> reserveAt;
  if (args.has(QStringLiteral("reserve"))) {
    double at = 0;
    if (!parseReservation(args.value(QStringLiteral("reserve")), &at, &error))
      return usageError(error, kCmd);
    reserveAt = at;
  }

  Tool tool(global);
  if (const int rc = tool.open()) return rc;
  Session& s = tool.session();
  const bool nameGiven = args.has(QStringLiteral("name"));
  const QString name = args.value(QStringLiteral("name"));
  if (nameGiven && !s.settings().IdentNameCheck(name)) return kExitUsage;
  if (reserveAt && !s.recording().Reservation_Check(*reserveAt)) return kExitUsage;
  if (!tool.connect()) return kExitFailure;

  const StatusView& v = s.view();
  if (v.state == DisplayState::Recording || v.state == DisplayState::Reserving) {
    // The record button would stop it instead.
    err(QStringLiteral("%1: the logger is already %2; stop it first ('%1 stop')")
            .arg(kProgram, v.state == DisplayState::Recording
                               ? QStringLiteral("recording")
                               : QStringLiteral("waiting for a reserved start")));
    return kExitFailure;
  }

  const bool force = args.has(QStringLiteral("force"));
  tool.prompt().answerer = [force](QuestionId q) -> std::optional<bool> {
    if (q == QuestionId::StartOverUndownloaded && force) return true;
    return std::nullopt;
  };
  switch (s.recording().Command4_Click()) {
    case RecordButton::ShowStartDialog:
      break;
    case RecordButton::Declined:
      err(QStringLiteral("(%1 start --force starts over it)").arg(kProgram));
      return kExitFailure;
    default:  // refused with a message (the battery), or busy
      return kExitFailure;
  }

  // The start dialog opens with what the logger holds; options change it.
  StartSettings st = s.recording().startDefaults();
  if (nameGiven) st.name = name;
  st.intervalValue = interval.value;
  st.minutes = interval.minutes;
  if (loop) st.loop = *loop;
  const bool bounds = HasAlarmBounds(s.ModelName());
  if (upper) {
    st.upperDegrees = upper->degrees;
    st.upperOn = upper->on;
  }
  if (lower) {
    st.lowerDegrees = lower->degrees;
    st.lowerOn = lower->on;
  }
  if (bounds && (upper || lower) && st.upperDegrees <= st.lowerDegrees) {
    err(QStringLiteral("%1: the upper bound (%2) must be above the lower bound (%3); give both")
            .arg(kProgram)
            .arg(st.upperDegrees)
            .arg(st.lowerDegrees));
    return kExitUsage;
  }
  if (!bounds && (upper || lower))
    err(QStringLiteral("%1: the %2 has no alarm bounds; --upper and --lower are not sent")
            .arg(kProgram, s.ModelName()));
  if (reserveAt) {
    st.reserve = true;
    st.reserveAt = *reserveAt;
  }
  if (!s.recording().Log_Start(st)) return kExitFailure;
  tool.runUntilIdle();
  if (tool.failed()) return kExitFailure;

  const DisplayState want = reserveAt ? DisplayState::Reserving : DisplayState::Recording;
  printField(QStringLiteral("State"), v.stateWord());
  printField(QStringLiteral("Start time"), v.Label26);
  if (v.state != want) {
    err(QStringLiteral("%1: the logger did not take the start").arg(kProgram));
    return kExitFailure;
  }
  return kExitOk;
}

}  // namespace

Command startCommand() {
  return {
      QStringLiteral("start"),
      QStringLiteral("start a recording, now or at a reserved time"),
      QStringLiteral("Usage: hygrotab-cli [global options] start --interval N{s|m} [--name NAME]\n"
                     "         [--mode one-time|loop] [--upper DEG:on|off] [--lower DEG:on|off]\n"
                     "         [--reserve \"YYYY-MM-DD HH:MM\"] [--force]\n"
                     "\n"
                     "Starts a new recording, as the window's record button and start dialog do.\n"
                     "Settings not given keep what the logger holds.\n"
                     "\n"
                     "  --interval N{s|m}   record interval, 1 to 255 seconds (s) or minutes (m)\n"
                     "  --name NAME         identification name, up to 4 characters\n"
                     "  --mode MODE         one-time (stop when the memory is full) or loop\n"
                     "                      (overwrite the oldest points)\n"
                     "  --upper DEG:on|off  upper alarm bound, -19 to 70 C, and whether it alarms\n"
                     "  --lower DEG:on|off  lower alarm bound, -20 to 69 C (QM720-XC only)\n"
                     "  --reserve TIME      start at that local time instead of now; the logger\n"
                     "                      keeps only the day, hour and minute, so up to\n"
                     "                      a month ahead\n"
                     "  --force             start even over data never downloaded (it is lost)"),
      {{QStringLiteral("interval"), true},
       {QStringLiteral("name"), true},
       {QStringLiteral("mode"), true},
       {QStringLiteral("upper"), true},
       {QStringLiteral("lower"), true},
       {QStringLiteral("reserve"), true},
       {QStringLiteral("force"), false}},
      runStart};
}

}  // namespace hygro::cli
