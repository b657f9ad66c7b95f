#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quarry::test {

/// What a finished program left behind.
struct ProcessOutput {
  std::uint32_t exitCode = 0;
  std::string out;  ///< Bytes of its standard output.
  std::string err;  ///< Bytes of its standard error.
};

/// Runs the program `name`.exe of the bin folder with `arguments`, each handed over as one argument whatever it holds,
/// in `folder` (empty: this process's), and waits for its end. Throws when it cannot be started or has not ended after
/// 300 s; it is then ended.
ProcessOutput RunProgram(std::wstring_view name, const std::vector<std::wstring>& arguments = {},
                         const std::wstring& folder = {});

/// For a program that is started to see whether it dies: a fault then ends it at once with the exit code 3, without a
/// debugger that keeps its starter waiting.
void EndAtOnceWhenFaulting();

}  // namespace quarry::test
