// Scans with configured filters and with INI files: settings, definitions, order, messages, folders that cause trouble.

#include "tests/support/hostTest.h"
#include "tests/support/importTable.h"

#include <knownfolders.h>
#include <shlobj.h>

namespace quarry::test {
namespace {

Names NamesOf(const ApplicationArray& apps) {
  Names names;
  for (const QuarryApplicationInfo& app : apps) names.emplace_back(app.fileName);
  return names;
}

/// The files below a folder, depth-first in the order of the file system.
Names DepthFirst(const std::wstring& folder) {
  Names names;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (!entry.is_directory()) names.push_back(entry.path().filename());
  }
  return names;
}

/// The names without some.
Names Without(Names names, const Names& some) {
  std::erase_if(names, [&](const auto& name) { return std::find(some.begin(), some.end(), name) != some.end(); });
  return names;
}

/// A small tree, the settings keys of the machine, and a library in use.
class ScanTest : public Test {
 protected:
  struct Case {
    const char* what;
    std::function<void()> arrange;
    Names found;
    std::vector<LogLine> said = {};
  };

  void SetUp() override {
    for (const wchar_t* const file :
         {L"top.bat", L".hidden.bat", L".folder\\within.bat", L"sub\\inner.bat", L"sub\\deep\\deepest.cmd"}) {
      File(std::wstring(L"root\\") + file);
    }
    for (const wchar_t* const hidden : {L"root\\.hidden.bat", L"root\\.folder"}) {
      SetFileAttributesW(Root(hidden).c_str(), FILE_ATTRIBUTE_HIDDEN);
    }
    all_ = Without(DepthFirst(Root()), {L".hidden.bat", L"within.bat"});
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
    return NamesOf(host_.Scan(ini));
  }
  /// Scans with what each case puts into the registry, which is emptied behind it.
  void Expect(const std::vector<Case>& cases) const {
    for (const auto& [what, arrange, found, said] : cases) {
      arrange();
      EXPECT_EQ(Scan(), found) << what;
      for (const auto& [level, text] : said) EXPECT_EQ(HostLog::Count(level, text), 1U) << what;
      settings_.Clear();
      policy_.Clear();
    }
  }

