// Scans with configured filters and with INI files: settings, definitions, order, messages, folders that cause trouble.

#include "lib/misc/platformHandles.h"

#include "tests/support/folderLink.h"
#include "tests/support/quarryHost.h"
#include "tests/support/registryFixture.h"
#include "tests/support/shortcut.h"
#include "tests/support/temporaryFolder.h"

#include <gmock/gmock.h>

#include <windows.h>

#include <knownfolders.h>
#include <shlobj.h>

#include <algorithm>
#include <functional>

namespace quarry::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Names = std::vector<std::wstring>;

Names NamesOf(const ApplicationArray& apps) {
  Names names;
  for (const QuarryApplicationInfo& app : apps) names.emplace_back(app.fileName);
  return names;
}

Names Sorted(Names names) {
  std::sort(names.begin(), names.end());
  return names;
}

/// The names in a folder in the order in which the file system lists them.
Names Listing(const std::wstring& folder) {
  Names names;
  WIN32_FIND_DATAW entry{};
  const UniqueFind find(FindFirstFileW((folder + L"\\*").c_str(), &entry));
  if (!find) return names;
  do {
    if (entry.cFileName != std::wstring_view(L".") && entry.cFileName != std::wstring_view(L"..")) {
      names.emplace_back(entry.cFileName);
    }
  } while (FindNextFileW(find.get(), &entry));
  return names;
}

/// The files below a folder, depth-first in the order of the file system.
Names DepthFirst(const std::wstring& folder) {
  Names names;
  for (const std::wstring& name : Listing(folder)) {
    std::wstring path = folder;
    path.append(L"\\").append(name);
    const bool isFolder = (GetFileAttributesW(path.c_str()) & FILE_ATTRIBUTE_DIRECTORY) != 0;
    const Names below = isFolder ? DepthFirst(path) : Names{name};
    names.insert(names.end(), below.begin(), below.end());
  }
  return names;
}

/// What the log says about discovery. Lines about the icons of what was found are left to their own tests.
std::vector<LogLine> DiscoveryLog() {
  constexpr std::wstring_view kAboutIcons[] = {L"Getting icons",
                                               L"Unable to deduce",
                                               L"Failed to find RT_GROUP_ICON",
                                               L"Failed to initialize IconMiner",
                                               L"No IconMiner",
                                               L"Miner found",
                                               L"Found ",
                                               L"Reduced to",
                                               L"IconBoss",
                                               L"Creating new PNG",
                                               L"Shortcut \"",
                                               L"Failed to load file"};
  std::vector<LogLine> lines;
  std::copy_if(HostLog::Lines().begin(), HostLog::Lines().end(), std::back_inserter(lines), [&](const LogLine& line) {
    return std::none_of(std::begin(kAboutIcons), std::end(kAboutIcons),
                        [&](std::wstring_view start) { return line.text.starts_with(start); });
  });
  return lines;
}

/// A small tree, the settings keys of the machine, and a library in use.
class ScanTest : public testing::Test {
 protected:
  void SetUp() override {
    File(L"root\\top.bat");
    File(L"root\\.hidden.bat");
    File(L"root\\sub\\inner.bat");
    File(L"root\\sub\\deep\\deepest.cmd");
    SetFileAttributesW((folder_ / L"root\\.hidden.bat").c_str(), FILE_ATTRIBUTE_HIDDEN);
    HostLog::Clear();
  }

  std::wstring File(std::wstring_view relative) const { return folder_.WriteBytes(relative, {}); }
  std::wstring Root(std::wstring_view relative = L"root") const { return folder_ / relative; }
  void Define(int number, const std::wstring& root, const std::wstring& includes = {},
              const std::wstring& excludes = {}) const {
    const std::wstring subkey = L"Filter" + std::to_wstring(number);
    settings_.SetString(subkey, L"Root", root);
    if (!includes.empty()) settings_.SetString(subkey, L"Includes", includes);
    if (!excludes.empty()) settings_.SetString(subkey, L"Excludes", excludes);
  }
  Names Scan() const {
    HostLog::Clear();
    return NamesOf(host_.Scan());
  }
  Names ScanIniText(const std::wstring& text) const {
    const std::wstring ini = folder_.WriteText(L"filters.ini", text);
    HostLog::Clear();
    return NamesOf(host_.ScanIni(ini));
  }

