#pragma once

#include "quarry/windows/windowProcesses.h"

#include <windows.h>

#include <optional>
#include <string>

namespace quarry {

/// What the platform tells of a window without asking the window itself: none of this waits for a message loop. What
/// cannot be read, because the window is gone, stays empty or zero.
class WindowProbe {
 public:
  explicit WindowProbe(HWND window);

  HWND Handle() const { return window_; }
  /// The styles, the rectangle and the state.
  const WINDOWINFO& Info() const { return info_; }
  bool IsVisible() const { return HasAny(WS_VISIBLE); }
  bool IsMinimized() const { return HasAny(WS_MINIMIZE); }
  bool HasAny(DWORD styles) const { return (info_.dwStyle & styles) != 0; }

  /// Both are asked for at the first call: most windows of a session are decided on without them.
  const std::wstring& ClassName();
  const std::wstring& Title();

 private:
  HWND window_;
  WINDOWINFO info_{};
  std::optional<std::wstring> className_;
  std::optional<std::wstring> title_;
};

/// Writes the window's attributes to the verbose window log, a line each.
void DumpAttributes(WindowProbe& window, const WindowProcess& process);

}  // namespace quarry
