// What an application opens, as a host is told: real keys, real programs, real shortcuts.

#include "tests/support/quarryHost.h"
#include "tests/support/registryFixture.h"
#include "tests/support/resourceCounts.h"
#include "tests/support/shortcut.h"
#include "tests/support/temporaryFolder.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <deque>
#include <map>

namespace quarry::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using Types = std::vector<std::pair<std::wstring, std::wstring>>;

const std::wstring kExplorerTypes = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts\\";

Types TypesOf(const QuarryHost& host, const std::wstring& path) {
  const ExtensionRecord record = host.GetRegisteredExtensions(path);
  Types types;
  for (std::uint64_t index = 0; record != nullptr && index < record->count; ++index) {
    types.emplace_back(record->entries[index].name, record->entries[index].description);
  }
  return types;
}

class RegisteredExtensionsTest : public testing::Test {
 protected:
  RegistryFixture& Key(const std::wstring& path, HKEY root = HKEY_CLASSES_ROOT) {
    return keys_.emplace_back(path, root);
  }
  /// A class that the program of the folder opens.
  RegistryFixture& Class(const std::wstring& name, const std::wstring& text, const std::wstring& program) {
    RegistryFixture& key = Key(name);
    key.SetString(L"", L"", text);
    key.SetString(L"shell\\open\\command", L"", L'"' + folder_ / program + L"\" \"%1\"");
    return key;
  }
  std::wstring Link(const std::wstring& name, const std::wstring& target) {
    Shortcut shortcut;
    shortcut.linkPath = folder_ / name;
    shortcut.target = target;
    EXPECT_TRUE(WriteShortcut(shortcut));
    return shortcut.linkPath;
  }

  TemporaryFolder folder_{L"Quarry Extensions"};
  std::deque<RegistryFixture> keys_;
};

TEST_F(RegisteredExtensionsTest, ListEachTypeOnceExtensionsFirstForAProgramAndItsShortcuts) {
  const std::wstring program = folder_.WriteBytes(L"App.exe", {});
  Class(L"QuarryProgId1", L"Quarry file", L"App.exe");
  Class(L"QuarryProgId2", L"Other name", L"App.exe");
  Key(L".quarryb").SetString(L"", L"", L"QuarryProgId1");
  RegistryFixture& type = Key(L".quarrya");
  type.SetString(L"", L"", L"");
  type.SetString(L"shell\\open\\command", L"", L'"' + program + L'"');  // a handler without a name
  Class(L"quarryp", L"URL:quarryp", L"App.exe").SetString(L"", L"URL Protocol", L"");
  RegistryFixture& capabilities = Key(L"Software\\QuarryTest", HKEY_LOCAL_MACHINE);
  capabilities.SetString(L"FileAssociations", L".quarrya", L"QuarryProgId2");
  capabilities.SetString(L"FileAssociations", L".quarryb", L"QuarryProgId2");
  capabilities.SetString(L"URLAssociations", L"Quarryp", L"QuarryProgId2");
  Key(L"Software\\RegisteredApplications", HKEY_LOCAL_MACHINE).SetString(L"", L"Quarry", L"Software\\QuarryTest");
  const std::wstring link = Link(L"App.lnk", program);
  const std::wstring loudLink = Link(L"Loud.LNK", program);
  const std::wstring brokenLink = folder_.WriteBytes(L"broken.lnk", {});

  const QuarryHost host(true);
  const auto all = ElementsAre(Pair(L".quarrya", L"Other name"), Pair(L".quarryb", L"Quarry file"),
                               Pair(L"Quarryp", L"Other name"), Pair(L"quarryp", L""));
  EXPECT_THAT(TypesOf(host, program), all);
  EXPECT_THAT(TypesOf(host, folder_ / L"APP.EXE"), all);
  EXPECT_THAT(TypesOf(host, link), all);
  EXPECT_EQ(HostLog::Holding(L"Building the file extension database took ").size(), 1u);
  for (const std::wstring& none : {loudLink, brokenLink, folder_ / L"none.exe", std::wstring(), std::wstring(L"lnk"),
                                   std::wstring(40000, L'a'), folder_.Path() + L"/App.exe"}) {
    const ExtensionRecord record = host.GetRegisteredExtensions(none);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->count, 0u);
  }
  wchar_t shortPath[MAX_PATH] = {};
  GetShortPathNameW(program.c_str(), shortPath, MAX_PATH);
  if (shortPath != program) {
    EXPECT_THAT(TypesOf(host, shortPath), IsEmpty());
  }
}

constexpr int kExtensions = 2000;
constexpr int kPrograms = 200;
constexpr int kProtocols = 100;

std::wstring Numbered(const wchar_t* prefix, int number) {
  wchar_t text[40] = {};
  _snwprintf(text, 39, L"%ls%04d", prefix, number);
  return text;
}

