// What becomes of one path: kinds of application, version strings, shortcuts, variables and unusual names.

#include "lib/misc/platformHandles.h"

#include "tests/support/quarryHost.h"
#include "tests/support/shortcut.h"
#include "tests/support/temporaryFolder.h"
#include "tests/support/versionedExecutable.h"

#include <gmock/gmock.h>

#include <windows.h>

#include <knownfolders.h>
#include <shlobj.h>
#include <wrl/client.h>

#include <algorithm>
#include <chrono>
#include <random>

namespace quarry::test {
namespace {

using Microsoft::WRL::ComPtr;
using testing::SizeIs;
using Texts = std::vector<std::wstring>;

/// The texts of a record in the order of its members, without the path.
Texts TextsOf(const ApplicationRecord& app) {
  if (app == nullptr) return {};
  return {app->fileName,        app->baseName,    app->extension, app->productName, app->productVersion,
          app->fileDescription, app->fileVersion, app->comments,  app->companyName};
}

/// Product name, product version, description, file version, comments and company of a record.
Texts VersionTexts(const ApplicationRecord& app) {
  const Texts texts = TextsOf(app);
  return {texts.begin() + 3, texts.end()};
}

std::wstring StartMenu(int folder, HANDLE user) {
  wchar_t path[MAX_PATH] = {};
  EXPECT_EQ(SHGetFolderPathW(nullptr, folder, user, SHGFP_TYPE_CURRENT, path), S_OK);
  return path;
}

class ApplicationTest : public testing::Test {
 protected:
  std::wstring Link(const std::wstring& name, const std::wstring& target, const std::wstring& description = {}) const {
    const Shortcut shortcut{folder_ / name, target, {}, description, {}, {}, 0};
    EXPECT_TRUE(WriteShortcut(shortcut));
    return shortcut.linkPath;
  }
  std::wstring Program(const std::wstring& name) const { return folder_.CopyFrom(name, FixtureProgram(L"emptyApp")); }
  std::wstring Versioned(const std::wstring& name, const VersionResource& version) const {
    std::wstring path = folder_ / name;
    EXPECT_TRUE(WriteVersionedExecutable(path, VersionResourceBytes(version)));
    return path;
  }
  ApplicationRecord Get(const std::wstring& path) const {
    HostLog::Clear();
    return host_.GetApplication(path);
  }
  std::wstring PathOf(const std::wstring& asked) const {
    const ApplicationRecord app = Get(asked);
    return app == nullptr ? L"" : app->path;
  }

