#pragma once

#include <windows.h>

#include <memory>
#include <string>
#include <vector>

namespace quarry {

/// One open top-level window, as it was when the windows were enumerated.
class Window {
 public:
  virtual HWND GetHandle() const = 0;
  virtual std::wstring GetTitle() const = 0;
  virtual bool IsVisible() const = 0;
  virtual bool IsMinimized() const = 0;
  virtual std::wstring GetImagePath() const = 0;  ///< executable image of the process that owns it
  // Last, because the place of a virtual function is part of the interface.
  virtual ~Window() = default;
};

using WindowPtr = std::shared_ptr<const Window>;
using WindowList = std::vector<WindowPtr>;

}  // namespace quarry
