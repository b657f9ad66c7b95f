#pragma once

#include "tools/quarryctl/commandContext.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <memory>

namespace quarryctl {

/// A sub-command with the options that it was given.
using Command = std::function<ExitStatus(const CommandContext&)>;

/// The sub-commands of this program, or those of one of them, such as "rules check".
class CommandGroup {
 public:
  /// Parsing stores the sub-command that is asked for in `chosen`. Both must outlive it.
  CommandGroup(CLI::App& parser, Command& chosen) : parser_(parser), chosen_(chosen) {}

  /// Adds a sub-command. `bind` binds its command line to the members of an `Options`, with which `run` does the work.
  /// To the group that is returned further ones can be added, such as "filters check", one of which can be given.
  template <typename Options>
  CommandGroup Add(const char* name, const char* description, void (*bind)(CLI::App& command, Options& options),
                   ExitStatus (*run)(const Options& options, const CommandContext& context)) const {
    const auto options = std::make_shared<Options>();
    CLI::App* const command = parser_.add_subcommand(name, description);
    bind(*command, *options);
    // Called after those of the sub-commands below.
    command->callback([options, run, command, &chosen = chosen_] {
      if (!command->get_subcommands().empty()) return;
      chosen = [options, run](const CommandContext& context) { return run(*options, context); };
    });
    return {*command, chosen_};
  }

  /// Adds a sub-command without options.
  void Add(const char* name, const char* description, ExitStatus (*run)(const CommandContext& context)) const {
    parser_.add_subcommand(name, description)->callback([run, &chosen = chosen_] { chosen = run; });
  }

  /// Adds a name under which further sub-commands stand, of which one must be given.
  CommandGroup AddGroup(const char* name, const char* description) const {
    CLI::App* const group = parser_.add_subcommand(name, description);
    group->require_subcommand(1);
    return {*group, chosen_};
  }

 private:
  CLI::App& parser_;
  Command& chosen_;
};

}  // namespace quarryctl
