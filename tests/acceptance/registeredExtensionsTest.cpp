// What an application opens, as a host is told: real keys, real programs, real shortcuts.

#include "tests/support/quarryHost.h"
#include "tests/support/registeredTypes.h"
#include "tests/support/resourceCounts.h"
#include "tests/support/shortcut.h"

#include <gmock/gmock.h>

#include <map>

namespace quarry::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using Types = std::vector<std::pair<std::wstring, std::wstring>>;

Types TypesOf(const QuarryHost& host, const std::wstring& path) {
  const ExtensionRecord record = host.GetRegisteredExtensions(path);
  EXPECT_NE(record, nullptr);
  Types types;
  for (std::uint64_t index = 0; record != nullptr && index < record->count; ++index) {
    types.emplace_back(record->entries[index].name, record->entries[index].description);
  }
  return types;
}

using RegisteredExtensionsTest = RegisteredTypes;

TEST_F(RegisteredExtensionsTest, ListEachTypeOnceExtensionsFirstForAProgramAndItsShortcuts) {
  const std::wstring program = Program(L"App.exe");
  Class(L"QuarryProgId1", L"App.exe");
  Class(L"QuarryProgId2", L"App.exe");
  Key(L".quarryb").SetString(L"", L"", L"QuarryProgId1");
  const RegistryFixture& type = Key(L".quarrya");
  type.SetString(L"", L"", L"");
  type.SetString(L"shell\\open\\command", L"", L'"' + program + L'"');  // a handler without a name
  Class(L"quarryp", L"App.exe").SetString(L"", L"URL Protocol", L"");
  const RegistryFixture& capabilities = Key(L"Software\\QuarryTest", HKEY_LOCAL_MACHINE);
  capabilities.SetString(L"FileAssociations", L".quarrya", L"QuarryProgId2");
  capabilities.SetString(L"FileAssociations", L".quarryb", L"QuarryProgId2");
  capabilities.SetString(L"URLAssociations", L"Quarryp", L"QuarryProgId2");
  Key(L"Software\\RegisteredApplications", HKEY_LOCAL_MACHINE).SetString(L"", L"Quarry", L"Software\\QuarryTest");
  for (const wchar_t* const name : {L"App.lnk", L"Loud.LNK"}) {
    Shortcut shortcut;
    shortcut.linkPath = folder / name;
    shortcut.target = program;
    ASSERT_TRUE(WriteShortcut(shortcut));
  }
  std::wstring shortPath(MAX_PATH, L'\0');
  shortPath.resize(GetShortPathNameW(program.c_str(), shortPath.data(), MAX_PATH));
  ASSERT_NE(shortPath, program);

  const QuarryHost host(true);
  for (const std::wstring& path : {program, folder / L"APP.EXE", folder / L"App.lnk"}) {
    EXPECT_THAT(TypesOf(host, path),
                ElementsAre(Pair(L".quarrya", L"QuarryProgId2 file"), Pair(L".quarryb", L"QuarryProgId1 file"),
                            Pair(L"Quarryp", L"QuarryProgId2 file"), Pair(L"quarryp", L"")));
  }
  for (const std::wstring& none : {folder / L"Loud.LNK", Program(L"broken.lnk"), folder / L"none.exe", shortPath,
                                   std::wstring(), std::wstring(L"lnk"), std::wstring(40000, L'a')}) {
    EXPECT_THAT(TypesOf(host, none), IsEmpty());
  }
  EXPECT_EQ(HostLog::Holding(L"Building the file extension database took ").size(), 1u);
}

TEST_F(RegisteredExtensionsTest, AreExactAndSoonThereForThousandsOfTypes) {
  constexpr std::size_t kPrograms = 200;
  std::vector<std::wstring> programs;
  std::vector<std::wstring> progIds;
  std::vector<std::map<std::wstring, std::wstring>> expected(kPrograms);  // ordered as the entries are: all is ASCII
  for (std::size_t index = 0; index < kPrograms; ++index) {
    programs.push_back(L"app" + std::to_wstring(index) + L".exe");
    progIds.push_back(L"QuarryClass" + std::to_wstring(index));
    Class(progIds[index], programs[index]);
  }
  for (std::size_t index = 0; index < 2000; ++index) {
    const std::wstring type = L".quarry" + std::to_wstring(index);
    const std::size_t first = index % kPrograms;
    const RegistryFixture& key = Key(type);
    key.SetString(L"", L"", progIds[first]);
    expected[first][type] = progIds[first] + L" file";
    if (index % 5 != 0) continue;
    const std::size_t second = index * 7 % kPrograms;
    key.SetRaw(L"OpenWithProgIds", progIds[second], REG_NONE, {});
    expected[second][type] = progIds[second] + L" file";
  }
  for (std::size_t index = 0; index < 100; ++index) {
    const std::wstring type = L"quarryp" + std::to_wstring(index);
    Class(type, programs[index]).SetString(L"", L"URL Protocol", L"");
    expected[index][type] = L"";
  }

  for (const char* const caches : {"cold", "warm"}) {
    const ULONGLONG started = GetTickCount64();
    const QuarryHost host(true);
    for (std::size_t index = 0; index < kPrograms; ++index) {
      ASSERT_EQ(TypesOf(host, folder / programs[index]), Types(expected[index].begin(), expected[index].end()));
    }
    EXPECT_LT(GetTickCount64() - started, 60000u) << "milliseconds with " << caches << " caches";
  }
}

TEST_F(RegisteredExtensionsTest, LeaveNothingBehindWhenTheyAreReadAgain) {
  Class(L"QuarryProgId1", L"App.exe");
  for (int index = 0; index < 50; ++index) {
    Key(L".quarry" + std::to_wstring(index)).SetString(L"", L"", L"QuarryProgId1");
  }
  const auto build = [&] {
    const QuarryHost host(true);
    EXPECT_EQ(TypesOf(host, folder / L"App.exe").size(), 50u);
  };
  const ResourceGrowth growth = GrowthOf(build, 20);
  EXPECT_EQ(growth.handles, 0);
  EXPECT_EQ(growth.gdiObjects, 0);
  EXPECT_LT(growth.heapBytes, 4096);
}

}  // namespace
}  // namespace quarry::test
