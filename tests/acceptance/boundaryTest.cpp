// The exports themselves: what the DLL offers, its life cycle, its arguments and who owns what.

#include "tests/support/processOutput.h"
#include "tests/support/quarryHost.h"
#include "tests/support/temporaryFolder.h"
#include "tests/support/versionedExecutable.h"

#include <gmock/gmock.h>

#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <regex>
#include <set>
#include <utility>

namespace quarry::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr wchar_t kHiddenWindowClass[] = L"VelkorQuarryHiddenWindow";

/// The exports in the order of the function table, behind Quarry_Init.
const std::vector<std::string> kExports = {"Quarry_Init",
                                           "Quarry_Exit",
                                           "Quarry_ReportDebugInfo",
                                           "Quarry_GetOpenWindows",
                                           "Quarry_ScanApplicationsUsingIniFile",
                                           "Quarry_ScanApplications",
                                           "Quarry_GetApplication",
                                           "Quarry_GetApplicationIcon",
                                           "Quarry_GetIcon",
                                           "Quarry_GetIconData",
                                           "Quarry_GetApplicationRegisteredExtensions",
                                           "Quarry_VerifyApplication",
                                           "Quarry_LaunchApplication",
                                           "Quarry_FreeIcon",
                                           "Quarry_FreeRegisteredExtensions",
                                           "Quarry_FreeApplication",
                                           "Quarry_FreeApplications",
                                           "Quarry_FreeIconData",
                                           "Quarry_FreeWindows"};

const Library& Dll() { return Library::Instance(); }

const QuarryFunctions& Functions() { return Dll().Functions(); }

HWND HiddenWindow() { return FindWindowExW(HWND_MESSAGE, nullptr, kHiddenWindowClass, L"VelkorQuarry"); }

std::vector<LogLine> LinesOfLevel(std::uint32_t level) {
  std::vector<LogLine> lines;
  for (const LogLine& line : HostLog::Lines()) {
    if (line.level == level) lines.push_back(line);
  }
  return lines;
}

// Values that no function would store.
QuarryApplicationInfo* const kNoApps = reinterpret_cast<QuarryApplicationInfo*>(0x11);
QuarryWindowInfo* const kNoWindows = reinterpret_cast<QuarryWindowInfo*>(0x22);
void* const kNoData = reinterpret_cast<void*>(0x33);
constexpr std::uint64_t kNoCount = 4711;

/// Places for all outputs, and whether a call touched one.
struct Outputs {
  QuarryApplicationInfo* apps = kNoApps;
  QuarryWindowInfo* windows = kNoWindows;
  void* data = kNoData;
  std::uint64_t count = kNoCount;

  bool Untouched() const { return apps == kNoApps && windows == kNoWindows && data == kNoData && count == kNoCount; }
};

struct RefusedCall {
  const char* name;
  std::function<std::uint64_t(Outputs&)> call;  // its result as a number
  std::uint64_t refused = 0;
};

std::uint64_t Address(const void* pointer) { return reinterpret_cast<std::uintptr_t>(pointer); }

/// Calls with good arguments, which only a library in use answers.
std::vector<RefusedCall> CallsThatNeedTheLibrary() {
  const QuarryFunctions& api = Functions();
  static QuarryApplicationInfo foreign{};
  static std::wstring path = L"C:\\foreign.exe";
  foreign.path = path.data();
  return {{"windows", [&](Outputs& out) { return api.GetOpenWindows(&out.windows, &out.count), 0; }},
          {"ini", [&](Outputs& out) { return api.ScanApplicationsUsingIniFile(L"", &out.apps, &out.count), 0; }},
          {"scan", [&](Outputs& out) { return api.ScanApplications(nullptr, 0, &out.apps, &out.count), 0; }},
          {"application", [&](Outputs&) { return Address(api.GetApplication(L"%ComSpec%")); }},
          {"application icon", [&](Outputs&) { return Address(api.GetApplicationIcon(&foreign, 0)); }},
          {"icon", [&](Outputs&) { return Address(api.GetIcon(L"0")); }},
          {"icon data",
           [&](Outputs& out) -> std::uint64_t {
             return static_cast<std::uint64_t>(api.GetIconData(L"0", &out.data, &out.count));
           }},
          {"extensions", [&](Outputs&) { return Address(api.GetApplicationRegisteredExtensions(L"%ComSpec%")); }},
          {"verify",
           [&](Outputs&) -> std::uint64_t { return static_cast<std::uint64_t>(api.VerifyApplication(L"%ComSpec%")); }},
          {"launch", [&](Outputs&) { return api.LaunchApplication(L"C:\\no.exe", 0, L"", L"", 0, nullptr); }, 3}};
}

