// What an application opens, as a host is told: real keys, real programs, real shortcuts.

#include "tests/support/hostTest.h"
#include "tests/support/importTable.h"
#include "tests/support/registeredTypes.h"

namespace quarry::test {
namespace {

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
  std::wstring shortPath(MAX_PATH, L'\0');
  shortPath.resize(GetShortPathNameW(program.c_str(), shortPath.data(), MAX_PATH));
  ASSERT_NE(shortPath, program);

  const std::vector<std::pair<std::wstring, std::wstring>> types = {{L".quarrya", L"QuarryProgId2 file"},
                                                                    {L".quarryb", L"QuarryProgId1 file"},
                                                                    {L"Quarryp", L"QuarryProgId2 file"},
                                                                    {L"quarryp", L""}};
  const std::pair<std::wstring, bool> kCases[] = {{program, true},
                                                  {folder / L"APP.EXE", true},
                                                  {folder.WriteLink(L"App.lnk", program), true},
                                                  {folder.WriteLink(L"Loud.LNK", program), false},
                                                  {Program(L"broken.lnk"), false},
                                                  {shortPath, false},
                                                  {L"", false},
                                                  {L"lnk", false},
                                                  {std::wstring(40'000, L'a'), false}};
  const QuarryHost host(true);
  for (const auto& [path, opens] : kCases) {
    const ExtensionRecord record = host.GetRegisteredExtensions(path);
    ASSERT_NE(record, nullptr);
    std::vector<std::pair<std::wstring, std::wstring>> listed;
    for (const QuarryExtensionEntry& entry : std::span(record->entries, record->count)) {
      listed.emplace_back(entry.name, entry.description);
    }
    EXPECT_EQ(listed, opens ? types : decltype(types)()) << path.c_str();
  }
}

ULONGLONG g_now = 3'600'000;
ULONGLONG g_step = 0;

TEST_F(RegisteredExtensionsTest, AreReadAgainFifteenSecondsAfterTheLastReadingEnded) {
  const ReplacedImport clock(
      Library::Instance().Module(), "KERNEL32.dll", "GetTickCount64", +[]() -> ULONGLONG { return g_now += g_step; });
  Class(L"QuarryProgId1", L"app.exe");
  const RegistryFixture& type = Key(L".quarrya");
  g_step = 10'000;  // the reading itself takes longer than its result holds
  const ULONGLONG started = g_now + g_step;
  const QuarryHost host(true);
  const ULONGLONG ended = g_now;
  g_step = 0;
  EXPECT_GE(ended - started, 15'000u);
  EXPECT_EQ(
      HostLog::Count(2, Str_FormatWide(L"Building the file extension database took %I64u ms.\n", ended - started)), 1u);
  const auto counted = [&] { return host.GetRegisteredExtensions(folder / L"app.exe")->count; };
  type.SetString(L"", L"", L"QuarryProgId1");
  g_now = ended + 14'999;
  EXPECT_EQ(counted(), 0u);
  g_now = ended + 15'000;
  EXPECT_EQ(counted(), 1u);
  type.RemoveValue(L"", L"");
  EXPECT_EQ(counted(), 1u);
  EXPECT_EQ(HostLog::CountHolding(L"Building the file extension database took "), 2u);
  g_now += 15'000;
  EXPECT_EQ(counted(), 0u);
}

}  // namespace
}  // namespace quarry::test
