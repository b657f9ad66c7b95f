#include "quarry/apps/abstractApp.h"
#include "quarry/apps/shortcut.h"
#include "quarry/facade/quarryImpl.h"
#include "quarry/launch/runningInstances.h"
#include "quarry/windows/windowProbe.h"

#include "tests/support/hostTest.h"
#include "tests/support/windowMaker.h"
#include "tests/unit/allocationLimit.h"

#include <new>

namespace quarry::test {
namespace {

TEST(RunningInstances, HaveTheWindowsOfTheirImagePath) {
  const WindowMaker maker({{L"Mine"}, {L"Invisible", L"QuarryTestWindow", WS_OVERLAPPEDWINDOW}});
  std::wstring program = FixtureProgram(L"windowMaker");
  std::transform(program.begin(), program.end() - 4, program.begin(), [](wchar_t character) {  // not of ".exe"
    return character >= L'a' && character <= L'z' ? static_cast<wchar_t>(character - L'a' + L'A') : character;
  });
  SetLogCallback(HostLog::Record);
  const WindowManager manager;
  const UniqueKernelHandle event(OpenEventW(EVENT_ALL_ACCESS, FALSE, L"Local\\SeamlyTrayIconsActiveEvent"));
  ASSERT_TRUE(SetEvent(event.get()));
  HostLog::Clear();
  EXPECT_THAT(WindowsOf(*AbstractApp::NewAppFromPath(nullptr, program), manager),
              ElementsAre(Pointee(Property(&Window::GetHandle, maker.Window()))))
      << "no dummy window, although the event is set";
  EXPECT_EQ(HostLog::Count(3, L"Getting windows for app " + program + L" (image path " + program + L")\n"), 1u);
  EXPECT_THAT(WindowsOf(*AbstractApp::NewAppFromPath(nullptr, FixtureProgram(L"emptyApp")), manager), IsEmpty());
  EXPECT_THAT(WindowsOf(Shortcut(L"C:\\broken.lnk"), manager), IsEmpty());
  EXPECT_EQ(HostLog::Count(1, L"Unable to get an image path for C:\\broken.lnk\n"), 1u);
}

TEST(QuarryImpl, KeepsTheRulesUntilTheLastOneGoes) {
  const WindowMaker maker({{L"Mine"}});
  const auto isMine = Contains(Pointee(Property(&Window::GetHandle, maker.Window())));
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
    EXPECT_THAT(second.GetOpenWindows(), Not(isMine));
  }
  QuarryImpl third(HostLog::Record, false);
  EXPECT_THAT(third.GetOpenWindows(), isMine);
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