std::vector<RefusedCall> CallsWithNull() {
  const QuarryFunctions& api = Functions();
  static QuarryApplicationInfo empty{};
  return {{"windows 1", [&](Outputs& out) { return api.GetOpenWindows(nullptr, &out.count), 0; }},
          {"windows 2", [&](Outputs& out) { return api.GetOpenWindows(&out.windows, nullptr), 0; }},
          {"ini 1", [&](Outputs& out) { return api.ScanApplicationsUsingIniFile(nullptr, &out.apps, &out.count), 0; }},
          {"ini 2", [&](Outputs& out) { return api.ScanApplicationsUsingIniFile(L"", nullptr, &out.count), 0; }},
          {"ini 3", [&](Outputs& out) { return api.ScanApplicationsUsingIniFile(L"", &out.apps, nullptr), 0; }},
          {"scan 3", [&](Outputs& out) { return api.ScanApplications(nullptr, 0, nullptr, &out.count), 0; }},
          {"scan 4", [&](Outputs& out) { return api.ScanApplications(nullptr, 0, &out.apps, nullptr), 0; }},
          {"application", [&](Outputs&) { return Address(api.GetApplication(nullptr)); }},
          {"application icon", [&](Outputs&) { return Address(api.GetApplicationIcon(nullptr, 0)); }},
          {"record without path", [&](Outputs&) { return Address(api.GetApplicationIcon(&empty, 0)); }},
          {"icon", [&](Outputs&) { return Address(api.GetIcon(nullptr)); }},
          {"data 1", [&](Outputs& out) -> std::uint64_t { return !!api.GetIconData(nullptr, &out.data, &out.count); }},
          {"data 2", [&](Outputs& out) -> std::uint64_t { return !!api.GetIconData(L"0", nullptr, &out.count); }},
          {"data 3", [&](Outputs& out) -> std::uint64_t { return !!api.GetIconData(L"0", &out.data, nullptr); }},
          {"extensions", [&](Outputs&) { return Address(api.GetApplicationRegisteredExtensions(nullptr)); }},
          {"verify", [&](Outputs&) -> std::uint64_t { return !!api.VerifyApplication(nullptr); }},
          {"launch 1", [&](Outputs&) { return api.LaunchApplication(nullptr, 0, L"", L"", 0, nullptr); }, 3},
          {"launch 3", [&](Outputs&) { return api.LaunchApplication(L"C:\\no.exe", 0, nullptr, L"", 0, nullptr); }, 3},
          {"launch 4", [&](Outputs&) { return api.LaunchApplication(L"C:\\no.exe", 0, L"", nullptr, 0, nullptr); }, 3}};
}

void ExpectRefused(const std::vector<RefusedCall>& calls) {
  for (const RefusedCall& refused : calls) {
    Outputs out;
    EXPECT_EQ(refused.call(out), refused.refused) << refused.name;
    EXPECT_TRUE(out.Untouched()) << refused.name;
  }
}

void FreeNothing() {
  const QuarryFunctions& api = Functions();
  api.FreeIcon(nullptr);
  api.FreeRegisteredExtensions(nullptr);
  api.FreeApplication(nullptr);
  api.FreeApplications(nullptr, 3);
  api.FreeIconData(nullptr);
  api.FreeWindows(nullptr, 3);
}

