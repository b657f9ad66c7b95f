#include "lib/appUtil/appUtilWin32.h"
#include "lib/misc/hashTable.h"
#include "lib/misc/logEntry.h"
#include "lib/seamlyFilter/seamlyFilterCache.h"
#include "lib/seamlyFilter/seamlyFilterData.h"
#include "lib/seamlyFilter/seamlyFilterFile.h"
#include "lib/seamlyFilter/seamlyFilterRegistry.h"
#include "lib/seamlyFilter/seamlyFilterRules.h"
#include "lib/string/str.h"

#include "tests/support/quarryHost.h"
#include "tests/support/registryFixture.h"
#include "tests/support/temporaryFolder.h"
#include "tests/support/versionedExecutable.h"
#include "tests/support/windowMaker.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>

namespace quarry::test {
namespace {

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
      for (const RuleItem& item : rules.sets[static_cast<std::size_t>(index)]) {
        std::string entry = " ";
        items.insert(0, entry.append(std::to_string(static_cast<int>(item.key))).append(":").append(item.value));
      }
      text += '[' + items + " ]";
    }
    return text;
  }

  TemporaryFolder folder_{L"quarryFilter"};
};

TEST(HashTable, AgreesWithAnOrderedMapOverRandomOperations) {
  HashTable<std::uintptr_t, int> table(50);
  std::map<std::uintptr_t, int> model;
  std::mt19937 random(20261122);
  for (int round = 0; round < 20'000; ++round) {
    const std::uintptr_t key = (random() % 500) * 4;  // as handles are
    const int value = static_cast<int>(random() % 1'000);
    if (random() % 3 == 0) {
      ASSERT_EQ(table.Remove(key), model.erase(key) == 1);
    } else {
      const bool inserted = model.emplace(key, value).second;
      ASSERT_EQ(table.Insert(key, value), inserted ? HashTableInsert::Inserted : HashTableInsert::AlreadyPresent);
    }
    const int* const found = table.Find(key);
    ASSERT_EQ(found != nullptr ? *found : -1, model.contains(key) ? model[key] : -1);
    ASSERT_EQ(table.Count(), model.size());
  }
  table.RemoveIf([](std::uintptr_t, int& value) { return value % 2 == 0; });
  std::erase_if(model, [](const auto& entry) { return entry.second % 2 == 0; });
  std::map<std::uintptr_t, int> walked;
  table.Walk([&](std::uintptr_t key, int& value) { walked[key] = value; });
  EXPECT_EQ(walked, model);
  table.Free();
  EXPECT_EQ(table.Count(), 0u);
  EXPECT_EQ(table.Insert(4, 1), HashTableInsert::Inserted);
}

TEST_F(WindowFilter, ReadsTheGrammarOfRuleFiles) {
  const std::string longText(300, 'x');
  struct Case {
    std::string file;
    std::string table;
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
      {"BeginRule\nnotapplicableto=here,there\naction=map\nEndRule\n", "[ 9:map ]"},
      {"BeginRule\naction=map\x1A"
       "classname=A\n",
       "[ 9:map ]"},  // the end of a text
  };
  for (const Case& one : cases) {
    Forget();
    Load(one.file);
    EXPECT_EQ(Table(), one.table) << one.file;
  }
  // Items before the first rule set of a file do not join one of the file before.
  Load("type=dock\nBeginRule\nminor=1\n");
  EXPECT_EQ(Table(), "[ 9:map ][ 4:1 ]");
}

TEST_F(WindowFilter, DropsRuleSetsThatAreNotApplicable) {
  const std::string file =
      "BeginRule\nclassname=A\nEndRule\n"
      "BeginRule\nclassname=B\nnotapplicableto=elsewhere,here\ntype=dock\nEndRule\n"
      "BeginRule\nclassname=C\nnotapplicableto=heres,her, here\nEndRule\n"
      "BeginRule\nclassname=D\nnotapplicableto=here\n"  // its end is missing
      "BeginRule\nclassname=E\nEndRule\nBeginRule\nnotapplicableto=here\n";
  Load(file, "here");
  EXPECT_EQ(Table(), "[ 7:A ][ 7:C ][ 7:E ]");
  Forget();
  Load(file, nullptr);
  EXPECT_EQ(Table(), "[ 7:A ][ 7:B 8:dock ][ 7:C ][ 7:D ][ 7:E ][ ]");
  Forget();
  EXPECT_TRUE(ParseRegRule("one", "classname=A;notapplicableto=here", "here"));
  EXPECT_TRUE(ParseRegRule("two", "classname=B", "here"));
  EXPECT_EQ(Table(), "[ 7:B ]");
}

TEST_F(WindowFilter, ReportsWhatItReads) {
  Load("BeginRule\ncompany = X\nclassname=A\nnonsense\n");
  EXPECT_EQ(messages, (std::vector<std::string>{"SeamlyFilterParseLine: bad token or whitespace 'company = X'\n",
                                                "SeamlyFilterParseLine: lhs classname rhs A type 7\n",
                                                "SeamlyFilterParseLine: bad token or whitespace 'nonsense'\n"}));
  messages.clear();
  EXPECT_FALSE(SeamlyFilterProcessFile(folder_ / L"missing 漢", nullptr));
  EXPECT_EQ(Count("SeamlyFilterProcessFile: unable to open "), 1);
  messages.clear();
  EXPECT_TRUE(ParseRegRule("Name", "type=dock;;nonsense;a=b;", nullptr));
  EXPECT_EQ(messages,
            (std::vector<std::string>{
                "ParseRegRule: Parsing custom Seamly filter rule 'Name'.\n",
                "ParseRegRule: Successfully parsed Seamly filter rule with key 'type', value 'dock', and type 8.\n",
                "ParseRegRule : The registry rule subsection 'nonsense' is not properly formatted.\n",
                "ParseRegRule: Ignoring unknown Seamly filter rule key 'a' with value 'b'.\n",
                "ParseRegRule: Done parsing custom Seamly filter rule 'Name'.\n"}));
  messages.clear();
  SeamlyFilter_Close();
  EXPECT_EQ(messages, (std::vector<std::string>{"SeamlyFilter_Close: Cleaning up filter rules tables\n",
                                                "SeamlyFilterPurgeCache: cleaning up the cache hashtable.\n"}));
}

TEST_F(WindowFilter, HoldsNoMoreThanItsTable) {
  std::string file;
  for (int index = 0; index < kMaxRuleSets + 2; ++index) file += "BeginRule\nminor=" + std::to_string(index) + "\n";
  Load(file);
  EXPECT_EQ(Count("SeamlyFilterParseLine: Too many rule sets.\n"), 2);
  EXPECT_EQ(SeamlyFilterRules().last, 1023);
  EXPECT_TRUE(Table().ends_with("[ 4:1022 ][ 4:1023 4:1024 4:1025 ]"));
  Load("BeginRule\nmajor=1\n");
  EXPECT_TRUE(Table().ends_with("[ 4:1022 ][ 4:1023 4:1024 4:1025 3:1 ]"));
  EXPECT_FALSE(ParseRegRule("late", "major=2", nullptr));
  EXPECT_EQ(Count("ParseRegRule : Registry read too many rules, maxFileRules: 1024.\n"), 1);
  EXPECT_TRUE(Table().ends_with("3:1 ]"));
}

TEST_F(WindowFilter, StaysWithinBoundsOnHostileFolders) {
  std::mt19937 random(20261122);
  std::string noise(1'000'000, '\0');
  std::generate(noise.begin(), noise.end(), [&] { return static_cast<char>(random()); });
  const std::filesystem::path filters = folder_ / L"Filters";
  std::filesystem::create_directories(filters / L"sub");
  std::ofstream(filters / L"noise", std::ios::binary) << "BeginRule\n" << noise;
  // NOLINTNEXTLINE(bugprone-string-constructor): ten million characters are meant
  std::ofstream(filters / L"endless", std::ios::binary) << "BeginRule\naction=" << std::string(10'000'000, 'x');
  const std::ofstream writer(filters / L"open");  // a file that is being written
  for (int index = 0; index < 5'000; ++index) {
    std::ofstream(filters / (L"many" + std::to_wstring(index))) << "BeginRule\nminor=1\nEndRule\n";
  }
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(SeamlyFilterProcessFolder(folder_ / L"Filters", nullptr));
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  std::printf("5002 rule files read in %.2f s\n", took.count());
  EXPECT_LT(took.count(), 20);
  EXPECT_EQ(SeamlyFilterRules().last, 1023);
  for (const RuleSet& set : SeamlyFilterRules().sets) {
    for (const RuleItem& item : set) ASSERT_LT(item.value.size(), kMaxRuleText);
  }
  EXPECT_FALSE(SeamlyFilterProcessFolder(folder_ / L"none", nullptr));
}

TEST_F(WindowFilter, ReadsRegistryValuesOfEveryTypeAndSize) {
  constexpr char kPath[] = R"(Software\Velkor, Inc.\Velkor Tarn\Velkor Seamly\Filters)";
  AddRegKeyRules(nullptr);
  EXPECT_EQ(Count(std::string("AddRegKeyRules: Skipping non-existing Seamly filter key '") + kPath + "'.\n"), 1);
  EXPECT_EQ(Count("Skipping non-existing"), 2);

  const RegistryFixture policy(L"Software\\Policies\\Velkor, Inc.\\Velkor Tarn\\Velkor Seamly\\Filters");
  policy.SetString({}, L"policy", L"minor=9");
  const RegistryFixture key(L"Software\\Velkor, Inc.\\Velkor Tarn\\Velkor Seamly\\Filters");
  const std::uint8_t odd[] = {'m', 0, 'i', 0, 'n', 0, 'o', 0, 'r', 0, '=', 0, '7', 0, '8'};
  const std::vector<std::uint8_t> huge(200'000, 'x');
  for (DWORD type = 0; type <= REG_QWORD; ++type) {
    if (type != REG_SZ) key.SetRaw({}, L"type" + std::to_wstring(type), type, odd);
  }
  key.SetString({}, L"value1", L"company=漢字;classname=" + std::wstring(400, L'c'));
  key.SetRaw({}, L"value2", REG_SZ, odd);
  key.SetRaw({}, L"value3", REG_SZ, {});
  key.SetRaw({}, L"value4", REG_SZ, huge);
  messages.clear();
  AddRegKeyRules(nullptr);
  EXPECT_EQ(Count("has an unexpected type. Only REG_SZ is allowed.\n"), 11);
  EXPECT_EQ(Count(std::string("AddRegKeyRules: Registry value 'HKLM\\") + kPath + "\\type4' has an unexpected type"),
            1);
  EXPECT_EQ(Count("Unhandled error"), 0);
  EXPECT_EQ(Table(), "[ 1:\xE6\xBC\xA2\xE5\xAD\x97 7:" + std::string(259, 'c') + " ][ 4:7 ][ ][ 4:9 ]");
}

TEST_F(WindowFilter, NumbersTypesAndActionsByTheirNames) {
  const std::pair<const char*, int> types[] = {
      {"normal", 0},       {"panel", 1},        {"dialog", 2},     {"menu", 3},     {"tooltip", 4},
      {"splash", 5},       {"toolbar", 6},      {"dock", 7},       {"desktop", 8},  {"combobox", 9},
      {"widget", 10},      {"startscreen", 12}, {"sidepanel", 13}, {"taskbar", 14}, {"metrofullscreen", 15},
      {"metrodocked", 16}, {"Tooltip", -1},     {"", -1}};
  for (const auto& [name, number] : types) EXPECT_EQ(SeamlyFilterWindowTypeOf(name), number) << name;
  EXPECT_EQ(SeamlyFilterActionOf("block"), 1);
  EXPECT_EQ(SeamlyFilterActionOf("map"), 2);
  EXPECT_EQ(SeamlyFilterActionOf("Block"), 0);
}

TEST_F(WindowFilter, AnswersByTheFirstRuleSetWhoseItemsAllHold) {
  const WindowMaker maker({WindowSpec{L"Window", L"QuarryFilter"}});
  const HWND window = maker.Windows()[0];
  struct Case {
    std::string rules;
    bool matched;
    int action;
    int type;
  };
  const Case cases[] = {
      {"", false, 0, -1},
      {"BeginRule\naction=block\n", true, 1, -1},
      {"BeginRule\nclassname=QuarryFilter\n", true, 1, -1},
      {"BeginRule\nclassname=QuarryFilter\naction=map\n", true, 2, -1},
      {"BeginRule\ntype=combobox\n", true, 1, 9},
      {"BeginRule\ntype=Tooltip\naction=Map\n", true, 0, -1},
      {"BeginRule\nclassname=quarryfilter\n", false, 0, -1},
      {"BeginRule\nclassname=QuarryFilter \n", false, 0, -1},
      {"BeginRule\nmajor=0x\nminor= 0\nbuild=\nrevision=zero\n", true, 1, -1},
      {"BeginRule\nmajor=1\n", false, 0, -1},
      {"BeginRule\ncompany=\nproduct=\n", true, 1, -1},
      {"BeginRule\ntype=dock\naction=map\nBeginRule\naction=block\n", true, 2, 7},
      // Read from the last item to the first, a failing rule set leaves what came before the failure.
      {"BeginRule\nmajor=1\naction=map\ntype=menu\nBeginRule\nclassname=QuarryFilter\n", true, 2, 3},
      {"BeginRule\naction=map\ntype=menu\nmajor=1\nBeginRule\nclassname=QuarryFilter\n", true, 1, -1},
      {"BeginRule\nmajor=1\naction=map\ntype=menu\n", false, 0, -1},
  };
  for (const Case& one : cases) {
    Forget();
    Load(one.rules);
    for (int repeat = 0; repeat < 2; ++repeat) {  // the second time from the cache
      const SeamlyFilterMatch match = SeamlyFilter_FindMatchingRule(window);
      EXPECT_EQ(match.matched, one.matched) << one.rules;
      EXPECT_EQ(match.action, one.action) << one.rules;
      EXPECT_EQ(match.windowType, one.type) << one.rules;
    }
    EXPECT_LE(Count("unable to get version info size"), 1) << "the second answer comes from the cache";
  }
  const SeamlyFilterMatch gone = SeamlyFilter_FindMatchingRule(reinterpret_cast<HWND>(0xDEAD0));
  EXPECT_FALSE(gone.matched);
  EXPECT_EQ(gone.action, 0);
  EXPECT_EQ(Count("SeamlyFilterGetData: unable to classname of window 0x00000000000DEAD0 (err="), 1);
}

TEST_F(WindowFilter, BoundsTheTextsOfAWindow) {
  const std::wstring program = folder_ / L"long.exe";
  std::filesystem::copy_file(FixtureProgram(L"windowMaker"), program);
  VersionResource version;
  version.translations = {{0x0409, 0x04E4}};
  version.tables = {{L"040904e4", {{L"CompanyName", std::wstring(700, L'字')}, {L"ProductName", L"P"}}}};
  ASSERT_TRUE(PutResource(program, RT_VERSION, MAKEINTRESOURCEW(1), VersionResourceBytes(version)));
  const WindowMaker maker(program, {WindowSpec{L"Window", L"Klasse"}});
  const auto data = SeamlyFilterGetData(maker.Windows()[0]);
  ASSERT_TRUE(data);
  EXPECT_EQ(data->company.size(), 777u) << "whole characters of three bytes, below 780";
  EXPECT_EQ(data->product, "P");
  EXPECT_EQ(data->className, "Klasse");
}

TEST_F(WindowFilter, KeepsAnswersInABoundedCache) {
  const auto handle = [](std::size_t number) { return reinterpret_cast<HWND>(number * 2); };
  SeamlyFilterAddToCache(handle(1), {true, 2, 4});
  SeamlyFilterAddToCache(handle(1), {false, 0, -1});
  EXPECT_EQ(Count("SeamlyFilterAddToCache: '2' already present in hashtable.\n"), 1);
  for (std::size_t number = 2; number <= 2 * kMaxCachedWindows; ++number) {
    SeamlyFilterAddToCache(handle(number), {});
    const auto first = SeamlyFilterFindInCache(handle(1));
    // The first full cache holds only answers that were used, and is emptied.
    ASSERT_EQ(first.has_value(), number <= kMaxCachedWindows) << number;
    ASSERT_EQ(first.value_or(SeamlyFilterMatch{}).windowType, first ? 4 : -1);
  }
  Forget();
  EXPECT_FALSE(SeamlyFilterFindInCache(handle(2 * kMaxCachedWindows)));
}

class WindowHelpers : public ProceduralTest {};

TEST_F(WindowHelpers, FindTheImageOfAWindowsProcess) {
  const WindowMaker maker({{L"Window"}}, true);
  const HWND window = maker.Windows()[0];
  const std::wstring expected = FixtureProgram(L"windowMaker").wstring();
  const UniqueMalloc<wchar_t> path = System_GetImageFilePathForWindow(window);
  ASSERT_NE(path, nullptr);
  EXPECT_EQ(path.get(), expected);
  // The way of systems without QueryFullProcessImageNameW.
  const UniqueKernelHandle process = System_OpenProcessForHWND(window, PROCESS_QUERY_INFORMATION | PROCESS_VM_READ);
  ASSERT_TRUE(process);
  EXPECT_EQ(AppUtilGetImagePath(process.get(), nullptr, window).get(), expected);
  EXPECT_STREQ(AppUtilCopyWithoutNativePrefix(L"\\??\\C:\\a.exe").get(), L"C:\\a.exe");
  EXPECT_STREQ(AppUtilCopyWithoutNativePrefix(L"\\\\?\\C:\\a.exe").get(), L"\\\\?\\C:\\a.exe");
  EXPECT_TRUE(messages.empty());

  EXPECT_EQ(System_GetImageFilePathForWindow(nullptr), nullptr);
  EXPECT_EQ(messages, (std::vector<std::string>{"System_OpenProcessForHWND: Failed to open pid 0.",
                                                "System_OpenProcessForHWND: OpenProcess error 0x57."}));
  messages.clear();
  EXPECT_EQ(AppUtilGetImagePath(nullptr, &QueryFullProcessImageNameW, nullptr), nullptr);
  EXPECT_EQ(AppUtilGetImagePath(nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(Count("System_GetImageFilePathForWindow: Failed to get image file path for window 0000000000000000."), 2);
  EXPECT_EQ(Count("System_GetImageFilePathForWindow: QueryFullProcessImageNameW error 0x6."), 1);
  EXPECT_EQ(Count("System_GetImageFilePathForWindow: GetModuleFileNameExW error 0x6."), 1);
}

UniqueWindow MakeWindow(DWORD style, HWND parent) {
  return UniqueWindow(CreateWindowExW(0, L"STATIC", L"", style, 0, 0, 60, 60, parent, nullptr, nullptr, nullptr));
}

TEST_F(WindowHelpers, FocusTheNearestWindowThatCanTakeIt) {
  const UniqueWindow top = MakeWindow(WS_OVERLAPPEDWINDOW | WS_VISIBLE, nullptr);
  const UniqueWindow other = MakeWindow(WS_OVERLAPPEDWINDOW | WS_VISIBLE, nullptr);
  const UniqueWindow child = MakeWindow(WS_CHILD | WS_VISIBLE, top.get());
  const UniqueWindow grandchild = MakeWindow(WS_CHILD, child.get());
  const UniqueWindow hidden = MakeWindow(WS_POPUP, nullptr);
  const UniqueWindow disabled = MakeWindow(WS_POPUP | WS_VISIBLE | WS_DISABLED, top.get());  // owned
  ASSERT_TRUE(top && other && child && grandchild && hidden && disabled);

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
}

TEST_F(WindowHelpers, TakeTheForegroundOnOldSystemsToo) {
  const UniqueWindow window = MakeWindow(WS_OVERLAPPEDWINDOW | WS_VISIBLE, nullptr);
  const UniqueWindow other = MakeWindow(WS_OVERLAPPEDWINDOW | WS_VISIBLE, nullptr);
  SetForegroundWindow(other.get());
  AppUtilTakeForeground(window.get(), 7);
  EXPECT_EQ(GetForegroundWindow(), window.get());
  EXPECT_TRUE(messages.empty()) << messages.front();
  AppUtilTakeForeground(reinterpret_cast<HWND>(0xDEAD0), 7);
  EXPECT_EQ(Count("System_SetFocusedWindow: Failed to set foreground window to 00000000000DEAD0, error 0x"), 1);
}

}  // namespace
}  // namespace quarry::test
