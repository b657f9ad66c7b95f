#include "quarry/apps/abstractApp.h"
#include "quarry/facade/quarryImpl.h"
#include "quarry/windows/windowProbe.h"

#include "tests/support/quarryHost.h"
#include "tests/support/windowMaker.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace quarry::test {
namespace {

TEST(QuarryImpl, ListsTheWindowsOfOneApplication) {
  const WindowMaker maker({{L"Mine"}, {L"Invisible", L"QuarryTestWindow", WS_OVERLAPPEDWINDOW}});
  const WindowMaker second({{L"Mine too"}});
  std::wstring program = FixtureProgram(L"windowMaker").wstring();
  const std::wstring other = FixtureProgram(L"linkMaker").wstring();
  const QuarryImpl quarry(HostLog::Record, false);
  const UniqueKernelHandle event(OpenEventW(EVENT_ALL_ACCESS, FALSE, L"Local\\SeamlyTrayIconsActiveEvent"));
  ASSERT_TRUE(SetEvent(event.get()));

  const auto isLower = [](wchar_t character) { return character >= L'a' && character <= L'z'; };
  for (auto character = program.begin(); character != program.end() - 4; ++character) {  // not of ".exe"
    if (isLower(*character)) *character = static_cast<wchar_t>(*character - L'a' + L'A');
  }
  HostLog::Clear();
  const WindowList windows = quarry.GetWindowsOf(*AbstractApp::NewAppFromPath(nullptr, program));
  ASSERT_EQ(windows.size(), 2u) << "no dummy window, although the event is set";
  for (const WindowPtr& window : windows) {
    EXPECT_TRUE(window->GetTitle().starts_with(L"Mine"));
    EXPECT_TRUE(window->GetHandle() == maker.Windows()[0] || window->GetHandle() == second.Windows()[0]);
    EXPECT_TRUE(window->IsVisible());
  }
  EXPECT_EQ(HostLog::Count(3, L"Getting windows for app " + program + L" (image path " + program + L")\n"), 1u);
  EXPECT_TRUE(quarry.GetWindowsOf(*AbstractApp::NewAppFromPath(nullptr, other)).empty());
}

TEST(QuarryImpl, FindsNoWindowsWithoutAnImagePath) {
  struct NoTarget : Application {
    std::wstring GetPath() const override { return L"C:\\broken.lnk"; }
    std::wstring GetFileName() const override { return {}; }
    std::wstring GetBaseName() const override { return {}; }
    std::wstring GetExtension() const override { return {}; }
    std::wstring GetProductName() const override { return {}; }
    std::wstring GetProductVersion() const override { return {}; }
    std::wstring GetFileDescription() const override { return {}; }
    std::wstring GetFileVersion() const override { return {}; }
    std::wstring GetComments() const override { return {}; }
    std::wstring GetCompanyName() const override { return {}; }
    std::uint64_t GetIconCount() const override { return 0; }
    IconPtr GetIcon(std::uint64_t) const override { return nullptr; }
    std::wstring GetTargetPath() const override { return {}; }
    bool CanReuseRunningInstance() const override { return true; }
  };
  const QuarryImpl quarry(HostLog::Record, false);
  HostLog::Clear();
  EXPECT_TRUE(quarry.GetWindowsOf(NoTarget()).empty());
  EXPECT_EQ(HostLog::Lines(), (std::vector<LogLine>{{3, L"Getting windows for app C:\\broken.lnk (image path )\n"},
                                                    {1, L"Unable to get an image path for C:\\broken.lnk\n"}}));
}

TEST(WindowProbe, GivesNothingForAWindowThatIsGone) {
  SetLogCallback(HostLog::Record);
  HostLog::Clear();
  const HWND gone = reinterpret_cast<HWND>(0xDEAD0);
  const WindowProcess process = ProbeProcess(gone);
  EXPECT_EQ(process.id, -1);
  EXPECT_EQ(process.imagePath, L"");
  EXPECT_EQ(HostLog::Count(0, L"GetWindowThreadProcessId failed! error 1400\n"), 1u);
  const WindowAttributes attributes = ProbeAttributes(gone);
  EXPECT_EQ(attributes.title + attributes.className, L"");
  EXPECT_FALSE(attributes.IsVisible());
}

}  // namespace
}  // namespace quarry::test
