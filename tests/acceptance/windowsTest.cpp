// The session's windows as a host sees them: windows of other processes, through quarry.dll, with the verbose window
// log on for this whole process.

#include "lib/misc/platformHandles.h"

#include "tests/support/quarryHost.h"
#include "tests/support/registryFixture.h"
#include "tests/support/temporaryFolder.h"
#include "tests/support/versionedExecutable.h"
#include "tests/support/windowMaker.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <sddl.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <fstream>
#include <optional>

namespace quarry::test {
namespace {

constexpr wchar_t kFilterKey[] = L"SOFTWARE\\Velkor, Inc.\\Velkor Tarn\\Velkor Seamly\\Filters";
constexpr wchar_t kRulesFolder[] = L"C:\\ProgramData\\Velkor\\KilnServer\\Seamly Filters";

/// The library reads the switch of the verbose window log, and the Windows folder, once in a process.
class ProcessSettings : public testing::Environment {
 public:
  void SetUp() override {
    settings_.emplace(kSettingsKey);
    settings_->SetString({}, L"VerboseWindowLogging", L"1");
    folder_.emplace(L"quarryWindows");
    ASSERT_TRUE(SetEnvironmentVariableW(L"windir", folder_->Path().c_str()));
    for (const wchar_t* name : {L"explorer.exe", L"system32\\taskhostw.exe"}) {
      folder_->CopyFrom(name, FixtureProgram(L"windowMaker"));
    }
  }
  void TearDown() override {
    settings_.reset();
    folder_.reset();
  }
  static std::wstring Program(const wchar_t* name) { return *folder_ / name; }