  const TemporaryFolder folder_{L"quarryScan"};
  const RegistryFixture settings_{kSettingsKey};
  const RegistryFixture policy_{kPolicyKey};
  const QuarryHost host_;
};

TEST_F(ScanTest, SettingsAreReadPolicyFirstAtEachScan) {
  const Names all = {L"deepest.cmd", L"inner.bat", L"top.bat"};
  const Names two = {L"inner.bat", L"top.bat"};
  const Names top = {L"top.bat"};
  const Names withHidden = {L".hidden.bat", L"deepest.cmd", L"inner.bat", L"top.bat"};
  const struct {
    const wchar_t* name;
    const wchar_t* ordinary;  // null for none
    const wchar_t* policy;
    Names found;
  } kCases[] = {
      {L"MaxScanDepth", nullptr, nullptr, all},
      {L"MaxScanDepth", L"1", nullptr, top},
      {L"MaxScanDepth", L"2", nullptr, two},
      {L"MaxScanDepth", L"5abc", nullptr, all},
      {L"MaxScanDepth", L"1abc", nullptr, top},
      {L"MaxScanDepth", L"abc", nullptr, {}},
      {L"MaxScanDepth", L"", nullptr, {}},
      {L"MaxScanDepth", L"0", nullptr, {}},
      {L"MaxScanDepth", L"-3", nullptr, {}},
      {L"MaxScanDepth", L"20", L"1", top},
      {L"MaxScanDepth", L"1", L"20", all},
      {L"MaxScanDepth", L"2000000000", nullptr, all},
      {L"ScanHidden", L"1", nullptr, withHidden},
      {L"ScanHidden", L"true", nullptr, withHidden},
      {L"ScanHidden", L"TRUE", nullptr, withHidden},
      {L"ScanHidden", L"0", nullptr, all},
      {L"ScanHidden", L"False", nullptr, all},
      {L"ScanHidden", L"2", nullptr, all},
      {L"ScanHidden", L"", nullptr, all},
      {L"ScanHidden", L"1", L"0", all},
  };
  Define(1, Root());
  for (const auto& [name, ordinary, policy, found] : kCases) {
    if (ordinary != nullptr) settings_.SetString(L"", name, ordinary);
    if (policy != nullptr) policy_.SetString(L"", name, policy);
    EXPECT_EQ(Sorted(Scan()), found) << name << ' ' << (ordinary != nullptr ? ordinary : L"-");
    const std::wstring tooDeep = L"Maximum directory scan depth (2) exceeded for \"";
    EXPECT_EQ(HostLog::Count(1, tooDeep + Root(L"root\\sub\\deep") + L"\" -- skipped\n"), found == two ? 1U : 0U);
    if (ordinary != nullptr) settings_.RemoveValue(L"", name);
    if (policy != nullptr) policy_.RemoveValue(L"", name);
  }
}

TEST_F(ScanTest, SettingOfAnotherTypeIsReportedAndCountsAsAbsent) {
  Define(1, Root());
  const auto wrong = [](int type, const wchar_t* key) {
    return L"Wrong registry type " + std::to_wstring(type) + L" (expected 1) for " + key + L"\\MaxScanDepth\n";
  };
  settings_.SetDword(L"", L"MaxScanDepth", 1);
  EXPECT_THAT(Scan(), SizeIs(3));
  EXPECT_GE(HostLog::Count(0, wrong(4, kSettingsKey)), 1U);

  settings_.SetString(L"", L"MaxScanDepth", L"1");
  policy_.SetRaw(L"", L"MaxScanDepth", REG_EXPAND_SZ, {});
  EXPECT_THAT(Scan(), ElementsAre(L"top.bat"));
  EXPECT_GE(HostLog::Count(0, wrong(2, kPolicyKey)), 1U);
  policy_.RemoveValue(L"", L"MaxScanDepth");

  // Registry text needs neither an end nor whole characters, and may have more behind its end.
  const std::vector<std::uint8_t> kTexts[] = {{'1', 0}, {'1', 0, 0, 0, '9', 0}, {'1', 0, 0, 0, '9'}};
  for (const std::vector<std::uint8_t>& text : kTexts) {
    settings_.SetRaw(L"", L"MaxScanDepth", REG_SZ, text);
    EXPECT_THAT(Scan(), ElementsAre(L"top.bat")) << text.size();
  }
}