  const TemporaryFolder outside_{L"quarryOutside"};
  const TemporaryFolder folder_{L"quarryScan"};
  const RegistryFixture settings_{kSettingsKey};
  const RegistryFixture policy_{kPolicyKey};
  const QuarryHost host_;
  Names all_;  // what is not hidden
};

TEST_F(ScanTest, SettingsAreReadPolicyFirstAtEachScan) {
  std::wstring chain = L"chain\\";
  for (int depth = 1; depth <= 20; ++depth) chain += L"d\\";
  File(chain + L"20.bat");
  File(chain.substr(0, chain.size() - 2) + L"19.bat");
  const Names everything = DepthFirst(Root());
  const auto with = [](Names names, const Names& more) {
    names.insert(names.end(), more.begin(), more.end());
    return names;
  };
  const Names usual = with(all_, {L"19.bat"});
  const Names deeper = with(all_, DepthFirst(Root(L"chain")));
  const Names withHidden = with(everything, {L"19.bat"});
  const Names two = Without(all_, {L"deepest.cmd"});
  const Names top = {L"top.bat"};
  const struct {
    const wchar_t* name;
    const wchar_t* ordinary;  // null for none
    const wchar_t* policy;
    Names found;
  } kCases[] = {
      {L"MaxScanDepth", nullptr, nullptr, usual}, {L"MaxScanDepth", L"1", nullptr, top},
      {L"MaxScanDepth", L"2", nullptr, two},      {L"MaxScanDepth", L"21abc", nullptr, deeper},
      {L"MaxScanDepth", L"abc", nullptr, {}},     {L"MaxScanDepth", L"-3", nullptr, {}},
      {L"MaxScanDepth", L"20", L"1", top},        {L"MaxScanDepth", L"1", L"20", usual},
      {L"ScanHidden", L"1", nullptr, withHidden}, {L"ScanHidden", L"TRUE", nullptr, withHidden},
      {L"ScanHidden", L"2", nullptr, usual},
  };
  for (const auto& [name, ordinary, policy, found] : kCases) {
    Define(1, Root());
    Define(2, Root(L"chain"));
    if (ordinary != nullptr) settings_.SetString(L"", name, ordinary);
    if (policy != nullptr) policy_.SetString(L"", name, policy);
    const std::wstring tooDeep = L"Maximum directory scan depth (2) exceeded for \"" + Root(L"root\\sub\\deep");
    Expect({{"", [] {}, found}});
    EXPECT_EQ(HostLog::Count(1, tooDeep + L"\" -- skipped\n"), found == two ? 1U : 0U);
  }
}

TEST_F(ScanTest, SettingOfAnotherTypeIsReportedAndCountsAsAbsent) {
  Define(1, Root());
  const auto wrong = [](int type, const wchar_t* key) {
    return Str_FormatWide(L"Wrong registry type %d (expected 1) for %s\\MaxScanDepth\n", type, key);
  };
  settings_.SetDword(L"", L"MaxScanDepth", 1);
  EXPECT_EQ(Scan(), all_);
  EXPECT_GE(HostLog::Count(0, wrong(4, kSettingsKey)), 1U);

  settings_.SetString(L"", L"MaxScanDepth", L"1");
  policy_.SetRaw(L"", L"MaxScanDepth", REG_EXPAND_SZ, {});
  EXPECT_THAT(Scan(), ElementsAre(L"top.bat"));
  EXPECT_GE(HostLog::Count(0, wrong(2, kPolicyKey)), 1U);
  policy_.RemoveValue(L"", L"MaxScanDepth");

  // Registry text needs neither an end nor whole characters, and may have more behind its end.
  for (const Bytes& text : {Bytes{'1', 0}, {'1', 0, 0, 0, '9', 0}, {'1', 0, 0, 0, '9'}}) {
    settings_.SetRaw(L"", L"MaxScanDepth", REG_SZ, text);
    EXPECT_THAT(Scan(), ElementsAre(L"top.bat")) << text.size();
  }
  // Half a character is none, and Wine writes three bytes for a value of one.
  const ReplacedImport read(
      Library::Instance().Module(), "ADVAPI32.dll", "RegQueryValueExW",
      +[](HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) -> LSTATUS {
        EXPECT_TRUE(data == nullptr || *size != 1 || _msize(data) >= 4);
        return RegQueryValueExW(key, name, reserved, type, data, size);
      });
  settings_.SetRaw(L"", L"MaxScanDepth", REG_SZ, Bytes{'1'});
  EXPECT_THAT(Scan(), IsEmpty());
}

TEST_F(ScanTest, ReparsePointsAreReportedAndEnteredOnlyWhenAllowed) {
  outside_.WriteBytes(L"linked.bat", {});
  if (!folder_.LinkFolder(L"root\\link", outside_.Path())) GTEST_SKIP() << "no symbolic links here";
  ASSERT_TRUE(folder_.LinkFolder(L"root\\sub\\loop", Root()));
  Define(1, Root());
  settings_.SetString(L"", L"MaxScanDepth", L"3");
  for (const bool allowed : {false, true}) {
    if (allowed) settings_.SetString(L"", L"ScanReparsePoints", L"1");
    const Names found = Scan();
    EXPECT_EQ(std::count(found.begin(), found.end(), L"linked.bat"), allowed ? 1 : 0);
    for (const wchar_t* const name : {L"root\\link", L"root\\sub\\loop"}) {
      EXPECT_EQ(HostLog::Count(1, L"Scanning encountered a reparse point: \"" + Root(name) + L"\"" +
                                      (allowed ? L"" : L" -- skipped") + L"\n"),
                1U);
    }
  }
  settings_.SetString(L"", L"MaxScanDepth", L"1000000");
  EXPECT_THAT(Scan(), Contains(L"top.bat"));  // and ends
}

TEST_F(ScanTest, WorldWritableFolderIsTreatedAsTheSettingSays) {
  folder_.MakeOpenFolder(L"root\\open");
  File(L"root\\open\\planted.bat");
  File(L"root\\open\\below\\planted.bat");
  File(L"second\\other.bat");
  const Names all = Without(DepthFirst(Root()), {L".hidden.bat", L"within.bat"});
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
      {L"skip", Without(all, {L"planted.bat"}), {1, L"Skipping" + open}},
      {L"stop", before, {0, L"Aborting due to" + open}},
      {L"Skip", before, {0, L"Bad value \"Skip\" for CONFIG_WRITABLE_FOLDER_ACTION\n"}},
      {L"allow ", before, {0, L"Bad value \"allow \" for CONFIG_WRITABLE_FOLDER_ACTION\n"}},
      {L"allow", all, {}},
  };
  for (const auto& [setting, found, line] : kCases) {
    SCOPED_TRACE(PrintToString(std::wstring(setting != nullptr ? setting : L"none")));
    Define(1, Root());
    Define(2, Root(L"second"));
    if (setting != nullptr) settings_.SetString(L"", L"WritableFolders", setting);
    Names expected = found;
    expected.push_back(L"other.bat");  // an abort ends its own filter only
    Expect({{"", [] {}, expected}});
    EXPECT_EQ(HostLog::Count(line.level, line.text), line.text.empty() ? 0U : 1U);
    EXPECT_EQ(HostLog::CountHolding(L"world-writable"), line.text.ends_with(open) ? 1U : 0U);
  }
}

