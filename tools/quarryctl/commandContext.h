#pragma once

#include "tools/quarryctl/output.h"

#include <string_view>

namespace quarryctl {

/// What the process returns to its caller.
enum ExitStatus : int {
  kDone = 0,
  kNothingFound = 1,  ///< Nothing was found, or the library or the system refused.
  kUsage = 2,
  kInterrupted = 130,  ///< By Ctrl+C or Ctrl+Break; the number that shells use for it.
};

/// What every sub-command works with.
struct CommandContext {
  Output& out;
  Output& err;
  int verbosity = 0;  ///< How often -v was given.
};

/// Says on the error stream why nothing comes of a command.
inline ExitStatus Refuse(const CommandContext& context, std::string_view reason) {
  WriteComplaint(context.err, reason);
  return kNothingFound;
}

}  // namespace quarryctl
