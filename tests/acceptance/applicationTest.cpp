// What becomes of one path: kinds of application, version strings, shortcuts, variables and unusual names.

#include "lib/misc/fileBytes.h"

#include "tests/support/hostTest.h"

#include <knownfolders.h>
#include <shlobj.h>
#include <wrl/client.h>

namespace quarry::test {
namespace {

using Microsoft::WRL::ComPtr;

/// The texts of a record in the order of its members, without the path.
Names TextsOf(const ApplicationRecord& app) {
  if (app == nullptr) return {};
  return {app->fileName,        app->baseName,    app->extension, app->productName, app->productVersion,
          app->fileDescription, app->fileVersion, app->comments,  app->companyName};
}

/// Product name, product version, description, file version, comments and company of a record.
Names VersionTexts(const ApplicationRecord& app) {
  const Names texts = TextsOf(app);
  return {texts.begin() + 3, texts.end()};
}

std::wstring StartMenu(int folder, HANDLE user) {
  wchar_t path[MAX_PATH] = {};
  EXPECT_EQ(SHGetFolderPathW(nullptr, folder, user, SHGFP_TYPE_CURRENT, path), S_OK);
  return path;
}

class ApplicationTest : public Test {
 protected:
  std::wstring Program(const std::wstring& name) const { return folder_.CopyFrom(name, FixtureProgram(L"emptyApp")); }
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
      {L"Bücher.漢字.jar", L"GenericApp", L"Bücher.漢字", L"jar"},
      {L".bat", L"GenericApp", L"", L"bat"},
      {L"Setup.EXE", L"", L"", L"EXE"},
      {L"Word.Lnk", L"", L"", L"Lnk"},
      {L"a.BAT", L"", L"", L"BAT"},
      {L"app.exe.bak", L"", L"", L"bak"},
      {L"dot.", L"", L"", L""},
      {L"folder.exe\\", L"", L"", L""},
  };
  for (const auto& [name, kind, baseName, extension] : kCases) {
    const std::wstring path = folder_ / name;
    const ApplicationRecord app = Get(path);
    const std::wstring message =
        kind.empty() ? L"Unsupported extension " + extension + L" in \"" : L"Creating " + kind + L" from \"";
    EXPECT_EQ(HostLog::Count(2, message + path + L"\"\n"), 1U) << name.c_str();
    const std::wstring product = kind == L"GenericApp" ? baseName : L"";
    EXPECT_EQ(TextsOf(app), kind.empty() ? Names() : (Names{name, baseName, extension, product, {}, {}, {}, {}, {}}));
    EXPECT_TRUE(app == nullptr || (app->path == path && app->targetPath == path));
  }
}

TEST_F(ApplicationTest, PathIsExpandedAndItsRunsOfBackslashesCollapse) {
  const std::wstring common = StartMenu(CSIDL_COMMON_STARTMENU, nullptr);
  const std::wstring ofDefault = StartMenu(CSIDL_STARTMENU, reinterpret_cast<HANDLE>(-1));
  SetEnvironmentVariableW(L"QUARRY_TEST", L"C:\\variable");
  SetEnvironmentVariableW(L"QUARRY_TEST_LONG", std::wstring(252, L'v').c_str());
  const std::pair<std::wstring, std::wstring> kCases[] = {
      {L"C:\\\\Tools\\\\\\\\sub\\\\a.bat", L"C:\\Tools\\sub\\a.bat"},
      {L"\\\\\\server\\\\share\\\\\\a.bat", L"\\\\server\\share\\a.bat"},
      {L"%quarry_test%\\%QUARRY_TEST_UNSET%\\a.bat", L"C:\\variable\\%QUARRY_TEST_UNSET%\\a.bat"},
      {L"C:\\%QUARRY_TEST_LONG%.bat", L"C:\\" + std::wstring(252, L'v') + L".bat"},  // 259 fit
      {L"C:\\\\%QUARRY_TEST_LONG%.bat", L"C:\\%QUARRY_TEST_LONG%.bat"},              // 260 do not
      {L"%QUARRY_TEST_LONG%\\%CommonStartMenu%.bat", L"%QUARRY_TEST_LONG%\\%CommonStartMenu%.bat"},
      {L"%DefaultStartMenu%|%CommonStartMenu%\\a.bat", ofDefault + L"|" + common + L"\\a.bat"},
      {L"%CommonStartMenu%\\%CommonStartMenu%\\a.bat", common + L"\\%CommonStartMenu%\\a.bat"},
      {L"%DefaultStartMenu%\\%DefaultStartMenu%.bat", ofDefault + L"\\%DefaultStartMenu%.bat"},
      {L"%commonstartmenu%\\%defaultStartMenu%.bat", L"%commonstartmenu%\\%defaultStartMenu%.bat"},
  };
  for (const auto& [asked, made] : kCases) EXPECT_EQ(PathOf(asked), made);
}

TEST_F(ApplicationTest, NamePartsOf255CharactersAreTheLongest) {
  const auto name = [](std::size_t length) { return std::wstring(length, L'x'); };
  const std::pair<std::wstring, bool> kCases[] = {{L"C:\\" + name(255) + L".bat", true},
                                                  {L"C:\\" + name(256) + L".bat", false},
                                                  {L"C:\\" + name(253) + L"\\" + name(92) + L".bat", true},
                                                  {L"C:\\" + name(254) + L"\\a.bat", false},
                                                  {L"C:\\a." + name(254), true},
                                                  {L"C:\\a." + name(255), false},  // the dot counts
                                                  {L"C:\\" + name(40'000) + L".bat", false}};
  for (const auto& [path, splits] : kCases) {
    EXPECT_EQ(PathOf(path), splits && path.ends_with(L".bat") ? path : L"");
    EXPECT_EQ(HostLog::Count(0, L"Failed to parse path \"" + path + L"\", error 34\n"), splits ? 0U : 1U);
    EXPECT_EQ(HostLog::Count(2, L"Unsupported extension  in \"" + path + L"\"\n"), splits ? 0U : 1U) << path.size();
  }
}

VersionResource::StringTable SixStrings(const std::wstring& key, const std::wstring& suffix) {
  return {key,
          {{L"ProductName", L"Näme" + suffix},
           {L"ProductVersion", L"1.2" + suffix},
           {L"Comments", L"Comment" + suffix},
           {L"CompanyName", L"Company 漢字" + suffix},
           {L"FileDescription", L"Text" + suffix},
           {L"FileVersion", L"3.4.5.6" + suffix}}};
}

TEST_F(ApplicationTest, VersionStringsAreThoseOfTheFirstTranslation) {
  const VersionResource::StringTable english = SixStrings(L"040904e4", L"E");
  const VersionResource::StringTable japanese = SixStrings(L"041104b0", L"J");
  const Names en = {L"NämeE", L"1.2E", L"TextE", L"3.4.5.6E", L"CommentE", L"Company 漢字E"};
  const Names ja = {L"NämeJ", L"1.2J", L"TextJ", L"3.4.5.6J", L"CommentJ", L"Company 漢字J"};
  const Names none(6);
  const struct {
    const char* what;
    VersionResource version;
    Names texts;
    std::size_t translationFailures = 0;
  } kCases[] = {
      {"the first of two", {true, {{0x0411, 0x04b0}, {0x0409, 0x04e4}}, {english, japanese}}, ja},
      {"a table that is not there", {true, {{0x0407, 0x04b0}, {0x0409, 0x04e4}}, {english}}, none},
      {"an empty translation table", {true, {}, {japanese, english}}, en},
      {"no translation table", {false, {}, {japanese, english}}, en, 1},
      {"one string", {true, {{0x0409, 0x04e4}}, {{L"040904e4", {{L"Comments", L"C"}}}}}, {{}, {}, {}, {}, L"C", {}}},
  };
  for (const auto& [what, version, texts, translationFailures] : kCases) {
    SCOPED_TRACE(what);
    const std::wstring path = Program(L"versioned.exe");
    PutVersion(path, version);
    EXPECT_EQ(VersionTexts(Get(path)), texts);
    const auto failures = HostLog::Holding(L"Failed to get VarFileInfo\\Translation from " + path + L", error ");
    EXPECT_THAT(failures, AllOf(SizeIs(translationFailures), Each(Field(&LogLine::level, 1U))));
  }
  // The error codes differ between systems.
  for (const std::wstring& path : {Program(L"plain.exe"), folder_.WriteText(L"text.exe", L""), folder_ / L"gone.exe"}) {
    EXPECT_EQ(VersionTexts(Get(path)), none);
    EXPECT_EQ(HostLog::Count(1, L"No VersionInfo in " + path + L"\n") +
                  HostLog::CountHolding(L"Failed to load VersionInfo from " + path + L", error "),
              1U);
  }
}

TEST_F(ApplicationTest, ShortcutDescribesItselfAndBorrowsFromItsTarget) {
  const std::wstring target = Program(L"target.exe");
  PutVersion(target, {true, {{0x0409, 0x04e4}}, {SixStrings(L"040904e4", L"")}});
  const std::wstring link = folder_.WriteLink(L"Mein Füller.lnk", target, {.description = L"Schreibt 漢字"});
  const ApplicationRecord app = Get(link);
  ASSERT_NE(app, nullptr);
  EXPECT_EQ(TextsOf(app), (Names{L"Mein Füller.lnk", L"Mein Füller", L"lnk", L"Mein Füller", L"1.2", L"Schreibt 漢字",
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

  // A chain of links has fifteen at most.
  std::wstring outer = link;
  for (int index = 1; index < 16; ++index) {
    outer = folder_.WriteLink(std::to_wstring(index) + L".lnk", outer, {.description = std::wstring(3000, L'd')});
    const ApplicationRecord outerApp = Get(outer);
    ASSERT_EQ(outerApp != nullptr, index < 15) << index;
    if (outerApp == nullptr) continue;
    EXPECT_EQ(outerApp->targetPath, target);
    EXPECT_EQ(TextsOf(outerApp)[3] + outerApp->fileDescription, std::to_wstring(index) + std::wstring(1023, L'd'));
  }
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
  Bytes damaged = ReadWholeFile(folder_.WriteLink(L"model.lnk", FixtureProgram(L"emptyApp"))).value_or(Bytes());
  Bytes large = damaged;
  large.resize((1 << 20) + 1);
  damaged.at(0x4E) = 1;  // an item of the ID list that is shorter than its own size
  const std::wstring file = folder_.WriteText(L"Setup.EXE", L"");
  const std::wstring folder = folder_.MakeFolder(L"sub.exe folder");
  const std::wstring self = folder_ / L"self.lnk";
  const struct {
    std::wstring link;
    std::uint32_t level;
    std::wstring message;
  } kCases[] = {
      {folder_.WriteLink(L"file.lnk", file), 1, L"target \"" + file + L"\" not recognized\n"},
      {folder_.WriteLink(L"folder.lnk", folder), 1, L"target \"" + folder + L"\" not recognized\n"},
      {folder_.WriteLink(L"self.lnk", self), 1, L"target \"" + self + L"\" not recognized\n"},
      {PanelLink(folder_ / L"panel.lnk"), 1, L"failed to get path from IDs - unresolvable\n"},
      {folder_.WriteBytes(L"empty.lnk", {}), 0, L"failed to load IPeristFile\n"},
      {folder_.WriteBytes(L"damaged.lnk", damaged), 0, L"failed to load IPeristFile\n"},
      {folder_.WriteBytes(L"large.lnk", large), 0, L"failed to load IPeristFile\n"},
      {folder_ / L"missing.lnk", 0, L"failed to load IPeristFile\n"},
  };
  for (const auto& [link, level, message] : kCases) {
    EXPECT_EQ(Get(link), nullptr) << link.c_str();
    const std::size_t times = link == self ? 16 : 1;  // on the way back from where it was given up
    EXPECT_EQ(HostLog::Count(level, Str_FormatWide(L"\"%s\": %s", link.c_str(), message.c_str())), times);
  }
  // Systems differ in whether a target that is gone is resolved; none asks anybody, or searches.
  const ApplicationRecord gone = Get(folder_.WriteLink(L"gone.lnk", folder_ / L"gone.exe"));
  EXPECT_EQ(HostLog::CountHolding(L"gone.lnk\": target unresolvable\n"), gone == nullptr ? 1U : 0U);
}

}  // namespace
}  // namespace quarry::test
