#pragma once

#include "tests/support/temporaryFolder.h"

#include <cstddef>
#include <string>
#include <vector>

namespace quarry::test {

/// How one process of the fixture commandEcho was started.
struct Start {
  std::wstring arguments;  ///< the command line behind the program's own path
  std::wstring folder;
  int showCommand = 0;
};

/// Copies of the fixture commandEcho, and what was really started of them.
class StartedPrograms {
 public:
  StartedPrograms();
  ~StartedPrograms();
  StartedPrograms(const StartedPrograms&) = delete;
  StartedPrograms& operator=(const StartedPrograms&) = delete;

  /// The folder that the copies lie in.
  const TemporaryFolder& Folder() const { return folder_; }
  /// Full path of a copy of the fixture under this name.
  std::wstring Program(const std::wstring& name = L"echo.exe") const;
  /// Waits until `count` were started since the last call of Take, 10 seconds at most, and answers all so far.
  std::vector<Start> Wait(std::size_t count) const;
  /// Waits for `count` as well, and then until nothing more was started for a moment. Answers the sorted arguments of
  /// all and forgets them.
  std::vector<std::wstring> Take(std::size_t count) const;

 private:
  std::vector<Start> Read() const;

  TemporaryFolder folder_{L"quarryStarts"};
};

}  // namespace quarry::test
