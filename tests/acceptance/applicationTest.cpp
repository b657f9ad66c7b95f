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

/// The texts of a record in the order of its members, without the path.
std::vector<std::wstring> Texts(const ApplicationRecord& app) {
  if (app == nullptr) return {};
  return {app->fileName,        app->baseName,    app->extension, app->productName, app->productVersion,
          app->fileDescription, app->fileVersion, app->comments,  app->companyName};
}

/// Start menu of all users, or of the default user.
std::wstring KnownFolder(const KNOWNFOLDERID& folder, HANDLE user) {
  PWSTR path = nullptr;
  const HRESULT result = SHGetKnownFolderPath(folder, KF_FLAG_DEFAULT, user, &path);
  const UniqueCoTaskMem<wchar_t> owner(path);
  return SUCCEEDED(result) ? path : L"";
}

/// What the platform has to say about a file without version information; the codes differ between systems.
std::wstring MissingVersionMessage(const std::wstring& path) {
  DWORD ignored = 0;
  SetLastError(ERROR_SUCCESS);
  EXPECT_EQ(GetFileVersionInfoSizeW(path.c_str(), &ignored), 0U);
  const DWORD error = GetLastError();
  if (error == ERROR_RESOURCE_TYPE_NOT_FOUND) return L"No VersionInfo in " + path + L"\n";
  return L"Failed to load VersionInfo from " + path + L", error " + std::to_wstring(error) + L"\n";
}

class ApplicationTest : public testing::Test {
 protected:
  void SetUp() override { HostLog::Clear(); }

  std::wstring Link(const std::wstring& name, const std::wstring& target, const std::wstring& description = {}) const {
    Shortcut shortcut;
    shortcut.linkPath = folder_ / name;
    shortcut.target = target;
    shortcut.description = description;
    EXPECT_TRUE(WriteShortcut(shortcut));
    return shortcut.linkPath;
  }
  std::wstring Versioned(const std::wstring& name, std::span<const std::uint8_t> resource) const {
    std::wstring path = folder_ / name;
    EXPECT_TRUE(WriteVersionedExecutable(path, resource));
    return path;
  }
  std::wstring PathOf(const std::wstring& asked) const {
    const ApplicationRecord app = host_.GetApplication(asked);
    return app == nullptr ? L"" : app->path;
  }

  const TemporaryFolder folder_{L"quarryApplication"};
  const QuarryHost host_;
};

TEST_F(ApplicationTest, KindIsChosenByTheLastExtensionInLowerCaseOnly) {
  const struct {
    std::wstring name;
    std::wstring message;
    std::vector<std::wstring> texts;  // none when it is no application
  } kCases[] = {
      {L"plain.exe", L"Creating Executable from \"", {L"plain.exe", L"plain", L"exe", L"", L"", L"", L"", L"", L""}},
      {L"a.bat", L"Creating GenericApp from \"", {L"a.bat", L"a", L"bat", L"a", L"", L"", L"", L"", L""}},
      {L"b.vbs", L"Creating GenericApp from \"", {L"b.vbs", L"b", L"vbs", L"b", L"", L"", L"", L"", L""}},
      {L"c.cmd", L"Creating GenericApp from \"", {L"c.cmd", L"c", L"cmd", L"c", L"", L"", L"", L"", L""}},
      {L"d.msc", L"Creating GenericApp from \"", {L"d.msc", L"d", L"msc", L"d", L"", L"", L"", L"", L""}},
      {L"archive.tar.jar",
       L"Creating GenericApp from \"",
       {L"archive.tar.jar", L"archive.tar", L"jar", L"archive.tar", L"", L"", L"", L"", L""}},
      {L"Bücher 漢字.bat",
       L"Creating GenericApp from \"",
       {L"Bücher 漢字.bat", L"Bücher 漢字", L"bat", L"Bücher 漢字", L"", L"", L"", L"", L""}},
      {L".bat", L"Creating GenericApp from \"", {L".bat", L"", L"bat", L"", L"", L"", L"", L"", L""}},
      {L"Setup.EXE", L"Unsupported extension EXE in \"", {}},
      {L"Word.Lnk", L"Unsupported extension Lnk in \"", {}},
      {L"a.BAT", L"Unsupported extension BAT in \"", {}},
      {L"readme.txt", L"Unsupported extension txt in \"", {}},
      {L"app.exe.bak", L"Unsupported extension bak in \"", {}},
      {L"README", L"Unsupported extension  in \"", {}},
      {L"dot.", L"Unsupported extension  in \"", {}},
      {L"folder.exe\\", L"Unsupported extension  in \"", {}},
  };
  ASSERT_TRUE(WriteExecutable(folder_ / L"plain.exe"));
  for (const auto& [name, message, texts] : kCases) {
    HostLog::Clear();
    const std::wstring path = folder_ / name;
    const ApplicationRecord app = host_.GetApplication(path);
    EXPECT_EQ(HostLog::Count(2, message + path + L"\"\n"), 1U) << name.c_str();
    EXPECT_EQ(Texts(app), texts);
    if (app == nullptr) continue;
    EXPECT_EQ(app->path, path);
    EXPECT_EQ(app->targetPath, path);
  }
}