TEST_F(ScanTest, RegistryDefinesFilters1To9) {
  SetEnvironmentVariableW(L"QUARRY_TEST_ROOT", folder_.Path().c_str());
  SetEnvironmentVariableW(L"QUARRY_TEST_NOTHING", L"");
  const std::wstring part(80, L'p');
  File(L"far\\" + part + L"\\" + part + L"\\" + part + L"\\far.bat");
  File(L"far\\near.bat");
  File(L"far\\Setup.BAT");
  const LogLine defaults = {3, L"Filter has base path: %CommonStartMenu%"};
  const LogLine rootless = {1, L"Filter defined with no root!\n"};
  const auto defined = [this](int number, const wchar_t* includes) { Define(number, Root(), includes); };
  Expect({
      {"one to nine, with gaps, and a variable in a root",
       [&] {
         defined(0, L"i*"), Define(1, L"%QUARRY_TEST_ROOT%\\root\\sub\\deep");
         defined(9, L"t*"), defined(10, L"i*");
       },
       {L"deepest.cmd", L"top.bat"}},
      {"disabled and enabled",
       [&] {
         defined(1, L"t*"), settings_.SetDword(L"Filter1", L"Enabled", 0);
         defined(2, L"i*"), settings_.SetDword(L"Filter2", L"Enabled", 7);
         defined(3, L"d*"), policy_.SetDword(L"Filter3", L"Enabled", 0);
       },
       {L"inner.bat"}},
      {"disabled by a text or by half a number counts as enabled",
       [&] {
         defined(1, L"t*"), settings_.SetString(L"Filter1", L"Enabled", L"0");
         defined(2, L"i*"), settings_.SetRaw(L"Filter2", L"Enabled", REG_DWORD, {{0, 0}});
       },
       {L"top.bat", L"inner.bat"}},
      {"the policy's values win",
       [&] {
         defined(1, L"t*"), policy_.SetString(L"Filter1", L"Includes", L"i*");
         policy_.SetString(L"Filter2", L"Root", Root(L"root\\sub\\deep"));
       },
       {L"inner.bat", L"deepest.cmd"}},
      {"names",
       [&] {
         Define(1, L"%QUARRY_TEST_NOTHING%"), Define(2, L"%QUARRY_TEST_NOTHING%");
         settings_.SetString(L"Filter2", L"Name", L"Other");
       },
       {},
       {{1, L"Empty path found in filter Filter1; skipping!\n"},
        {1, L"Empty path found in filter Other; skipping!\n"}}},
      {"one has no root", [&] { defined(1, L"t*"), settings_.MakeSubkey(L"Filter2"); }, {L"top.bat"}, {rootless}},
      {"the only one has no root",
       [&] { settings_.SetDword(L"Filter2", L"Enabled", 1); },
       {},
       {rootless,
        {2, L"Inserting empty filter to prevent revert to default scan settings\n"},
        {1, L"Filter  has no paths\n"},
        {3, L"Filter returned 0 apps"}}},
      {"one has no root and one is disabled",
       [&] { settings_.MakeSubkey(L"Filter2"), Define(1, Root()), settings_.SetDword(L"Filter1", L"Enabled", 0); },
       NamesOf(host_.Scan()),
       {rootless, defaults}},
      {"found once more, and below the root itself by clean paths",
       [&] { Define(1, folder_.Path() + L"\\\\root\\", L"d*"), Define(3, Root(L"root\\sub"), L"d*"); },
       {L"deepest.cmd", L"deepest.cmd"},
       {{2, L"Scanning \"" + Root(L"root\\sub\\deep") + L"\", depth = 2\n"}}},
      {"pattern lists",
       [&] { Define(1, Root(L"root\\sub"), L";;*.CMD;;*.bat;", L"inner*;;nothing"); },
       {L"deepest.cmd"}},
      {"only excludes",
       [&] { Define(1, Root(), L"", L"TOP.*;deep*"); },
       {L"inner.bat"},
       {{3, L"Application top.bat rejected by black list\n"}, {3, L"\"top.bat\": rejected by filter\n"}}},
      {"a pattern names files, not folders",
       [&] { Define(1, Root(), L"*sub*;top.ba?"); },
       {L"top.bat"},
       {{3, L"Application inner.bat not accepted by white list\n"}, {3, L"\"inner.bat\": rejected by filter\n"}}},
      {"paths of 300 characters do no harm",
       [&] { Define(1, Root(L"far")); },
       {L"near.bat"},
       {{2, L"\"Setup.BAT\": invalid Application\n"}}},
      {"a root that is missing",
       [&] { Define(1, Root(L"gone")), Define(2, Root(), L"t*"); },
       {L"top.bat"},
       {{0, L"FindFirstFileEx failed for \"" + Root(L"gone") + L"\\*\", error 3\n"}, {3, L"Filter returned 0 apps"}}},
  });
}

