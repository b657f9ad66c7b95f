// What an application opens, as a host is told: real keys, real programs, real shortcuts.

#include "tests/support/hostTest.h"
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
  EXPECT_EQ(HostLog::CountHolding(L"Building the file extension database took "), 1U);
}

}  // namespace
}  // namespace quarry::test
