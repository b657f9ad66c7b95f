#pragma once

#include "tools/quarryctl/output.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <functional>

namespace quarryctl {

/// What the process returns to its caller.
enum ExitStatus : int {
  kDone = 0,
  kNothingFound = 1,  ///< Nothing was found, or the library or the system refused.
  kUsage = 2,
};

/// What every sub-command works with.
struct CommandContext {
  Output& out;
  Output& err;
  int verbosity = 0;  ///< How often -v was given.
};

using Command = std::function<ExitStatus(CommandContext&)>;

/// How many levels of the library's log to show: errors always, one level more for each -v.
inline unsigned ShownLevels(const CommandContext& context) {
  return 1u + static_cast<unsigned>(std::clamp(context.verbosity, 0, 3));
}

/// Each adds one sub-command with its options to `parser`; parsing stores it in `chosen` when it is the one asked for.
/// Both must outlive the parsing.
void AddScanCommand(CLI::App& parser, Command& chosen);
void AddAppCommand(CLI::App& parser, Command& chosen);
void AddExtensionsCommand(CLI::App& parser, Command& chosen);
void AddVerifyCommand(CLI::App& parser, Command& chosen);
void AddIconCommand(CLI::App& parser, Command& chosen);
void AddLaunchCommand(CLI::App& parser, Command& chosen);
void AddWindowsCommand(CLI::App& parser, Command& chosen);
void AddRulesCommand(CLI::App& parser, Command& chosen);
void AddDebugCommand(CLI::App& parser, Command& chosen);

}  // namespace quarryctl
