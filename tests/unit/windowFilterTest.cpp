#include "lib/appUtil/windowProcess.h"
#include "lib/misc/logEntry.h"
#include "lib/seamlyFilter/answerCache.h"
#include "lib/seamlyFilter/ruleFile.h"
#include "lib/seamlyFilter/ruleRegistry.h"
#include "lib/seamlyFilter/rules.h"
#include "lib/seamlyFilter/windowData.h"
#include "lib/string/str.h"

#include "tests/support/quarryHost.h"
#include "tests/support/registryFixture.h"
#include "tests/support/temporaryFolder.h"
#include "tests/support/versionedExecutable.h"
#include "tests/support/windowMaker.h"

#include <gmock/gmock.h>

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

namespace quarry::test {
namespace {

using testing::ElementsAre;

/// Records the log entry's messages and leaves no rules behind.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): GoogleTest alone makes and destroys it
class ProceduralTest : public testing::Test {
 protected:
  ProceduralTest() {
    LogEntry_SetSink([](const char* message) { messages.emplace_back(message); });
    Forget();
  }
  ~ProceduralTest() override {
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
  static UniqueWindow MakeWindow(DWORD style, HWND parent = nullptr) {
    return UniqueWindow(CreateWindowExW(0, L"STATIC", L"", style, 0, 0, 60, 60, parent, nullptr, nullptr, nullptr));
  }

  static inline std::vector<std::string> messages;
};

class WindowFilter : public ProceduralTest {
 protected:
  void Load(const std::string& text, const char* context = nullptr) {
    const std::wstring path =
        folder_.WriteBytes(L"rules 漢字.txt", {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    ASSERT_TRUE(SeamlyFilterProcessFile(path, context));
  }
  /// The table as text: items as "key:value", rule sets in brackets, items in the order of writing.
  static std::string Table() {
    const RuleTable& rules = SeamlyFilterRules();
    std::string text;
    for (int index = 0; index <= rules.last; ++index) {
      std::string items;
      for (const RuleItem& item : rules.sets[static_cast<std::size_t>(index)].items) {
        std::string entry = " ";
        items.insert(0, entry.append(std::to_string(static_cast<int>(item.key))).append(":").append(item.value));
      }
      text += '[' + items + " ]";
    }
    return text;
  }
  /// What the rules say of a window: whether one matched, action and type.
  static std::string Ask(HWND window) {
    const SeamlyFilterMatch match = SeamlyFilter_FindMatchingRule(window);
    return Str_Format("%d %d %d", match.matched ? 1 : 0, match.action, match.windowType);
  }
  /// A copy of windowMaker that says whose it is.
  std::wstring MakeProgram(const VersionResource& version) {
    std::wstring program = folder_ / L"program.exe";
    std::filesystem::copy_file(FixtureProgram(L"windowMaker"), program,
                               std::filesystem::copy_options::overwrite_existing);
    EXPECT_TRUE(PutResource(program, RT_VERSION, MAKEINTRESOURCEW(1), VersionResourceBytes(version)));
    return program;
  }

  const VersionResource version_ = {
      true,
      {{0x0407, 0x04B0}, {0x0409, 0x04E4}},
      {{L"040704b0", {{L"CompanyName", L"Büro 漢字"}, {L"ProductName", L"Editor"}}},
       {L"040904e4", {{L"CompanyName", L"Second language"}}}},
      true,
      0xFFFF'0002'0003'0004,
  };
  TemporaryFolder folder_{L"quarryFilter"};
};

TEST_F(WindowFilter, ReadsTheGrammarOfRuleFiles) {
  const std::string longText(300, 'x');
  const std::string lists =
      "BeginRule\nclassname=A\nEndRule\n"
      "BeginRule\nclassname=B\nnotapplicableto=elsewhere,here\ntype=dock\nEndRule\n"
      "BeginRule\nclassname=C\nnotapplicableto=heres,her, here\nEndRule\n"
      "BeginRule\nclassname=D\nnotapplicableto=here\n"  // its end is missing
      "BeginRule\nclassname=E\nEndRule\nBeginRule\nnotapplicableto=here\n";
  struct Case {
    std::string file;
    std::string table;
    const char* context = nullptr;
  };
  const Case cases[] = {
      {"", ""},
      {"\xEF\xBB\xBF"
       "BeginRule\nclassname=A\nEndRule\n",
       "[ 7:A ]"},
      {"BeginRule\r\ncompany=A = B\r\n\r\n#action=block\r\nproduct=\r\naction=map", "[ 1:A = B 2: 9:map ]"},
      {"BeginRule\nclassname=A \t\naction= map\n", "[ 7:A \t 9: map ]"},
      {"classname=early\nEndRule\nBeginRule\nBeginRule\nmajor=1\nBeginRule \n beginrule\n", "[ ][ 3:1 ]"},
      {"BeginRule\nminor=2\nEndRule\nbuild=3\nBeginRule\nrevision=4", "[ 4:2 5:3 ][ 6:4 ]"},
      {"BeginRule\ncompany = A\n=A\nCompany=A\nclassname\ntype=dock\n", "[ 8:dock ]"},
      {"BeginRule\nclassname=" + longText + "\ntype=dock\n", "[ 7:" + longText.substr(0, 249) + " 8:dock ]"},
      {"BeginRule\n" + longText + "=classname=A\n" + "action=block" + std::string("\0=map\n", 6), "[ 9:block ]"},
      {lists, "[ 7:A ][ 7:C ][ 7:E ]", "here"},
      {lists, "[ 7:A ][ 7:B 8:dock ][ 7:C ][ 7:D ][ 7:E ][ ]"},
      {"BeginRule\naction=map\x1A"  // the end of a text
       "classname=A\n",
       "[ 9:map ]"},
  };
  for (const Case& one : cases) {
    Forget();
    Load(one.file, one.context);
    EXPECT_EQ(Table(), one.table) << one.file;
  }
  // Items before the first rule set of a file do not join one of the file before.
  Load("type=dock\nBeginRule\nminor=1\n");
  ParseRegRule("one", "classname=A;notapplicableto=here", "here");
  ParseRegRule("two", "classname=B", "here");
  EXPECT_EQ(Table(), "[ 9:map ][ 4:1 ][ 7:B ]");
}

TEST_F(WindowFilter, ReportsWhatItReads) {
  Load("BeginRule\ncompany = X\nclassname=A\nnonsense\n");
  EXPECT_FALSE(SeamlyFilterProcessFile(L"Q:\\missing 漢", nullptr));
  ParseRegRule("Name", "type=dock;;nonsense;a=b;", nullptr);
  SeamlyFilter_Close();
  const std::vector<std::string> expected = {
      "SeamlyFilterParseLine: bad token or whitespace 'company = X'\n",
      "SeamlyFilterParseLine: lhs classname rhs A type 7\n",
      "SeamlyFilterParseLine: bad token or whitespace 'nonsense'\n",
      "SeamlyFilterProcessFile: unable to open Q:\\missing \xE6\xBC\xA2\n",
      "ParseRegRule: Parsing custom Seamly filter rule 'Name'.\n",
      "ParseRegRule: Successfully parsed Seamly filter rule with key 'type', value 'dock', and type 8.\n",
      "ParseRegRule : The registry rule subsection 'nonsense' is not properly formatted.\n",
      "ParseRegRule: Ignoring unknown Seamly filter rule key 'a' with value 'b'.\n",
      "ParseRegRule: Done parsing custom Seamly filter rule 'Name'.\n",
      "SeamlyFilter_Close: Cleaning up filter rules tables\n",
      "SeamlyFilterPurgeCache: cleaning up the cache hashtable.\n"};
  EXPECT_EQ(messages, expected);
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
  for (const auto& [items, answer] : {std::pair(1'024, "1 1 -1"), std::pair(1'030, "0 0 -1")}) {
    Forget();
    file = "BeginRule\n";
    for (int index = 0; index < items; ++index) file += "classname=Static\n";
    Load(file);
    EXPECT_EQ(Ask(window.get()), answer) << "what was left out may be what makes it fail";
    EXPECT_EQ(Count("SeamlyFilterAddItem: Too many rule items, the rule set is not used.\n"), items > 1'024 ? 1 : 0);
  }
}

TEST_F(WindowFilter, StaysWithinBoundsOnHostileFolders) {
  std::mt19937 random(20261122);
  std::string noise(1'000'000, '\0');
  std::generate(noise.begin(), noise.end(), [&] { return static_cast<char>(random()); });
  const std::filesystem::path filters = folder_.MakeFolder(L"Filters");
  std::filesystem::create_directories(filters / L"sub");
  std::ofstream(filters / L"noise", std::ios::binary) << "BeginRule\n" << noise;
  // NOLINTNEXTLINE(bugprone-string-constructor): ten million characters are meant
  std::ofstream(filters / L"endless", std::ios::binary) << "BeginRule\naction=" << std::string(10'000'000, 'x');
  std::ofstream lines(filters / L"lines", std::ios::binary);
  lines << "BeginRule\n";
  for (int index = 0; index < 1'000'000; ++index) lines << "type=dock\n";
  lines.flush();  // and stays open: a file that is being written
  for (int index = 0; index < 5'000; ++index) {
    std::ofstream(filters / (L"many" + std::to_wstring(index))) << "BeginRule\nminor=1\nEndRule\n";
  }
  LogEntry_SetSink(nullptr);  // as in the library
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(SeamlyFilterProcessFolder(filters.wstring(), nullptr));
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  std::printf("5003 rule files read in %.2f s\n", took.count());
  EXPECT_LT(took.count(), 20);
  EXPECT_EQ(SeamlyFilterRules().last, 1023);
  for (const RuleSet& set : SeamlyFilterRules().sets) {
    ASSERT_LE(static_cast<std::size_t>(std::distance(set.items.begin(), set.items.end())), kMaxRuleItems);
    for (const RuleItem& item : set.items) ASSERT_LT(item.value.size(), kMaxRuleText);
  }
  EXPECT_FALSE(SeamlyFilterProcessFolder(folder_ / L"none", nullptr));
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
  key.SetRaw({}, L"value4", REG_SZ, std::vector<std::uint8_t>(200'000, 'x'));
  key.SetString({}, L"value5 \xD800", L"minor=5");  // no text in any encoding
  key.SetString({}, std::wstring(16'000, L'v'), L"minor=6");
  messages.clear();
  AddRegKeyRules(nullptr);
  EXPECT_EQ(Count("has an unexpected type. Only REG_SZ is allowed.\n"), 11);
  EXPECT_EQ(Count("AddRegKeyRules: Registry value 'HKLM\\" + path + "\\type4' has an unexpected type"), 1);
  EXPECT_EQ(Count("Unhandled error"), 0);
  EXPECT_EQ(Table(), "[ 1:\xE6\xBC\xA2\xE5\xAD\x97 7:" + std::string(259, 'c') + " ][ 4:7 ][ ][ 4:5 ][ 4:6 ][ 4:9 ]");
}

TEST_F(WindowFilter, AnswersByTheFirstRuleSetWhoseItemsAllHold) {
  const WindowMaker maker(MakeProgram(version_), {WindowSpec{L"Window", L"QuarryFilter"}});
  const std::string program = "BeginRule\naction=map\ncompany=B\xC3\xBCro \xE6\xBC\xA2\xE5\xAD\x97\nproduct=Editor\n";
  const std::pair<std::string, std::string> cases[] = {
      {"", "0 0 -1"},
      {"BeginRule\naction=block\n", "1 1 -1"},
      {"BeginRule\nclassname=QuarryFilter\n", "1 1 -1"},
      {"BeginRule\nclassname=QuarryFilter\naction=map\n", "1 2 -1"},
      {"BeginRule\ntype=combobox\n", "1 1 9"},
      {"BeginRule\ntype=widget\n", "1 1 10"},
      {"BeginRule\ntype=Tooltip\naction=Map\n", "1 0 -1"},
      {"BeginRule\nclassname=quarryfilter\n", "0 0 -1"},
      {"BeginRule\nclassname=QuarryFilter \n", "0 0 -1"},
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
  for (const auto& [rules, answer] : cases) {
    Forget();
    Load(rules);
    EXPECT_EQ(Ask(maker.Windows()[0]), answer) << rules;
    Load("BeginRule\ntype=splash\n");
    EXPECT_EQ(Ask(maker.Windows()[0]), rules.empty() ? "1 1 5" : answer) << "from the cache: " << rules;
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
  std::string longest;  // whole characters of three bytes, below 780
  while (longest.size() < 777) longest += "\xE5\xAD\x97";
  struct Case {
    VersionResource version;
    std::string data;
    std::string missing;
  };
  const Case cases[] = {
      {noNumbers, "0.0.0.0||", "version info"},
      {noTranslations, "65535.2.3.4||", "process translation data"},
      {versionOf({{L"ProductName", L"P"}}), "65535.2.3.4||", "company name"},
      {versionOf({{L"CompanyName", L"C"}}), "65535.2.3.4|C|", "product name"},
      {versionOf({{L"CompanyName", L""}, {L"ProductName", L"P"}}), "65535.2.3.4||P", ""},
      {versionOf({{L"CompanyName", std::wstring(700, L'字')}, {L"ProductName", L"P"}}), "65535.2.3.4|" + longest + "|P",
       ""},
  };
  for (const Case& one : cases) {  // one path: a program that is replaced is read again
    const WindowMaker maker(MakeProgram(one.version), {WindowSpec{L"Window", L"Klasse"}});
    messages.clear();
    for (int repeat = 0; repeat < 2; ++repeat) {
      const SeamlyFilterData data = SeamlyFilterGetData(maker.Windows()[0]).value_or(SeamlyFilterData{});
      EXPECT_EQ(Str_Format("%u.%u.%u.%u|%s|%s", data.major, data.minor, data.build, data.revision, data.company.c_str(),
                           data.product.c_str()),
                one.data);
      EXPECT_EQ(data.className, "Klasse");
    }
    const std::string message = "SeamlyFilterGetData: unable to get " + one.missing + " of window 0x";
    EXPECT_EQ(Count(message), one.missing.empty() ? 0 : 1) << one.missing;
    EXPECT_EQ(messages.size(), one.missing.empty() ? 0u : 1u) << "the file is read once";
  }
  const WindowMaker plain({{L"Window"}});  // of a program without a version
  EXPECT_TRUE(SeamlyFilterGetData(plain.Windows()[0]));
  EXPECT_EQ(Count("SeamlyFilterGetData: unable to get version info size of window 0x"), 1);
}

TEST_F(WindowFilter, KeepsAnswersInABoundedCache) {
  const auto handle = [](std::size_t number) { return reinterpret_cast<HWND>(number * 2); };
  SeamlyFilterAddToCache(handle(1), {true, kRuleActionMap, kWindowTypeTooltip});
  SeamlyFilterAddToCache(handle(1), SeamlyFilterMatch{});
  EXPECT_EQ(Count("SeamlyFilterAddToCache: '2' already present in hashtable.\n"), 1);
  for (std::size_t number = 2; number <= 2 * kMaxCachedWindows; ++number) {
    SeamlyFilterAddToCache(handle(number), {true, kRuleActionBlock, kWindowTypeNormal});
    const auto first = SeamlyFilterFindInCache(handle(1));
    // The first full cache holds only answers that were used, and is emptied.
    ASSERT_EQ(first.has_value(), number <= kMaxCachedWindows) << number;
    ASSERT_EQ(first.value_or(SeamlyFilterMatch{}).windowType, first ? 4 : -1);
  }
  EXPECT_EQ(SeamlyFilterFindInCache(handle(kMaxCachedWindows + 1)).value_or(SeamlyFilterMatch{}).action, 1);
  Forget();
  EXPECT_FALSE(SeamlyFilterFindInCache(handle(2 * kMaxCachedWindows)));
}

class WindowHelpers : public ProceduralTest {};

TEST_F(WindowHelpers, FindTheImageOfAWindowsProcess) {
  const WindowMaker maker({{L"Window"}}, true);
  const HWND window = maker.Windows()[0];
  const std::wstring expected = FixtureProgram(L"windowMaker").wstring();
  EXPECT_EQ(System_GetImageFilePathForWindow(window).get(), expected);
  // The way of systems without QueryFullProcessImageNameW.
  const UniqueKernelHandle process = System_OpenProcessForHWND(window, PROCESS_QUERY_INFORMATION | PROCESS_VM_READ);
  EXPECT_EQ(AppUtilGetImagePath(process.get(), nullptr, window).get(), expected);
  EXPECT_STREQ(AppUtilCopyWithoutNativePrefix(L"\\??\\C:\\a.exe").get(), L"C:\\a.exe");
  EXPECT_STREQ(AppUtilCopyWithoutNativePrefix(L"\\\\?\\C:\\a.exe").get(), L"\\\\?\\C:\\a.exe");
  EXPECT_TRUE(messages.empty());

  EXPECT_EQ(System_GetImageFilePathForWindow(nullptr), nullptr);
  EXPECT_EQ(AppUtilGetImagePath(nullptr, &QueryFullProcessImageNameW, nullptr), nullptr);
  EXPECT_EQ(AppUtilGetImagePath(nullptr, nullptr, nullptr), nullptr);
  const std::string failed =
      "System_GetImageFilePathForWindow: Failed to get image file path for window 0000000000000000.";
  EXPECT_THAT(messages, ElementsAre("System_OpenProcessForHWND: Failed to open pid 0.",
                                    "System_OpenProcessForHWND: OpenProcess error 0x57.", failed,
                                    "System_GetImageFilePathForWindow: QueryFullProcessImageNameW error 0x6.", failed,
                                    "System_GetImageFilePathForWindow: GetModuleFileNameExW error 0x6."));
}

TEST_F(WindowHelpers, FocusTheNearestWindowThatCanTakeIt) {
  const UniqueWindow top = MakeWindow(WS_OVERLAPPEDWINDOW | WS_VISIBLE);
  const UniqueWindow other = MakeWindow(WS_OVERLAPPEDWINDOW | WS_VISIBLE);
  const UniqueWindow child = MakeWindow(WS_CHILD | WS_VISIBLE, top.get());
  const UniqueWindow grandchild = MakeWindow(WS_CHILD, child.get());
  const UniqueWindow hidden = MakeWindow(WS_POPUP);
  const UniqueWindow disabled = MakeWindow(WS_POPUP | WS_VISIBLE | WS_DISABLED, top.get());  // owned
  struct Case {
    HWND window;
    HWND focused;
    int walked;
  };
  const Case cases[] = {{top.get(), top.get(), 0},      {child.get(), top.get(), 1}, {grandchild.get(), top.get(), 2},
                        {disabled.get(), top.get(), 1}, {hidden.get(), nullptr, 1},  {GetDesktopWindow(), nullptr, 1},
                        {nullptr, nullptr, 0}};
  for (const Case& one : cases) {
    messages.clear();
    SetForegroundWindow(other.get());
    ASSERT_EQ(GetForegroundWindow(), other.get());
    System_SetFocusedWindow(one.window, false);
    EXPECT_EQ(GetForegroundWindow(), one.focused == nullptr ? other.get() : one.focused);
    EXPECT_EQ(messages.front(), Str_Format("System_SetFocusedWindow: Focusing window %p\n", one.window));
    EXPECT_EQ(Count("can't take focus, will focus parent"), one.walked);
    EXPECT_EQ(Count("System_SetFocusedWindow: Can't steal focus without a window!\n"), one.focused == nullptr ? 1 : 0);
  }
  messages.clear();
  System_SetFocusedWindow(child.get(), true);
  EXPECT_EQ(messages.size(), 1u) << "the window is taken as it is";

  SetForegroundWindow(other.get());
  constexpr int kGenerationBeforeVista = 7;
  AppUtilTakeForeground(top.get(), kGenerationBeforeVista);
  EXPECT_EQ(GetForegroundWindow(), top.get());
  EXPECT_EQ(messages.size(), 1u) << messages.back();
  AppUtilTakeForeground(reinterpret_cast<HWND>(0xDEAD0), kGenerationBeforeVista);
  EXPECT_EQ(Count("System_SetFocusedWindow: Failed to set foreground window to 00000000000DEAD0, error 0x"), 1);
}

}  // namespace
}  // namespace quarry::test
