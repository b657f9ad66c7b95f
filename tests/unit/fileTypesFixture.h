#pragma once

#include "lib/appUtil/appUtilFileTypesWin32Caches.h"
#include "lib/misc/logEntry.h"
#include "lib/misc/osVersion.h"
#include "lib/misc/tickCount.h"
#include "lib/unicode/unicode.h"

#include "tests/support/registryFixture.h"
#include "tests/support/temporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <string>
#include <vector>

namespace quarry::test {

/// Programs, registered classes, messages and the time, all as a test says. Starts with empty caches.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): GoogleTest alone makes and destroys it
class FileTypesFixture : public testing::Test {
 protected:
  FileTypesFixture() {
    messages.clear();
    LogEntry_SetSink([](const char* message) { messages.emplace_back(message); });
    TickCount_SetSource(&Now);
    AppUtilFileTypeCaches().Clear();
  }
  ~FileTypesFixture() override {
    LogEntry_SetSink(nullptr);
    TickCount_SetSource(nullptr);
    Os_SetGeneration(std::nullopt);
  }

  /// A key with all below it for as long as the test runs.
  RegistryFixture& Key(const std::wstring& path, HKEY root = HKEY_CLASSES_ROOT, REGSAM view = 0) {
    return keys_.emplace_back(path, root, view);
  }
  /// A class that a new program of that name opens.
  RegistryFixture& Class(const std::wstring& name, const std::wstring& program, const std::wstring& verb = L"open") {
    RegistryFixture& key = Key(name);
    key.SetString(L"", L"", name + L" file");
    key.SetString(L"shell\\" + verb + L"\\command", L"", Command(program));
    return key;
  }
  std::wstring Program(const std::wstring& name) { return folder.WriteBytes(name, {}); }
  std::wstring Command(const std::wstring& program) { return L'"' + Program(program) + L"\" " + program; }
  /// The path under which the handler `program` is known.
  std::string Handler(const std::wstring& program) const {
    std::string path = Unicode_Utf8FromWide(folder / program);
    std::transform(path.begin(), path.end(), path.begin(), [](char character) {
      return character >= 'A' && character <= 'Z' ? char(character + 32) : character;
    });
    return path;
  }
  static std::ptrdiff_t CountMessage(const std::string& text) {
    return std::count(messages.begin(), messages.end(), text);
  }

  static ULONGLONG WINAPI Now() { return now += step; }

  static inline std::vector<std::string> messages;
  // Later than the last test's, so that the next build finds its caches out of date.
  static inline ULONGLONG now = 1;
  static inline ULONGLONG step = 0;
  TemporaryFolder folder{L"Quarry Types"};  // NOLINT(readability-identifier-naming): for the tests, as the above

 private:
  std::deque<RegistryFixture> keys_;
};

}  // namespace quarry::test
