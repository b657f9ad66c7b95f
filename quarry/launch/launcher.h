#pragma once

#include "quarry/apps/application.h"
#include "quarry/config/registry.h"
#include "quarry/launch/launchParameters.h"
#include "quarry/launch/launchRequest.h"
#include "quarry/launch/runningInstances.h"
#include "quarry/launch/shellStart.h"
#include "quarry/windows/windowManager.h"

#include <windows.h>

#include <cstdint>

namespace quarry {

class IconBoss;

/// Starts applications for the remote user, or brings forward those that run: the steps, one after the other.
class Launcher {
 public:
  /// `settings` reads the library's own key. `hiddenWindow` may be null: the foreground is then not taken before a
  /// start. `iconBoss` may be null. All must outlive the launcher.
  Launcher(const Registry& settings, IconBoss* iconBoss, HWND hiddenWindow, const WindowManager& windowManager);

  /// Returns a QUARRY_LAUNCH_ result, each with a message that says why.
  std::uint32_t Launch(LaunchRequest request);

 private:
  bool BringRunningForward(const LaunchRequest& request, const Application& application);
  void TakeForeground() const;
  std::uint32_t StartPlain(ShellStart& start, const LaunchRequest& request);
  std::uint32_t StartWithParameters(ShellStart& start, const LaunchRequest& request) const;
  std::uint32_t OpenFilesAndUrls(ShellStart& start, LaunchItems items) const;
  std::uint32_t FileTimeout() const;

  const Registry& settings_;
  IconBoss* iconBoss_;
  HWND hiddenWindow_;
  RunningInstances running_;
};

}  // namespace quarry
