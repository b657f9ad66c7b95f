// A host's day, from its first call of the library to its last.

#include "tests/support/quarryHost.h"
#include "tests/support/registryFixture.h"
#include "tests/support/resourceCounts.h"
#include "tests/support/shortcut.h"
#include "tests/support/startedPrograms.h"

#include <gmock/gmock.h>

#include <windows.h>

#include <algorithm>
#include <string>

namespace {

using namespace quarry::test;
using testing::HasSubstr;
using testing::SizeIs;

constexpr wchar_t kPublished[] = L"%windir%\\regedit.exe";  // a real program with a version resource and icons

class HostDay : public testing::Test {
 protected:
  void SetUp() override {
    const std::wstring folder = programs_.Folder().MakeFolder(L"menu");
    settings_.SetString(L"", L"IconCacheDir", programs_.Folder() / L"icons");
    ASSERT_TRUE(
        WriteShortcut({folder + L"\\Echo.lnk", programs_.Program(), L"", L"Says how it was started", L"", L""}));
    ASSERT_TRUE(WriteShortcut({folder + L"\\Registry.lnk", RealPath(kPublished), L"", L"", L"", L""}));
    ini_ = programs_.Folder().WriteText(L"filters.ini", L"[Menu]\r\nRoot=" + folder + L"\r\nIncludes=*.lnk\r\n");
    document_.SetString(L"", L"", L"QuarryTest.Day");
    progId_.SetString(L"", L"", L"Day report");
    progId_.SetString(L"shell\\open\\command", L"", L"\"" + programs_.Program() + L"\" \"%1\"");
  }

  static std::wstring RealPath(const wchar_t* path) {
    wchar_t expanded[MAX_PATH];
    ExpandEnvironmentStringsW(path, expanded, MAX_PATH);
    return expanded;
  }

  void ShowIcons(const QuarryHost& host, const QuarryApplicationInfo& application) const {
    ASSERT_GT(application.iconCount, 0U);
    const IconRecord icon = host.GetApplicationIcon(application, 0);
    ASSERT_NE(icon, nullptr);
    ASSERT_NE(IconRecord(host->GetIcon(icon->name)), nullptr);
    void* data = nullptr;
    std::uint64_t size = 0;
    ASSERT_EQ(host->GetIconData(icon->name, &data, &size), 1);
    EXPECT_EQ(std::string(static_cast<const char*>(data), 4), "\x89PNG");
    host->FreeIconData(data);
  }

  void ShowExtensions(const QuarryHost& host, const QuarryApplicationInfo& application) const {
    const ExtensionRecord extensions = host.GetRegisteredExtensions(application.path);
    ASSERT_NE(extensions, nullptr);
    ASSERT_EQ(extensions->count, 1U);
    EXPECT_STREQ(extensions->entries[0].name, L".quarryday");
  }

  void LiveThroughIt() {
    programs_.Forget();
    {
      const QuarryHost host(true);
      const ApplicationArray applications = host.ScanIni(ini_);
      ASSERT_THAT(applications, SizeIs(2));
      const auto echo = std::find_if(applications.begin(), applications.end(), [](const QuarryApplicationInfo& app) {
        return std::wstring(app.productName) == L"Echo";
      });
      ASSERT_NE(echo, applications.end());
      const QuarryApplicationInfo& other = echo == applications.begin() ? applications[1] : applications[0];
      EXPECT_STREQ(echo->fileDescription, L"Says how it was started");
      EXPECT_EQ(echo->iconCount, 0U);
      EXPECT_EQ(_wcsicmp(other.targetPath, RealPath(kPublished).c_str()), 0);

      ShowIcons(host, other);
      ShowExtensions(host, *echo);
      EXPECT_THAT(host.GetOpenWindows().get(), testing::Each(testing::Field(&QuarryWindowInfo::isVisible, 1)));
      EXPECT_EQ(host->LaunchApplication(echo->path, 0, L"good morning", L"", 0, nullptr), QUARRY_LAUNCH_OK);
      ASSERT_THAT(programs_.Wait(1), SizeIs(1));
      EXPECT_EQ(programs_.Wait(1)[0].arguments, L"good morning");
    }
    EXPECT_THAT(Library::Instance().DebugReport(), HasSubstr("memleak: no leaks."));
  }

  RegistryFixture settings_{kSettingsKey};
  RegistryFixture document_{L"Software\\Classes\\.quarryday"};
  RegistryFixture progId_{L"Software\\Classes\\QuarryTest.Day"};
  StartedPrograms programs_;
  std::wstring ini_;
};

TEST_F(HostDay, LeavesNothingBehind) {
  const ResourceGrowth growth = GrowthOf([this] { LiveThroughIt(); }, 5);
  EXPECT_LE(growth.handles, 0);
  EXPECT_LE(growth.gdiObjects, 0);
  EXPECT_LE(growth.heapBytes, 64 * 1024);
}

}  // namespace
