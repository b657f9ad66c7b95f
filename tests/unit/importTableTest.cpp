#include "tests/support/importTable.h"

#include "tests/support/quarryHost.h"
#include "tests/support/registryFixture.h"

#include <gmock/gmock.h>

#include <windows.h>

#include <algorithm>
#include <stdexcept>

namespace quarry::test {
namespace {

using testing::Contains;
using testing::Key;
using testing::Not;
using testing::Pair;
using testing::SizeIs;

constexpr wchar_t kWindowMade[] = L"Successfully created hidden window\n";

HMODULE Quarry() { return static_cast<HMODULE>(Library::Instance().Module()); }

LSTATUS WINAPI RefuseKey(HKEY /*root*/, LPCWSTR /*path*/, DWORD /*options*/, REGSAM /*access*/, PHKEY /*key*/) {
  return ERROR_GEN_FAILURE;
}

// The first use of the library in this process: the class of its hidden window keeps the address of a stub.
TEST(CountedImports, CountEachCallAndLetItPass) {
  {
    const CountedImports counted(Quarry());
    const QuarryHost host;
    host.GetOpenWindows();
    EXPECT_EQ(HostLog::Count(QUARRY_LOG_DETAIL, kWindowMade), 1U);
    const std::map<std::string, std::uint64_t> counts = counted.Counts();
    EXPECT_THAT(counts, Contains(Pair("RegisterClassW", 1)));
    EXPECT_THAT(counts, Contains(Pair("CreateEventExW", 2)));
    EXPECT_THAT(counts, Contains(Pair("WaitForSingleObject", 2)));
    EXPECT_THAT(counts, Not(Contains(Key("ShellExecuteExW"))));
  }
  const QuarryHost host;
  EXPECT_EQ(HostLog::Count(QUARRY_LOG_DETAIL, kWindowMade), 1U);
}

TEST(ReplacedImport, IsWhatTheModuleCallsUntilItGoes) {
  const std::wstring refused = L"Failed to open registry key " + std::wstring(kSettingsKey) + L", error 31\n";
  {
    const ReplacedImport replaced(Quarry(), "advapi32.DLL", "RegOpenKeyExW", RefuseKey);
    EXPECT_EQ(reinterpret_cast<void*>(replaced.Original<LSTATUS WINAPI(HKEY, LPCWSTR, DWORD, REGSAM, PHKEY)>()),
              reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"advapi32.dll"), "RegOpenKeyExW")));
    const QuarryHost host;
    EXPECT_GT(HostLog::Count(QUARRY_LOG_ERROR, refused), 0U);
  }
  const QuarryHost host;
  EXPECT_EQ(HostLog::Count(QUARRY_LOG_ERROR, refused), 0U);
  EXPECT_THROW(ReplacedImport(Quarry(), "user32.dll", "RegOpenKeyExW", RefuseKey), std::invalid_argument);
}

TEST(ImportsOf, LeavesOutVariables) {
  const std::vector<Import> imports = ImportsOf(Quarry());
  const auto has = [&](std::string_view name) {
    return std::any_of(imports.begin(), imports.end(), [&](const Import& import) { return import.function == name; });
  };
  EXPECT_TRUE(has("malloc"));
  EXPECT_TRUE(has("_lseeki64"));
  EXPECT_FALSE(has("_timezone"));
  EXPECT_THAT(ImportsOf(GetModuleHandleW(L"ntdll.dll")), SizeIs(0));
}

}  // namespace
}  // namespace quarry::test
