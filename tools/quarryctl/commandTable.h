#pragma once

#include "tools/quarryctl/command.h"

namespace quarryctl {

/// The sub-commands, in the order of the help: Add<Name>Command of <name>Command.cpp for each line.
#define QUARRYCTL_COMMANDS(COMMAND) \
  COMMAND(Scan)                     \
  COMMAND(Explain)                  \
  COMMAND(App)                      \
  COMMAND(Extensions)               \
  COMMAND(Verify)                   \
  COMMAND(Icon)                     \
  COMMAND(Launch)                   \
  COMMAND(Windows)                  \
  COMMAND(Rules)                    \
  COMMAND(Settings)                 \
  COMMAND(Filters)                  \
  COMMAND(Doctor)                   \
  COMMAND(Compare)                  \
  COMMAND(Export)                   \
  COMMAND(Debug)                    \
  COMMAND(Completion)               \
  COMMAND(Help)

#define QUARRYCTL_DECLARE_COMMAND(name) void Add##name##Command(const CommandGroup& commands);
QUARRYCTL_COMMANDS(QUARRYCTL_DECLARE_COMMAND)
#undef QUARRYCTL_DECLARE_COMMAND

/// Adds them all.
inline void AddCommands(const CommandGroup& commands) {
#define QUARRYCTL_ADD_COMMAND(name) Add##name##Command(commands);
  QUARRYCTL_COMMANDS(QUARRYCTL_ADD_COMMAND)
#undef QUARRYCTL_ADD_COMMAND
}

}  // namespace quarryctl
