#include "quarry/quarry.h"

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

std::uint32_t FlagsOf(const LaunchOptions& options) {
  return (options.reuse ? QUARRY_LAUNCH_REUSE_RUNNING : 0u) | (options.maximize ? QUARRY_LAUNCH_MAXIMIZE : 0u) |
         (options.allowLocal ? QUARRY_LAUNCH_ALLOW_LOCAL_FILES : 0u) |
         (options.track ? QUARRY_LAUNCH_TRACK_PROCESSES : 0u);
}

/// Custom parameters with the text that they point to.
struct Parameters {
  std::vector<std::pair<const wchar_t*, std::wstring>> texts;

  void Add(const wchar_t* type, const std::vector<std::string>& values) {
    for (const std::string& value : values) texts.emplace_back(type, Unicode_WideFromUtf8(value));
  }
  std::vector<QuarryLaunchParameter> Records() const {
    std::vector<QuarryLaunchParameter> records;
    for (const auto& [type, value] : texts) records.push_back({type, value.c_str()});
    return records;
  }
};

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
  Parameters parameters;
  parameters.Add(L"file-path", options.files);
  parameters.Add(L"url", options.urls);
  parameters.Add(L"appCommandLine", options.commandLine);
  const std::uint32_t result =
      session->GetLibrary().Launch(options.path, FlagsOf(options), Unicode_WideFromUtf8(options.arguments),
                                   Unicode_WideFromUtf8(options.folder), parameters.Records());
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
