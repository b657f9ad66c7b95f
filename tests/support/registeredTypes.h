#pragma once

#include "tests/support/registryFixture.h"
#include "tests/support/temporaryFolder.h"

#include <gtest/gtest.h>

#include <deque>
#include <string>

namespace quarry::test {

/// Where Explorer keeps what a user opened the type `name` with.
inline std::wstring ExplorerTypeKey(const std::wstring& name) {
  return L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts\\" + name;
}

/// Registers types and makes their programs, for as long as a test runs.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): GoogleTest alone makes and destroys it
class RegisteredTypes : public testing::Test {
 protected:
  /// A key, empty at first.
  RegistryFixture& Key(const std::wstring& path, HKEY root = HKEY_CLASSES_ROOT, REGSAM view = 0) {
    return keys_.emplace_back(path, root, view);
  }
  /// A class named "`name` file" that a new program of the folder opens.
  RegistryFixture& Class(const std::wstring& name, const std::wstring& program, const std::wstring& verb = L"open") {
    RegistryFixture& key = Key(name);
    key.SetString(L"", L"", name + L" file");
    key.SetString(L"shell\\" + verb + L"\\command", L"", Command(program));
    return key;
  }
  std::wstring Program(const std::wstring& name) { return folder.WriteBytes(name, {}); }
  std::wstring Command(const std::wstring& program) { return L'"' + Program(program) + L"\" " + program; }

  TemporaryFolder folder{L"Quarry Types"};  // NOLINT(readability-identifier-naming): for the tests, as the above

 private:
  std::deque<RegistryFixture> keys_;
};

}  // namespace quarry::test
