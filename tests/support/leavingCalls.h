#pragma once

#include "tests/support/importTable.h"

#include <windows.h>

#include <cstdint>
#include <functional>

namespace quarry::test {

/// Counts the calls of a module's that leave the process or make graphics objects: those of its imports without the
/// language's runtime and without what looks at memory only.
class LeavingCalls {
 public:
  /// `module` must stay loaded.
  explicit LeavingCalls(HMODULE module);

  /// The calls that `action` makes the module make.
  std::uint64_t Of(const std::function<void()>& action);
  /// The same, by function.
  std::map<std::string, std::uint64_t> ByFunction(const std::function<void()>& action);

 private:
  CountedImports imports_;
};

}  // namespace quarry::test
