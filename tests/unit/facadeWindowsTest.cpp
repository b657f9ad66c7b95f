#include "quarry/apps/abstractApp.h"
#include "quarry/apps/shortcut.h"
#include "quarry/facade/quarryImpl.h"
#include "quarry/launch/runningInstances.h"
#include "quarry/windows/windowImpl.h"
#include "quarry/windows/windowProbe.h"

#include "tests/support/quarryHost.h"
#include "tests/support/registryFixture.h"
#include "tests/support/windowMaker.h"
#include "tests/unit/allocationLimit.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <memory>
#include <new>

namespace quarry::test {
namespace {

TEST(RunningInstances, ListTheWindowsOfOneApplication) {
  const WindowMaker maker({{L"Mine"}, {L"Invisible", L"QuarryTestWindow", WS_OVERLAPPEDWINDOW}});
  const WindowMaker second({{L"Mine too"}});
  std::wstring program = FixtureProgram(L"windowMaker");
  const std::wstring other = FixtureProgram(L"emptyApp");
  SetLogCallback(HostLog::Record);
  const WindowManager manager;
  const UniqueKernelHandle event(OpenEventW(EVENT_ALL_ACCESS, FALSE, L"Local\\SeamlyTrayIconsActiveEvent"));
  ASSERT_TRUE(SetEvent(event.get()));

  std::transform(program.begin(), program.end() - 4, program.begin(), [](wchar_t character) {  // not of ".exe"
    return character >= L'a' && character <= L'z' ? static_cast<wchar_t>(character - L'a' + L'A') : character;
  });
  HostLog::Clear();
  const WindowList windows = WindowsOf(*AbstractApp::NewAppFromPath(nullptr, program), manager);
  ASSERT_EQ(windows.size(), 2u) << "no dummy window, although the event is set";
  for (const WindowPtr& window : windows) {
    const bool first = window->GetTitle() == L"Mine";
    const WindowMaker& owner = first ? maker : second;
    EXPECT_EQ(window->GetTitle(), first ? L"Mine" : L"Mine too");
    EXPECT_EQ(window->GetHandle(), owner.Window());
    EXPECT_EQ(dynamic_cast<const WindowImpl&>(*window).GetProcessId(), static_cast<std::int32_t>(owner.ProcessId()));
    EXPECT_TRUE(window->IsVisible());
  }
  EXPECT_EQ(HostLog::Count(3, L"Getting windows for app " + program + L" (image path " + program + L")\n"), 1u);
  EXPECT_TRUE(WindowsOf(*AbstractApp::NewAppFromPath(nullptr, other), manager).empty());
}

TEST(RunningInstances, HaveNoWindowsWithoutAnImagePath) {
  SetLogCallback(HostLog::Record);
  const WindowManager manager;
  HostLog::Clear();
  EXPECT_TRUE(WindowsOf(Shortcut(L"C:\\broken.lnk"), manager).empty());
  EXPECT_EQ(HostLog::Lines(), (std::vector<LogLine>{{3, L"Getting windows for app C:\\broken.lnk (image path )\n"},
                                                    {1, L"Unable to get an image path for C:\\broken.lnk\n"}}));
}

TEST(QuarryImpl, KeepsTheRulesUntilTheLastOneGoes) {
  const WindowMaker maker({{L"Mine"}});
  const auto lists = [&](QuarryImpl& quarry) {
    const WindowList windows = quarry.GetOpenWindows();
    return std::any_of(windows.begin(), windows.end(),
                       [&](const WindowPtr& window) { return window->GetHandle() == maker.Window(); });
  };
  {
    const RegistryFixture rules(kFilterKey);
    rules.SetString({}, L"everything", L"action=block");
    {
      const AllocationLimit noMemory(1'000);
      EXPECT_THROW(RuleLifetime(), std::bad_alloc);
    }
    auto first = std::make_unique<QuarryImpl>(HostLog::Record, false);
    QuarryImpl second(HostLog::Record, false);
    first.reset();
    EXPECT_FALSE(lists(second));
  }
  QuarryImpl third(HostLog::Record, false);
  EXPECT_TRUE(lists(third));
}

TEST(WindowProbe, GivesNothingForAWindowThatIsGone) {
  SetLogCallback(HostLog::Record);
  HostLog::Clear();
  const HWND gone = reinterpret_cast<HWND>(0xDEAD0);
  const WindowProcess process = WindowProcesses().Of(gone);
  EXPECT_EQ(process.id, -1);
  EXPECT_EQ(process.imagePath, L"");
  EXPECT_EQ(HostLog::Count(0, L"GetWindowThreadProcessId failed! error 1400\n"), 1u);
  WindowProbe window(gone);
  EXPECT_EQ(window.Title() + window.ClassName(), L"");
  EXPECT_FALSE(window.IsVisible());
}

}  // namespace
}  // namespace quarry::test
