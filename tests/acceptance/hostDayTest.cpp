// A host's day, from its first call of the library to its last.

#include "tests/support/quarryHost.h"
#include "tests/support/registryFixture.h"
#include "tests/support/resourceCounts.h"
#include "tests/support/shortcut.h"
#include "tests/support/startedPrograms.h"

#include <gmock/gmock.h>

#include <windows.h>

#include <string>

namespace {

using namespace quarry::test;
using testing::Each;
using testing::Field;
using testing::HasSubstr;
using testing::SizeIs;

class HostDay : public testing::Test {
 protected:
  void SetUp() override {
    wchar_t published[MAX_PATH];  // a real program with a version resource and icons
    ExpandEnvironmentStringsW(L"%windir%\\regedit.exe", published, MAX_PATH);
    const std::wstring folder = programs_.Folder().MakeFolder(L"menu");
    settings_.SetString(L"", L"IconCacheDir", programs_.Folder() / L"icons");
    ASSERT_TRUE(
        WriteShortcut({folder + L"\\Echo.lnk", programs_.Program(), L"", L"Says how it was started", L"", L""}));
    ASSERT_TRUE(WriteShortcut({folder + L"\\Registry.lnk", published, L"", L"", L"", L""}));
    ini_ = programs_.Folder().WriteText(L"filters.ini", L"[Menu]\r\nRoot=" + folder + L"\r\nIncludes=*.lnk\r\n");
    document_.SetString(L"", L"", L"QuarryTest.Day");
    progId_.SetString(L"", L"", L"Day report");
    progId_.SetString(L"shell\\open\\command", L"", L"\"" + programs_.Program() + L"\" \"%1\"");
  }

  void Work() const {
    const QuarryHost host(true);
    const ApplicationArray applications = host.ScanIni(ini_);
    ASSERT_THAT(applications, SizeIs(2));
    const bool echoIsFirst = std::wstring(applications[0].productName) == L"Echo";
    const QuarryApplicationInfo& echo = applications[echoIsFirst ? 0 : 1];
    const QuarryApplicationInfo& registry = applications[echoIsFirst ? 1 : 0];
    EXPECT_STREQ(echo.fileDescription, L"Says how it was started");
    EXPECT_EQ(echo.iconCount, 0U);

    const IconRecord icon = host.GetApplicationIcon(registry, 0);
    ASSERT_NE(icon, nullptr);
    void* data = nullptr;
    std::uint64_t size = 0;
    ASSERT_EQ(host->GetIconData(icon->name, &data, &size), 1);
    EXPECT_EQ(std::string(static_cast<const char*>(data), 4), "\x89PNG");
    host->FreeIconData(data);

    const ExtensionRecord extensions = host.GetRegisteredExtensions(echo.path);
    ASSERT_NE(extensions, nullptr);
    ASSERT_EQ(extensions->count, 1U);
    EXPECT_STREQ(extensions->entries[0].name, L".quarryday");
    EXPECT_THAT(host.GetOpenWindows().get(), Each(Field(&QuarryWindowInfo::isVisible, 1)));
    EXPECT_EQ(host->LaunchApplication(echo.path, 0, L"good morning", L"", 0, nullptr), QUARRY_LAUNCH_OK);
    EXPECT_THAT(programs_.Take(1), testing::ElementsAre(L"good morning"));
  }

  RegistryFixture settings_{kSettingsKey};
  RegistryFixture document_{L"Software\\Classes\\.quarryday"};
  RegistryFixture progId_{L"Software\\Classes\\QuarryTest.Day"};
  StartedPrograms programs_;
  std::wstring ini_;
};

TEST_F(HostDay, LeavesNothingBehind) {
  const auto day = [this] {
    Work();
    EXPECT_THAT(Library::Instance().DebugReport(), HasSubstr("memleak: no leaks."));
  };
  const ResourceGrowth growth = GrowthOf(day, 5);
  EXPECT_LE(growth.handles, 0);
  EXPECT_LE(growth.gdiObjects, 0);
  EXPECT_LE(growth.heapBytes, 64 * 1024);
}

}  // namespace
