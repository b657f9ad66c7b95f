#include "lib/unicode/unicode.h"

#include "tools/quarryctl/commandTable.h"
#include "tools/quarryctl/interruption.h"
#include "tools/quarryctl/json.h"
#include "tools/quarryctl/options.h"
#include "tools/quarryctl/privateSettings.h"
#include "tools/quarryctl/recordJson.h"
#include "tools/quarryctl/session.h"
#include "tools/quarryctl/table.h"
#include "tools/quarryctl/windowExplanations.h"

#include <windows.h>

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace quarryctl {
namespace {

constexpr char kNoun[] = "window";
constexpr DWORD kWatchIntervalMs = 1'000;

struct WindowsOptions {
  bool json = false;
  bool watch = false;
  bool explain = false;
};

const char* StateText(const QuarryWindowInfo& window) {
  if (window.isVisible == 0) return "hidden";
  return window.isMinimized != 0 ? "minimized" : "open";
}

std::string FormatText(std::span<const QuarryWindowInfo> windows, std::size_t width) {
  std::vector<TableRow> rows = {{"STATE", "TITLE", "IMAGE"}};
  for (const QuarryWindowInfo& window : windows) {
    rows.push_back({StateText(window), Unicode_Utf8FromWide(window.title), Unicode_Utf8FromWide(window.imagePath)});
  }
  return FormatList(rows, kNoun, width);
}

std::string FormatText(const std::vector<WindowExplanation>& windows, std::size_t width) {
  std::vector<TableRow> rows = {{"HANDLE", "DECISION", "TITLE", "CLASS", "IMAGE"}};
  for (const WindowExplanation& window : windows) {
    rows.push_back({window.handle, window.decision, window.title, window.className, window.imagePath});
  }
  return FormatList(rows, kNoun, width);
}

Json JsonFromExplanations(const std::vector<WindowExplanation>& windows) {
  Json array = Json::array();
  for (const WindowExplanation& window : windows) {
    array.push_back({{"handle", window.handle},
                     {"decision", window.decision},
                     {"title", window.title},
                     {"className", window.className},
                     {"imagePath", window.imagePath}});
  }
  return array;
}

ExitStatus Explain(Session& session, const WindowsOptions& options, const CommandContext& context) {
  {
    // The library reads the switch at its first listing and never again.
    const PrivateSettings verbose(L"VerboseWindowLogging", L"1");
    session.GetLibrary().GetOpenWindows();
  }
  WindowExplanations explanations;
  {
    const LogListener listener(
        session.GetLog(), [&explanations](std::uint32_t, std::wstring_view message) { explanations.Observe(message); });
    session.GetLibrary().GetOpenWindows();
  }
  const std::vector<WindowExplanation>& windows = explanations.Get();
  if (windows.empty()) {
    return Refuse(context, "there are no windows, or the verbose window log could not be switched on");
  }
  context.out.Write(options.json ? FormatJson(JsonFromExplanations(windows))
                                 : FormatText(windows, context.out.Columns()));
  return kDone;
}

std::string Format(const WindowRecords& records, bool json, const Output& out) {
  return json ? FormatJson(JsonFrom(Items(records))) : FormatText(Items(records), out.Columns());
}

/// Writes the list again whenever it has changed.
ExitStatus Watch(Library& library, std::string shown, const WindowsOptions& options, const CommandContext& context) {
  while (!WaitForInterruption(kWatchIntervalMs)) {
    if (context.out.IsLost()) return kDone;
    std::string now = Format(library.GetOpenWindows(), options.json, context.out);
    if (now == shown) continue;
    context.out.Write((options.json ? "" : "\n") + now);
    shown = std::move(now);
  }
  return kInterrupted;
}

ExitStatus RunWindows(const WindowsOptions& options, const CommandContext& context) {
  const std::unique_ptr<Session> session = Session::Open(context);
  if (!session) return kNothingFound;
  if (options.explain) return Explain(*session, options, context);

  const WindowRecords records = session->GetLibrary().GetOpenWindows();
  const std::string list = Format(records, options.json, context.out);
  context.out.Write(list);
  if (options.watch) return Watch(session->GetLibrary(), list, options, context);
  return records.empty() ? kNothingFound : kDone;
}

void BindWindows(CLI::App& command, WindowsOptions& options) {
  BindJson(command, options.json, "Write the windows as a JSON array");
  CLI::Option* const watch =
      command.add_flag("--watch", options.watch, "Write the list again when it changes, until Ctrl+C");
  command.add_flag("--explain", options.explain, "List every window that was looked at, with the test that decided")
      ->excludes(watch);
}

}  // namespace

void AddWindowsCommand(const CommandGroup& commands) {
  commands.Add("windows", "List the session's windows as remote users see them", BindWindows, RunWindows);
}

}  // namespace quarryctl