std::vector<std::string> ExportedNames(const void* module, DWORD& functionCount) {
  const auto* const base = static_cast<const std::uint8_t*>(module);
  const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
  const auto& entry = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
  const auto* const exports = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(base + entry.VirtualAddress);
  const auto* const names = reinterpret_cast<const DWORD*>(base + exports->AddressOfNames);
  functionCount = exports->NumberOfFunctions;
  std::vector<std::string> result;
  for (DWORD index = 0; index < exports->NumberOfNames; ++index) {
    result.emplace_back(reinterpret_cast<const char*>(base + names[index]));
  }
  return result;
}

class Boundary : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(WriteExecutable(exe_)); }

  const TemporaryFolder folder_{L"quarryBoundary"};
  const std::wstring exe_ = folder_ / L"app.exe";
};

// First, while no Quarry_Init has run in this process.
TEST(Uninitialised, RefusesEverythingAndSaysNothing) {
  ExpectRefused(CallsThatNeedTheLibrary());
  ExpectRefused(CallsWithNull());
  FreeNothing();
  Functions().Exit();
  EXPECT_EQ(Dll().DebugReport().find("QuarryImpl"), std::string::npos);
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

TEST(Dll, ExportsExactlyTheDocumentedNames) {
  DWORD functionCount = 0;
  EXPECT_THAT(ExportedNames(Dll().Module(), functionCount), testing::UnorderedElementsAreArray(kExports));
  EXPECT_EQ(functionCount, kExports.size());
}

TEST(Dll, TableHoldsTheExportsInTheirOrder) {
  const QuarryHost host;
  std::vector<void (*)()> filled(kExports.size() - 1);
  ASSERT_EQ(sizeof(QuarryFunctions), filled.size() * sizeof(filled[0]));
  std::memcpy(filled.data(), host.operator->(), sizeof(QuarryFunctions));
  for (std::size_t index = 0; index < filled.size(); ++index) {
    EXPECT_EQ(filled[index], Dll().Export<void()>(kExports[index + 1].c_str())) << kExports[index + 1];
  }
}

TEST_F(Boundary, NullArgumentsAreRefusedSilentlyInUseToo) {
  const QuarryHost host;
  HostLog::Clear();
  ExpectRefused(CallsWithNull());
  FreeNothing();
  EXPECT_THAT(HostLog::Lines(), IsEmpty());
}

std::vector<std::wstring> g_otherLog;

TEST_F(Boundary, SecondInitFillsTheTableAndChangesNothingElse) {
  const QuarryHost host;
  HostLog::Clear();
  QuarryFunctions table{};
  Dll().Init([](std::uint32_t, const wchar_t* message) { g_otherLog.emplace_back(message); }, 1, &table);
  EXPECT_EQ(std::memcmp(&table, host.operator->(), sizeof(table)), 0);
  EXPECT_THAT(HostLog::Lines(), IsEmpty());

  // The database was not asked for at first, and still is not there.
  EXPECT_EQ(table.GetApplicationRegisteredExtensions(exe_.c_str()), nullptr);
  ASSERT_THAT(LinesOfLevel(0), SizeIs(1));
  EXPECT_NE(LinesOfLevel(0)[0].text.find(L"Quarry_GetApplicationRegisteredExtensions"), std::wstring::npos);
  EXPECT_THAT(g_otherLog, IsEmpty());
}

TEST_F(Boundary, InitAfterExitTakesTheNewCallbackAndAcceptsNeitherCallbackNorTable) {
  { const QuarryHost host; }
  g_otherLog.clear();
  HostLog::Clear();
  Dll().Init([](std::uint32_t, const wchar_t* message) { g_otherLog.emplace_back(message); }, 0, nullptr);
  EXPECT_EQ(Functions().VerifyApplication(exe_.c_str()), 1);
  Functions().Exit();
  EXPECT_THAT(g_otherLog, testing::Not(IsEmpty()));

  g_otherLog.clear();
  Dll().Init(nullptr, 0, nullptr);
  EXPECT_EQ(Functions().VerifyApplication(exe_.c_str()), 1);
  Functions().Exit();
  Functions().Exit();
  EXPECT_THAT(g_otherLog, IsEmpty());
  EXPECT_THAT(HostLog::Lines(), IsEmpty());
}

TEST_F(Boundary, AfterExitEverythingIsRefusedAgain) {
  { const QuarryHost host; }
  ExpectRefused(CallsThatNeedTheLibrary());
  FreeNothing();
}

TEST_F(Boundary, RecordIsKnownByItsAddressUntilItIsFreed) {
  const QuarryHost host;
  ApplicationRecord app = host.GetApplication(exe_);
  ASSERT_NE(app, nullptr);
  EXPECT_EQ(app->path, exe_);
  HostLog::Clear();
  EXPECT_EQ(host.GetApplicationIcon(*app, app->iconCount), nullptr);
  EXPECT_THAT(HostLog::Lines(), IsEmpty());

  const QuarryApplicationInfo copy = *app;
  EXPECT_EQ(host.GetApplicationIcon(copy, 0), nullptr);
  EXPECT_THAT(HostLog::Lines(),
              ElementsAre(LogLine{0, L"Unable to find application " + exe_ + L" in internal map.\n"}));
  HostLog::Clear();
  app.reset();
  EXPECT_THAT(HostLog::Lines(), IsEmpty());
}

TEST_F(Boundary, RecordsHeldBeyondExitAreFreedWithAMessageEach) {
  folder_.WriteText(L"filters.ini", L"[All]\r\nRoot=" + folder_.Path() + L"\r\nIncludes=*.exe\r\n");
  ASSERT_TRUE(WriteExecutable(folder_ / L"second.exe"));
  ApplicationRecord single;
  ApplicationRecord nameless;
  ApplicationArray array;
  {
    const QuarryHost host;
    single = host.GetApplication(exe_);
    nameless = host.GetApplication(exe_);
    array = host.ScanIni(folder_ / L"filters.ini");
  }
  ASSERT_THAT(array.get(), SizeIs(2));
  Functions().FreeIconData(std::exchange(nameless->path, nullptr));
  std::vector<LogLine> expected = {{3, L"Unable to find application " + exe_ + L" in map."},
                                   {3, L"Unable to find application (null) in map."}};
  for (const QuarryApplicationInfo& app : array) {
    expected.push_back({3, L"Unable to find application " + std::wstring(app.path) + L" in map."});
  }
  HostLog::Clear();
  single.reset();
  nameless.reset();
  array = {};
  EXPECT_EQ(HostLog::Lines(), expected);
}

TEST_F(Boundary, RecordOfAnEarlierFacadeIsUnknownToTheNext) {
  ApplicationRecord old;
  {
    const QuarryHost host;
    old = host.GetApplication(exe_);
  }
  const QuarryHost host;
  EXPECT_EQ(host.GetApplicationIcon(*old, 0), nullptr);
  EXPECT_EQ(HostLog::Count(0, L"Unable to find application " + exe_ + L" in internal map.\n"), 1U);
}

TEST_F(Boundary, ScansHandOutIndependentArrays) {
  const std::wstring ini =
      folder_.WriteText(L"filters.ini", L"[All]\r\nRoot=" + folder_.Path() + L"\r\nIncludes=*.exe\r\n");
  const QuarryHost host;
  ApplicationArray first = host.ScanIni(ini);
  const ApplicationArray second = host.ScanIni(ini);
  ASSERT_THAT(first.get(), SizeIs(1));
  ASSERT_THAT(second.get(), SizeIs(1));
  EXPECT_NE(first.get().data(), second.get().data());
  HostLog::Clear();
  first = {};
  EXPECT_EQ(host.GetApplicationIcon(second[0], second[0].iconCount), nullptr);
  EXPECT_THAT(HostLog::Lines(), IsEmpty());  // still known
}

TEST_F(Boundary, ScanWithPathsFindsNothingAndSaysWhy) {
  const QuarryHost host;
  HostLog::Clear();
  const wchar_t* const paths[] = {folder_.Path().c_str(), L"%SystemRoot%"};
  Outputs out;
  host->ScanApplications(paths, 2, &out.apps, &out.count);
  EXPECT_EQ(out.count, 0U);
  EXPECT_EQ(out.apps, kNoApps);
  const LogLine noPaths = {1, L"Filter name has no paths\n"};
  const LogLine noApps = {3, L"Filter returned 0 apps"};
  EXPECT_THAT(HostLog::Lines(), ElementsAre(noPaths, noApps, noPaths, noApps));
}

TEST_F(Boundary, UnknownIconHasNoRecordAndNoData) {
  const QuarryHost host;
  HostLog::Clear();
  EXPECT_EQ(host->GetIcon(L"d41d8cd9"), nullptr);
  EXPECT_THAT(HostLog::Lines(), IsEmpty());
  Outputs out;
  EXPECT_EQ(host->GetIconData(L"d41d8cd9", &out.data, &out.count), 0);
  EXPECT_EQ(out.count, 0U);
  EXPECT_EQ(out.data, kNoData);
  EXPECT_THAT(HostLog::Lines(), ElementsAre(LogLine{0, L"Unknown icon d41d8cd9\n"}));
}

TEST_F(Boundary, VerifyTakesFilesThatMakeAnApplicationOnly) {
  folder_.WriteText(L"script.bat", L"");
  folder_.WriteText(L"note.txt", L"");
  folder_.WriteText(L"upper.EXE", L"");
  folder_.MakeFolder(L"folder.exe");
  SetEnvironmentVariableW(L"QUARRY_TEST_FOLDER", folder_.Path().c_str());
  const QuarryHost host;
  const std::pair<std::wstring, int> kCases[] = {{exe_, 1},
                                                 {folder_ / L"script.bat", 1},
                                                 {L"%QUARRY_TEST_FOLDER%\\app.exe", 1},
                                                 {L"", 0},
                                                 {folder_ / L"note.txt", 0},
                                                 {folder_ / L"upper.EXE", 0},
                                                 {folder_.Path(), 0},
                                                 {folder_ / L"folder.exe", 0},
                                                 {folder_ / L"missing.exe", 0}};
  for (const auto& [path, verified] : kCases)
    EXPECT_EQ(host->VerifyApplication(path.c_str()), verified) << path.c_str();
  EXPECT_THAT(HostLog::Holding(L"Getting icons"), IsEmpty());
}

/// The place in the library's import table from which it calls the function `name`; null when it calls none.
void** ImportSlot(const char* name) {
  auto* const base = static_cast<std::uint8_t*>(Dll().Module());
  const auto* const headers =
      reinterpret_cast<const IMAGE_NT_HEADERS*>(base + reinterpret_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew);
  const auto& entry = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  for (const auto* module = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + entry.VirtualAddress);
       module->Name != 0; ++module) {
    const auto* names = reinterpret_cast<const ULONGLONG*>(base + module->OriginalFirstThunk);
    auto* slots = reinterpret_cast<void**>(base + module->FirstThunk);
    for (; *names != 0; ++names, ++slots) {
      if (IMAGE_SNAP_BY_ORDINAL64(*names)) continue;
      if (std::strcmp(reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + *names)->Name, name) == 0) return slots;
    }
  }
  return nullptr;
}

