// A host's day, from its first call of the library to its last, and that nothing of it is left. With the verbose window
// log off.

#include "tests/support/hostDays.h"
#include "tests/support/hostTest.h"

namespace quarry::test {
namespace {

TEST(HostDay, LeavesNothingBehind) {
  const HostWorld world;
  for (const Day day : kAllDays) {
    const auto spend = [&] {
      world.Spend(day);
      EXPECT_THAT(Library::Instance().DebugReport(), HasSubstr("memleak: no leaks."));
    };
    const int rounds = day == Day::Start ? Rounds(20, 10'000) : Rounds(3, 300);
    EXPECT_EQ(GrowthOf(spend, rounds), ResourceCounts()) << "day " << static_cast<int>(day);
  }
}

TEST(HostDay, FreedRecordsLeaveNothingBehind) {
  const HostWorld world;
  const QuarryHost host(true, nullptr);
  const ApplicationRecord app = host.GetApplication(world.Published());
  const IconRecord icon = host.GetApplicationIcon(*app, 0);
  ASSERT_NE(icon, nullptr);
  const std::pair<const char*, std::function<void()>> kRecords[] = {
      {"application", [&] { EXPECT_NE(host.GetApplication(world.Published()), nullptr); }},
      {"applications", [&] { EXPECT_THAT(host.Scan(world.Ini()), SizeIs(2)); }},
      {"icon of an application", [&] { EXPECT_NE(host.GetApplicationIcon(*app, 0), nullptr); }},
      {"icon", [&] { EXPECT_NE(IconRecord(host->GetIcon(icon->name)), nullptr); }},
      {"icon data", [&] { EXPECT_FALSE(host.GetIconData(icon->name).empty()); }},
      {"windows", [&] { EXPECT_GE(host.GetOpenWindows().size(), 2U); }},
      {"extensions", [&] { EXPECT_EQ(host.GetRegisteredExtensions(world.Echo())->count, 1U); }},
  };
  for (const auto& [name, use] : kRecords) EXPECT_EQ(GrowthOf(use, Rounds(20, 15'000)), ResourceCounts()) << name;
}

TEST(HostDay, ManyWindowsAreListedOnceEach) {
  const RegistryFixture rules(kFilterKey);
  rules.SetString({}, L"one", L"company=Nobody;classname=QuarryTestWindow;action=block");
  std::deque<WindowMaker> makers;
  std::map<std::wstring, int> expected;
  for (int process = 0; process < Rounds(2, 20); ++process) {
    std::vector<WindowSpec> windows;
    for (int window = 0; window < 15; ++window) {
      windows.push_back({L"Window " + std::to_wstring(process) + L'.' + std::to_wstring(window)});
      expected[windows.back().title] = 1;
    }
    makers.emplace_back(windows);
  }
  const QuarryHost host;
  std::map<std::wstring, int> listed;
  for (const QuarryWindowInfo& window : host.GetOpenWindows()) {
    if (std::wstring_view(window.title).starts_with(L"Window ")) ++listed[window.title];
  }
  EXPECT_EQ(listed, expected);
  EXPECT_EQ(HostLog::CountHolding(L"Found a window"), 0U);
}

}  // namespace
}  // namespace quarry::test