TEST_F(ApplicationTest, PathIsExpandedAndItsRunsOfBackslashesCollapse) {
  const std::wstring common = KnownFolder(FOLDERID_CommonStartMenu, nullptr);
  const std::wstring ofDefault = KnownFolder(FOLDERID_StartMenu, reinterpret_cast<HANDLE>(-1));
  ASSERT_FALSE(common.empty());
  SetEnvironmentVariableW(L"QUARRY_TEST", L"C:\\variable");
  SetEnvironmentVariableW(L"QUARRY_TEST_LONG", std::wstring(300, L'v').c_str());
  const std::pair<std::wstring, std::wstring> kCases[] = {
      {L"C:\\Tools\\\\\\\\a.bat", L"C:\\Tools\\a.bat"},
      {L"C:\\\\Tools\\\\\\sub\\\\a.bat", L"C:\\Tools\\sub\\a.bat"},
      {L"\\\\server\\\\share\\\\\\a.bat", L"\\\\server\\share\\a.bat"},
      {L"\\\\\\\\server\\share\\a.bat", L"\\\\server\\share\\a.bat"},
      {L"%QUARRY_TEST%\\a.bat", L"C:\\variable\\a.bat"},
      {L"%quarry_test%\\%QUARRY_TEST_UNSET%\\a.bat", L"C:\\variable\\%QUARRY_TEST_UNSET%\\a.bat"},
      {L"%QUARRY_TEST_LONG%\\a.bat", L"%QUARRY_TEST_LONG%\\a.bat"},  // does not fit
      {L"%CommonStartMenu%\\a.bat", common + L"\\a.bat"},
      {L"%DefaultStartMenu%\\a.bat", ofDefault + L"\\a.bat"},
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
    bool made;
  } kCases[] = {
      {L"C:\\" + name(255) + L".bat", true},
      {L"C:\\" + name(256) + L".bat", false},
      {L"C:\\" + name(200) + L"\\" + name(92) + L".bat", true},  // 300 in all
      {L"C:\\" + name(253) + L"\\a.bat", true},
      {L"C:\\" + name(254) + L"\\a.bat", false},
      {L"C:\\a." + name(255), false},
      {L"C:\\" + name(40'000) + L".bat", false},
  };
  for (const auto& [path, made] : kCases) {
    HostLog::Clear();
    EXPECT_EQ(PathOf(path), made ? path : L"");
    EXPECT_EQ(HostLog::Count(0, L"Failed to parse path \"" + path + L"\", error 34\n"), made ? 0U : 1U) << path.size();
    EXPECT_EQ(HostLog::Count(2, L"Unsupported extension  in \"" + path + L"\"\n"), made ? 0U : 1U);
  }
}

using Strings = std::vector<std::pair<std::wstring, std::wstring>>;

Strings SixStrings(const std::wstring& suffix) {
  return {{L"ProductName", L"Näme" + suffix},     {L"ProductVersion", L"1.2" + suffix},
          {L"Comments", L"Comment" + suffix},     {L"CompanyName", L"Company 漢字" + suffix},
          {L"FileDescription", L"Text" + suffix}, {L"FileVersion", L"3.4.5.6" + suffix}};
}

/// Product name, product version, description, file version, comments and company of a record.
std::vector<std::wstring> VersionTexts(const ApplicationRecord& app) {
  const std::vector<std::wstring> texts = Texts(app);
  return {texts.begin() + 3, texts.end()};
}

TEST_F(ApplicationTest, VersionStringsAreThoseOfTheFirstTranslation) {
  const VersionResource::StringTable english = {L"040904e4", SixStrings(L" (en)")};
  const VersionResource::StringTable japanese = {L"041104b0", SixStrings(L" (ja)")};
  const std::vector<std::wstring> en = {L"Näme (en)",    L"1.2 (en)",     L"Text (en)",
                                        L"3.4.5.6 (en)", L"Comment (en)", L"Company 漢字 (en)"};
  const std::vector<std::wstring> ja = {L"Näme (ja)",    L"1.2 (ja)",     L"Text (ja)",
                                        L"3.4.5.6 (ja)", L"Comment (ja)", L"Company 漢字 (ja)"};
  const std::vector<std::wstring> none(6);
  const std::vector<std::wstring> nameOnly = {L"Only", L"", L"", L"", L"", L""};
  const struct {
    const char* what;
    VersionResource version;
    std::vector<std::wstring> texts;
    std::size_t translationFailures = 0;
  } kCases[] = {
      {"one table", {true, {{0x0409, 0x04e4}}, {english}}, en},
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
    HostLog::Clear();
    const std::wstring path = Versioned(L"versioned.exe", VersionResourceBytes(version));
    EXPECT_EQ(VersionTexts(host_.GetApplication(path)), texts);
    const auto failures = HostLog::Holding(L"Failed to get VarFileInfo\\Translation from " + path + L", error ");
    EXPECT_THAT(failures, SizeIs(translationFailures));
    EXPECT_THAT(failures, testing::Each(testing::Field(&LogLine::level, 1U)));
  }
}

TEST_F(ApplicationTest, ExecutableWithoutVersionInformationHasEmptyStrings) {
  ASSERT_TRUE(WriteExecutable(folder_ / L"plain.exe"));
  folder_.WriteText(L"text.exe", L"no program at all");
  folder_.WriteBytes(L"empty.exe", {});
  for (const wchar_t* const name : {L"plain.exe", L"text.exe", L"empty.exe", L"missing.exe"}) {
    HostLog::Clear();
    const std::wstring path = folder_ / name;
    EXPECT_EQ(VersionTexts(host_.GetApplication(path)), std::vector<std::wstring>(6));
    EXPECT_EQ(HostLog::Count(1, MissingVersionMessage(path)), 1U) << name;
  }
}

TEST_F(ApplicationTest, LyingVersionResourceYieldsNothingThatIsNotInIt) {
  const auto good = VersionResourceBytes({true, {{0x0409, 0x04e4}}, {{L"040904e4", SixStrings(L"")}}});
  std::mt19937 random(20261122);
  for (int round = 0; round < 60; ++round) {
    std::vector<std::uint8_t> lying = good;
    for (unsigned change = random() % 3; change < 3; ++change) {
      lying[random() % lying.size()] = random() % 2 == 0 ? 0xFF : static_cast<std::uint8_t>(random());
    }
    if (round % 5 == 0) lying.resize(2 + random() % (lying.size() - 2));
    if (round % 7 == 0) lying[0] = lying[1] = 0xFF;  // longer than it is
    const ApplicationRecord app = host_.GetApplication(Versioned(L"lying.exe", lying));
    ASSERT_NE(app, nullptr);
    lying.resize(lying.size() + 1);  // the platform fills a character that was cut in two with a zero
    for (const std::wstring& text : VersionTexts(app)) {
      const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
      const auto found = std::search(lying.begin(), lying.end(), bytes, bytes + text.size() * sizeof(wchar_t));
      ASSERT_NE(found, lying.end()) << round;
    }
  }
}

TEST_F(ApplicationTest, ShortcutDescribesItselfAndBorrowsFromItsTarget) {
  const std::wstring target =
      Versioned(L"target.exe", VersionResourceBytes({true, {{0x0409, 0x04e4}}, {{L"040904e4", SixStrings(L"")}}}));
  const std::wstring link = Link(L"Mein Füller.lnk", target, L"Schreibt 漢字");
  HostLog::Clear();
  const ApplicationRecord app = host_.GetApplication(link);
  ASSERT_NE(app, nullptr);
  EXPECT_EQ(Texts(app), (std::vector<std::wstring>{L"Mein Füller.lnk", L"Mein Füller", L"lnk", L"Mein Füller", L"1.2",
                                                   L"Schreibt 漢字", L"", L"", L"Company 漢字"}));
  EXPECT_EQ(app->path, link);
  EXPECT_EQ(app->targetPath, target);
  const std::vector<LogLine> resolution = {
      {2, L"Creating Shortcut from \"" + link + L"\"\n"},     {3, L"Creating shortcut from " + link + L"\n"},
      {2, L"Resolving shortcut \"" + link + L"\"\n"},         {2, L"Target is \"" + target + L"\"\n"},
      {2, L"Creating Executable from \"" + target + L"\"\n"}, {2, L"\"" + link + L"\": target OK\n"}};
  const std::vector<LogLine>& lines = HostLog::Lines();
  ASSERT_GE(lines.size(), resolution.size());  // its icons may follow
  EXPECT_EQ(std::vector<LogLine>(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(resolution.size())),
            resolution);
}

TEST_F(ApplicationTest, ShortcutLeadsThroughOthersButNotInACircle) {
  ASSERT_TRUE(WriteExecutable(folder_ / L"end.exe"));
  Link(L"inner.lnk", folder_ / L"end.exe", L"inner");
  Link(L"outer.lnk", folder_ / L"inner.lnk", L"outer");
  const ApplicationRecord app = host_.GetApplication(folder_ / L"outer.lnk");
  ASSERT_NE(app, nullptr);
  EXPECT_EQ(app->targetPath, folder_ / L"end.exe");
  EXPECT_STREQ(app->fileDescription, L"outer");
  EXPECT_STREQ(app->productName, L"outer");

  Link(L"self.lnk", folder_ / L"self.lnk");
  Link(L"one.lnk", folder_ / L"other.lnk");
  Link(L"other.lnk", folder_ / L"one.lnk");
  EXPECT_EQ(PathOf(folder_ / L"self.lnk"), L"");
  EXPECT_EQ(PathOf(folder_ / L"one.lnk"), L"");
}

TEST_F(ApplicationTest, ShortcutToAnythingButAnApplicationIsDropped) {
  folder_.WriteText(L"paper.pdf", L"");
  folder_.MakeFolder(L"sub.exe folder");
  folder_.WriteText(L"Setup.EXE", L"");
  for (const wchar_t* const name : {L"paper.pdf", L"sub.exe folder", L"Setup.EXE"}) {
    HostLog::Clear();
    const std::wstring link = Link(L"document.lnk", folder_ / name);
    EXPECT_EQ(host_.GetApplication(link), nullptr);
    EXPECT_EQ(HostLog::Count(1, L"\"" + link + L"\": target \"" + (folder_ / name) + L"\" not recognized\n"), 1U);
    EXPECT_EQ(host_->VerifyApplication(link.c_str()), 0);
  }
}

TEST_F(ApplicationTest, ShortcutWithoutItsTargetIsResolvedOrRefusedButNeverSearchedFor) {
  ASSERT_TRUE(WriteExecutable(folder_ / L"moved.exe"));
  const std::wstring link = Link(L"moved.lnk", folder_ / L"moved.exe");
  folder_.MakeFolder(L"elsewhere");
  ASSERT_TRUE(MoveFileW((folder_ / L"moved.exe").c_str(), (folder_ / L"elsewhere\\moved.exe").c_str()));
  HostLog::Clear();
  const ApplicationRecord app = host_.GetApplication(link);
  EXPECT_EQ(HostLog::Count(1, L"\"" + link + L"\": target unresolvable\n"), app == nullptr ? 1U : 0U);
  if (app != nullptr) {  // a system that resolves what is gone
    EXPECT_EQ(app->targetPath, folder_ / L"moved.exe");
  }
}

TEST_F(ApplicationTest, DescriptionIsCutAt1023Characters) {
  ASSERT_TRUE(WriteExecutable(folder_ / L"app.exe"));
  const ApplicationRecord app = host_.GetApplication(Link(L"long.lnk", folder_ / L"app.exe", std::wstring(3000, L'd')));
  ASSERT_NE(app, nullptr);
  EXPECT_EQ(app->fileDescription, std::wstring(1023, L'd'));
}

TEST_F(ApplicationTest, DamagedLinkFileYieldsNothingAndDoesNoHarm) {
  ASSERT_TRUE(WriteExecutable(folder_ / L"app.exe"));
  const std::wstring good = Link(L"good.lnk", folder_ / L"app.exe");
  const std::wstring empty = folder_.WriteBytes(L"empty.lnk", {});
  const std::wstring missing = folder_ / L"missing.lnk";
  for (const std::wstring& path : {empty, missing}) {
    EXPECT_EQ(host_.GetApplication(path), nullptr);
    EXPECT_EQ(HostLog::Count(0, L"\"" + path + L"\": failed to load IPeristFile\n"), 1U);
  }

  std::vector<std::uint8_t> bytes(std::filesystem::file_size(good));
  std::mt19937 random(20261122);
  for (int round = 0; round < 100; ++round) {
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<std::uint8_t>(random()); });
    const std::wstring path = folder_.WriteBytes(L"random.lnk", bytes);
    EXPECT_EQ(host_.GetApplication(path), nullptr);
  }
  EXPECT_EQ(PathOf(good), good);
}