TEST_F(ScanTest, ReparsePointsAreReportedAndEnteredOnlyWhenAllowed) {
  File(L"outside\\linked.bat");
  const FolderLink link(Root(L"root\\link"), Root(L"outside"));
  if (!link) GTEST_SKIP() << "no symbolic links here";
  const FolderLink loop(Root(L"root\\sub\\loop"), Root());
  ASSERT_TRUE(loop);
  Define(1, Root());
  for (const bool allowed : {false, true}) {
    settings_.SetString(L"", L"ScanReparsePoints", allowed ? L"1" : L"0");
    settings_.SetString(L"", L"MaxScanDepth", L"3");
    const Names found = Scan();
    EXPECT_EQ(std::count(found.begin(), found.end(), L"linked.bat"), allowed ? 1 : 0);
    for (const wchar_t* const name : {L"root\\link", L"root\\sub\\loop"}) {
      EXPECT_EQ(HostLog::Count(1, L"Scanning encountered a reparse point: \"" + Root(name) + L"\"" +
                                      (allowed ? L"" : L" -- skipped") + L"\n"),
                1U);
    }
  }
  settings_.SetString(L"", L"MaxScanDepth", L"1000000");
  EXPECT_THAT(Scan(), testing::Contains(L"top.bat"));  // and ends
}

TEST_F(ScanTest, WorldWritableFolderIsTreatedAsTheSettingSays) {
  folder_.MakeOpenFolder(L"root\\open");
  File(L"root\\open\\planted.bat");
  File(L"root\\open\\below\\planted.bat");
  File(L"second\\other.bat");
  Define(1, Root());
  Define(2, Root(L"second"));
  Names all = DepthFirst(Root());
  std::erase(all, L".hidden.bat");
  Names without = all;
  std::erase(without, L"planted.bat");
  const Names before(all.begin(), std::find(all.begin(), all.end(), L"planted.bat"));
  const std::wstring open = L" world-writable directory \"" + Root(L"root\\open") + L"\"\n";
  const struct {
    const wchar_t* setting;  // null for none
    Names found;             // of the first filter
    LogLine line;
  } kCases[] = {
      {nullptr, all, {1, L"Scanning" + open}},
      {L"warn", all, {1, L"Scanning" + open}},
      {L"", all, {1, L"Scanning" + open}},
      {L"skip", without, {1, L"Skipping" + open}},
      {L"stop", before, {0, L"Aborting due to" + open}},
      {L"Skip", before, {0, L"Bad value \"Skip\" for CONFIG_WRITABLE_FOLDER_ACTION\n"}},
      {L"allow ", before, {0, L"Bad value \"allow \" for CONFIG_WRITABLE_FOLDER_ACTION\n"}},
      {L"allow", all, {}},
  };
  for (const auto& [setting, found, line] : kCases) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(setting != nullptr ? setting : L"none")));
    if (setting != nullptr) settings_.SetString(L"", L"WritableFolders", setting);
    Names expected = found;
    expected.push_back(L"other.bat");  // an abort ends its own filter only
    EXPECT_EQ(Scan(), expected);
    const std::size_t lines = line.text.empty() ? 0 : 1;
    EXPECT_EQ(HostLog::Count(line.level, line.text), lines);
    EXPECT_THAT(HostLog::Holding(L"world-writable"), SizeIs(line.text.find(open) != std::wstring::npos ? lines : 0));
  }
}

