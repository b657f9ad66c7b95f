// The session's windows as a host sees them: windows of other processes, through quarry.dll, with the verbose window
// log on for this whole process.

#include "tests/support/hostTest.h"
#include "tests/support/windowMaker.h"

#include <fstream>

namespace quarry::test {
namespace {

/// The library reads the switch of the verbose window log, and the Windows folder, once in a process.
class ProcessSettings : public Environment {
 public:
  ProcessSettings() {
    settings_.SetString({}, L"VerboseWindowLogging", L"1");
    SetEnvironmentVariableW(L"windir", folder_.Path().c_str());
  }
  std::wstring Program(const wchar_t* name) const { return folder_.CopyFrom(name, FixtureProgram(L"windowMaker")); }

 private:
  const RegistryFixture settings_{kSettingsKey};
  const TemporaryFolder folder_{L"quarryWindows"};
};

// GoogleTest deletes it.
const auto* const kProcess = static_cast<ProcessSettings*>(AddGlobalTestEnvironment(new ProcessSettings));

auto CountTitle(const WindowArray& windows, std::wstring_view title) {
  return std::count_if(windows.begin(), windows.end(),
                       [title](const QuarryWindowInfo& window) { return window.title == title; });
}

/// The lines on one window in the verbose window log, from the one that names it to the one that decides.
Names LinesOn(HWND window) {
  const std::vector<LogLine>& lines = HostLog::Lines();
  const LogLine first = {3, Str_FormatWide(L"Found a window, handle %p...\n", window)};
  Names found;
  for (auto line = std::find(lines.begin(), lines.end(), first); line != lines.end(); ++line) {
    found.push_back(line->text);
    if (line->text.starts_with(L"    Kept") || line->text.starts_with(L"    Skipped")) break;
  }
  return found;
}

struct Case {
  WindowSpec window;
  std::wstring decision = L"Kept (attribute match)";
};

/// Opens the windows in a process of `program` and expects each to be decided on, and listed, as its case says.
void ExpectDecisions(const QuarryHost& host, const std::wstring& program, const std::vector<Case>& cases) {
  std::vector<WindowSpec> specs(cases.size());
  std::transform(cases.begin(), cases.end(), specs.begin(), [](const Case& one) { return one.window; });
  const WindowMaker maker(specs, false, program);
  HostLog::Clear();
  std::multimap<std::wstring, int> listed;  // title and whether minimized
  for (const QuarryWindowInfo& window : host.GetOpenWindows()) {
    EXPECT_EQ(window.isVisible, 1);
    if (window.imagePath == program) listed.emplace(window.title, window.isMinimized);
  }
  std::multimap<std::wstring, int> expected;
  for (std::size_t index = 0; index < cases.size(); ++index) {
    const auto& [window, decision] = cases[index];
    const Names lines = LinesOn(maker.Window(index));
    EXPECT_EQ(lines.empty() ? L"" : lines.back(), L"    " + decision + L"\n") << index;
    if (decision.starts_with(L"Kept")) expected.emplace(window.title, (window.style & WS_MINIMIZE) != 0 ? 1 : 0);
  }
  EXPECT_EQ(listed, expected);
}

TEST(WindowManager, SkipsByTheFirstTestThatDecides) {
  const RegistryFixture rules(kFilterKey);
  rules.SetString({}, L"a", L"classname=QuarryBlocked;action=block");
  rules.SetString({}, L"b", L"classname=QuarryTip;type=tooltip;action=map");
  const QuarryHost host;
  constexpr DWORD kBalloon = WS_EX_TRANSPARENT | WS_EX_LAYERED;
  constexpr DWORD kPopup = WS_POPUP | WS_VISIBLE;
  const std::wstring plain = WindowSpec().className;
  const std::wstring special = L"Skipped (special case)";
  const std::wstring small = L"Skipped (window is too small)";
  ExpectDecisions(host, FixtureProgram(L"windowMaker"),
                  {
                      {{L"Plain"}},
                      {{L"Minimized", plain, WS_OVERLAPPEDWINDOW | WS_VISIBLE | WS_MINIMIZE}},
                      {{L"Child", plain, WS_CHILD}, L"Skipped (child)"},
                      {{L"Invisible", plain, WS_POPUP, 0, 1, 1}, L"Skipped (visibility mismatch)"},
                      {{L"Dot", L"QuarryBlocked", kPopup, 0, 1, 1}, small},
                      {{L"Tall", plain, kPopup, 0, 1, 2}},
                      {{L"Wide", plain, kPopup, 0, 2, 1}},
                      {{L"Blocked", L"QuarryBlocked", kPopup, kBalloon}, L"Skipped (blocked by filter)"},
                      {{L"Bar", L"Shell_TrayWnd", kPopup, kBalloon}, L"Skipped (transparent balloon window)"},
                      {{L"Tip", L"QuarryTip", kPopup, kBalloon}},
                      {{L"Layered", plain, kPopup, WS_EX_LAYERED}},
                      {{L"Transparent", plain, kPopup, WS_EX_TRANSPARENT}},
                      {{L"Bar", L"Shell_TrayWnd"}, L"Skipped (taskbar window)"},
                      {{L"Bar2", L"Shell_SecondaryTrayWnd"}, L"Skipped (taskbar window)"},
                      {{L"NotABar", L"Shell_TrayWnd2"}},
                      {{L"TF_FloatingLangBar_WndTitle", L"CiceroUIWndFrame"}},
                      {{L""}},
                  });
  ExpectDecisions(host, kProcess->Program(L"explorer.exe"),
                  {{{L"", plain, WS_CHILD | WS_BORDER}, special}, {{L"Folder"}}, {{L"", plain, kPopup}}});
  ExpectDecisions(
      host, kProcess->Program(L"system32\\taskhostw.exe"),
      {{{L"TF_FloatingLangBar_WndTitle"}, special}, {{L"Input", L"CiceroUIWndFrame"}, special}, {{L"Task"}}});
}

TEST(WindowManager, LogsEveryAttributeAndTheResult) {
  const QuarryHost host;
  const WindowMaker maker({{L"Attributes"}});
  const HWND window = maker.Window();
  RECT rectangle{};
  GetWindowRect(window, &rectangle);
  HostLog::Clear();
  const WindowArray windows = host.GetOpenWindows();
  EXPECT_THAT(LinesOn(window),
              ElementsAre(_, L"    title       = Attributes\n", L"    class       = QuarryTestWindow\n",
                          L"    isVisible   = true\n", L"    isMinimized = false\n", L"    isChild     = false\n",
                          L"    isCaptioned = true\n", L"    isPopup     = false\n", L"    isPopup2    = true\n",
                          L"    isOverlap   = true\n", L"    imagePath   = " + FixtureProgram(L"windowMaker") + L"\n",
                          Str_FormatWide(L"    processId   = %d\n", maker.ProcessId()),
                          Str_FormatWide(L"    windowRect  = {%d,%d,%d,%d}\n", rectangle.left, rectangle.top,
                                         rectangle.right, rectangle.bottom),
                          Str_FormatWide(L"    dwStyle     = %ld\n", GetWindowLongW(window, GWL_STYLE)),
                          Str_FormatWide(L"    dwExStyle   = %ld\n", GetWindowLongW(window, GWL_EXSTYLE)),
                          L"    dwWinStatus = 0\n", L"    WS_DISABLED     = false\n", L"    WS_EX_APPWINDOW = false\n",
                          L"    WS_EX_NOACTIVATE= false\n", L"    Kept (attribute match)\n"));
  EXPECT_EQ(HostLog::Lines().front(), (LogLine{3, L"Enumerating all windows...\n"}));
  EXPECT_EQ(HostLog::Count(3, Str_FormatWide(L"Window enumeration results: %d\n", windows.size())), 1u);
  for (int number = 0; const QuarryWindowInfo& listed : windows) {
    const std::wstring line =
        Str_FormatWide(L"#%d title=\"%s\" image=\"%s\"\n", ++number, listed.title, listed.imagePath);
    EXPECT_EQ(HostLog::Count(3, line), 1u) << line;
  }
}

TEST(WindowManager, AddsOneDummyWindowForTheEvents) {
  // The component that made it first lets others do nothing but wait.
  const UniqueLocal<void> waitOnly = SecurityDescriptor(L"D:(A;;0x100000;;;WD)");
  SECURITY_ATTRIBUTES security{sizeof(security), waitOnly.get(), FALSE};
  const UniqueKernelHandle hidden(CreateEventW(&security, TRUE, FALSE, L"Local\\VelkorSeamlyWindowsHiddenByHost"));
  const QuarryHost host;
  const UniqueKernelHandle tray(OpenEventW(EVENT_ALL_ACCESS, FALSE, L"Local\\SeamlyTrayIconsActiveEvent"));
  ASSERT_TRUE(hidden && tray) << "the library makes the event";
  constexpr wchar_t kHidden[] = L"One or more Seamly windows were hidden by the client. Adding a dummy window.\n";
  constexpr wchar_t kTray[] =
      L"One or more system tray icons were added by applications that were launched by the user. Adding a dummy "
      L"window.\n";
  for (const unsigned set : {0u, 1u, 2u, 3u}) {
    ASSERT_TRUE((set & 1) != 0 ? SetEvent(hidden.get()) : ResetEvent(hidden.get()));
    ASSERT_TRUE((set & 2) != 0 ? SetEvent(tray.get()) : ResetEvent(tray.get()));
    for (int look = 0; look < 2; ++look) {  // an event stays set
      HostLog::Clear();
      const WindowArray windows = host.GetOpenWindows();
      EXPECT_EQ(HostLog::Count(3, kHidden), set & 1);
      EXPECT_EQ(HostLog::Count(3, kTray), set >> 1);
      ASSERT_EQ(CountTitle(windows, L"Hidden Seamly window"), set != 0 ? 1 : 0);
      if (set == 0) continue;
      const QuarryWindowInfo& dummy = windows[windows.size() - 1];
      EXPECT_STREQ(dummy.title, L"Hidden Seamly window");
      EXPECT_STREQ(dummy.imagePath, L"");
      EXPECT_EQ(std::pair(dummy.isVisible, dummy.isMinimized), std::pair(1, 0));
    }
  }
}

TEST(WindowManager, CopesWithHungAndClosedProcessesAndItsOwnAndWithoutItsEvents) {
  // Another kind of object has the names of the events.
  const UniqueKernelHandle first(CreateMutexW(nullptr, FALSE, L"Local\\VelkorSeamlyWindowsHiddenByHost"));
  const UniqueKernelHandle second(CreateMutexW(nullptr, FALSE, L"Local\\SeamlyTrayIconsActiveEvent"));
  const std::wstring title(10'000, L'T');
  const WindowMaker hung({{title}, {L"Hung"}}, true);
  const WindowMaker closed({{L"Closed process"}, {L"Closed too"}});
  const UniqueLocal<void> nobody = SecurityDescriptor(L"D:");
  ASSERT_TRUE(SetKernelObjectSecurity(closed.Process(), DACL_SECURITY_INFORMATION, nobody.get()));
  const UniqueWindow own(CreateWindowExW(0, L"STATIC", L"Own window", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 90, 90,
                                         nullptr, nullptr, nullptr, nullptr));
  const QuarryHost host;
  EXPECT_EQ(HostLog::Count(0, L"Failed to create hidden Seamly window event with error 0x00000006.\n"), 1u);
  EXPECT_EQ(HostLog::Count(0, L"Failed to create Seamly tray icons active event with error 0x00000006.\n"), 1u);
  const WindowArray windows = host.GetOpenWindows();  // and waits for nobody
  for (const std::wstring& listed : {title.substr(0, 512), std::wstring(L"Hung"), std::wstring(L"Closed process")}) {
    EXPECT_EQ(CountTitle(windows, listed), 1);
  }
  EXPECT_THAT(LinesOn(own.get()), ElementsAre(_, L"    Skipped (own process)\n"));
  for (const std::size_t index : {0U, 1U}) {
    EXPECT_THAT(LinesOn(closed.Window(index)),
                IsSupersetOf({Str_FormatWide(L"OpenProcess failed, process=%ld, error=5\n", closed.ProcessId()),
                              std::wstring(L"Failed to get window process data\n"),
                              std::wstring(L"    imagePath   = \n"), std::wstring(L"    processId   = -1\n")}));
  }
}

void WriteRule(const std::filesystem::path& folder, const char* className) {
  std::filesystem::create_directories(folder / L"a folder is no rule file");
  std::ofstream(folder / L"Regeln 漢字.txt") << "BeginRule\nclassname=" << className << "\naction=map\n";
}

TEST(WindowFilter, AppliesRuleFilesAheadOfRegistryRulesForAsLongAsTheFacadeLives) {
  const WindowMaker maker({{L"One", L"QuarryOne"}, {L"Two", L"QuarryTwo"}, {L"Other"}});
  const auto listed = [] {
    const QuarryHost host;
    auto* records = reinterpret_cast<QuarryWindowInfo*>(0x22);
    std::uint64_t count = 4711;
    host->GetOpenWindows(&records, &count);
    EXPECT_EQ(records == nullptr, count == 0);
    std::wstring titles;
    for (const QuarryWindowInfo& window : std::span(records, count)) titles += window.title;
    host->FreeWindows(records, count);
    return titles;
  };
  const std::filesystem::path machine = L"C:\\ProgramData\\Velkor";
  const std::filesystem::path beside = BinFolder() / L"tests" / L"Seamly Filters";
  const std::wstring all = listed();
  EXPECT_NE(all, L"");
  {
    const RegistryFixture rules(kFilterKey);
    rules.SetString({}, L"all", L"action=block");
    WriteRule(machine / L"KilnServer" / L"Seamly Filters", "QuarryOne");
    WriteRule(beside, "QuarryTwo");
    EXPECT_EQ(listed(), L"One");
    OpenToEveryone(machine / L"KilnServer");
    EXPECT_EQ(listed(), L"Two") << "others can exchange the rules";
    EXPECT_THAT(HostLog::Holding(L"Window filter rules left out: C:\\ProgramData\\Velkor\\KilnServer, owner "),
                ElementsAre(Field(&LogLine::level, 1)));
    std::filesystem::remove_all(machine);
    EXPECT_EQ(listed(), L"Two") << "the folder beside the host's program stands in";
    std::filesystem::remove_all(beside);
    EXPECT_EQ(listed(), L"");
  }
  EXPECT_EQ(listed(), all);
}

}  // namespace
}  // namespace quarry::test
