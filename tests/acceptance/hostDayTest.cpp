// A host's day, from its first call of the library to its last, and that nothing of it is left. With the verbose window
// log off.

#include "tests/support/hostTest.h"
#include "tests/support/registeredTypes.h"
#include "tests/support/startedPrograms.h"
#include "tests/support/windowMaker.h"

namespace quarry::test {
namespace {

class HostDay : public RegisteredTypes {
 protected:
  void SetUp() override {
    wchar_t published[MAX_PATH];  // a real program with a version resource and icons
    ExpandEnvironmentStringsW(L"%windir%\\regedit.exe", published, MAX_PATH);
    settings_.SetString(L"", L"IconCacheDir", folder / L"icons");
    folder.WriteLink(L"menu\\Echo.lnk", echo_, {.description = L"Says how it was started"});
    registryEditor_ = folder.WriteLink(L"menu\\Registry.lnk", published);
    ini_ = folder.WriteText(L"filters.ini", L"[Menu]\r\nRoot=" + (folder / L"menu") + L"\r\nIncludes=*.lnk\r\n");
    Key(L".quarryday").SetString(L"", L"", L"QuarryDay");
    const RegistryFixture& type = Key(L"QuarryDay");
    type.SetString(L"", L"", L"Day report");
    type.SetString(L"shell\\open\\command", L"", L"\"" + echo_ + L"\" \"%1\"");
  }

  static void TakeIconData(const QuarryHost& host, const wchar_t* name) {
    void* data = nullptr;
    std::uint64_t size = 0;
    ASSERT_EQ(host->GetIconData(name, &data, &size), 1);
    EXPECT_EQ(std::string(static_cast<const char*>(data), 4), "\x89PNG");
    host->FreeIconData(data);
  }
  void Work() const {
    const QuarryHost host(true);
    const ApplicationArray applications = host.Scan(ini_);
    ASSERT_THAT(applications, SizeIs(2));
    const bool echoIsFirst = std::wstring(applications[0].productName) == L"Echo";
    const QuarryApplicationInfo& echo = applications[echoIsFirst ? 0 : 1];
    EXPECT_STREQ(echo.fileDescription, L"Says how it was started");
    EXPECT_EQ(echo.iconCount, 0U);
    const IconRecord icon = host.GetApplicationIcon(applications[echoIsFirst ? 1 : 0], 0);
    ASSERT_NE(icon, nullptr);
    TakeIconData(host, icon->name);
    const ExtensionRecord extensions = host.GetRegisteredExtensions(echo.path);
    ASSERT_EQ(extensions->count, 1U);
    EXPECT_STREQ(extensions->entries[0].name, L".quarryday");
    EXPECT_EQ(host->LaunchApplication(echo.path, 0, L"good morning", L"", 0, nullptr), QUARRY_LAUNCH_OK);
    EXPECT_THAT(programs_.Take(1), ElementsAre(L"good morning"));
  }

  const RegistryFixture settings_{kSettingsKey};
  const RegistryFixture rules_{kFilterKey};
  const StartedPrograms programs_;
  const std::wstring echo_ = programs_.Program();
  std::wstring registryEditor_;
  std::wstring ini_;
};

TEST_F(HostDay, LeavesNothingBehind) {
  const auto day = [this] {
    Work();
    EXPECT_THAT(Library::Instance().DebugReport(), HasSubstr("memleak: no leaks."));
    HostLog::Clear();
  };
  EXPECT_EQ(GrowthOf(day, Rounds(3, 300)), ResourceCounts());
}

TEST_F(HostDay, FreedRecordsLeaveNothingBehind) {
  rules_.SetString({}, L"one", L"company=Nobody;action=block");
  const WindowMaker maker({{L"One"}, {L"Two"}});
  const QuarryHost host(true, nullptr);
  const ApplicationRecord app = host.GetApplication(registryEditor_);
  const IconRecord icon = host.GetApplicationIcon(*app, 0);
  ASSERT_NE(icon, nullptr);
  const std::pair<const char*, std::function<void()>> kRecords[] = {
      {"application", [&] { EXPECT_NE(host.GetApplication(registryEditor_), nullptr); }},
      {"applications", [&] { EXPECT_THAT(host.Scan(ini_), SizeIs(2)); }},
      {"icon of an application", [&] { EXPECT_NE(host.GetApplicationIcon(*app, 0), nullptr); }},
      {"icon", [&] { EXPECT_NE(IconRecord(host->GetIcon(icon->name)), nullptr); }},
      {"icon data", [&] { TakeIconData(host, icon->name); }},
      {"windows", [&] { EXPECT_GE(host.GetOpenWindows().size(), 2U); }},
      {"extensions", [&] { EXPECT_EQ(host.GetRegisteredExtensions(echo_)->count, 1U); }},
  };
  for (const auto& [name, use] : kRecords) EXPECT_EQ(GrowthOf(use, Rounds(20, 15'000)), ResourceCounts()) << name;
}

TEST_F(HostDay, StartsAndEndsAsOftenAsAHostLikes) {
  EXPECT_EQ(GrowthOf([] { const QuarryHost host; }, Rounds(20, 10'000)), ResourceCounts());
}

TEST_F(HostDay, ManyWindowsAreListedOnceEach) {
  rules_.SetString({}, L"one", L"company=Nobody;classname=QuarryTestWindow;action=block");
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