TEST_F(ScanTest, ResultsAreDepthFirstInTheOrderOfTheFileSystem) {
  for (const wchar_t* const name :
       {L"root\\b\\1.bat", L"root\\B2.bat", L"root\\c\\0.cmd", L"root\\c.vbs", L"root\\a.msc"}) {
    File(name);
  }
  Names expected = DepthFirst(Root());
  std::erase(expected, L".hidden.bat");
  Define(1, Root());
  EXPECT_EQ(Scan(), expected);
  Define(3, Root(L"root\\sub"));  // found once more
  const Names below = DepthFirst(Root(L"root\\sub"));
  expected.insert(expected.end(), below.begin(), below.end());
  EXPECT_EQ(Scan(), expected);

  Define(1, folder_.Path() + L"\\\\root\\");  // below the root itself the paths are clean
  Scan();
  EXPECT_EQ(HostLog::Count(2, L"Scanning \"" + Root(L"root\\sub") + L"\", depth = 1\n"), 1U);
}

TEST_F(ScanTest, RegistryDefinesFilters1To9) {
  const struct {
    const char* what;
    std::function<void()> define;
    Names found;
  } kCases[] = {
      {"one is missing",
       [&] { Define(1, Root(L"root\\sub\\deep")), Define(3, Root(L"root"), L"t*"); },
       {L"deepest.cmd", L"top.bat"}},
      {"ten is too many", [&] { Define(9, Root(L"root"), L"t*"), Define(10, Root(L"root"), L"i*"); }, {L"top.bat"}},
      {"zero is too few", [&] { Define(9, Root(L"root"), L"t*"), Define(0, Root(L"root"), L"i*"); }, {L"top.bat"}},
      {"one is disabled",
       [&] {
         Define(1, Root(L"root"), L"t*"), Define(2, Root(L"root"), L"i*");
         settings_.SetDword(L"Filter1", L"Enabled", 0);
         settings_.SetDword(L"Filter2", L"Enabled", 7);
       },
       {L"inner.bat"}},
      {"disabled by a text or by half a number counts as enabled",
       [&] {
         Define(1, Root(L"root"), L"t*"), settings_.SetString(L"Filter1", L"Enabled", L"0");
         Define(2, Root(L"root"), L"i*"), settings_.SetRaw(L"Filter2", L"Enabled", REG_DWORD, {{0, 0}});
       },
       {L"top.bat", L"inner.bat"}},
      {"the policy's values win",
       [&] {
         Define(1, Root(L"root"), L"t*");
         policy_.SetString(L"Filter1", L"Includes", L"i*");
         policy_.SetString(L"Filter2", L"Root", Root(L"root\\sub\\deep"));
       },
       {L"inner.bat", L"deepest.cmd"}},
      {"one has no root", [&] { Define(1, Root(L"root"), L"t*"), settings_.MakeSubkey(L"Filter2"); }, {L"top.bat"}},
      {"a variable in the root",
       [&] {
         SetEnvironmentVariableW(L"QUARRY_TEST_ROOT", folder_.Path().c_str());
         Define(1, L"%QUARRY_TEST_ROOT%\\root\\sub\\deep");
       },
       {L"deepest.cmd"}},
      {"pattern lists",
       [&] { Define(1, Root(L"root"), L";;*.BAT;;*.cmd;", L"inner*;;nothing"); },
       {L"deepest.cmd", L"top.bat"}},
      {"both lists name it", [&] { Define(1, Root(L"root"), L"*.bat", L"TOP.*"); }, {L"inner.bat"}},
      {"a pattern names files, not folders", [&] { Define(1, Root(L"root"), L"*sub*;top.ba?"); }, {L"top.bat"}},
  };
  for (const auto& [what, define, found] : kCases) {
    define();
    EXPECT_EQ(Scan(), found) << what;
    for (int number = 0; number <= 10; ++number) {
      settings_.RemoveSubkey(L"Filter" + std::to_wstring(number));
      policy_.RemoveSubkey(L"Filter" + std::to_wstring(number));
    }
  }
}

TEST_F(ScanTest, DefinitionsWithoutRootPublishNothingInsteadOfTheDefaults) {
  settings_.SetDword(L"Filter2", L"Enabled", 1);
  EXPECT_THAT(Scan(), IsEmpty());
  EXPECT_THAT(HostLog::Lines(),
              ElementsAre(LogLine{1, L"Filter defined with no root!\n"},
                          LogLine{2, L"Inserting empty filter to prevent revert to default scan settings\n"},
                          LogLine{1, L"Filter  has no paths\n"}, LogLine{3, L"Filter returned 0 apps"}));

  // One that has a root, but is disabled, reverts to the defaults.
  Define(1, Root());
  settings_.SetDword(L"Filter1", L"Enabled", 0);
  Scan();
  EXPECT_EQ(HostLog::Count(3, L"Filter has base path: %CommonStartMenu%"), 1U);
}

