#include "logger/operation.h"

#include "logger/session.h"

namespace hygro {

Operation::Operation(Session& session, LoggerStatus& status)
    : QObject(&session), s_(session), status_(status) {}
const SessionClock& Operation::clock() const { return s_.clock(); }
Exchange& Operation::x() const { return s_.exchange(); }
DataSets& Operation::data() const { return s_.data(); }
DataView& Operation::dataView() const { return s_.dataView(); }
UserPrompt* Operation::prompt() const { return s_.prompt(); }
QString Operation::model() const { return s_.ModelName(); }
bool Operation::busy() const { return s_.busy(); }
bool Operation::connected() const { return s_.connected(); }
void Operation::send() const { s_.send(); }

}  // namespace hygro
