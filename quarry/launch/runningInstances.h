#pragma once

#include "quarry/apps/application.h"
#include "quarry/launch/launchRequest.h"
#include "quarry/windows/windowManager.h"

#include "lib/misc/platformHandles.h"

#include <windows.h>

#include <map>
#include <string>

namespace quarry {

/// The visible windows of the program that `application` runs as; none, with a message, when it has no target.
WindowList WindowsOf(const Application& application, const WindowManager& windowManager);

/// Finds the running instance of an application, and remembers the processes that were started with tracking.
class RunningInstances {
 public:
  /// `windowManager` must outlive this.
  explicit RunningInstances(const WindowManager& windowManager) : windowManager_(windowManager) {}

  /// The window to bring forward instead of starting the application; null when it is to be started.
  HWND FindWindowFor(const LaunchRequest& request, const Application& application);

  /// Remembers a process that was started for the program `target` with `arguments`, until it has ended.
  void Track(UniqueKernelHandle process, std::wstring target, std::wstring arguments);

 private:
  struct Tracked {
    UniqueKernelHandle process;
    std::wstring target;
    std::wstring arguments;
  };

  bool IsTracked(const std::wstring& target, const std::wstring& arguments);
  void ForgetEnded();

  const WindowManager& windowManager_;
  std::map<HANDLE, Tracked> processes_;
};

/// Brings a window forward, restored when it is minimised, and as large as it can get when it is to be maximised. Does
/// not wait for the window's thread, which may hang.
void BringForward(HWND window, bool maximize);

}  // namespace quarry
