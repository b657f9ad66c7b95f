#pragma once

#include <windows.h>

#include <memory>
#include <string>
#include <vector>

namespace quarry {

/// One open top-level window, as it was when the windows were enumerated.
class Window {
 public:
  virtual ~Window() = default;
  virtual HWND GetHandle() const = 0;
  virtual std::wstring GetTitle() const = 0;
  virtual bool IsVisible() const = 0;
  virtual bool IsMinimized() const = 0;
  virtual std::wstring GetImagePath() const = 0;  ///< executable image of the process that owns it
};

using WindowPtr = std::shared_ptr<const Window>;
using WindowList = std::vector<WindowPtr>;

}  // namespace quarry