TEST_F(ApplicationTest, ShortcutToADeadShareAnswersSoon) {
  const std::wstring link = Link(L"share.lnk", L"\\\\quarry-no-such-host\\share\\app.exe");
  const auto start = std::chrono::steady_clock::now();
  const ApplicationRecord app = host_.GetApplication(link);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
  EXPECT_EQ(HostLog::Holding(L"unresolvable").empty(), app != nullptr);
}

TEST_F(ApplicationTest, ShortcutToSomethingThatIsNoFileIsDropped) {
  PIDLIST_ABSOLUTE idList = nullptr;
  ASSERT_EQ(SHGetKnownFolderIDList(FOLDERID_ControlPanelFolder, 0, nullptr, &idList), S_OK);
  const UniqueCoTaskMem<ITEMIDLIST> owner(idList);
  const std::wstring path = folder_ / L"panel.lnk";
  ComPtr<IShellLinkW> link;
  ComPtr<IPersistFile> file;
  ASSERT_EQ(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&link)), S_OK);
  ASSERT_EQ(link.As(&file), S_OK);
  ASSERT_EQ(link->SetIDList(idList), S_OK);
  ASSERT_EQ(file->Save(path.c_str(), TRUE), S_OK);
  HostLog::Clear();
  EXPECT_EQ(host_.GetApplication(path), nullptr);
  EXPECT_EQ(HostLog::Count(1, L"\"" + path + L"\": failed to get path from IDs - unresolvable\n"), 1U);
}

}  // namespace
}  // namespace quarry::test
