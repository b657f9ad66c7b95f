#include "quarry/quarry.hpp"

#include "lib/unicode/unicode.h"

#include "tools/quarryctl/commandTable.h"
#include "tools/quarryctl/options.h"
#include "tools/quarryctl/session.h"

#include <array>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace quarryctl {
namespace {

struct LaunchOptions {
  std::wstring path;
  bool reuse = false;
  bool maximize = false;
  bool track = false;
  bool allowLocal = false;
  std::string arguments;
  std::string folder;
  std::vector<std::string> files;
  std::vector<std::string> urls;
  std::vector<std::string> commandLine;  // at most one; an empty text is one too
};

quarry::LaunchRequest RequestOf(const LaunchOptions& options) {
  using Kind = quarry::LaunchParameter::Kind;
  quarry::LaunchRequest request;
  request.path = options.path;
  request.arguments = Unicode_WideFromUtf8(options.arguments);
  request.workingDirectory = Unicode_WideFromUtf8(options.folder);
  request.reusesRunning = options.reuse;
  request.maximizes = options.maximize;
  request.allowsLocalFiles = options.allowLocal;
  request.tracksProcesses = options.track;
  const std::pair<Kind, const std::vector<std::string>&> kinds[] = {
      {Kind::File, options.files}, {Kind::Url, options.urls}, {Kind::CommandLine, options.commandLine}};
  for (const auto& [kind, values] : kinds) {
    for (const std::string& value : values) request.parameters.push_back({kind, Unicode_WideFromUtf8(value)});
  }
  return request;
}

std::string Describe(std::uint32_t result) {
  static constexpr std::array<const char*, 5> kMeanings = {
      "started, or a running instance was brought forward",
      "the shell could not start it",
      "some redirected files did not appear in time",
      "refused: bad request, or not allowed by policy",
      "refused: client drive redirection is disabled by policy",
  };
  return result < kMeanings.size() ? kMeanings[result] : "unknown result";
}

ExitStatus RunLaunch(const LaunchOptions& options, const CommandContext& context) {
  const std::unique_ptr<Session> session = Session::Open(context);
  if (!session) return kNothingFound;
  const auto result = static_cast<std::uint32_t>(session->GetLibrary().Launch(RequestOf(options)));
  context.out.Write(Unicode_Utf8FromWide(options.path) + ": " + Describe(result) + '\n');
  return static_cast<ExitStatus>(result);
}

void BindLaunch(CLI::App& command, LaunchOptions& options) {
  BindApplicationPath(command, options.path, "Shortcut, program or script");
  command.add_flag("--reuse", options.reuse, "Bring a running instance forward instead");
  command.add_flag("--maximize", options.maximize, "Show it maximised");
  command.add_flag("--track", options.track, "Only count as running what this host program started");
  command.add_flag("--allow-local", options.allowLocal, "Accept files that are not on client drives");
  command.add_option("--args", options.arguments, "Command-line parameters")->type_name("TEXT");
  command.add_option("--cwd", options.folder, "Folder to start in")->type_name("DIR");
  command.add_option("--file", options.files, "Open a file with it")->type_name("FILE")->allow_extra_args(false);
  command.add_option("--url", options.urls, "Open a URL with it")->type_name("URL")->allow_extra_args(false);
  command.add_option("--command-line", options.commandLine, "Further command-line text")
      ->type_name("TEXT")
      ->expected(1)
      ->allow_extra_args(false);
  command.footer(
      "Exit status: 0 started or brought forward, 1 the shell could not start it, 2 files missing (or usage),\n"
      "3 refused, 4 client drive redirection is disabled.");
}

}  // namespace

void AddLaunchCommand(const CommandGroup& commands) {
  commands.Add("launch", "Start an application as a remote user would", BindLaunch, RunLaunch);
}

}  // namespace quarryctl
