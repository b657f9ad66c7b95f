#pragma once

#include "lib/misc/platformHandles.h"

#include "tests/support/quarryHost.h"

#include <windows.h>

#include <string>
#include <vector>

namespace quarry::test {

/// A top-level window that another process is to open. By itself it is one that every listing keeps.
struct WindowSpec {
  std::wstring title;
  std::wstring className = L"QuarryTestWindow";
  DWORD style = WS_OVERLAPPEDWINDOW | WS_VISIBLE;
  DWORD exStyle = 0;
  int width = 100;
  int height = 80;
};

/// A process that shows windows until this object goes. Throws std::runtime_error when it does not come up.
class WindowMaker {
 public:
  /// `program` is the fixture windowMaker or a copy of it.
  explicit WindowMaker(const std::vector<WindowSpec>& windows, bool hang = false,
                       const std::wstring& program = FixtureProgram(L"windowMaker"));
  ~WindowMaker();
  WindowMaker(const WindowMaker&) = delete;
  WindowMaker& operator=(const WindowMaker&) = delete;

  DWORD ProcessId() const { return GetProcessId(Process()); }
  HANDLE Process() const { return process_.get(); }
  /// In the order of their specifications.
  HWND Window(std::size_t index = 0) const { return windows_[index]; }

 private:
  UniqueKernelHandle input_;
  UniqueKernelHandle process_;
  std::vector<HWND> windows_;
};

}  // namespace quarry::test
