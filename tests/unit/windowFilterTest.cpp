#include "lib/appUtil/windowProcess.h"
#include "lib/misc/logEntry.h"
#include "lib/misc/pathTrust.h"
#include "lib/seamlyFilter/answerCache.h"
#include "lib/seamlyFilter/ruleFile.h"
#include "lib/seamlyFilter/ruleRegistry.h"
#include "lib/seamlyFilter/rules.h"
#include "lib/seamlyFilter/windowData.h"

#include "tests/support/hostTest.h"
#include "tests/support/windowMaker.h"

#include <fstream>

namespace quarry::test {
namespace {

/// Records the log entry's messages and leaves no rules behind.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): GoogleTest alone makes and destroys it
class WindowFilter : public Test {
 protected:
  WindowFilter() {
    LogEntry_SetSink([](const char* message) { messages.emplace_back(message); });
    Forget();
  }
  ~WindowFilter() override {
    Forget();
    LogEntry_SetSink(nullptr);
  }
  static void Forget() {
    SeamlyFilter_Close();
    messages.clear();
  }
  static auto Count(const std::string& part) {
    return std::count_if(messages.begin(), messages.end(),
                         [&](const std::string& message) { return message.find(part) != std::string::npos; });
  }
  void Load(const std::string& text, const char* context = nullptr) const {
    const std::wstring path =
        folder_.WriteBytes(L"rules 漢字.txt", {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    ASSERT_TRUE(SeamlyFilterProcessFile(path, context, trust_, skipped));
  }
  /// The table as text: items as "key:value", rule sets in brackets, items in the order of writing.
  static std::string Table() {
    const RuleTable& rules = SeamlyFilterRules();
    std::string text;
    for (int index = 0; index <= rules.last; ++index) {
      std::string items;
      for (const RuleItem& item : rules.sets[static_cast<std::size_t>(index)].items) {
        items.insert(0, Str_Format(" %d:%s", static_cast<int>(item.key), item.value.c_str()));
      }
      text += '[' + items + " ]";
    }
    return text;
  }
  /// What the rules say of a window: whether one matched, action and type.
  static std::string Ask(HWND window) {
    SeamlyFilterPrograms programs;
    const SeamlyFilterMatch match = SeamlyFilter_FindMatchingRule({window, {}, {}}, programs);
    return Str_Format("%d %d %d", match.matched ? 1 : 0, static_cast<int>(match.action),
                      static_cast<int>(match.windowType));
  }
  static std::optional<SeamlyFilterData> Data(HWND window) {
    SeamlyFilterPrograms programs;
    return SeamlyFilterGetData({window, {}, {}}, programs);
  }
  /// A copy of windowMaker that says whose it is.
  std::wstring MakeProgram(const VersionResource& version) const {
    std::wstring program = folder_.CopyFrom(L"program.exe", FixtureProgram(L"windowMaker"));
    PutVersion(program, version);
    return program;
  }
  static UniqueWindow MakeWindow(DWORD style, HWND parent = nullptr) {
    return UniqueWindow(CreateWindowExW(0, L"STATIC", L"", style, 0, 0, 60, 60, parent, nullptr, nullptr, nullptr));
  }

  static inline std::vector<std::string> messages;
  static inline SkippedRules skipped;
  const VersionResource version_ = {
      true,
      {{0x0407, 0x04B0}, {0x0409, 0x04E4}},
      {{L"040704b0", {{L"CompanyName", L"Büro 漢字"}, {L"ProductName", L"Editor"}}},
       {L"040904e4", {{L"CompanyName", L"Second language"}}}},
      true,
      0xFFFF'0002'0003'0004,
  };
  const PathTrust trust_;
  const TemporaryFolder folder_{L"quarryFilter"};
};

TEST_F(WindowFilter, ReadsTheGrammarOfRuleFiles) {
  const std::string longText(300, 'x');
  const std::string lists =
      "BeginRule\nclassname=A\nEndRule\n"
      "BeginRule\nclassname=B\nnotapplicableto=elsewhere,here\ntype=dock\nEndRule\n"
      "BeginRule\nclassname=C\nnotapplicableto=heres,her, here\nEndRule\n"
      "BeginRule\nclassname=D\nnotapplicableto=here\n"  // its end is missing
      "BeginRule\nclassname=E\nEndRule\nBeginRule\nnotapplicableto=here\n";
  const struct {
    std::string file;
    std::string table;
    const char* context = nullptr;
  } kCases[] = {
      {"\uFEFFBeginRule\nclassname=A\nEndRule\n", "[ 7:A ]"},
      {"BeginRule\r\ncompany=A = B\r\n\r\n#action=block\r\nproduct=\r\naction=map", "[ 1:A = B 2: 9:map ]"},
      {"BeginRule\nclassname=A \t\naction= map\n", "[ 7:A \t 9: map ]"},
      {"classname=early\nEndRule\nBeginRule\nBeginRule\nmajor=1\nBeginRule \n beginrule\n", "[ ][ 3:1 ]"},
      {"BeginRule\nminor=2\nEndRule\nbuild=3\nBeginRule\nrevision=4", "[ 4:2 5:3 ][ 6:4 ]"},
      {"BeginRule\ncompany = A\n=A\nCompany=A\nclassname\ntype=dock\n", "[ 8:dock ]"},
      {"BeginRule\nclassname=" + longText + "\ntype=dock\n", "[ 7:" + longText.substr(0, 249) + " 8:dock ]"},
      {"BeginRule\n" + longText + "=classname=A\n" + "action=block" + std::string("\0=map\n", 6), "[ 9:block ]"},
      {lists, "[ 7:A ][ 7:C ][ 7:E ]", "here"},
      {lists, "[ 7:A ][ 7:B 8:dock ][ 7:C ][ 7:D ][ 7:E ][ ]"},
      {"BeginRule\naction=map\x1A classname=A\n", "[ 9:map ]"},  // the end of a text
  };
  for (const auto& [file, table, context] : kCases) {
    Forget();
    Load(file, context);
    EXPECT_EQ(Table(), table) << file;
  }
  // Items before the first rule set of a file do not join one of the file before.
  Load("type=dock\nBeginRule\nminor=1\n");
  ParseRegRule("one", "classname=A;notapplicableto=here", "here");
  ParseRegRule("two", "classname=B", "here");
  EXPECT_EQ(Table(), "[ 9:map ][ 4:1 ][ 7:B ]");
}

TEST_F(WindowFilter, ReportsWhatItReads) {
  Load("BeginRule\ncompany = X\nclassname=A\nnonsense\n");
  EXPECT_FALSE(SeamlyFilterProcessFile(L"Q:\\missing 漢", nullptr, trust_, skipped));
  EXPECT_FALSE(SeamlyFilterProcessFolder(folder_ / L"none", nullptr, trust_, skipped));
  ParseRegRule("Name", "type=dock;;nonsense;a=b;", nullptr);
  SeamlyFilter_Close();
  EXPECT_THAT(messages,
              ElementsAre("SeamlyFilterParseLine: bad token or whitespace 'company = X'\n",
                          "SeamlyFilterParseLine: lhs classname rhs A type 7\n",
                          "SeamlyFilterParseLine: bad token or whitespace 'nonsense'\n",
                          "SeamlyFilterProcessFile: unable to open Q:\\missing 漢\n",
                          "ParseRegRule: Parsing custom Seamly filter rule 'Name'.\n",
                          "ParseRegRule: Successfully parsed Seamly filter rule with key 'type', value 'dock', and "
                          "type 8.\n",
                          "ParseRegRule : The registry rule subsection 'nonsense' is not properly formatted.\n",
                          "ParseRegRule: Ignoring unknown Seamly filter rule key 'a' with value 'b'.\n",
                          "ParseRegRule: Done parsing custom Seamly filter rule 'Name'.\n",
                          "SeamlyFilter_Close: Cleaning up filter rules tables\n",
                          "SeamlyFilterPurgeCache: cleaning up the cache hashtable.\n"));
}

TEST_F(WindowFilter, HoldsNoMoreThanItsTable) {
  std::string file;
  for (int index = 0; index < kMaxRuleSets + 2; ++index) file += "BeginRule\nminor=" + std::to_string(index) + "\n";
  Load(file);
  EXPECT_EQ(Count("SeamlyFilterParseLine: Too many rule sets.\n"), 2);
  Load("BeginRule\nmajor=1\n");
  ParseRegRule("late", "major=2", nullptr);
  EXPECT_EQ(Count("ParseRegRule : Registry read too many rules, maxFileRules: 1024.\n"), 1);
  EXPECT_EQ(SeamlyFilterRules().last, 1023);
  EXPECT_TRUE(Table().ends_with("[ 4:1022 ][ 4:1023 4:1024 4:1025 3:1 ]"));

  const UniqueWindow window = MakeWindow(WS_POPUP);
  for (const int items : {1'024, 1'025, 1'030}) {
    Forget();
    file = "BeginRule\n";
    for (int index = 0; index < items; ++index) file += "classname=Static\n";
    Load(file);
    const bool fits = items == 1'024;  // what is left out may be what makes it fail
    EXPECT_EQ(Ask(window.get()), fits ? "1 1 -1" : "0 0 -1");
    EXPECT_EQ(Count("SeamlyFilterAddItem: Too many rule items, the rule set is not used.\n"), fits ? 0 : 1);
  }
}

TEST_F(WindowFilter, TakesTrustedFilesOfBoundedSizeAndNumber) {
  std::vector<std::uint8_t> text(kLargestRuleFile, '\n');
  std::copy_n("BeginRule", 9, text.begin());
  const auto process = [&](const std::wstring& path) {
    skipped = {};
    return SeamlyFilterProcessFile(path, nullptr, trust_, skipped);
  };
  const std::wstring file = folder_.WriteBytes(L"rules", text);
  EXPECT_TRUE(process(file));
  OpenToEveryone(file);
  EXPECT_FALSE(process(file));
  EXPECT_TRUE(skipped.first.starts_with(file + L", owner ") && skipped.first.ends_with(L" may write to it"));
  EXPECT_EQ(Count("SeamlyFilterProcessFile: skipping " + Unicode_Utf8FromWide(file) + ", owner "), 1);
  RuleFileReader reader(OpenRuleFile(file));
  std::ofstream(std::filesystem::path(file), std::ios::app) << std::string(99, '\n');  // while it is read
  std::size_t lines = 0;
  while (reader.Next()) ++lines;
  EXPECT_EQ(lines, kLargestRuleFile - 9);
  EXPECT_FALSE(process(file));
  EXPECT_EQ(skipped.first, file + L", it is too large");

  Forget();
  skipped = {};
  for (int index = 0; index < kMostRuleFiles + 2; ++index) {
    folder_.WriteBytes(L"many\\" + std::to_wstring(index), std::span(text).first(10));
  }
  EXPECT_TRUE(SeamlyFilterProcessFolder(folder_ / L"many", nullptr, trust_, skipped));
  EXPECT_EQ(SeamlyFilterRules().last, kMostRuleFiles - 1);
  EXPECT_EQ(skipped.count, 1);
  EXPECT_EQ(Count("there are too many files"), 1);
}

TEST_F(WindowFilter, ReadsRegistryValuesOfEveryTypeSizeAndName) {
  const std::string path = R"(Software\Velkor, Inc.\Velkor Tarn\Velkor Seamly\Filters)";
  AddRegKeyRules(nullptr);
  EXPECT_EQ(Count("AddRegKeyRules: Skipping non-existing Seamly filter key '" + path + "'.\n"), 1);
  EXPECT_EQ(Count("Skipping non-existing"), 2);

  const RegistryFixture policy(L"Software\\Policies\\Velkor, Inc.\\Velkor Tarn\\Velkor Seamly\\Filters");
  policy.SetString({}, L"policy", L"minor=9");
  const RegistryFixture key(kFilterKey);
  const std::uint8_t odd[] = {'m', 0, 'i', 0, 'n', 0, 'o', 0, 'r', 0, '=', 0, '7', 0, '8'};
  for (DWORD type = 0; type <= REG_QWORD; ++type) {
    if (type != REG_SZ) key.SetRaw({}, L"type" + std::to_wstring(type), type, odd);
  }
  key.SetString({}, L"value1", L"company=漢字;classname=" + std::wstring(400, L'c'));
  key.SetRaw({}, L"value2", REG_SZ, odd);
  key.SetRaw({}, L"value3", REG_SZ, {});
  key.SetString({}, L"value4", L"minor=3" + std::wstring(16'376, L';'));  // 16384 with its end, the longest
  key.SetString({}, L"value5", L"minor=4" + std::wstring(16'377, L';'));
  key.SetString({}, L"value6 \xD800", L"minor=5");  // no text in any encoding
  key.SetString({}, std::wstring(16'000, L'v'), L"minor=6");
  messages.clear();
  AddRegKeyRules(nullptr);
  EXPECT_EQ(Count("has an unexpected type. Only REG_SZ is allowed.\n"), 11);
  EXPECT_EQ(Count("AddRegKeyRules: Registry value 'HKLM\\" + path + "\\type4' has an unexpected type"), 1);
  EXPECT_EQ(Count("Unhandled error"), 0);
  EXPECT_EQ(Table(), "[ 1:漢字 7:" + std::string(259, 'c') + " ][ 4:7 ][ ][ 4:3 ][ 4:5 ][ 4:6 ][ 4:9 ]");
}

TEST_F(WindowFilter, AnswersByTheFirstRuleSetWhoseItemsAllHold) {
  const WindowMaker maker({{L"Window", L"QuarryFilter"}}, false, MakeProgram(version_));
  const std::string program = "BeginRule\naction=map\ncompany=Büro 漢字\nproduct=Editor\n";
  std::vector<std::pair<std::string, std::string>> cases = {
      {"", "0 0 -1"},
      {"BeginRule\naction=block\n", "1 1 -1"},
      {"BeginRule\nclassname=QuarryFilter\n", "1 1 -1"},
      {"BeginRule\nclassname=QuarryFilter\naction=map\n", "1 2 -1"},
      {"BeginRule\ntype=Tooltip\naction=Map\n", "1 0 -1"},
      {"BeginRule\nclassname=quarryfilter\n", "0 0 -1"},
      {program + "major=65535\nminor=2\nbuild=3\nrevision=4\n", "1 2 -1"},
      {program + "major=65535x\nminor= 2\n", "1 2 -1"},
      {program + "major=65534\n", "0 0 -1"},
      {program + "minor=3\n", "0 0 -1"},
      {program + "build=2\n", "0 0 -1"},
      {program + "revision=\n", "0 0 -1"},
      {"BeginRule\ncompany=\n", "0 0 -1"},
      {"BeginRule\nproduct=Edito\n", "0 0 -1"},
      {"BeginRule\ntype=dock\naction=map\nBeginRule\naction=block\n", "1 2 7"},
      // Read from the last item to the first, a failing rule set leaves what came before the failure.
      {"BeginRule\nmajor=1\naction=map\ntype=menu\nBeginRule\nclassname=QuarryFilter\n", "1 2 3"},
      {"BeginRule\naction=map\ntype=menu\nmajor=1\nBeginRule\nclassname=QuarryFilter\n", "1 1 -1"},
      {"BeginRule\nmajor=1\naction=map\ntype=menu\n", "0 0 -1"},
  };
  constexpr const char* kTypes[] = {
      "normal",   "panel",  "dialog", "menu",        "tooltip",   "splash",  "toolbar",         "dock",       "desktop",
      "combobox", "widget", nullptr,  "startscreen", "sidepanel", "taskbar", "metrofullscreen", "metrodocked"};
  for (int number = 0; const char* const type : kTypes) {
    const std::string answer = "1 1 " + std::to_string(number++);
    if (type != nullptr) cases.emplace_back(std::string("BeginRule\ntype=") + type, answer);
  }
  for (const auto& [rules, answer] : cases) {
    Forget();
    Load(rules);
    EXPECT_EQ(Ask(maker.Window()), answer) << rules;
    Load("BeginRule\ntype=splash\n");
    EXPECT_EQ(Ask(maker.Window()), rules.empty() ? "1 1 5" : answer) << "from the cache: " << rules;
  }
  EXPECT_EQ(Ask(reinterpret_cast<HWND>(0xDEAD0)), "0 0 -1");
  EXPECT_EQ(Count("SeamlyFilterGetData: unable to classname of window 0x00000000000DEAD0 (err="), 1);
}

TEST_F(WindowFilter, ReadsAProgramsVersionUpToTheFirstFailure) {
  const auto versionOf = [this](std::vector<std::pair<std::wstring, std::wstring>> strings) {
    VersionResource changed = version_;
    changed.tables[0].strings = std::move(strings);
    return changed;
  };
  VersionResource noNumbers = version_;
  noNumbers.hasNumbers = false;
  VersionResource noTranslations = version_;
  noTranslations.hasTranslations = false;
  const std::wstring endless(700, L'字');
  const std::string longest = Unicode_Utf8FromWide(endless.substr(0, 259));  // whole characters of 3 bytes, below 780
  const struct {
    VersionResource version;
    std::string data;
    std::string missing;
  } kCases[] = {
      {noNumbers, "0.0.0.0||", "version info"},
      {noTranslations, "65535.2.3.4||", "process translation data"},
      {versionOf({{L"ProductName", L"P"}}), "65535.2.3.4||", "company name"},
      {versionOf({{L"CompanyName", L"C"}}), "65535.2.3.4|C|", "product name"},
      {versionOf({{L"CompanyName", L""}, {L"ProductName", endless}}), "65535.2.3.4||" + longest, ""},
  };
  for (const auto& [version, expected, missing] : kCases) {  // one path: a program that is replaced is read again
    const WindowMaker maker({{L"Window", L"Klasse"}}, false, MakeProgram(version));
    messages.clear();
    for (int repeat = 0; repeat < 2; ++repeat) {
      const SeamlyFilterData data = Data(maker.Window()).value_or(SeamlyFilterData{});
      EXPECT_EQ(Str_Format("%u.%u.%u.%u|%s|%s", data.major, data.minor, data.build, data.revision, data.company.c_str(),
                           data.product.c_str()),
                expected);
      EXPECT_EQ(data.className, "Klasse");
    }
    EXPECT_EQ(Count("SeamlyFilterGetData: unable to get " + missing + " of window 0x"), missing.empty() ? 0 : 1);
    EXPECT_THAT(messages, SizeIs(missing.empty() ? 0 : 1)) << "the file is read once";
  }
  const WindowMaker plain({{L"Window"}});  // of a program without a version
  EXPECT_TRUE(Data(plain.Window()));
  EXPECT_EQ(Count("SeamlyFilterGetData: unable to get version info size of window 0x"), 1);
}

TEST_F(WindowFilter, KeepsAnswersInABoundedCache) {
  const auto handle = [](std::size_t number) { return reinterpret_cast<HWND>(number * 2); };
  SeamlyFilterAddToCache(handle(1), {true, RuleAction::Map, WindowType::Tooltip});
  SeamlyFilterAddToCache(handle(1), {});
  EXPECT_EQ(Count("SeamlyFilterAddToCache: '2' already present in hashtable.\n"), 1);
  for (std::size_t number = 2; number <= 2 * kMaxCachedWindows; ++number) {
    SeamlyFilterAddToCache(handle(number), {true, RuleAction::Block, WindowType::Normal});
    const auto first = SeamlyFilterFindInCache(handle(1));
    // The first full cache holds only answers that were used, and is emptied.
    ASSERT_EQ(first.has_value(), number <= kMaxCachedWindows) << number;
    ASSERT_EQ(first.value_or(SeamlyFilterMatch{}).windowType, first ? WindowType::Tooltip : WindowType::None);
  }
  EXPECT_EQ(SeamlyFilterFindInCache(handle(kMaxCachedWindows + 1)).value_or(SeamlyFilterMatch{}).action,
            RuleAction::Block);
  Forget();
  EXPECT_FALSE(SeamlyFilterFindInCache(handle(2 * kMaxCachedWindows)));
}

using WindowHelpers = WindowFilter;

TEST_F(WindowHelpers, FindTheImageOfAWindowsProcess) {
  const WindowMaker maker({{L"Window"}}, true);
  const std::wstring expected = FixtureProgram(L"windowMaker");
  EXPECT_EQ(System_GetImageFilePathForWindow(maker.Window()).get(), expected);
  // The way of systems without QueryFullProcessImageNameW.
  EXPECT_EQ(AppUtilGetImagePath(maker.Process(), nullptr, maker.Window()).get(), expected);
  EXPECT_STREQ(AppUtilCopyWithoutNativePrefix(L"\\??\\C:\\a.exe").get(), L"C:\\a.exe");
  EXPECT_STREQ(AppUtilCopyWithoutNativePrefix(L"\\\\?\\C:\\a.exe").get(), L"\\\\?\\C:\\a.exe");
  EXPECT_THAT(messages, IsEmpty());

  EXPECT_EQ(System_GetImageFilePathForWindow(nullptr), nullptr);
  EXPECT_EQ(AppUtilGetImagePath(nullptr, &QueryFullProcessImageNameW, nullptr), nullptr);
  EXPECT_EQ(AppUtilGetImagePath(nullptr, nullptr, nullptr), nullptr);
  const std::string function = "System_GetImageFilePathForWindow: ";
  const std::string failed = function + "Failed to get image file path for window 0000000000000000.";
  EXPECT_THAT(messages, ElementsAre("System_OpenProcessForHWND: Failed to open pid 0.",
                                    "System_OpenProcessForHWND: OpenProcess error 0x57.", failed,
                                    function + "QueryFullProcessImageNameW error 0x6.", failed,
                                    function + "GetModuleFileNameExW error 0x6."));
}

TEST_F(WindowHelpers, FocusTheNearestWindowThatCanTakeIt) {
  const UniqueWindow top = MakeWindow(WS_POPUP | WS_VISIBLE);
  const UniqueWindow other = MakeWindow(WS_POPUP | WS_VISIBLE);
  const UniqueWindow child = MakeWindow(WS_CHILD | WS_VISIBLE, top.get());
  const UniqueWindow grandchild = MakeWindow(WS_CHILD, child.get());
  const UniqueWindow hidden = MakeWindow(WS_POPUP);
  const UniqueWindow disabled = MakeWindow(WS_POPUP | WS_VISIBLE | WS_DISABLED, top.get());  // owned
  const struct {
    HWND window;
    HWND focused;
    int walked;
  } kCases[] = {{top.get(), top.get(), 0},      {child.get(), top.get(), 1}, {grandchild.get(), top.get(), 2},
                {disabled.get(), top.get(), 1}, {hidden.get(), nullptr, 1},  {GetDesktopWindow(), nullptr, 1},
                {nullptr, nullptr, 0}};
  for (const auto& [window, focused, walked] : kCases) {
    messages.clear();
    SetForegroundWindow(other.get());
    ASSERT_EQ(GetForegroundWindow(), other.get());
    System_SetFocusedWindow(window, false);
    EXPECT_EQ(GetForegroundWindow(), focused == nullptr ? other.get() : focused);
    EXPECT_EQ(messages.front(), Str_Format("System_SetFocusedWindow: Focusing window %p\n", window));
    EXPECT_EQ(Count("can't take focus, will focus parent"), walked);
    EXPECT_EQ(Count("System_SetFocusedWindow: Can't steal focus without a window!\n"), focused == nullptr ? 1 : 0);
  }
  messages.clear();
  System_SetFocusedWindow(child.get(), true);
  EXPECT_THAT(messages, SizeIs(1)) << "the window is taken as it is";

  SetForegroundWindow(other.get());
  constexpr int kGenerationBeforeVista = 7;
  AppUtilTakeForeground(top.get(), kGenerationBeforeVista);
  EXPECT_EQ(GetForegroundWindow(), top.get());
  EXPECT_THAT(messages, SizeIs(1)) << messages.back();
  AppUtilTakeForeground(reinterpret_cast<HWND>(0xDEAD0), kGenerationBeforeVista);
  EXPECT_EQ(Count("System_SetFocusedWindow: Failed to set foreground window to 00000000000DEAD0, error 0x"), 1);
}

}  // namespace
}  // namespace quarry::test
