#include "quarry/launch/launcher.h"

#include "quarry/apps/abstractApp.h"
#include "quarry/config/settingTable.h"
#include "quarry/diagnostics/log.h"
#include "quarry/launch/launchPolicy.h"
#include "quarry/paths/expandPath.h"

#include "lib/appUtil/openItems.h"
#include "lib/appUtil/windowProcess.h"

#include <shlwapi.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace quarry {

namespace {

constexpr DWORD kLookInterval = 100;  // milliseconds

/// Hands the items to the handlers registered for the application, and starts the application itself for each item
/// that they do not open or must not get.
std::uint32_t OpenItems(ShellStart& start, const std::vector<std::wstring>& items, OpenItemKind kind) {
  const ULONGLONG begin = GetTickCount64();
  const ItemRules rules(start.Target());
  std::vector<std::wstring> direct;
  std::vector<std::wstring> forHandlers;
  std::partition_copy(items.begin(), items.end(), std::back_inserter(forHandlers), std::back_inserter(direct),
                      [&rules](const std::wstring& item) { return rules.AllowHandlers(item); });
  std::vector<std::wstring> unopened = AppUtil_OpenItems(forHandlers, kind, start.Target());
  unopened.insert(unopened.end(), std::make_move_iterator(direct.begin()), std::make_move_iterator(direct.end()));
  Log(LogLevel::Detail, L"Opening %I64u %s(s) took %I64u ms.\n", static_cast<std::uint64_t>(items.size()), L"file",
      GetTickCount64() - begin);
  if (unopened.empty()) return QUARRY_LAUNCH_OK;
  Log(LogLevel::Detail,
      L"Failed to open %I64u of %I64u %s(s) using the built-in Windows methods. Opening them manually now.\n",
      static_cast<std::uint64_t>(unopened.size()), static_cast<std::uint64_t>(items.size()), L"file");
  std::uint32_t result = QUARRY_LAUNCH_OK;
  for (const std::wstring& item : unopened) {
    if (!start.RunWith(rules.ArgumentFor(item))) result = QUARRY_LAUNCH_FAILED;
  }
  return result;
}

/// Moves the files that exist by now to the result. Looks once at each path, and behind the first no more once the
/// deadline has passed: a drive that answers slowly holds the host's thread for each look.
std::vector<std::wstring> TakeExisting(std::vector<std::wstring>& waiting, ULONGLONG deadline) {
  std::unordered_map<std::wstring, bool> found;
  const auto exists = [&](const std::wstring& file) {
    const auto [entry, isNew] = found.try_emplace(file, false);
    const bool mayLook = isNew && (found.size() == 1 || GetTickCount64() <= deadline);
    if (mayLook) entry->second = PathFileExistsW(file.c_str()) != FALSE;
    return entry->second;
  };
  const auto missing = std::stable_partition(waiting.begin(), waiting.end(), exists);
  std::vector<std::wstring> existing(std::make_move_iterator(waiting.begin()), std::make_move_iterator(missing));
  waiting.erase(waiting.begin(), missing);
  return existing;
}

void ReportMissing(const std::vector<std::wstring>& files) {
  Log(LogLevel::Error, L"Timeout was reached and %I64u file(s) couldn't be opened.\n",
      static_cast<std::uint64_t>(files.size()));
  for (const std::wstring& file : files) Log(LogLevel::Error, L"File '%s' doesn't exist\n", file.c_str());
}

}  // namespace

Launcher::Launcher(const Registry& settings, IconBoss* iconBoss, HWND hiddenWindow, const WindowManager& windowManager)
    : settings_(settings), iconBoss_(iconBoss), hiddenWindow_(hiddenWindow), running_(windowManager) {}

