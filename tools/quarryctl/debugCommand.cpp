#include "tools/quarryctl/command.h"
#include "tools/quarryctl/library.h"
#include "tools/quarryctl/logView.h"

#include <memory>

namespace quarryctl {
namespace {

ExitStatus RunDebug(const CommandContext& context) {
  LogView log(context.err, ShownLevels(context));
  const std::unique_ptr<Library> library = Library::Open(&LogView::Receive, context.err);
  if (!library) return kNothingFound;
  // Records and library are gone before the report: whatever it still counts as alive was forgotten.
  library->Scan({});
  log.EndProgress();
  library->Exit();
  library->ReportDebugInfo();
  return kDone;
}

}  // namespace

void AddDebugCommand(CLI::App& parser, Command& chosen) {
  CLI::App* command = parser.add_subcommand("debug", "Scan, then report the library's object counters and timers");
  command->callback([&chosen] { chosen = RunDebug; });
}

}  // namespace quarryctl
