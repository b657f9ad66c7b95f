#include "lib/misc/platformHandles.h"
#include "lib/unicode/unicode.h"

#include "tools/quarryctl/commandNames.h"
#include "tools/quarryctl/commandTable.h"
#include "tools/quarryctl/interruption.h"
#include "tools/quarryctl/output.h"
#include "tools/quarryctl/versionText.h"

#include <CLI/CLI.hpp>

#include <windows.h>

#include <shellapi.h>

#include <exception>
#include <sstream>
#include <string>
#include <vector>

namespace quarryctl {
namespace {

constexpr const char* kFooter =
    "Without -v only errors of the library's log are shown on the error stream. -v adds warnings\n"
    "(what was skipped), -vv what happened to each file, -vvv all detail.\n"
    "Exit status: 0 done, 1 nothing found or refused, 2 usage, 130 interrupted.";

// The run time's own arguments are in the process's code page, which cannot hold every path.
std::vector<std::string> CommandLineArguments() {
  int count = 0;
  const UniqueLocal<wchar_t*> arguments(CommandLineToArgvW(GetCommandLineW(), &count));
  std::vector<std::string> result;
  for (int index = 1; arguments && index < count; ++index) {
    result.push_back(Unicode_Utf8FromWide(arguments.get()[index]));
  }
  return result;
}

/// `words` are those of the command line.
ExitStatus ReportParseEnd(const CLI::App& parser, const std::vector<std::string>& words, const CLI::ParseError& end,
                          CommandContext& context) {
  const FoundCommand found = FindCommand(parser, words);
  if (end.get_exit_code() != 0 && !found.unknown.empty()) {
    WriteComplaint(context.err, SuggestCommand(found) + " (\"quarryctl help\" lists them)");
    return kUsage;
  }
  std::ostringstream out;
  std::ostringstream err;
  const int code = parser.exit(end, out, err);
  context.out.Write(out.str());
  context.err.Write(err.str());
  return code == 0 ? kDone : kUsage;
}

ExitStatus Run(const std::vector<std::string>& words, CommandContext& context) {
  CLI::App parser("Shows what this host publishes to remote users.", "quarryctl");
  parser.footer(kFooter);
  parser.require_subcommand(1);
  parser.fallthrough();
  // A slash begins a path here, not an option.
  parser.allow_windows_style_options(false);
  parser.set_version_flag("--version", VersionText, "Tell the versions of tool, library and system, and exit");
  parser.add_flag("-v,--verbose", context.verbosity, "Show more of the library's log (up to -vvv)");
  Command chosen;
  AddCommands(CommandGroup(parser, chosen));
  try {
    parser.parse(std::vector<std::string>(words.rbegin(), words.rend()));
  } catch (const CLI::ParseError& end) {
    return ReportParseEnd(parser, words, end, context);
  }
  return chosen(context);
}

int Main() {
  Output err(STD_ERROR_HANDLE);
  Output out(STD_OUTPUT_HANDLE, &err);
  EndWhenInterrupted();
  try {
    CommandContext context{out, err};
    const ExitStatus status = Run(CommandLineArguments(), context);
    if (!out.HasFailed()) return status;
    WriteComplaint(err, "the output could not be written");
  } catch (const std::exception& error) {
    WriteComplaint(err, error.what());
  }
  return kNothingFound;
}

}  // namespace
}  // namespace quarryctl

int main() { return quarryctl::Main(); }
