#pragma once

#include "lib/misc/platformHandles.h"

#include <windows.h>

#include <cstdint>
#include <string>
#include <unordered_map>

namespace quarry {

constexpr std::int32_t kUnknownProcess = -1;

/// The process that owns a window.
struct WindowProcess {
  std::int32_t id = kUnknownProcess;
  std::wstring imagePath;  ///< empty when the process is unknown
};

/// The processes of the windows of one enumeration, each of which is asked once. They stay open, so that their numbers
/// are not given to others before the enumeration ends.
class WindowProcesses {
 public:
  /// Failures are logged for every window, also those that an earlier window of the process has met.
  WindowProcess Of(HWND window);

 private:
  struct Answer {
    UniqueKernelHandle process;
    std::wstring imagePath;
    DWORD error = ERROR_SUCCESS;  ///< of opening the process, or else of asking for its image
  };
  static Answer Ask(DWORD processId);

  std::unordered_map<DWORD, Answer> answers_;
};

}  // namespace quarry
