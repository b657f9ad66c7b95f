// The exports themselves: what the DLL offers, its life cycle, its arguments and who owns what.

#include "tests/support/hostTest.h"
#include "tests/support/importTable.h"

#include <cstdlib>
#include <cstring>
#include <functional>
#include <regex>
#include <type_traits>
#include <utility>

namespace quarry::test {
namespace {

const QuarryFunctions& Functions() { return Library::Instance().Functions(); }

HWND HiddenWindow() { return FindWindowExW(HWND_MESSAGE, nullptr, L"VelkorQuarryHiddenWindow", L"VelkorQuarry"); }

/// Places for all outputs, with values that no function would store.
struct Outputs {
  QuarryApplicationInfo* apps = reinterpret_cast<QuarryApplicationInfo*>(0x11);
  QuarryWindowInfo* windows = reinterpret_cast<QuarryWindowInfo*>(0x22);
  void* data = reinterpret_cast<void*>(0x33);
  std::uint64_t count = 4711;
  bool operator==(const Outputs&) const = default;
};
Outputs g_out;

/// Expects a call to be refused with null for each of the arguments that `needed` has a bit for, the first being the
/// lowest, and while the library is not in use with good arguments too.
template <typename Result, typename... Arguments>
void ExpectRefused(bool inUse, unsigned needed, Result (*function)(Arguments...),
                   std::type_identity_t<Arguments>... good) {
  const auto callWithout = [&]<std::size_t... Index>(unsigned null, std::index_sequence<Index...> /*positions*/) {
    return function((null == 1U << Index ? Arguments{} : good)...);
  };
  for (unsigned null = inUse ? 1 : 0; null <= needed; null = null == 0 ? 1 : null << 1) {
    if (null != 0 && (needed & null) == 0) continue;
    g_out = {};
    if constexpr (std::is_void_v<Result>) {
      callWithout(null, std::index_sequence_for<Arguments...>());
    } else {
      const Result refusal = std::is_same_v<Result, std::uint32_t> ? Result(QUARRY_LAUNCH_REFUSED) : Result{};
      EXPECT_EQ(callWithout(null, std::index_sequence_for<Arguments...>()), refusal) << "argument " << null;
    }
    EXPECT_EQ(g_out, Outputs()) << "argument " << null;
  }
}

void ExpectAllRefused(bool inUse) {
  const QuarryFunctions& api = Functions();
  std::wstring path = L"C:\\foreign.exe";
  QuarryApplicationInfo foreign{};
  ExpectRefused(true, 0b01, api.GetApplicationIcon, &foreign, 0);
  EXPECT_EQ(api.GetApplicationIcon(&foreign, 0), nullptr);  // without a path
  foreign.path = path.data();
  ExpectRefused(inUse, 0b11, api.GetOpenWindows, &g_out.windows, &g_out.count);
  ExpectRefused(inUse, 0b111, api.ScanApplicationsUsingIniFile, L"", &g_out.apps, &g_out.count);
  ExpectRefused(inUse, 0b1100, api.ScanApplications, nullptr, 0, &g_out.apps, &g_out.count);
  ExpectRefused(inUse, 0b1, api.GetApplication, L"%ComSpec%");
  ExpectRefused(inUse, 0b1, api.GetApplicationIcon, &foreign, 0);
  ExpectRefused(inUse, 0b1, api.GetIcon, L"0");
  ExpectRefused(inUse, 0b111, api.GetIconData, L"0", &g_out.data, &g_out.count);
  ExpectRefused(inUse, 0b1, api.GetApplicationRegisteredExtensions, L"%ComSpec%");
  ExpectRefused(inUse, 0b1, api.VerifyApplication, L"%ComSpec%");
  ExpectRefused(inUse, 0b1101, api.LaunchApplication, L"C:\\no.exe", 0, L"", L"", 0, nullptr);
  api.FreeIcon(nullptr);
  api.FreeRegisteredExtensions(nullptr);
  api.FreeApplication(nullptr);
  api.FreeApplications(nullptr, 3);
  api.FreeIconData(nullptr);
  api.FreeWindows(nullptr, 3);
}

class Boundary : public Test {
 protected:
  const TemporaryFolder folder_{L"quarryBoundary"};
  const std::wstring exe_ = folder_.CopyFrom(L"app.exe", FixtureProgram(L"emptyApp"));
  const std::wstring ini_ =
      folder_.WriteText(L"filters.ini", L"[All]\r\nRoot=" + folder_.Path() + L"\r\nIncludes=*.exe\r\n");
};

// First, while no Quarry_Init has run in this process.
TEST(Uninitialised, RefusesEverythingAndSaysNothing) {
  ExpectAllRefused(false);
  Functions().Exit();
  EXPECT_EQ(Library::Instance().DebugReport().find("QuarryImpl"), std::string::npos);
  EXPECT_THAT(HostLog::Lines(), IsEmpty());
}

// Second, because the window's class stays registered in the process.
TEST(HiddenWindow, LivesAsLongAsTheLibraryIsInUse) {
  {
    const QuarryHost host;
    EXPECT_THAT(HostLog::Holding(L"hidden window"),
                ElementsAre(LogLine{3, L"Creating hidden window to help with window activation\n"},
                            LogLine{3, L"Successfully created hidden window\n"}));
    ASSERT_NE(HiddenWindow(), nullptr);
    EXPECT_NE(GetWindowLongPtrW(HiddenWindow(), GWL_STYLE) & static_cast<LONG_PTR>(WS_POPUP), 0);
  }
  EXPECT_EQ(HiddenWindow(), nullptr);
  const QuarryHost again;
  EXPECT_EQ(HostLog::Count(0, L"RegisterClass failed, err=1410\n"), 1U);
  EXPECT_EQ(HostLog::Count(3, L"Successfully created hidden window\n"), 1U);
  EXPECT_NE(HiddenWindow(), nullptr);
}

TEST(Dll, HasTheDocumentedExportsOnlyAndPutsThemIntoTheTable) {
  const QuarryHost host;
  EXPECT_EQ(std::memcmp(&Functions(), host.operator->(), sizeof(QuarryFunctions)), 0);  // the former by their names
  const std::size_t count = ExportNames().size();
  for (std::size_t ordinal = 1; ordinal < count + 5; ++ordinal) {
    EXPECT_EQ(GetProcAddress(Library::Instance().Module(), MAKEINTRESOURCEA(ordinal)) != nullptr, ordinal <= count);
  }
}

TEST_F(Boundary, ArgumentsAreRefusedSilentlyInUseAndAfterExitEverything) {
  {
    const QuarryHost host;
    HostLog::Clear();
    ExpectAllRefused(true);
  }
  ExpectAllRefused(false);
  EXPECT_THAT(HostLog::Lines(), IsEmpty());
}

Names g_otherLog;
void RecordElsewhere(std::uint32_t /*level*/, const wchar_t* message) { g_otherLog.emplace_back(message); }

TEST_F(Boundary, SecondInitFillsTheTableAndChangesNothingElse) {
  const QuarryHost host;
  HostLog::Clear();
  QuarryFunctions table{};
  Library::Instance().Init(RecordElsewhere, true, &table);
  EXPECT_EQ(std::memcmp(&table, host.operator->(), sizeof(table)), 0);
  EXPECT_THAT(HostLog::Lines(), IsEmpty());

  // The database was not asked for at first, and still is not there.
  EXPECT_EQ(table.GetApplicationRegisteredExtensions(exe_.c_str()), nullptr);
  EXPECT_THAT(HostLog::Lines(),
              ElementsAre(LogLine{0, L"Quarry_GetApplicationRegisteredExtensions failed: std::bad_alloc\n"}));
  EXPECT_THAT(g_otherLog, IsEmpty());
}

TEST_F(Boundary, InitAfterExitTakesTheNewCallbackAndAcceptsNeitherCallbackNorTable) {
  { const QuarryHost host; }
  HostLog::Clear();
  for (const QuarryLogFn log : {&RecordElsewhere, QuarryLogFn{}}) {
    g_otherLog.clear();
    Library::Instance().Init(log, false, nullptr);
    EXPECT_EQ(Functions().VerifyApplication(exe_.c_str()), 1);
    Functions().Exit();
    Functions().Exit();
    EXPECT_EQ(g_otherLog.empty(), log == nullptr);
  }
  EXPECT_THAT(HostLog::Lines(), IsEmpty());
}

TEST_F(Boundary, RecordIsKnownByItsAddressUntilItIsFreed) {
  const QuarryHost host;
  ApplicationRecord app = host.GetApplication(exe_);
  ApplicationArray array = host.Scan(ini_);
  const ApplicationArray other = host.Scan(ini_);
  ASSERT_NE(app, nullptr);
  ASSERT_THAT(other, SizeIs(1));
  const QuarryApplicationInfo copy = *app;
  HostLog::Clear();
  array = {};
  EXPECT_EQ(host.GetApplicationIcon(*app, app->iconCount), nullptr);
  EXPECT_EQ(host.GetApplicationIcon(other[0], 0), nullptr);
  EXPECT_THAT(HostLog::Lines(), IsEmpty());
  EXPECT_EQ(host.GetApplicationIcon(copy, 0), nullptr);
  app.reset();
  EXPECT_THAT(HostLog::Lines(),
              ElementsAre(LogLine{0, L"Unable to find application " + exe_ + L" in internal map.\n"}));
}

TEST_F(Boundary, RecordsHeldBeyondExitAreFreedWithAMessageEach) {
  folder_.CopyFrom(L"second.exe", exe_);
  ApplicationRecord nameless;
  ApplicationArray array;
  {
    const QuarryHost host;
    nameless = host.GetApplication(exe_);
    array = host.Scan(ini_);
  }
  ASSERT_THAT(array, SizeIs(2));
  Functions().FreeIconData(std::exchange(nameless->path, nullptr));
  std::vector<LogLine> expected = {{3, L"Unable to find application (null) in map."}};
  for (const QuarryApplicationInfo& app : array) {
    expected.push_back({3, L"Unable to find application " + std::wstring(app.path) + L" in map."});
  }
  HostLog::Clear();
  nameless.reset();
  array = {};
  EXPECT_EQ(HostLog::Lines(), expected);
}

TEST_F(Boundary, ScanWithPathsFindsNothingAndUnknownIconsHaveNoData) {
  const QuarryHost host;
  HostLog::Clear();
  const wchar_t* const paths[] = {folder_.Path().c_str(), nullptr};
  g_out = {};
  host->ScanApplications(paths, 2, &g_out.apps, &g_out.count);
  EXPECT_EQ(std::exchange(g_out, {}), Outputs{.count = 0});
  const LogLine noPaths = {1, L"Filter name has no paths\n"};
  const LogLine noApps = {3, L"Filter returned 0 apps"};
  EXPECT_THAT(HostLog::Lines(), ElementsAre(noPaths, noApps, noPaths, noApps));

  HostLog::Clear();
  EXPECT_EQ(host->GetIcon(L"d41d8cd9"), nullptr);
  EXPECT_EQ(host->GetIconData(L"d41d8cd9", &g_out.data, &g_out.count), 0);
  EXPECT_EQ(g_out, Outputs{.count = 0});
  EXPECT_THAT(HostLog::Lines(), ElementsAre(LogLine{0, L"Unknown icon d41d8cd9\n"}));
}

TEST_F(Boundary, VerifyTakesFilesThatMakeAnApplicationOnly) {
  folder_.WriteText(L"note.txt", L"");
  folder_.MakeFolder(L"folder.exe");
  SetEnvironmentVariableW(L"QUARRY_TEST_FOLDER", folder_.Path().c_str());
  const QuarryHost host;
  for (const auto& [path, verified] : {std::pair(std::wstring(L"%QUARRY_TEST_FOLDER%\\app.exe"), 1),
                                       {folder_ / L"note.txt", 0},
                                       {folder_ / L"folder.exe", 0},
                                       {folder_ / L"missing.exe", 0}}) {
    EXPECT_EQ(host->VerifyApplication(path.c_str()), verified) << path.c_str();
  }
  EXPECT_EQ(HostLog::CountHolding(L"Getting icons"), 0U);
}

std::size_t g_refusedSize = 0;
int g_blocksToPass = 0;

void* CallocUntilRefused(std::size_t count, std::size_t size) {
  return size == g_refusedSize && g_blocksToPass-- == 0 ? nullptr : std::calloc(count, size);
}

TEST_F(Boundary, RecordsThatFindNoMemoryAreLoggedAndLeaveNothing) {
  const QuarryHost host(true);
  const auto expectFailure = [&](const wchar_t* name, const auto get, std::size_t size, int passed) {
    HostLog::Clear();
    g_refusedSize = size;
    g_blocksToPass = passed;
    EXPECT_EQ(get(exe_.c_str()), nullptr) << size;
    EXPECT_EQ(HostLog::Count(0, Str_FormatWide(L"Quarry_Get%s failed: std::bad_alloc\n", name)), 1U) << size;
  };
  const ReplacedImport calloc(Library::Instance().Module(), "msvcrt.dll", "calloc", CallocUntilRefused);
  expectFailure(L"Application", host->GetApplication, sizeof(QuarryApplicationInfo), 0);
  const wchar_t* const extensions = L"ApplicationRegisteredExtensions";
  expectFailure(extensions, host->GetApplicationRegisteredExtensions, sizeof(QuarryExtensionEntry), 0);
  expectFailure(extensions, host->GetApplicationRegisteredExtensions, sizeof(QuarryExtensionList), 1);
  // Without any memory there is none for the exception either, nor for the message.
  const ReplacedImport malloc(
      Library::Instance().Module(), "msvcrt.dll", "malloc", +[](std::size_t /*size*/) -> void* { return nullptr; });
  EXPECT_EQ(host->GetApplication(exe_.c_str()), nullptr);
}

/// The counters of one class in a leak report: created and deleted.
std::pair<int, int> CountersOf(const std::string& report, const std::string& className) {
  std::smatch found;
  const std::regex line("(?:^|\n)" + className + " created=(\\d+) deleted=(\\d+) leaked=(-?\\d+)\r?\n");
  if (!std::regex_search(report, found, line)) return {0, 0};
  EXPECT_EQ(std::stoi(found[1]) - std::stoi(found[2]), std::stoi(found[3])) << className;
  return {std::stoi(found[1]), std::stoi(found[2])};
}

TEST_F(Boundary, DebugReportCountsEveryObjectOnceCreatedAndOnceDeleted) {
  const std::string before = Library::Instance().DebugReport();
  {
    const QuarryHost host;
    const ApplicationRecord app = host.GetApplication(exe_);
    const std::string during = Library::Instance().DebugReport();
    EXPECT_THAT(during, HasSubstr("memleak: FAIL:\n"));
    EXPECT_TRUE(std::regex_search(
        during, std::regex("timer:\n(.*\n)*\tAbstractApp::NewAppFromPath : [0-9.e+-]+ ms \\(\\d+ calls\\)")));
    for (const char* name : {"QuarryImpl", "Config", "IconBoss", "WindowManager", "ComInterface", "File", "AbstractApp",
                             "Executable", "IconMiner", "IconMinerExe"}) {
      const auto [created, deleted] = CountersOf(during, name);
      EXPECT_EQ(created - CountersOf(before, name).first, 1) << name;
      EXPECT_EQ(created - deleted, std::string_view(name).starts_with("IconMiner") ? 0 : 1) << name;
    }
  }
  const std::string ofAnother = RunProgram(L"quarryctl", {L"debug"}).out;
  EXPECT_EQ(CountersOf(ofAnother, "QuarryImpl"), std::make_pair(1, 1));
  EXPECT_THAT(ofAnother, AllOf(HasSubstr("memleak: no leaks."), HasSubstr("timer:")));
}

}  // namespace
}  // namespace quarry::test