std::size_t g_refusedSize = 0;
int g_blocksToPass = 0;

void* CallocUntilRefused(std::size_t count, std::size_t size) {
  return size == g_refusedSize && g_blocksToPass-- == 0 ? nullptr : std::calloc(count, size);
}

TEST_F(Boundary, RecordsThatFindNoMemoryAreLoggedAndLeaveNothing) {
  void** const slot = ImportSlot("calloc");
  ASSERT_NE(slot, nullptr);
  const QuarryHost host(true);
  const struct {
    std::size_t size;
    int passed;
    const wchar_t* name;
    std::function<const void*()> call;
  } calls[] = {
      {sizeof(QuarryApplicationInfo), 0, L"Application", [&] { return host->GetApplication(exe_.c_str()); }},
      {sizeof(QuarryExtensionEntry), 0, L"ApplicationRegisteredExtensions",
       [&] { return host->GetApplicationRegisteredExtensions(exe_.c_str()); }},
      {sizeof(QuarryExtensionList), 1, L"ApplicationRegisteredExtensions",
       [&] { return host->GetApplicationRegisteredExtensions(exe_.c_str()); }},
  };
  DWORD protection = 0;
  ASSERT_TRUE(VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &protection));
  void* const original = std::exchange(*slot, reinterpret_cast<void*>(&CallocUntilRefused));
  for (const auto& [size, passed, name, call] : calls) {
    HostLog::Clear();
    g_refusedSize = size;
    g_blocksToPass = passed;
    EXPECT_EQ(call(), nullptr) << name;
    EXPECT_EQ(HostLog::Count(0, L"Quarry_Get" + std::wstring(name) + L" failed: std::bad_alloc\n"), 1U) << name;
  }
  *slot = original;
}

