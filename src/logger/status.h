#pragma once
// The status read: nineteen queued commands whose answers fill LoggerStatus
// and the log's descriptor; and the status display computed from them.
#include "link/frame.h"
#include "logger/loggerstatus.h"
#include "logger/operation.h"
#include "logger/statusview.h"

namespace hygro {

class StatusOperation : public Operation {
  Q_OBJECT
 public:
  StatusOperation(Session& session, LoggerStatus& status);
  // Queues the status read; the caller sends.
  void Status_Read(CommMode mode = CommMode::None);
  // Recomputes the status display (and the few values it normalises) and
  // announces it.
  void Status_Disp();
  void Command11_Click();  // "Update": read the status again
  const StatusView& view() const { return view_; }

 Q_SIGNALS:
  void statusDisplayed(const hygro::StatusView& view);

 private:
  void registerBranches();
  StatusView view_;
};

}  // namespace hygro