TEST_F(ScanTest, DefinitionThatOthersCanWriteIsNotTrusted) {
  const struct {
    const wchar_t* sddl;
    bool trusted;
  } kCases[] = {
      {L"D:P(A;;KA;;;BA)(A;;KR;;;BU)(A;;KR;;;WD)", true}, {L"D:P(D;;0x2;;;BG)(A;;KA;;;BA)", true},
      {L"D:P(A;;KA;;;BA)(A;;0x20004;;;BU)", true},  // may add keys below, not values
      {L"D:P(A;;KA;;;BA)(A;;0x2;;;WD)", false},           {L"D:P(A;;KA;;;BA)(A;;KA;;;SY)", false},
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

  const std::wstring both = Root(L"root\\sub") + L";" + Root();
  EXPECT_THAT(ScanIniText(L"[Two]\r\nRoot=" + both + L"\r\n"), IsEmpty());
  EXPECT_EQ(HostLog::Count(3, L"Filter has base path: " + both), 1U);
  EXPECT_EQ(HostLog::CountHolding(L"FindFirstFileEx failed for \"" + both + L"\\*\", error "), 1U);

  const auto scanIncluding = [&](const std::wstring& patterns) {
    return ScanIniText(L"[Long]" + root + L"Includes=" + patterns + L"\r\n");
  };
  for (const std::size_t length : {2046U, 2047U, 3000U}) {  // one that may be cut counts as absent
    std::wstring patterns = L"top*;";
    patterns.resize(length, L'x');
    EXPECT_EQ(scanIncluding(patterns), length < 2047 ? Names{L"top.bat"} : all_);
  }
}

TEST_F(ScanTest, IniFileWithoutUsableSectionsLeavesTheOutputsAlone) {
  std::wstring manySections;
  for (int number = 0; number < 300; ++number) manySections += Str_FormatWide(L"[Section%d]\r\nRoot=C:\\\r\n", number);
  for (const std::wstring& path : {folder_.WriteText(L"keys.ini", L"Root=C:\\\r\n"),
                                   folder_.WriteText(L"many.ini", manySections), Root(L"missing.ini"), Root(),
                                   // beyond what the platform's functions have room for
                                   std::wstring(600, L'x')}) {
    HostLog::Clear();
    auto* apps = reinterpret_cast<QuarryApplicationInfo*>(0x11);
    std::uint64_t count = 4711;
    host_->ScanApplicationsUsingIniFile(path.c_str(), &apps, &count);
    EXPECT_EQ(apps, reinterpret_cast<QuarryApplicationInfo*>(0x11)) << path.c_str();
    EXPECT_EQ(count, 4711U);
    EXPECT_THAT(HostLog::Lines(), ElementsAre(LogLine{0, L"No filters in INI file!\n"}));
  }
}

TEST_F(ScanTest, LogsExactlyThis) {
  const std::wstring outer = Root(L"outer");
  const std::wstring in = outer + L"\\in";
  const std::wstring file = File(L"outer\\in\\x.cmd");
  Define(1, outer);
  Scan();
  std::vector<LogLine> lines = HostLog::Lines();
  std::erase_if(lines, [](const LogLine& line) {  // what the icon of a script is stored in
    return line.text.find(L"PNG file") != std::wstring::npos || line.text.starts_with(L"IconBoss");
  });
  EXPECT_THAT(lines, ElementsAre(LogLine{3, L"Filter has base path: " + outer},
                                 LogLine{2, L"Scanning \"" + outer + L"\", depth = 0\n"},
                                 LogLine{3, L"\"in\": subdirectory to be scanned\n"},
                                 LogLine{2, L"Scanning \"" + in + L"\", depth = 1\n"},
                                 LogLine{2, L"Creating GenericApp from \"" + file + L"\"\n"},
                                 LogLine{2, L"\"x.cmd\": valid Application\n"},
                                 LogLine{2, L"Scan of \"" + in + L"\" complete: 1 apps here, 1 apps total\n"},
                                 LogLine{2, L"Scan of \"" + outer + L"\" complete: 0 apps here, 1 apps total\n"},
                                 LogLine{3, L"Filter returned 1 apps"}));
}

std::wstring g_vanishing;

TEST_F(ScanTest, FolderThatVanishesDuringTheScanIsReportedAndTheRestIsFound) {
  g_vanishing = folder_.MakeFolder(L"root\\going");
  Define(1, Root());
  host_->Exit();
  const QuarryHost host(false, [](std::uint32_t level, const wchar_t* message) {
    HostLog::Record(level, message);
    if (std::wstring_view(message).starts_with(L"\"going\": subdirectory")) RemoveDirectoryW(g_vanishing.c_str());
  });
  EXPECT_EQ(Scan(), all_);
  EXPECT_EQ(HostLog::CountHolding(L"FindFirstFileEx failed for \"" + g_vanishing), 1U);
}

TEST_F(ScanTest, StandardFiltersFindTheRealStartMenu) {
  PWSTR folder = nullptr;
  ASSERT_EQ(SHGetKnownFolderPath(FOLDERID_CommonPrograms, KF_FLAG_CREATE, nullptr, &folder), S_OK);
  const UniqueCoTaskMem<wchar_t> owner(folder);
  const std::wstring link = std::wstring(folder) + L"\\quarry test.lnk";
  const std::wstring browser = L"C:\\Program Files\\Internet Explorer\\iexplore.exe";
  ASSERT_TRUE(linkmaker::WriteShortcut({.linkPath = link, .target = browser}));
  const Names found = Scan();
  DeleteFileW(link.c_str());
  EXPECT_THAT(found, Contains(L"quarry test.lnk"));
  EXPECT_EQ(std::count(found.begin(), found.end(), L"iexplore.exe"), std::filesystem::exists(browser) ? 1 : 0);
  EXPECT_THAT(HostLog::Holding(L"Filter has base path: "),
              ElementsAre(LogLine{3, L"Filter has base path: %CommonStartMenu%"},
                          LogLine{3, L"Filter has base path: %DefaultStartMenu%"},
                          LogLine{3, L"Filter has base path: %ProgramFiles%\\Internet Explorer"},
                          LogLine{3, L"Filter has base path: %ProgramFiles(x86)%\\Internet Explorer"}));
}

}  // namespace
}  // namespace quarry::test