/// The counters of one class in a leak report: created and deleted.
std::pair<int, int> CountersOf(const std::string& report, const std::string& className) {
  std::smatch found;
  const std::regex line("(?:^|\n)" + className + " created=(\\d+) deleted=(\\d+) leaked=(-?\\d+)\n");
  if (!std::regex_search(report, found, line)) return {0, 0};
  EXPECT_EQ(std::stoi(found[1]) - std::stoi(found[2]), std::stoi(found[3])) << className;
  return {std::stoi(found[1]), std::stoi(found[2])};
}

TEST_F(Boundary, DebugReportCountsEveryObjectOnceCreatedAndOnceDeleted) {
  const std::string before = Dll().DebugReport();
  {
    const QuarryHost host;
    const ApplicationRecord app = host.GetApplication(exe_);
    const std::string during = Dll().DebugReport();
    EXPECT_NE(during.find("memleak: FAIL:\n"), std::string::npos);
    EXPECT_NE(during.find("timer:"), std::string::npos);
    EXPECT_TRUE(
        std::regex_search(during, std::regex("\tAbstractApp::NewAppFromPath : [0-9.e+-]+ ms \\(\\d+ calls\\)")));
    for (const char* name : {"QuarryImpl", "Config", "IconBoss", "WindowManager", "ComInterface", "File", "AbstractApp",
                             "Executable", "IconMiner", "IconMinerExe"}) {
      const auto [created, deleted] = CountersOf(during, name);
      EXPECT_EQ(created - CountersOf(before, name).first, 1) << name;
      EXPECT_EQ(created - deleted, std::string_view(name).starts_with("IconMiner") ? 0 : 1) << name;
    }
  }
  const std::string after = Dll().DebugReport();
  EXPECT_EQ(CountersOf(after, "QuarryImpl").first, CountersOf(after, "QuarryImpl").second);
  EXPECT_NE(after.find("memleak: no leaks.\n"), std::string::npos) << after;
}

TEST_F(Boundary, DebugReportReachesTheStandardOutputOfAnotherProcess) {
  const auto output = RunProgram((BinFolder() / L"quarryctl.exe").wstring(), {L"debug"});
  ASSERT_TRUE(output.has_value());
  EXPECT_EQ(CountersOf(std::regex_replace(output->out, std::regex("\r"), ""), "QuarryImpl"), std::make_pair(1, 1));
  EXPECT_NE(output->out.find("memleak: no leaks."), std::string::npos) << output->out;
  EXPECT_NE(output->out.find("timer:"), std::string::npos);
}

}  // namespace
}  // namespace quarry::test