  const TemporaryFolder folder_{L"quarryApplication"};
  const QuarryHost host_;
};

TEST_F(ApplicationTest, KindIsChosenByTheLastExtensionInLowerCaseOnly) {
  const struct {
    std::wstring name;
    std::wstring kind;  // none when it is no application
    std::wstring baseName;
    std::wstring extension;
  } kCases[] = {
      {L"plain.exe", L"Executable", L"plain", L"exe"},
      {L"a.bat", L"GenericApp", L"a", L"bat"},
      {L"b.vbs", L"GenericApp", L"b", L"vbs"},
      {L"c.cmd", L"GenericApp", L"c", L"cmd"},
      {L"d.msc", L"GenericApp", L"d", L"msc"},
      {L"archive.tar.jar", L"GenericApp", L"archive.tar", L"jar"},
      {L"Bücher 漢字.bat", L"GenericApp", L"Bücher 漢字", L"bat"},
      {L".bat", L"GenericApp", L"", L"bat"},
      {L"Setup.EXE", L"", L"", L"EXE"},
      {L"Word.Lnk", L"", L"", L"Lnk"},
      {L"a.BAT", L"", L"", L"BAT"},
      {L"readme.txt", L"", L"", L"txt"},
      {L"app.exe.bak", L"", L"", L"bak"},
      {L"README", L"", L"", L""},
      {L"dot.", L"", L"", L""},
      {L"folder.exe\\", L"", L"", L""},
  };
  Program(L"plain.exe");
  for (const auto& [name, kind, baseName, extension] : kCases) {
    const std::wstring path = folder_ / name;
    const ApplicationRecord app = Get(path);
    const std::wstring message =
        kind.empty() ? L"Unsupported extension " + extension + L" in \"" : L"Creating " + kind + L" from \"";
    EXPECT_EQ(HostLog::Count(2, message + path + L"\"\n"), 1U) << name.c_str();
    const std::wstring product = kind == L"GenericApp" ? baseName : L"";
    EXPECT_EQ(TextsOf(app), kind.empty() ? Texts() : (Texts{name, baseName, extension, product, {}, {}, {}, {}, {}}));
    if (app == nullptr) continue;
    EXPECT_EQ(app->path, path);
    EXPECT_EQ(app->targetPath, path);
  }
}

TEST_F(ApplicationTest, PathIsExpandedAndItsRunsOfBackslashesCollapse) {
  const std::wstring common = StartMenu(CSIDL_COMMON_STARTMENU, nullptr);
  const std::wstring ofDefault = StartMenu(CSIDL_STARTMENU, reinterpret_cast<HANDLE>(-1));
  SetEnvironmentVariableW(L"QUARRY_TEST", L"C:\\variable");
  SetEnvironmentVariableW(L"QUARRY_TEST_LONG", std::wstring(252, L'v').c_str());
  const std::pair<std::wstring, std::wstring> kCases[] = {
      {L"C:\\Tools\\\\\\\\a.bat", L"C:\\Tools\\a.bat"},
      {L"C:\\\\Tools\\\\\\sub\\\\a.bat", L"C:\\Tools\\sub\\a.bat"},
      {L"\\\\server\\\\share\\\\\\a.bat", L"\\\\server\\share\\a.bat"},
      {L"\\\\\\\\server\\share\\a.bat", L"\\\\server\\share\\a.bat"},
      {L"%QUARRY_TEST%\\a.bat", L"C:\\variable\\a.bat"},
      {L"%quarry_test%\\%QUARRY_TEST_UNSET%\\a.bat", L"C:\\variable\\%QUARRY_TEST_UNSET%\\a.bat"},
      {L"C:\\%QUARRY_TEST_LONG%.bat", L"C:\\" + std::wstring(252, L'v') + L".bat"},  // 259 fit
      {L"C:\\\\%QUARRY_TEST_LONG%.bat", L"C:\\%QUARRY_TEST_LONG%.bat"},              // 260 do not
      {L"%QUARRY_TEST_LONG%\\%CommonStartMenu%.bat", L"%QUARRY_TEST_LONG%\\%CommonStartMenu%.bat"},
      {L"%CommonStartMenu%\\a.bat", common + L"\\a.bat"},
      {L"%DefaultStartMenu%\\a.bat", ofDefault + L"\\a.bat"},
      {L"%DefaultStartMenu%|%CommonStartMenu%\\a.bat", ofDefault + L"|" + common + L"\\a.bat"},
      {L"%CommonStartMenu%\\%CommonStartMenu%\\a.bat", common + L"\\%CommonStartMenu%\\a.bat"},
      {L"%DefaultStartMenu%\\%DefaultStartMenu%.bat", ofDefault + L"\\%DefaultStartMenu%.bat"},
      {L"%commonstartmenu%\\a.bat", L"%commonstartmenu%\\a.bat"},
      {L"%defaultStartMenu%\\a.bat", L"%defaultStartMenu%\\a.bat"},
  };
  for (const auto& [asked, made] : kCases) EXPECT_EQ(PathOf(asked), made);
}

TEST_F(ApplicationTest, NamePartsOf255CharactersAreTheLongest) {
  const auto name = [](std::size_t length) { return std::wstring(length, L'x'); };
  const struct {
    std::wstring path;
    bool splits;
    std::wstring extension = L"bat";
  } kCases[] = {
      {L"C:\\" + name(255) + L".bat", true},
      {L"C:\\" + name(256) + L".bat", false},
      {L"C:\\" + name(200) + L"\\" + name(92) + L".bat", true},  // 300 in all
      {L"C:\\" + name(253) + L"\\a.bat", true},
      {L"C:\\" + name(254) + L"\\a.bat", false},
      {L"C:\\a." + name(254), true, name(254)},
      {L"C:\\a." + name(255), false},  // the dot counts
      {L"C:\\" + name(40'000) + L".bat", false},
  };
  for (const auto& [path, splits, extension] : kCases) {
    EXPECT_EQ(PathOf(path), splits && extension == L"bat" ? path : L"");
    EXPECT_EQ(HostLog::Count(0, L"Failed to parse path \"" + path + L"\", error 34\n"), splits ? 0U : 1U);
    EXPECT_EQ(HostLog::Count(2, L"Unsupported extension  in \"" + path + L"\"\n"), splits ? 0U : 1U) << path.size();
  }
}

using Strings = std::vector<std::pair<std::wstring, std::wstring>>;

Strings SixStrings(const std::wstring& suffix = {}) {
  return {{L"ProductName", L"Näme" + suffix},     {L"ProductVersion", L"1.2" + suffix},
          {L"Comments", L"Comment" + suffix},     {L"CompanyName", L"Company 漢字" + suffix},
          {L"FileDescription", L"Text" + suffix}, {L"FileVersion", L"3.4.5.6" + suffix}};
}

TEST_F(ApplicationTest, VersionStringsAreThoseOfTheFirstTranslation) {
  const VersionResource::StringTable english = {L"040904e4", SixStrings(L"E")};
  const VersionResource::StringTable japanese = {L"041104b0", SixStrings(L"J")};
  const Texts en = {L"NämeE", L"1.2E", L"TextE", L"3.4.5.6E", L"CommentE", L"Company 漢字E"};
  const Texts ja = {L"NämeJ", L"1.2J", L"TextJ", L"3.4.5.6J", L"CommentJ", L"Company 漢字J"};
  const Texts none(6);
  const Texts nameOnly = {L"Only", L"", L"", L"", L"", L""};
  const struct {
    const char* what;
    VersionResource version;
    Texts texts;
    std::size_t translationFailures = 0;
  } kCases[] = {
      {"only a Japanese one", {true, {{0x0411, 0x04b0}}, {japanese}}, ja},
      {"the first of two", {true, {{0x0411, 0x04b0}, {0x0409, 0x04e4}}, {english, japanese}}, ja},
      {"a table that is not there", {true, {{0x0407, 0x04b0}, {0x0409, 0x04e4}}, {english}}, none},
      {"an empty translation table", {true, {}, {japanese, english}}, en},
      {"no translation table", {false, {}, {japanese, english}}, en, 1},
      {"no strings", {true, {{0x0409, 0x04e4}}, {}}, none},
      {"one string", {true, {{0x0409, 0x04e4}}, {{L"040904e4", {{L"ProductName", L"Only"}}}}}, nameOnly},
      {"an empty string", {true, {{0x0409, 0x04e4}}, {{L"040904e4", {{L"ProductName", L""}}}}}, none},
  };
  for (const auto& [what, version, texts, translationFailures] : kCases) {
    SCOPED_TRACE(what);
    const std::wstring path = Versioned(L"versioned.exe", version);
    EXPECT_EQ(VersionTexts(Get(path)), texts);
    const auto failures = HostLog::Holding(L"Failed to get VarFileInfo\\Translation from " + path + L", error ");
    EXPECT_THAT(failures, SizeIs(translationFailures));
    EXPECT_THAT(failures, testing::Each(testing::Field(&LogLine::level, 1U)));
  }
}

// The error codes differ between systems.
TEST_F(ApplicationTest, ExecutableWithoutVersionInformationHasEmptyStrings) {
  for (const std::wstring& path : {Program(L"plain.exe"), folder_.WriteText(L"text.exe", L"no program"),
                                   folder_.WriteBytes(L"empty.exe", {}), folder_ / L"missing.exe"}) {
    EXPECT_EQ(VersionTexts(Get(path)), Texts(6));
    EXPECT_EQ(HostLog::Count(1, L"No VersionInfo in " + path + L"\n") +
                  HostLog::Holding(L"Failed to load VersionInfo from " + path + L", error ").size(),
              1U)
        << path.c_str();
  }
}

TEST_F(ApplicationTest, ShortcutDescribesItselfAndBorrowsFromItsTarget) {
  const std::wstring target = Versioned(L"target.exe", {true, {{0x0409, 0x04e4}}, {{L"040904e4", SixStrings()}}});
  const std::wstring link = Link(L"Mein Füller.lnk", target, L"Schreibt 漢字");
  const ApplicationRecord app = Get(link);
  ASSERT_NE(app, nullptr);
  EXPECT_EQ(TextsOf(app), (Texts{L"Mein Füller.lnk", L"Mein Füller", L"lnk", L"Mein Füller", L"1.2", L"Schreibt 漢字",
                                 L"", L"", L"Company 漢字"}));
  EXPECT_EQ(app->path, link);
  EXPECT_EQ(app->targetPath, target);
  const std::vector<LogLine> resolution = {
      {2, L"Creating Shortcut from \"" + link + L"\"\n"},     {3, L"Creating shortcut from " + link + L"\n"},
      {2, L"Resolving shortcut \"" + link + L"\"\n"},         {2, L"Target is \"" + target + L"\"\n"},
      {2, L"Creating Executable from \"" + target + L"\"\n"}, {2, L"\"" + link + L"\": target OK\n"}};
  std::vector<LogLine> lines = HostLog::Lines();
  lines.resize(resolution.size());  // its icons may follow
  EXPECT_EQ(lines, resolution);

  const std::wstring outer = Link(L"outer.lnk", link, std::wstring(3000, L'd'));
  const ApplicationRecord outerApp = Get(outer);
  ASSERT_NE(outerApp, nullptr);
  EXPECT_EQ(outerApp->targetPath, target);
  EXPECT_STREQ(outerApp->productName, L"outer");
  EXPECT_EQ(outerApp->fileDescription, std::wstring(1023, L'd'));
}

/// A link to something that is no file.
std::wstring PanelLink(const std::wstring& path) {
  PIDLIST_ABSOLUTE idList = nullptr;
  EXPECT_EQ(SHGetKnownFolderIDList(FOLDERID_ControlPanelFolder, 0, nullptr, &idList), S_OK);
  const UniqueCoTaskMem<ITEMIDLIST> owner(idList);
  ComPtr<IShellLinkW> link;
  ComPtr<IPersistFile> file;
  EXPECT_EQ(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&link)), S_OK);
  EXPECT_TRUE(link.As(&file) == S_OK && link->SetIDList(idList) == S_OK && file->Save(path.c_str(), TRUE) == S_OK);
  return path;
}

TEST_F(ApplicationTest, ShortcutThatLeadsToNoApplicationIsDropped) {
  Link(L"one.lnk", folder_ / L"other.lnk");
  const std::wstring file = folder_.WriteText(L"paper.pdf", L"");
  const std::wstring upper = folder_.WriteText(L"Setup.EXE", L"");
  const std::wstring folder = folder_.MakeFolder(L"sub.exe folder");
  const struct {
    std::wstring link;
    std::uint32_t level;
    std::wstring message;
  } kCases[] = {
      {Link(L"file.lnk", file), 1, L"target \"" + file + L"\" not recognized\n"},
      {Link(L"upper.lnk", upper), 1, L"target \"" + upper + L"\" not recognized\n"},
      {Link(L"folder.lnk", folder), 1, L"target \"" + folder + L"\" not recognized\n"},
      {Link(L"self.lnk", folder_ / L"self.lnk"), 1, {}},
      {Link(L"other.lnk", folder_ / L"one.lnk"), 1, {}},
      {PanelLink(folder_ / L"panel.lnk"), 1, L"failed to get path from IDs - unresolvable\n"},
      {folder_.WriteBytes(L"empty.lnk", {}), 0, L"failed to load IPeristFile\n"},
      {folder_ / L"missing.lnk", 0, L"failed to load IPeristFile\n"},
  };
  for (const auto& [link, level, message] : kCases) {
    EXPECT_EQ(Get(link), nullptr) << link.c_str();
    const std::wstring line = std::wstring(L"\"").append(link).append(L"\": ").append(message);
    EXPECT_EQ(HostLog::Count(level, line), message.empty() ? 0U : 1U) << link.c_str();
  }
  std::vector<std::uint8_t> bytes(1000);
  std::mt19937 random(20261122);
  for (int round = 0; round < 100; ++round) {
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<std::uint8_t>(random()); });
    EXPECT_EQ(Get(folder_.WriteBytes(L"random.lnk", bytes)), nullptr);
  }
}

// Systems differ in what they resolve.
TEST_F(ApplicationTest, ShortcutWithoutItsTargetIsResolvedOrRefusedButNeverSearchedFor) {
  const std::wstring moved = Program(L"moved.exe");
  const std::wstring link = Link(L"moved.lnk", moved);
  folder_.MakeFolder(L"elsewhere");
  ASSERT_TRUE(MoveFileW(moved.c_str(), (folder_ / L"elsewhere\\moved.exe").c_str()));
  const ApplicationRecord app = Get(link);
  EXPECT_EQ(HostLog::Count(1, L"\"" + link + L"\": target unresolvable\n"), app == nullptr ? 1U : 0U);
  EXPECT_TRUE(app == nullptr || app->targetPath == moved);

  const auto start = std::chrono::steady_clock::now();
  const ApplicationRecord remote = Get(Link(L"share.lnk", L"\\\\quarry-no-such-host\\share\\app.exe"));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
  EXPECT_EQ(HostLog::Holding(L"unresolvable").empty(), remote != nullptr);
}

}  // namespace
}  // namespace quarry::test
