#include "quarry/launch/runningInstances.h"

#include "quarry/diagnostics/log.h"

#include "lib/appUtil/windowProcess.h"

#include <algorithm>
#include <utility>

namespace quarry {

WindowList WindowsOf(const Application& application, const WindowManager& windowManager) {
  const std::wstring path = application.GetPath();
  const std::wstring imagePath = application.GetTargetPath();
  Log(LogLevel::Detail, L"Getting windows for app %s (image path %s)\n", path.c_str(), imagePath.c_str());
  if (imagePath.empty()) {
    Log(LogLevel::Warning, L"Unable to get an image path for %s\n", path.c_str());
    return {};
  }
  return windowManager.Enumerate({imagePath, true, WindowCriteria::kMatchAll});
}

HWND RunningInstances::FindWindowFor(const LaunchRequest& request, const Application& application) {
  Log(LogLevel::Detail, L"Enumerating windows for %s before launching\n", request.path.c_str());
  const WindowList windows = WindowsOf(application, windowManager_);
  Log(LogLevel::Detail, L"Finished pre-launch window enumeration for %s\n", request.path.c_str());
  if (windows.empty()) {
    Log(LogLevel::Detail, L"Application %s is not already running. Proceeding to launch\n", request.path.c_str());
    return nullptr;
  }
  if (request.Has(QUARRY_LAUNCH_TRACK_PROCESSES) && !IsTracked(application.GetTargetPath(), request.arguments)) {
    return nullptr;
  }
  return windows.front()->GetHandle();
}

void RunningInstances::Track(UniqueKernelHandle process, std::wstring target, std::wstring arguments) {
  ForgetEnded();
  HANDLE key = process.get();
  processes_.insert_or_assign(key, Tracked{std::move(process), std::move(target), std::move(arguments)});
}

/// A tracked process counts only when it was started with other arguments: an equal start is meant to be a second
/// instance.
bool RunningInstances::IsTracked(const std::wstring& target, const std::wstring& arguments) {
  ForgetEnded();
  return std::any_of(processes_.begin(), processes_.end(), [&](const auto& entry) {
    return entry.second.target == target && entry.second.arguments != arguments;
  });
}

/// A host that runs for weeks would else hold a handle for each process that it ever tracked.
void RunningInstances::ForgetEnded() {
  std::erase_if(processes_,
                [](const auto& entry) { return WaitForSingleObject(entry.second.process.get(), 0) != WAIT_TIMEOUT; });
}

void BringForward(HWND window, bool maximize) {
  const bool canMaximize = (GetWindowLongW(window, GWL_STYLE) & WS_MAXIMIZEBOX) != 0;
  if (maximize && canMaximize) {
    Log(LogLevel::Detail, L"Maximizing app main window\n");
    ShowWindowAsync(window, SW_SHOWMAXIMIZED);
  } else if (maximize || IsIconic(window) != FALSE) {
    Log(LogLevel::Detail, L"Restore app main window\n");
    ShowWindowAsync(window, SW_RESTORE);
  }
  System_SetFocusedWindow(window, false);
}

}  // namespace quarry
