#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

namespace quarry {

constexpr std::int32_t kUnknownProcess = -1;

/// The process that owns a window.
struct WindowProcess {
  std::int32_t id = kUnknownProcess;
  std::wstring imagePath;  ///< empty when the process is unknown
};

/// What the platform tells of a window without asking the window itself: none of this waits for a message loop.
struct WindowAttributes {
  std::wstring title;
  std::wstring className;
  WINDOWINFO info{};
  RECT rectangle{};

  bool IsVisible() const { return HasAny(WS_VISIBLE); }
  bool IsMinimized() const { return HasAny(WS_MINIMIZE); }
  bool HasAny(DWORD styles) const { return (info.dwStyle & styles) != 0; }
};

/// Failures are logged.
WindowProcess ProbeProcess(HWND window);

/// What cannot be read, because the window is gone, stays empty or zero.
WindowAttributes ProbeAttributes(HWND window);

/// Writes the window's attributes to the verbose window log, a line each.
void DumpAttributes(const WindowAttributes& attributes, const WindowProcess& process);

}  // namespace quarry
