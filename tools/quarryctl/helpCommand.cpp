#include "tools/quarryctl/commandNames.h"
#include "tools/quarryctl/commandTable.h"

#include <string>
#include <vector>

namespace quarryctl {
namespace {

struct HelpOptions {
  const CLI::App* parser = nullptr;
  std::vector<std::string> words;
};

/// With those of what it belongs to, such as "quarryctl rules check".
std::string FullName(const CLI::App& command) {
  const CLI::App* const parent = command.get_parent();
  return parent == nullptr ? command.get_name() : FullName(*parent) + ' ' + command.get_name();
}

ExitStatus RunHelp(const HelpOptions& options, const CommandContext& context) {
  const FoundCommand found = FindCommand(*options.parser, options.words);
  if (!found.unknown.empty()) {
    WriteComplaint(context.err, SuggestCommand(found));
    return kUsage;
  }
  // App::help would tell of this command, which is the one that was parsed.
  context.out.Write(
      found.command->get_formatter()->make_help(found.command, FullName(*found.command), CLI::AppFormatMode::Normal));
  return kDone;
}

void BindHelp(CLI::App& command, HelpOptions& options) {
  options.parser = command.get_parent();
  command.add_option("COMMAND", options.words, R"(The command, such as "scan" or "rules check")")->type_name("");
}

}  // namespace

void AddHelpCommand(const CommandGroup& commands) {
  commands.Add("help", "Tell what a command does and what it takes", BindHelp, RunHelp);
}

}  // namespace quarryctl
