#pragma once

#include "lib/fileTypes/lookupCaches.h"
#include "lib/misc/logEntry.h"
#include "lib/misc/osVersion.h"
#include "lib/misc/tickCount.h"

#include "tests/support/hostTest.h"
#include "tests/support/registeredTypes.h"

namespace quarry::test {

/// Programs, registered classes, messages and the time, all as a test says. Starts with empty caches.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): GoogleTest alone makes and destroys it
class FileTypesFixture : public RegisteredTypes {
 protected:
  FileTypesFixture() {
    messages.clear();
    step = 0;
    LogEntry_SetSink([](const char* message) { messages.emplace_back(message); });
    TickCount_SetSource(&Now);
    AppUtilFileTypeCaches().Clear();
  }
  ~FileTypesFixture() override {
    LogEntry_SetSink(nullptr);
    TickCount_SetSource(nullptr);
    Os_SetGeneration(std::nullopt);
  }

  /// The path under which the handler `program` is known.
  std::string Handler(const std::wstring& program) const {
    std::wstring path = folder / program;
    return Unicode_Utf8FromWide(CharLowerW(path.data()));
  }
  static std::ptrdiff_t CountMessage(const std::string& text) {
    return std::count(messages.begin(), messages.end(), text);
  }

  static ULONGLONG WINAPI Now() { return now += step; }

  static inline std::vector<std::string> messages;
  // Later than the last test's, so that the next build finds its caches out of date.
  static inline ULONGLONG now = 1;
  static inline ULONGLONG step = 0;
};

}  // namespace quarry::test
