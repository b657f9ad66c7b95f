#pragma once

#include "quarry/apps/application.h"
#include "quarry/config/registry.h"
#include "quarry/launch/launchParameters.h"
#include "quarry/quarry.h"
#include "quarry/windows/window.h"

#include "lib/misc/platformHandles.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace quarry {

class IconBoss;

/// What a host asks for when it starts an application.
struct LaunchRequest {
  std::wstring path;
  std::uint32_t flags = 0;  ///< QUARRY_LAUNCH_ bits
  std::wstring arguments;
  std::wstring workingDirectory;
  std::int32_t parameterCount = 0;
  const QuarryLaunchParameter* parameters = nullptr;
};

/// Starts applications for the remote user and remembers those that it was asked to track.
class Launcher {
 public:
  using WindowsOfApplication = std::function<WindowList(const Application&)>;

  /// `settings` reads the library's own key. `hiddenWindow` may be null: the foreground is then not taken before a
  /// start. `iconBoss` may be null. All must outlive the launcher.
  Launcher(const Registry& settings, IconBoss* iconBoss, HWND hiddenWindow, WindowsOfApplication windowsOf);

  /// Returns a QUARRY_LAUNCH_ result, each with a message that says why.
  std::uint32_t Launch(LaunchRequest request);

 private:
  struct PendingStart;
  struct LaunchedProcess {
    UniqueKernelHandle process;
    std::wstring target;
    std::wstring arguments;
  };

  HWND FindRunningWindow(const LaunchRequest& request, const Application& application);
  bool IsTrackedAsRunning(const std::wstring& target, const std::wstring& arguments);
  std::uint32_t StartPlain(PendingStart& start, const LaunchRequest& request);
  std::uint32_t StartWithItems(PendingStart& start, const LaunchRequest& request);
  std::uint32_t OpenFilesAndUrls(PendingStart& start, LaunchItems items) const;

  const Registry& settings_;
  IconBoss* iconBoss_;
  HWND hiddenWindow_;
  WindowsOfApplication windowsOf_;
  std::map<HANDLE, LaunchedProcess> launchedProcesses_;
};

}  // namespace quarry