 private:
  std::optional<RegistryFixture> settings_;
  static inline std::optional<TemporaryFolder> folder_;
};

const auto* const kProcessSettings = testing::AddGlobalTestEnvironment(new ProcessSettings);  // GoogleTest deletes it

std::size_t CountTitle(const WindowArray& windows, std::wstring_view title) {
  return static_cast<std::size_t>(std::count_if(
      windows.begin(), windows.end(), [title](const QuarryWindowInfo& window) { return window.title == title; }));
}

std::wstring Formatted(const wchar_t* format, auto... arguments) {
  wchar_t text[2048];
  return {text, static_cast<std::size_t>(_snwprintf(text, std::size(text), format, arguments...))};
}

/// The lines on one window in the verbose window log, from the one that names it to the one that decides.
std::vector<std::wstring> LinesOn(HWND window) {
  const std::vector<LogLine>& lines = HostLog::Lines();
  auto line = std::find(lines.begin(), lines.end(), LogLine{3, Formatted(L"Found a window, handle %p...\n", window)});
  std::vector<std::wstring> found;
  for (; line != lines.end(); ++line) {
    found.push_back(line->text);
    if (line->text.starts_with(L"    Kept") || line->text.starts_with(L"    Skipped")) break;
  }
  return found;
}

TEST(WindowManager, SkipsByTheFirstTestThatDecides) {
  const RegistryFixture rules(kFilterKey);
  rules.SetString({}, L"a", L"classname=QuarryBlocked;action=block");
  rules.SetString({}, L"b", L"classname=QuarryTip;type=tooltip;action=map");
  rules.SetString({}, L"c", L"classname=QuarryMapped;action=map");
  const QuarryHost host;

  struct Case {
    WindowSpec window;
    std::wstring decision;
  };
  constexpr DWORD kBalloon = WS_EX_TRANSPARENT | WS_EX_LAYERED;
  constexpr DWORD kPopup = WS_POPUP | WS_VISIBLE;
  const std::wstring kept = L"    Kept (attribute match)\n";
  const std::vector<Case> ordinary = {
      {{L"Plain"}, kept},
      {{L"Minimized", L"QuarryTestWindow", WS_OVERLAPPEDWINDOW | WS_VISIBLE | WS_MINIMIZE}, kept},
      {{L"Child", L"QuarryTestWindow", WS_CHILD | WS_VISIBLE}, L"    Skipped (child)\n"},
      {{L"Invisible", L"QuarryTestWindow", WS_OVERLAPPEDWINDOW}, L"    Skipped (visibility mismatch)\n"},
      {{L"Dot", L"QuarryTestWindow", kPopup, 0, 1, 1}, L"    Skipped (window is too small)\n"},
      {{L"Tall", L"QuarryTestWindow", kPopup, 0, 1, 50}, kept},
      {{L"Wide", L"QuarryTestWindow", kPopup, 0, 50, 1}, kept},
      {{L"Blocked", L"QuarryBlocked"}, L"    Skipped (blocked by filter)\n"},
      {{L"Mapped", L"QuarryMapped"}, kept},
      {{L"Balloon", L"QuarryTestWindow", kPopup, kBalloon}, L"    Skipped (transparent balloon window)\n"},
      {{L"Tip", L"QuarryTip", kPopup, kBalloon}, kept},
      {{L"Layered", L"QuarryTestWindow", kPopup, WS_EX_LAYERED}, kept},
      {{L"Bar", L"Shell_TrayWnd"}, L"    Skipped (taskbar window)\n"},
      {{L"Bar2", L"Shell_SecondaryTrayWnd"}, L"    Skipped (taskbar window)\n"},
      {{L"NotABar", L"Shell_TrayWnd2"}, kept},
      {{L"TF_FloatingLangBar_WndTitle", L"CiceroUIWndFrame"}, kept},
      {{L""}, kept},
  };
  const std::vector<Case> shell = {
      {{L""}, L"    Skipped (special case)\n"}, {{L"Folder"}, kept}, {{L"", L"QuarryTestWindow", kPopup}, kept}};
  const std::vector<Case> taskHost = {{{L"TF_FloatingLangBar_WndTitle"}, L"    Skipped (special case)\n"},
                                      {{L"Input", L"CiceroUIWndFrame"}, L"    Skipped (special case)\n"},
                                      {{L"Task"}, kept}};
  const std::pair<std::wstring, const std::vector<Case>*> programs[] = {
      {FixtureProgram(L"windowMaker").wstring(), &ordinary},
      {ProcessSettings::Program(L"explorer.exe"), &shell},
      {ProcessSettings::Program(L"system32\\taskhostw.exe"), &taskHost}};
  for (const auto& [program, cases] : programs) {
    std::vector<WindowSpec> specs;
    for (const Case& one : *cases) specs.push_back(one.window);
    const WindowMaker maker(program, specs);
    HostLog::Clear();
    const WindowArray windows = host.GetOpenWindows();
    for (std::size_t index = 0; index < specs.size(); ++index) {
      const std::vector<std::wstring> lines = LinesOn(maker.Windows()[index]);
      ASSERT_FALSE(lines.empty());
      EXPECT_EQ(lines.back(), (*cases)[index].decision) << testing::PrintToString(specs[index].title);
      if (specs[index].title.empty()) continue;
      EXPECT_EQ(CountTitle(windows, specs[index].title), lines.back() == kept ? 1u : 0u) << index;
    }
    const auto first = std::find_if(windows.begin(), windows.end(), [&path = program](const QuarryWindowInfo& window) {
      return window.imagePath == path;
    });
    ASSERT_NE(first, windows.end()) << "no window has the program's path";
    for (const QuarryWindowInfo& window : windows) {
      EXPECT_EQ(window.isVisible, 1);
      EXPECT_EQ(window.isMinimized, std::wstring_view(window.title) == L"Minimized" ? 1 : 0);
    }
  }
}

TEST(WindowManager, LogsEveryAttributeAndTheResult) {
  const QuarryHost host;
  const WindowMaker maker({{L"Attributes"}});
  const HWND window = maker.Windows()[0];
  RECT rectangle{};
  ASSERT_TRUE(GetWindowRect(window, &rectangle));
  HostLog::Clear();
  const WindowArray windows = host.GetOpenWindows();
  const std::wstring image = FixtureProgram(L"windowMaker").wstring();
  const std::vector<std::wstring> expected = {
      Formatted(L"Found a window, handle %p...\n", window),
      L"    title       = Attributes\n",
      L"    class       = QuarryTestWindow\n",
      L"    isVisible   = true\n",
      L"    isMinimized = false\n",
      L"    isChild     = false\n",
      L"    isCaptioned = true\n",
      L"    isPopup     = false\n",
      L"    isPopup2    = true\n",
      L"    isOverlap   = true\n",
      L"    imagePath   = " + image + L"\n",
      Formatted(L"    processId   = %d\n", maker.ProcessId()),
      Formatted(L"    windowRect  = {%d,%d,%d,%d}\n", rectangle.left, rectangle.top, rectangle.right, rectangle.bottom),
      Formatted(L"    dwStyle     = %ld\n", GetWindowLongW(window, GWL_STYLE)),
      Formatted(L"    dwExStyle   = %ld\n", GetWindowLongW(window, GWL_EXSTYLE)),
      L"    dwWinStatus = 0\n",
      L"    WS_DISABLED     = false\n",
      L"    WS_EX_APPWINDOW = false\n",
      L"    WS_EX_NOACTIVATE= false\n",
      L"    Kept (attribute match)\n"};
  EXPECT_EQ(LinesOn(window), expected);

  EXPECT_EQ(HostLog::Lines().front(), (LogLine{3, L"Enumerating all windows...\n"}));
  EXPECT_EQ(HostLog::Count(3, Formatted(L"Window enumeration results: %d\n", static_cast<int>(windows.size()))), 1u);
  for (std::size_t index = 0; index < windows.size(); ++index) {
    EXPECT_EQ(HostLog::Count(3, Formatted(L"#%d title=\"%s\" image=\"%s\"\n", static_cast<int>(index + 1),
                                          windows[index].title, windows[index].imagePath)),
              1u);
  }
}

TEST(WindowManager, SkipsWindowsOfTheHostItself) {
  const UniqueWindow own(CreateWindowExW(0, L"STATIC", L"Own window", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 90, 90,
                                         nullptr, nullptr, nullptr, nullptr));
  ASSERT_TRUE(own);
  const QuarryHost host;
  EXPECT_EQ(CountTitle(host.GetOpenWindows(), L"Own window"), 0u);
  EXPECT_EQ(LinesOn(own.get()), (std::vector<std::wstring>{Formatted(L"Found a window, handle %p...\n", own.get()),
                                                           L"    Skipped (own process)\n"}));
}

TEST(WindowManager, AddsOneDummyWindowForTheEvents) {
  const QuarryHost host;
  const UniqueKernelHandle hidden(OpenEventW(EVENT_ALL_ACCESS, FALSE, L"Local\\VelkorSeamlyWindowsHiddenByHost"));
  const UniqueKernelHandle tray(OpenEventW(EVENT_ALL_ACCESS, FALSE, L"Local\\SeamlyTrayIconsActiveEvent"));
  ASSERT_TRUE(hidden && tray) << "the library makes the events";
  constexpr wchar_t kHidden[] = L"One or more Seamly windows were hidden by the client. Adding a dummy window.\n";
  constexpr wchar_t kTray[] =
      L"One or more system tray icons were added by applications that were launched by the user. Adding a dummy "
      L"window.\n";
  for (const bool hiddenSet : {false, true}) {
    for (const bool traySet : {false, true}) {
      ASSERT_TRUE(hiddenSet ? SetEvent(hidden.get()) : ResetEvent(hidden.get()));
      ASSERT_TRUE(traySet ? SetEvent(tray.get()) : ResetEvent(tray.get()));
      HostLog::Clear();
      const WindowArray windows = host.GetOpenWindows();
      EXPECT_EQ(HostLog::Count(3, kHidden), hiddenSet ? 1u : 0u);
      EXPECT_EQ(HostLog::Count(3, kTray), traySet ? 1u : 0u);
      ASSERT_EQ(CountTitle(windows, L"Hidden Seamly window"), hiddenSet || traySet ? 1u : 0u);
      if (!hiddenSet && !traySet) continue;
      const QuarryWindowInfo& dummy = windows[windows.size() - 1];
      EXPECT_STREQ(dummy.title, L"Hidden Seamly window");
      EXPECT_STREQ(dummy.imagePath, L"");
      EXPECT_EQ(dummy.isVisible, 1);
      EXPECT_EQ(dummy.isMinimized, 0);
    }
  }
}

TEST(WindowManager, WorksWithoutItsEvents) {
  // Another kind of object has the names.
  const UniqueKernelHandle first(CreateMutexW(nullptr, FALSE, L"Local\\VelkorSeamlyWindowsHiddenByHost"));
  const UniqueKernelHandle second(CreateMutexW(nullptr, FALSE, L"Local\\SeamlyTrayIconsActiveEvent"));
  const QuarryHost host;
  EXPECT_EQ(HostLog::Count(0, L"Failed to create hidden Seamly window event with error 0x00000006.\n"), 1u);
  EXPECT_EQ(HostLog::Count(0, L"Failed to create Seamly tray icons active event with error 0x00000006.\n"), 1u);
  const WindowMaker maker({{L"Still listed"}});
  const WindowArray windows = host.GetOpenWindows();
  EXPECT_EQ(CountTitle(windows, L"Still listed"), 1u);
  EXPECT_EQ(CountTitle(windows, L"Hidden Seamly window"), 0u);
}

TEST(WindowManager, CutsLongTitlesAndDoesNotWaitForHungWindows) {
  const std::wstring title(10'000, L'T');
  const WindowMaker hung({{title}, {L"Hung"}}, true);
  const QuarryHost host;
  const auto start = std::chrono::steady_clock::now();
  const WindowArray windows = host.GetOpenWindows();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
  EXPECT_EQ(CountTitle(windows, title.substr(0, 512)), 1u);
  EXPECT_EQ(CountTitle(windows, L"Hung"), 1u);
}

TEST(WindowManager, ListsWindowsOfAProcessThatMayNotBeOpened) {
  const WindowMaker maker({{L"Closed process"}});
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:", SDDL_REVISION_1, &descriptor, nullptr));
  const UniqueLocal<void> owner(descriptor);
  ASSERT_TRUE(SetKernelObjectSecurity(maker.Process(), DACL_SECURITY_INFORMATION, descriptor));
  const QuarryHost host;
  const WindowArray windows = host.GetOpenWindows();
  const std::vector<std::wstring> lines = LinesOn(maker.Windows()[0]);
  ASSERT_GT(lines.size(), 13u);
  EXPECT_EQ(lines[1], Formatted(L"OpenProcess failed, process=%ld, error=%ld\n", maker.ProcessId(), 5L));
  EXPECT_EQ(lines[2], L"Failed to get window process data\n");
  EXPECT_EQ(lines[12], L"    imagePath   = \n");
  EXPECT_EQ(lines[13], L"    processId   = -1\n");
  EXPECT_EQ(CountTitle(windows, L"Closed process"), 1u);
}

TEST(WindowManager, SurvivesWindowsThatGoWhileTheyAreListed) {
  const QuarryHost host;
  for (int round = 0; round < 5; ++round) {
    const WindowMaker maker(std::vector<WindowSpec>(40, WindowSpec{L"Gone soon"}));
    TerminateProcess(maker.Process(), 0);
    const WindowArray windows = host.GetOpenWindows();
    EXPECT_LE(CountTitle(windows, L"Gone soon"), 40u);
  }
  EXPECT_EQ(CountTitle(host.GetOpenWindows(), L"Gone soon"), 0u);
}

/// A copy of the fixture that says whose it is.
void MakeProgram(const std::wstring& path, const std::wstring& company, std::uint16_t major, std::uint16_t revision) {
  std::filesystem::copy_file(FixtureProgram(L"windowMaker"), path);
  VersionResource version;
  version.translations = {{0x0407, 0x04B0}, {0x0409, 0x04E4}};
  version.tables = {{L"040704b0", {{L"CompanyName", company}, {L"ProductName", L"Editor"}}},
                    {L"040904e4", {{L"CompanyName", L"Second language"}}}};
  std::vector<std::uint8_t> bytes = VersionResourceBytes(version);
  VS_FIXEDFILEINFO numbers{};
  constexpr std::size_t kFixedInfo = 40;  // behind the root's header and key
  std::memcpy(&numbers, bytes.data() + kFixedInfo, sizeof(numbers));
  ASSERT_EQ(numbers.dwSignature, static_cast<DWORD>(VS_FFI_SIGNATURE));
  numbers.dwFileVersionMS = static_cast<DWORD>(MAKELONG(2, major));
  numbers.dwFileVersionLS = static_cast<DWORD>(MAKELONG(revision, 3));
  std::memcpy(bytes.data() + kFixedInfo, &numbers, sizeof(numbers));
  ASSERT_TRUE(PutResource(path, RT_VERSION, MAKEINTRESOURCEW(1), bytes));
}

TEST(WindowFilter, AppliesRuleFilesAheadOfRegistryRulesForAsLongAsTheFacadeLives) {
  const TemporaryFolder programs(L"quarryRules");
  MakeProgram(programs / L"one.exe", L"Büro 漢字", 65535, 4);
  MakeProgram(programs / L"two.exe", L"Büro 漢字", 65535, 5);
  const WindowMaker one(programs / L"one.exe", {{L"One"}, {L"One palette", L"QuarryPalette"}});
  const WindowMaker two(programs / L"two.exe", {{L"Two"}, {L"Two palette", L"QuarryPalette"}});
  const auto listed = [] {
    const QuarryHost host;
    std::vector<std::wstring> titles;
    for (const QuarryWindowInfo& window : host.GetOpenWindows()) {
      if (std::wstring_view(window.imagePath).find(L"quarryRules") != std::wstring::npos)
        titles.emplace_back(window.title);
    }
    std::sort(titles.begin(), titles.end());
    return titles;
  };
  using Titles = std::vector<std::wstring>;
  const Titles all = {L"One", L"One palette", L"Two", L"Two palette"};
  EXPECT_EQ(listed(), all);
  {
    const RegistryFixture rules(kFilterKey);
    rules.SetString({}, L"palettes", L"classname=QuarryPalette");
    const std::filesystem::path folder = kRulesFolder;
    std::filesystem::create_directories(folder / L"a folder is no rule file");
    std::ofstream(folder / L"Regeln 漢字.txt", std::ios::binary)
        << "\xEF\xBB\xBF# for one of the two\r\nBeginRule\r\naction=map\r\ncompany=B\xC3\xBCro "
           "\xE6\xBC\xA2\xE5\xAD\x97\r\n"
           "product=Editor\r\nmajor=65535\r\nminor=2\r\nbuild=3\r\nrevision=4\r\nEndRule\r\n";
    EXPECT_EQ(listed(), (Titles{L"One", L"One palette", L"Two"}));
    std::filesystem::remove_all(L"C:\\ProgramData\\Velkor");
    EXPECT_EQ(listed(), (Titles{L"One", L"Two"}));
  }
  EXPECT_EQ(listed(), all);
}

}  // namespace
}  // namespace quarry::test
