#pragma once

#include "quarry/diagnostics/objectCounters.h"
#include "quarry/windows/window.h"

#include <cstdint>
#include <utility>

namespace quarry {

/// A window as it was found. A plain record: it does not look at the window again.
class WindowImpl : public Window {
 public:
  WindowImpl(HWND handle, std::int32_t processId, std::wstring title, std::wstring imagePath, bool visible,
             bool minimized)
      : handle_(handle),
        processId_(processId),
        title_(std::move(title)),
        imagePath_(std::move(imagePath)),
        visible_(visible),
        minimized_(minimized) {}

  HWND GetHandle() const override { return handle_; }
  std::wstring GetTitle() const override { return title_; }
  bool IsVisible() const override { return visible_; }
  bool IsMinimized() const override { return minimized_; }
  std::wstring GetImagePath() const override { return imagePath_; }
  /// -1 when it is unknown.
  std::int32_t GetProcessId() const { return processId_; }

 private:
  HWND handle_;
  std::int32_t processId_;
  std::wstring title_;
  std::wstring imagePath_;
  bool visible_;
  bool minimized_;
  ObjectCount count_{"WindowImpl"};
};

}  // namespace quarry