TEST_F(ScanTest, DefinitionThatOthersCanWriteIsNotTrusted) {
  const struct {
    const wchar_t* sddl;
    bool trusted;
  } kCases[] = {
      {L"D:P(A;;KA;;;BA)", true},
      {L"D:P(A;;KA;;;BA)(A;;KR;;;BU)(A;;KR;;;WD)", true},
      {L"D:P(D;;0x2;;;BG)(A;;KA;;;BA)", true},
      {L"D:P(A;;KA;;;BA)(A;;0x20004;;;BU)", true},  // may add keys below, not values
      {L"D:P(A;;KA;;;BA)(A;;KA;;;BU)", false},
      {L"D:P(A;;KA;;;BA)(A;;KW;;;AU)", false},
      {L"D:P(A;;KA;;;BA)(A;;0x2;;;WD)", false},
      {L"D:P(A;;KA;;;BA)(A;;KA;;;SY)", false},
  };
  Define(1, Root(), L"top*");
  Define(2, Root(), L"inner*");
  const std::wstring key = std::wstring(kSettingsKey) + L"\\Filter1";
  for (const auto& [sddl, trusted] : kCases) {
    settings_.SetDacl(L"Filter1", sddl);
    EXPECT_EQ(Scan(), trusted ? (Names{L"top.bat", L"inner.bat"}) : Names{L"inner.bat"}) << sddl;
    EXPECT_EQ(HostLog::Count(0, L"Key " + key + L": Non-admin ACL entry given write permissions\n"), trusted ? 0U : 1U);
  }
  // Each of the two keys can supply values, so each has to pass.
  for (const RegistryFixture* const open : {&settings_, &policy_}) {
    settings_.SetDacl(L"Filter1", L"D:P(A;;KA;;;BA)");
    policy_.SetString(L"Filter1", L"Includes", L"top*");
    policy_.SetDacl(L"Filter1", L"D:P(A;;KA;;;BA)");
    EXPECT_EQ(Scan(), (Names{L"top.bat", L"inner.bat"}));
    open->SetDacl(L"Filter1", L"D:P(A;;KA;;;BA)(A;;KA;;;BU)");
    EXPECT_EQ(Scan(), Names{L"inner.bat"});
  }
  settings_.RemoveSubkey(L"Filter2");
  Scan();  // a rooted definition was seen
  EXPECT_EQ(HostLog::Count(3, L"Filter has base path: %CommonStartMenu%"), 1U);
}

TEST_F(ScanTest, IniFileDefinesOneFilterForEachSectionInOrder) {
  const std::wstring root = L"\r\nRoot=" + Root() + L"\r\n";
  EXPECT_EQ(ScanIniText(L"[Zebra]" + root + L"Includes=top*\r\n[Empty]\r\nIncludes=*\r\n[Apple]" + root +
                        L"Includes=*.bat;*.cmd\r\nExcludes=t*;*ner*\r\nEnabled=0\r\nName=other\r\n"),
            (Names{L"top.bat", L"deepest.cmd"}));
  EXPECT_EQ(HostLog::Count(1, L"Filter defined with no root!\n"), 1U);
  EXPECT_EQ(HostLog::Count(1, L"Filter Empty has no paths\n"), 1U);
  EXPECT_EQ(HostLog::Count(3, L"Filter returned 1 apps"), 2U);

  Define(1, Root(L"root\\sub\\deep"));
  HostLog::Clear();
  EXPECT_THAT(NamesOf(host_.ScanIni(L"")), ElementsAre(L"deepest.cmd"));
}