/// The reads of a build, and nothing else, for as many types.
void ReadKeys(HKEY root, const std::wstring& path, const wchar_t* valueName) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return;
  DWORD size = 0;
  if (RegQueryValueExW(key, valueName, nullptr, nullptr, nullptr, &size) == ERROR_SUCCESS && size <= 1024) {
    BYTE data[1024];
    RegQueryValueExW(key, valueName, nullptr, nullptr, data, &size);
  }
  RegCloseKey(key);
}

ULONGLONG MillisecondsOfBareReads() {
  const ULONGLONG started = GetTickCount64();
  wchar_t name[256];
  DWORD length = 256;
  for (DWORD index = 0;
       RegEnumKeyExW(HKEY_CLASSES_ROOT, index, name, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
       ++index, length = 256) {
    ReadKeys(HKEY_CLASSES_ROOT, name, L"URL Protocol");
  }
  for (int index = 0; index < kExtensions + kProtocols; ++index) {
    const std::wstring type =
        index < kExtensions ? Numbered(L".quarry", index) : Numbered(L"quarryp", index - kExtensions);
    ReadKeys(HKEY_CLASSES_ROOT, type, L"");
    ReadKeys(HKEY_CLASSES_ROOT, type, L"");
    ReadKeys(HKEY_CLASSES_ROOT, type + L"\\shell\\open\\command", L"");
    ReadKeys(HKEY_CLASSES_ROOT, type + L"\\OpenWithList", L"");
    ReadKeys(HKEY_CLASSES_ROOT, type + L"\\OpenWithProgIds", L"");
    ReadKeys(HKEY_CURRENT_USER, kExplorerTypes + type + L"\\OpenWithProgIds", L"");
    ReadKeys(HKEY_CURRENT_USER, kExplorerTypes + type + L"\\OpenWithList", L"MRUList");
  }
  return GetTickCount64() - started;
}

TEST_F(RegisteredExtensionsTest, AreExactForThousandsOfTypes) {
  std::map<std::wstring, std::map<std::wstring, std::wstring>> expected;  // ordered as the entries are: all is ASCII
  for (int index = 0; index < kPrograms; ++index) {
    const std::wstring program = Numbered(L"app", index) + L".exe";
    folder_.WriteBytes(program, {});
    Class(Numbered(L"QuarryProgId", index), Numbered(L"File of ", index), program);
    expected[program];
  }
  const auto expect = [&](int program, const std::wstring& type, const std::wstring& description) {
    expected[Numbered(L"app", program) + L".exe"][type] = description;
  };
  for (int index = 0; index < kExtensions; ++index) {
    const std::wstring type = Numbered(L".quarry", index);
    const int first = index % kPrograms;
    const int second = index * 7 % kPrograms;
    RegistryFixture& key = Key(type);
    key.SetString(L"", L"", Numbered(L"QuarryProgId", first));
    expect(first, type, Numbered(L"File of ", first));
    if (index % 5 != 0) continue;
    key.SetRaw(L"OpenWithProgIds", Numbered(L"QuarryProgId", second), REG_NONE, {});
    expect(second, type, Numbered(L"File of ", second));
  }
  for (int index = 0; index < kProtocols; ++index) {
    const std::wstring type = Numbered(L"quarryp", index);
    Class(type, L"URL", Numbered(L"app", index) + L".exe").SetString(L"", L"URL Protocol", L"");
    expect(index, type, L"");
  }

  for (const wchar_t* const caches : {L"cold", L"warm"}) {
    const ULONGLONG started = GetTickCount64();
    const QuarryHost host(true);
    const ULONGLONG built = GetTickCount64();
    std::printf("build with %ls caches: %llu ms\n", caches, built - started);
    std::size_t wrong = 0;
    for (const auto& [program, types] : expected) {
      if (TypesOf(host, folder_ / program) != Types(types.begin(), types.end())) ++wrong;
    }
    EXPECT_EQ(wrong, 0u) << "of " << expected.size() << " programs";
    std::printf("lists of %d programs: %llu ms\n", kPrograms, GetTickCount64() - built);
  }
  std::printf("bare reads of the same keys: %llu ms\n", MillisecondsOfBareReads());
}

TEST_F(RegisteredExtensionsTest, LeaveNothingBehindWhenTheyAreReadAgain) {
  const std::wstring program = folder_.WriteBytes(L"App.exe", {});
  Class(L"QuarryProgId1", L"Quarry file", L"App.exe");
  for (int index = 0; index < 50; ++index) Key(Numbered(L".quarry", index)).SetString(L"", L"", L"QuarryProgId1");
  const ResourceGrowth growth = GrowthOf(
      [&] {
        const QuarryHost host(true);
        EXPECT_EQ(TypesOf(host, program).size(), 50u);
      },
      20);
  EXPECT_EQ(growth.handles, 0);
  EXPECT_EQ(growth.gdiObjects, 0);
  EXPECT_LT(growth.heapBytes, 4096);
}

}  // namespace
}  // namespace quarry::test
