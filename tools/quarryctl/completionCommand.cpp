#include "tools/quarryctl/commandTable.h"

#include <string>
#include <vector>

namespace quarryctl {
namespace {

// Source: Microsoft Learn, Register-ArgumentCompleter. The words behind quarryctl name a command as far as they are
// keys of the table; the word that is being written is not among them.
constexpr char kBegin[] = R"(# quarryctl completion powershell >> $PROFILE
Register-ArgumentCompleter -Native -CommandName quarryctl, quarryctl.exe -ScriptBlock {
  param($word, $line, $position)
  $table = @{
)";
constexpr char kEnd[] = R"(  }
  $command = ''
  foreach ($element in $line.CommandElements | Select-Object -Skip 1) {
    $longer = "$command $element".Trim()
    if ($element.Extent.EndOffset -lt $position -and $table.ContainsKey($longer)) { $command = $longer }
  }
  $table[$command] -like "$word*" | ForEach-Object {
    [System.Management.Automation.CompletionResult]::new($_, $_, 'ParameterValue', $_)
  }
}
)";

/// A row for `command`, whose names from the first on are `path`, and one for each of its commands.
void AddRows(const CLI::App& command, const std::string& path, std::string& script) {
  std::vector<std::string> words;
  for (const CLI::App* const sub : command.get_subcommands({})) words.push_back(sub->get_name());
  for (const CLI::Option* const option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) words.push_back("--" + name);
  }
  script += "    '" + path + "' = ";
  for (std::size_t index = 0; index < words.size(); ++index) script += (index == 0 ? "'" : ", '") + words[index] + '\'';
  script += '\n';
  for (const CLI::App* const sub : command.get_subcommands({})) {
    AddRows(*sub, path.empty() ? sub->get_name() : path + ' ' + sub->get_name(), script);
  }
}

struct CompletionOptions {
  const CLI::App* parser = nullptr;
  std::string shell;
};

ExitStatus RunCompletion(const CompletionOptions& options, const CommandContext& context) {
  std::string script = kBegin;
  AddRows(*options.parser, "", script);
  context.out.Write(script + kEnd);
  return kDone;
}

void BindCompletion(CLI::App& command, CompletionOptions& options) {
  options.parser = command.get_parent();
  command.add_option("SHELL", options.shell, "powershell")
      ->required()
      ->check(CLI::IsMember({"powershell"}))
      ->type_name("");
}

}  // namespace

void AddCompletionCommand(const CommandGroup& commands) {
  commands.Add("completion", "Write a script that completes commands and options in a shell", BindCompletion,
               RunCompletion);
}

}  // namespace quarryctl