TEST_F(ScanTest, IniRootIsOnePathWhateverItHolds) {
  const std::wstring both = Root(L"root\\sub") + L";" + Root();
  EXPECT_THAT(ScanIniText(L"[Two]\r\nRoot=" + both + L"\r\n"), IsEmpty());
  EXPECT_EQ(HostLog::Count(3, L"Filter has base path: " + both), 1U);
  EXPECT_THAT(HostLog::Holding(L"FindFirstFileEx failed for \"" + both + L"\\*\", error "), SizeIs(1));
}

TEST_F(ScanTest, IniValueOf2047CharactersOrMoreCountsAsAbsent) {
  const auto scan = [this](std::size_t length) {
    std::wstring patterns = L"top*;";
    patterns.resize(length, L'x');
    return ScanIniText(L"[Long]\r\nRoot=" + Root() + L"\r\nIncludes=" + patterns + L"\r\n");
  };
  EXPECT_THAT(scan(2046), SizeIs(1));
  EXPECT_THAT(scan(2047), SizeIs(3));
  EXPECT_THAT(scan(3000), SizeIs(3));
}

TEST_F(ScanTest, IniFileWithoutUsableSectionsLeavesTheOutputsAlone) {
  std::wstring manySections;
  for (int number = 0; number < 300; ++number)
    manySections += L"[Section" + std::to_wstring(number) + L"]\r\nRoot=C:\\\r\n";
  const std::wstring kFiles[] = {folder_.WriteText(L"keys.ini", L"Root=C:\\\r\n"), folder_.WriteBytes(L"empty.ini", {}),
                                 folder_.WriteText(L"many.ini", manySections), Root(L"missing.ini"), Root()};
  for (const std::wstring& path : kFiles) {
    HostLog::Clear();
    auto* apps = reinterpret_cast<QuarryApplicationInfo*>(0x11);
    std::uint64_t count = 4711;
    host_->ScanApplicationsUsingIniFile(path.c_str(), &apps, &count);
    EXPECT_EQ(apps, reinterpret_cast<QuarryApplicationInfo*>(0x11)) << path.c_str();
    EXPECT_EQ(count, 4711U);
    EXPECT_THAT(HostLog::Lines(), ElementsAre(LogLine{0, L"No filters in INI file!\n"}));
  }
}

TEST_F(ScanTest, SmallScanLogsExactlyThis) {
  File(L"small\\app.bat");
  File(L"small\\Setup.BAT");
  File(L"small\\readme.txt");
  File(L"small\\uninst.bat");
  File(L"small\\in\\x.cmd");
  const std::wstring small = Root(L"small");
  const std::wstring in = Root(L"small\\in");
  const std::map<std::wstring, std::vector<LogLine>> kEntries = {
      {L"app.bat",
       {{2, L"Creating GenericApp from \"" + small + L"\\app.bat\"\n"}, {2, L"\"app.bat\": valid Application\n"}}},
      {L"Setup.BAT",
       {{2, L"Unsupported extension BAT in \"" + small + L"\\Setup.BAT\"\n"},
        {2, L"\"Setup.BAT\": invalid Application\n"}}},
      {L"readme.txt",
       {{3, L"Application readme.txt not accepted by white list\n"}, {3, L"\"readme.txt\": rejected by filter\n"}}},
      {L"uninst.bat",
       {{3, L"Application uninst.bat rejected by black list\n"}, {3, L"\"uninst.bat\": rejected by filter\n"}}},
      {L"in",
       {{3, L"\"in\": subdirectory to be scanned\n"},
        {2, L"Scanning \"" + in + L"\", depth = 1\n"},
        {2, L"Creating GenericApp from \"" + in + L"\\x.cmd\"\n"},
        {2, L"\"x.cmd\": valid Application\n"}}},
  };
  std::vector<LogLine> expected = {{3, L"Filter has base path: " + small},
                                   {2, L"Scanning \"" + small + L"\", depth = 0\n"}};
  int total = 0;
  for (const std::wstring& name : Listing(small)) {
    const std::vector<LogLine>& lines = kEntries.at(name);
    expected.insert(expected.end(), lines.begin(), lines.end());
    if (lines.back().text.find(L": valid") != std::wstring::npos) ++total;
    if (name == L"in") {
      expected.push_back(
          {2, L"Scan of \"" + in + L"\" complete: 1 apps here, " + std::to_wstring(total) + L" apps total\n"});
    }
  }
  expected.push_back({2, L"Scan of \"" + small + L"\" complete: 1 apps here, 2 apps total\n"});
  expected.push_back({3, L"Filter returned 2 apps"});

  Define(1, small, L"*.bat;*.cmd", L"*uninst*");
  Scan();
  EXPECT_EQ(DiscoveryLog(), expected);
}

