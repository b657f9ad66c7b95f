#include "tools/quarryctl/command.h"
#include "tools/quarryctl/library.h"
#include "tools/quarryctl/logView.h"
#include "tools/quarryctl/privateSettings.h"
#include "tools/quarryctl/tableFormat.h"
#include "tools/quarryctl/utf8.h"
#include "tools/quarryctl/windowExplanations.h"

#include <nlohmann/json.hpp>

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace quarryctl {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kIndent = 2;
constexpr DWORD kWatchIntervalMs = 1'000;

struct WindowsOptions {
  bool json = false;
  bool watch = false;
  bool explain = false;
};

std::string CountLine(std::size_t count) { return std::to_string(count) + (count == 1 ? " window\n" : " windows\n"); }

const char* StateText(const QuarryWindowInfo& window) {
  if (window.isVisible == 0) return "hidden";
  return window.isMinimized != 0 ? "minimized" : "open";
}

std::string FormatTableOf(std::span<const QuarryWindowInfo> windows) {
  std::vector<TableRow> rows = {{"STATE", "TITLE", "IMAGE"}};
  for (const QuarryWindowInfo& window : windows) {
    rows.push_back({StateText(window), Utf8FromWide(window.title), Utf8FromWide(window.imagePath)});
  }
  return (windows.empty() ? "" : FormatTable(rows)) + CountLine(windows.size());
}

std::string FormatJsonOf(std::span<const QuarryWindowInfo> windows) {
  Json array = Json::array();
  for (const QuarryWindowInfo& window : windows) {
    array.push_back({{"title", Utf8FromWide(window.title)},
                     {"isVisible", window.isVisible != 0},
                     {"isMinimized", window.isMinimized != 0},
                     {"imagePath", Utf8FromWide(window.imagePath)}});
  }
  return array.dump(kIndent) + '\n';
}

std::string FormatTableOf(const std::vector<WindowExplanation>& windows) {
  std::vector<TableRow> rows = {{"HANDLE", "DECISION", "TITLE", "CLASS", "IMAGE"}};
  for (const WindowExplanation& window : windows) {
    rows.push_back({window.handle, window.decision, window.title, window.className, window.imagePath});
  }
  return FormatTable(rows) + CountLine(windows.size());
}

std::string FormatJsonOf(const std::vector<WindowExplanation>& windows) {
  Json array = Json::array();
  for (const WindowExplanation& window : windows) {
    array.push_back({{"handle", window.handle},
                     {"decision", window.decision},
                     {"title", window.title},
                     {"className", window.className},
                     {"imagePath", window.imagePath}});
  }
  return array.dump(kIndent) + '\n';
}

WindowExplanations& Explanations() {
  static WindowExplanations explanations;
  return explanations;
}

/// The library's callback while windows are explained.
void ReceiveForExplanations(std::uint32_t level, const wchar_t* message) noexcept {
  LogView::Receive(level, message);
  if (message == nullptr) return;
  const std::wstring_view text = message;
  Explanations().Observe(text.substr(0, text.find_last_not_of(L"\r\n") + 1));
}

ExitStatus Explain(const Library& library, const WindowsOptions& options, const CommandContext& context) {
  {
    // The library reads the switch at its first listing and never again.
    const PrivateSettings verbose(L"VerboseWindowLogging", L"1");
    library.GetOpenWindows();
  }
  Explanations().Forget();
  library.GetOpenWindows();
  const std::vector<WindowExplanation>& windows = Explanations().Get();
  if (windows.empty()) {
    context.err.Write("quarryctl: there are no windows, or the verbose window log could not be switched on\n");
    return kNothingFound;
  }
  context.out.Write(options.json ? FormatJsonOf(windows) : FormatTableOf(windows));
  return kDone;
}

/// Signalled by Ctrl+C and Ctrl+Break from its first use on.
HANDLE EndOfWatch() {
  static const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);  // used until the process ends
  static const BOOL handled = SetConsoleCtrlHandler(
      [](DWORD control) -> BOOL {
        if (control != CTRL_C_EVENT && control != CTRL_BREAK_EVENT) return FALSE;
        return SetEvent(event);
      },
      TRUE);
  return handled != FALSE ? event : nullptr;
}

std::string Format(const WindowRecords& records, bool json) {
  return json ? FormatJsonOf(Items(records)) : FormatTableOf(Items(records));
}

/// Writes the list again whenever it has changed.
void Watch(const Library& library, std::string shown, const WindowsOptions& options, const CommandContext& context) {
  const HANDLE end = EndOfWatch();
  while (end != nullptr && WaitForSingleObject(end, kWatchIntervalMs) == WAIT_TIMEOUT && !context.out.HasFailed()) {
    std::string now = Format(library.GetOpenWindows(), options.json);
    if (now == shown) continue;
    context.out.Write((options.json ? "" : "\n") + now);
    shown = std::move(now);
  }
}

ExitStatus RunWindows(const WindowsOptions& options, const CommandContext& context) {
  LogView log(context.err, ShownLevels(context));
  const std::unique_ptr<Library> library =
      Library::Open(options.explain ? &ReceiveForExplanations : &LogView::Receive, context.err);
  if (!library) return kNothingFound;
  if (options.explain) return Explain(*library, options, context);

  const WindowRecords records = library->GetOpenWindows();
  const std::string list = Format(records, options.json);
  context.out.Write(list);
  if (options.watch) Watch(*library, list, options, context);
  return records || options.watch ? kDone : kNothingFound;
}

}  // namespace

void AddWindowsCommand(CLI::App& parser, Command& chosen) {
  const auto options = std::make_shared<WindowsOptions>();
  CLI::App* command = parser.add_subcommand("windows", "List the session's windows as remote users see them");
  command->add_flag("--json", options->json, "Write the windows as a JSON array");
  CLI::Option* watch =
      command->add_flag("--watch", options->watch, "Write the list again when it changes, until Ctrl+C");
  command->add_flag("--explain", options->explain, "List every window that was looked at, with the test that decided")
      ->excludes(watch);
  command->callback(
      [options, &chosen] { chosen = [options](CommandContext& context) { return RunWindows(*options, context); }; });
}

}  // namespace quarryctl