std::uint32_t Launcher::Launch(LaunchRequest request) {
  request.workingDirectory = ExpandPath(request.workingDirectory);
  request.path = ExpandPath(request.path);
  Log(LogLevel::Detail, L"Launching %s\n", request.path.c_str());
  const ApplicationPtr application = AbstractApp::NewAppFromPath(iconBoss_, request.path);
  if (application != nullptr && BringRunningForward(request, *application)) return QUARRY_LAUNCH_OK;

  std::optional<ShellStart> start =
      ShellStart::Prepare(request, application != nullptr ? application->GetTargetPath() : request.path);
  if (!start) return QUARRY_LAUNCH_REFUSED;
  TakeForeground();
  return request.parameterCount < 1 ? StartPlain(*start, request) : StartWithParameters(*start, request);
}

/// False when the application is to be started.
bool Launcher::BringRunningForward(const LaunchRequest& request, const Application& application) {
  const bool mayReuse = request.parameterCount == 0 && request.Has(QUARRY_LAUNCH_REUSE_RUNNING);
  if (!mayReuse || !application.CanReuseRunningInstance()) return false;
  HWND window = running_.FindWindowFor(request, application);
  if (window == nullptr) return false;
  Log(LogLevel::Notable, L"Application %s already running; launch not attempted\n", request.path.c_str());
  BringForward(window, request.Has(QUARRY_LAUNCH_MAXIMIZE));
  return true;
}

/// A process that has the foreground can hand it on to the application that it starts.
void Launcher::TakeForeground() const {
  if (hiddenWindow_ == nullptr) return;
  Log(LogLevel::Detail, L"Activating our hidden window\n");
  System_SetFocusedWindow(hiddenWindow_, true);
  Log(LogLevel::Detail, L"Finished activating hidden window\n");
}

std::uint32_t Launcher::StartPlain(ShellStart& start, const LaunchRequest& request) {
  Log(LogLevel::Detail, L"Launching application '%s'\n", start.Target().c_str());
  if (request.Has(QUARRY_LAUNCH_TRACK_PROCESSES)) start.KeepProcess();
  if (!start.Run()) return QUARRY_LAUNCH_FAILED;
  if (UniqueKernelHandle process = start.TakeProcess()) {
    running_.Track(std::move(process), start.Target(), request.arguments);
  }
  return QUARRY_LAUNCH_OK;
}

std::uint32_t Launcher::StartWithParameters(ShellStart& start, const LaunchRequest& request) const {
  std::optional<LaunchItems> items = ReadLaunchParameters(request);
  if (!items) return QUARRY_LAUNCH_REFUSED;
  if (!items->files.empty() || !items->urls.empty()) return OpenFilesAndUrls(start, std::move(*items));

  const std::wstring& custom = items->commandLine;
  const std::wstring commandLine = request.arguments.empty() ? custom : request.arguments + L" " + custom;
  start.SetParameters(commandLine);
  Log(LogLevel::Detail, L"Launching application with custom command line '%s'\n", commandLine.c_str());
  return start.Run() ? QUARRY_LAUNCH_OK : QUARRY_LAUNCH_FAILED;
}

std::uint32_t Launcher::OpenFilesAndUrls(ShellStart& start, LaunchItems items) const {
  if (IsDriveRedirectionDisabled()) return QUARRY_LAUNCH_DRIVES_DISABLED;
  const std::uint32_t timeout = FileTimeout();
  std::uint32_t result = QUARRY_LAUNCH_OK;
  if (!items.urls.empty()) result = OpenItems(start, items.urls, OpenItemKind::Url);

  const ULONGLONG deadline = GetTickCount64() + timeout;
  for (;;) {
    const std::vector<std::wstring> ready = TakeExisting(items.files, deadline);
    if (!ready.empty()) result = std::max(result, OpenItems(start, ready, OpenItemKind::File));
    if (items.files.empty()) return result;
    Sleep(kLookInterval);
    if (GetTickCount64() > deadline) break;
  }
  ReportMissing(items.files);
  return QUARRY_LAUNCH_FILES_MISSING;
}

/// How long to wait for the files, in milliseconds.
std::uint32_t Launcher::FileTimeout() const {
  std::uint32_t timeout = kRemoteFileTimeout.defaultNumber;
  settings_.ReadDword(kRemoteFileTimeout.subkey, kRemoteFileTimeout.valueName, timeout);
  return timeout;
}

}  // namespace quarry
