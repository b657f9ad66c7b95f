#pragma once

#include "quarry/diagnostics/objectCounters.h"
#include "quarry/windows/window.h"

#include "lib/misc/platformHandles.h"

#include <cstdint>
#include <string>

namespace quarry {

/// Which windows are asked for.
struct WindowCriteria {
  static constexpr std::uint32_t kMatchImagePath = 1;
  static constexpr std::uint32_t kMatchVisibility = 2;
  static constexpr std::uint32_t kMatchAll = 0xFFFF;

  std::wstring imagePath;
  bool visible = true;
  std::uint32_t flags = 0;  ///< which of the two are to match
};

/// Lists the session's top-level windows that a user would call windows.
class WindowManager {
 public:
  /// Creates, or opens, the two events by which the host's seamless-window component tells of windows that enumeration
  /// does not see. Works, after a message, without them.
  WindowManager();
  virtual ~WindowManager() = default;
  WindowManager(const WindowManager&) = delete;
  WindowManager& operator=(const WindowManager&) = delete;

  /// The windows that are open now, in the system's order. A query for all applications' windows also gets one dummy
  /// window when either event is set. Does not wait for any window's message loop.
  WindowList Enumerate(const WindowCriteria& criteria) const;

 private:
  void AddDummyWindow(WindowList& windows) const;

  UniqueKernelHandle hiddenWindowsEvent_;
  UniqueKernelHandle trayIconsEvent_;
  ObjectCount count_{"WindowManager"};
};

}  // namespace quarry
