#pragma once

#include "quarry/launch/launchRequest.h"

#include "lib/misc/platformHandles.h"

#include <windows.h>

#include <optional>
#include <string>
#include <utility>

namespace quarry {

/// The start of an application that is being prepared: what the shell will be asked for.
class ShellStart {
 public:
  /// Takes over what the host asked for. `target` is the program that is started in the end. Nothing, with a message,
  /// when the working directory is none.
  static std::optional<ShellStart> Prepare(const LaunchRequest& request, std::wstring target);

  const std::wstring& Target() const { return target_; }
  void SetParameters(std::wstring parameters) { parameters_ = std::move(parameters); }
  /// Asks for the handle of the process, for TakeProcess.
  void KeepProcess() { keepsProcess_ = true; }

  /// Has the shell start the application; false, with a message, when it does not.
  bool Run();
  /// The same with `argument` as the application's only parameter; without one it fails with the last error.
  bool RunWith(std::optional<std::wstring> argument);

  /// The process that Run has started. Null when it was not asked for, and when the shell had no need of a new one.
  UniqueKernelHandle TakeProcess() { return std::move(process_); }

 private:
  ShellStart(const LaunchRequest& request, std::wstring target) : path_(request.path), target_(std::move(target)) {}

  std::wstring path_;
  std::wstring target_;
  std::optional<std::wstring> parameters_;
  std::optional<std::wstring> workingDirectory_;
  int showCommand_ = SW_SHOW;
  bool keepsProcess_ = false;
  UniqueKernelHandle process_;
};

}  // namespace quarry
