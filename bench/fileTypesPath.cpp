// The build of the file types: extensions with a command of their own, whose program is known.

#include "lib/misc/platformHandles.h"

#include "tests/support/quarryHost.h"
#include "tests/support/registryFixture.h"
#include "tests/support/temporaryFolder.h"

#include <windows.h>

#include <deque>

#include "bench/path.h"

namespace quarry::bench {

namespace {

constexpr wchar_t kCommandKey[] = L"\\shell\\open\\command";
constexpr wchar_t kExplorerTypes[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts\\";
constexpr DWORD kLongestName = 256;

std::wstring ReadInTwo(HKEY key, const wchar_t* name) {
  DWORD size = 0;
  if (RegQueryValueExW(key, name, nullptr, nullptr, nullptr, &size) != ERROR_SUCCESS) return {};
  std::wstring text(size / sizeof(wchar_t) + 1, L'\0');
  RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(text.data()), &size);
  return text;
}

std::wstring ReadInOne(HKEY key, const wchar_t* name) {
  wchar_t text[kLongestName] = {};
  DWORD size = sizeof(text) - sizeof(wchar_t);
  RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size);
  return text;
}

UniqueRegistryKey Open(HKEY root, const std::wstring& path) {
  UniqueRegistryKey key;
  RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, key.put());
  return key;
}

template <typename Visit>
void ForEachClass(const Visit& visit) {
  wchar_t name[kLongestName] = {};
  for (DWORD index = 0;; ++index) {
    DWORD length = kLongestName;
    if (RegEnumKeyExW(HKEY_CLASSES_ROOT, index, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
      return;
    }
    visit(std::wstring(name, length));
  }
}

void LookNaively(const std::wstring& name) {
  if (const UniqueRegistryKey key = Open(HKEY_CLASSES_ROOT, name)) ReadInTwo(key.get(), L"URL Protocol");
  if (!name.starts_with(L'.')) return;
  {
    const UniqueRegistryKey key = Open(HKEY_CLASSES_ROOT, name);
    if (ReadInTwo(key.get(), L"").empty()) return;
    if (const UniqueRegistryKey command = Open(HKEY_CLASSES_ROOT, name + kCommandKey)) ReadInTwo(command.get(), L"");
  }
  const UniqueRegistryKey again = Open(HKEY_CLASSES_ROOT, name);
  ReadInTwo(again.get(), L"");
  for (const wchar_t* const list : {L"\\OpenWithList", L"\\OpenWithProgIds"}) {
    Open(HKEY_CLASSES_ROOT, name + list);
    Open(HKEY_CURRENT_USER, kExplorerTypes + name + list);
  }
}

/// For types of which nobody has kept lists.
void LookBest(const std::wstring& name) {
  const UniqueRegistryKey key = Open(HKEY_CLASSES_ROOT, name);
  ReadInOne(key.get(), L"URL Protocol");
  if (!name.starts_with(L'.') || ReadInOne(key.get(), L"").empty()) return;
  if (const UniqueRegistryKey command = Open(HKEY_CLASSES_ROOT, name + kCommandKey)) ReadInOne(command.get(), L"");
}

class FileTypesSubject : public Subject {
 public:
  explicit FileTypesSubject(int count) {
    const std::wstring command = L'"' + folder_.WriteBytes(L"app.exe", {}) + L"\" \"%1\"";
    keys_.emplace_back(L"QuarryBench", HKEY_CLASSES_ROOT).SetString(L"shell\\open\\command", L"", command);
    for (int index = 0; index < count; ++index) {
      const auto& type = keys_.emplace_back(L".quarrybench" + std::to_wstring(index), HKEY_CLASSES_ROOT);
      type.SetString(L"", L"", L"QuarryBench");
      type.SetString(L"shell\\open\\command", L"", command);
    }
  }

  std::shared_ptr<void> Library() override { return std::make_shared<test::QuarryHost>(true); }
  void Naive() override { ForEachClass(LookNaively); }
  void Best() override { ForEachClass(LookBest); }

 private:
  test::TemporaryFolder folder_{L"quarryBench"};
  std::deque<test::RegistryFixture> keys_;
};

}  // namespace

std::vector<Path> FileTypesPaths() {
  return {{"extension with a command", 50, 550, [](int count) { return std::make_unique<FileTypesSubject>(count); }}};
}

}  // namespace quarry::bench