TEST_F(ScanTest, MissingRootIsReportedAndTheOthersAreScanned) {
  Define(1, Root(L"gone"));
  Define(2, Root());
  EXPECT_THAT(Scan(), SizeIs(3));
  EXPECT_EQ(HostLog::Count(0, L"FindFirstFileEx failed for \"" + Root(L"gone") + L"\\*\", error 3\n"), 1U);
  EXPECT_THAT(HostLog::Holding(L"Failed to get directory security, error "), SizeIs(1));
  EXPECT_EQ(HostLog::Count(3, L"Filter returned 0 apps"), 1U);
}

std::wstring g_vanishing;

void RecordAndRemoveFolder(std::uint32_t level, const wchar_t* message) {
  HostLog::Record(level, message);
  if (std::wstring_view(message).find(L"\": subdirectory to be scanned") != std::wstring_view::npos) {
    RemoveDirectoryW(g_vanishing.c_str());
  }
}

TEST_F(ScanTest, FolderThatVanishesDuringTheScanIsReportedAndTheRestIsFound) {
  g_vanishing = folder_.MakeFolder(L"root\\vanishing");
  Define(1, Root(), L"", L"inner*;deepest*");
  host_->Exit();
  Library::Instance().Init(RecordAndRemoveFolder, 0, nullptr);
  EXPECT_THAT(Scan(), ElementsAre(L"top.bat"));
  EXPECT_THAT(HostLog::Holding(L"FindFirstFileEx failed for \"" + g_vanishing), SizeIs(1));
}

TEST_F(ScanTest, PathsOf300CharactersDoNoHarm) {
  const std::wstring part(80, L'p');
  File(L"root\\" + part + L"\\" + part + L"\\" + part + L"\\far.bat");
  File(L"root\\" + part + L"\\" + std::wstring(200, L'n') + L".bat");
  Define(1, Root(), L"*.bat");
  const Names found = Scan();
  EXPECT_THAT(found, testing::IsSupersetOf({L"top.bat", L"inner.bat"}));
  EXPECT_THAT(found, testing::Not(testing::Contains(L"far.bat")));
}

TEST_F(ScanTest, StandardFiltersFindTheRealStartMenu) {
  PWSTR folder = nullptr;
  ASSERT_EQ(SHGetKnownFolderPath(FOLDERID_CommonPrograms, KF_FLAG_CREATE, nullptr, &folder), S_OK);
  const UniqueCoTaskMem<wchar_t> owner(folder);
  Shortcut shortcut;
  shortcut.linkPath = std::wstring(folder) + L"\\quarry test.lnk";
  shortcut.target = L"C:\\windows\\system32\\notepad.exe";
  ASSERT_TRUE(WriteShortcut(shortcut));
  const Names found = Scan();
  DeleteFileW(shortcut.linkPath.c_str());

  EXPECT_THAT(found, testing::Contains(L"quarry test.lnk"));
  EXPECT_EQ(std::any_of(found.begin(), found.end(), [](const std::wstring& name) { return name == L"iexplore.exe"; }),
            GetFileAttributesW(L"C:\\Program Files\\Internet Explorer\\iexplore.exe") != INVALID_FILE_ATTRIBUTES);
  std::vector<LogLine> bases = HostLog::Holding(L"Filter has base path: ");
  EXPECT_THAT(bases, ElementsAre(LogLine{3, L"Filter has base path: %CommonStartMenu%"},
                                 LogLine{3, L"Filter has base path: %DefaultStartMenu%"},
                                 LogLine{3, L"Filter has base path: %ProgramFiles%\\Internet Explorer"},
                                 LogLine{3, L"Filter has base path: %ProgramFiles(x86)%\\Internet Explorer"}));
}

}  // namespace
}  // namespace quarry::test
