#include "tools/quarryctl/commandTable.h"
#include "tools/quarryctl/session.h"

#include <memory>

namespace quarryctl {
namespace {

ExitStatus RunDebug(const CommandContext& context) {
  const std::unique_ptr<Session> session = Session::Open(context);
  if (!session) return kNothingFound;
  // Records and library are gone before the report: whatever it still counts as alive was forgotten.
  session->GetLibrary().Scan();
  session->GetLibrary().Exit();
  session->GetLibrary().ReportDebugInfo();
  return kDone;
}

}  // namespace

void AddDebugCommand(const CommandGroup& commands) {
  commands.Add("debug", "Scan, then report the library's object counters and timers", RunDebug);
}

}  // namespace quarryctl
