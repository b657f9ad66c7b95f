#include "quarry/launch/launcher.h"

#include "quarry/apps/abstractApp.h"
#include "quarry/diagnostics/log.h"
#include "quarry/paths/expandPath.h"

#include "lib/appUtil/openItems.h"
#include "lib/appUtil/windowProcess.h"

#include <shellapi.h>
#include <shlwapi.h>

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <limits>
#include <unordered_map>

namespace quarry {

namespace {

constexpr std::uint32_t kDefaultFileOpenTimeout = 15000;  // milliseconds
constexpr DWORD kLookInterval = 100;                      // milliseconds

bool HasFlag(const LaunchRequest& request, std::uint32_t flag) { return (request.flags & flag) != 0; }

bool IsFolder(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

/// Brings the window of a running instance forward. The window's thread may hang, so nothing here waits for it.
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

/// One argument as the runtime's argument parser takes it (Microsoft Learn, "Parsing C command-line arguments"), so
/// that what a client sends cannot become further arguments.
std::wstring QuoteArgument(const std::wstring& argument) {
  std::wstring quoted = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t character : argument) {
    if (character == L'"') quoted.append(backslashes + 1, L'\\');
    backslashes = character == L'\\' ? backslashes + 1 : 0;
    quoted += character;
  }
  quoted.append(backslashes, L'\\');
  return quoted + L'"';
}

/// cmd.exe reads the command line of a batch file before the runtime's parser does, and by other rules. A shortcut that
/// was not resolved may lead to one.
bool MayBeBatchFile(const std::wstring& program) {
  const wchar_t* const extension = PathFindExtensionW(program.c_str());
  return _wcsicmp(extension, L".bat") == 0 || _wcsicmp(extension, L".cmd") == 0 || _wcsicmp(extension, L".lnk") == 0;
}

/// The item as the program's only argument. Nothing, with the last error, for an item that cannot be handed over as
/// such: between quotes cmd.exe still ends the quotes and the line, and replaces variables.
std::optional<std::wstring> ArgumentFor(const std::wstring& program, const std::wstring& item) {
  if (!MayBeBatchFile(program)) {
    const bool isPlain = !item.empty() && item.find_first_of(L" \t\"") == std::wstring::npos;
    return isPlain ? item : QuoteArgument(item);
  }
  if (item.find_first_of(L"\"%\r\n") == std::wstring::npos) return QuoteArgument(item);
  SetLastError(ERROR_BAD_ARGUMENTS);
  return std::nullopt;
}

/// Moves the files that exist by now to the result. Looks once at each path, and no more once the deadline has passed.
std::vector<std::wstring> TakeExisting(std::vector<std::wstring>& waiting, ULONGLONG deadline) {
  std::unordered_map<std::wstring, bool> found;
  const auto exists = [&](const std::wstring& file) {
    const auto [entry, isNew] = found.try_emplace(file, false);
    if (isNew && GetTickCount64() <= deadline) entry->second = PathFileExistsW(file.c_str()) != FALSE;
    return entry->second;
  };
  const auto missing = std::stable_partition(waiting.begin(), waiting.end(), exists);
  std::vector<std::wstring> existing(std::make_move_iterator(waiting.begin()), std::make_move_iterator(missing));
  waiting.erase(waiting.begin(), missing);
  return existing;
}

bool IsDriveRedirectionDisabled() {
  Log(LogLevel::Detail, L"Check Policies for Client Drive Redirection\n");
  const Registry policies(L"Policies\\Microsoft\\Windows NT\\Terminal Services", false);
  std::uint32_t disabled = 0;
  if (policies.ReadDword(L"", L"fDisableCdm", disabled) != ERROR_SUCCESS || disabled == 0) return false;
  Log(LogLevel::Warning, L"Client Drive Redirection is disabled by policy\n");
  return true;
}

void ReportMissing(const std::vector<std::wstring>& files) {
  Log(LogLevel::Error, L"Timeout was reached and %I64u file(s) couldn't be opened.\n",
      static_cast<std::uint64_t>(files.size()));
  for (const std::wstring& file : files) Log(LogLevel::Error, L"File '%s' doesn't exist\n", file.c_str());
}

/// The shell takes paths of the classic length only (Microsoft Learn, "Maximum Path Length Limitation"); what it does
/// with longer ones is better not tried in the host's process.
bool IsTooLongForShell(const wchar_t* path) {
  if (wcsnlen(path, MAX_PATH) < MAX_PATH) return false;
  SetLastError(ERROR_FILENAME_EXCED_RANGE);
  return true;
}

/// Reports the last error.
void ReportFailedStart() { Log(LogLevel::Error, L"ShellExecuteEx failed, error = %ld\n", GetLastError()); }

/// Runs the shell's request; false, with a message, when it fails.
bool Execute(SHELLEXECUTEINFOW& request) {
  if (!IsTooLongForShell(request.lpFile) && ShellExecuteExW(&request) != FALSE) return true;
  ReportFailedStart();
  return false;
}

}  // namespace

/// The start that is being prepared: the shell's request and the strings that it points to.
struct Launcher::PendingStart {
  std::wstring path;
  std::wstring target;
  std::wstring parameters;
  std::wstring workingDirectory;
  SHELLEXECUTEINFOW request{};

  PendingStart(const LaunchRequest& launch, std::wstring launchTarget)
      : path(launch.path),
        target(std::move(launchTarget)),
        parameters(launch.arguments),
        workingDirectory(launch.workingDirectory) {
    request.cbSize = sizeof(request);
    request.fMask = SEE_MASK_DOENVSUBST | SEE_MASK_FLAG_NO_UI;
    request.lpVerb = L"open";
    request.lpFile = path.c_str();
    request.nShow = SW_SHOW;
  }
  PendingStart(const PendingStart&) = delete;
  PendingStart& operator=(const PendingStart&) = delete;

  void UseParameters(std::wstring text) {
    parameters = std::move(text);
    request.lpParameters = parameters.c_str();
  }

  /// Takes over what the host asked for; false, with a message, when the working directory is none.
  bool Prepare(bool maximize) {
    if (!parameters.empty()) {
      Log(LogLevel::Detail, L"Launch parameters: %s\n", parameters.c_str());
      request.lpParameters = parameters.c_str();
    }
    if (!workingDirectory.empty()) {
      if (!IsFolder(workingDirectory)) {
        Log(LogLevel::Error, L"Launch directory %s is not valid\n", workingDirectory.c_str());
        return false;
      }
      Log(LogLevel::Detail, L"Launch directory: %s\n", workingDirectory.c_str());
      request.lpDirectory = workingDirectory.c_str();
    }
    if (maximize) {
      Log(LogLevel::Detail, L"Launch maximized: true\n");
      request.nShow = SW_SHOWMAXIMIZED;
    }
    return true;
  }

  /// Hands the items to the handlers registered for the application, and starts the application itself for each item
  /// that they do not open.
  std::uint32_t OpenItems(const std::vector<std::wstring>& items, OpenItemKind kind) {
    const ULONGLONG start = GetTickCount64();
    const std::vector<std::wstring> unopened = AppUtil_OpenItems(items, kind, target);
    Log(LogLevel::Detail, L"Opening %I64u %s(s) took %I64u ms.\n", static_cast<std::uint64_t>(items.size()), L"file",
        GetTickCount64() - start);
    if (unopened.empty()) return QUARRY_LAUNCH_OK;
    Log(LogLevel::Detail,
        L"Failed to open %I64u of %I64u %s(s) using the built-in Windows methods. Opening them manually now.\n",
        static_cast<std::uint64_t>(unopened.size()), static_cast<std::uint64_t>(items.size()), L"file");
    std::uint32_t result = QUARRY_LAUNCH_OK;
    for (const std::wstring& item : unopened) {
      if (!StartWith(item)) result = QUARRY_LAUNCH_FAILED;
    }
    return result;
  }

  /// Starts the application with the item as its parameter; false, with a message, when it fails.
  bool StartWith(const std::wstring& item) {
    std::optional<std::wstring> argument = ArgumentFor(target, item);
    if (!argument) {
      ReportFailedStart();
      return false;
    }
    UseParameters(*std::move(argument));
    return Execute(request);
  }
};

Launcher::Launcher(const Registry& settings, IconBoss* iconBoss, HWND hiddenWindow, WindowsOfApplication windowsOf)
    : settings_(settings), iconBoss_(iconBoss), hiddenWindow_(hiddenWindow), windowsOf_(std::move(windowsOf)) {}

std::uint32_t Launcher::Launch(LaunchRequest request) {
  request.workingDirectory = ExpandPath(request.workingDirectory);
  request.path = ExpandPath(request.path);
  Log(LogLevel::Detail, L"Launching %s\n", request.path.c_str());
  const ApplicationPtr application = AbstractApp::NewAppFromPath(iconBoss_, request.path);

  const bool mayReuse = request.parameterCount == 0 && HasFlag(request, QUARRY_LAUNCH_REUSE_RUNNING);
  if (mayReuse && application != nullptr && application->CanReuseRunningInstance()) {
    if (HWND window = FindRunningWindow(request, *application)) {
      Log(LogLevel::Notable, L"Application %s already running; launch not attempted\n", request.path.c_str());
      BringForward(window, HasFlag(request, QUARRY_LAUNCH_MAXIMIZE));
      return QUARRY_LAUNCH_OK;
    }
  }

  PendingStart start(request, application != nullptr ? application->GetTargetPath() : request.path);
  if (!start.Prepare(HasFlag(request, QUARRY_LAUNCH_MAXIMIZE))) return QUARRY_LAUNCH_REFUSED;
  if (hiddenWindow_ != nullptr) {
    Log(LogLevel::Detail, L"Activating our hidden window\n");
    System_SetFocusedWindow(hiddenWindow_, true);
    Log(LogLevel::Detail, L"Finished activating hidden window\n");
  }
  return request.parameterCount < 1 ? StartPlain(start, request) : StartWithItems(start, request);
}

/// The window to bring forward instead of starting the application; null when it is to be started.
HWND Launcher::FindRunningWindow(const LaunchRequest& request, const Application& application) {
  Log(LogLevel::Detail, L"Enumerating windows for %s before launching\n", request.path.c_str());
  const WindowList windows = windowsOf_(application);
  Log(LogLevel::Detail, L"Finished pre-launch window enumeration for %s\n", request.path.c_str());
  if (windows.empty()) {
    Log(LogLevel::Detail, L"Application %s is not already running. Proceeding to launch\n", request.path.c_str());
    return nullptr;
  }
  if (HasFlag(request, QUARRY_LAUNCH_TRACK_PROCESSES) &&
      !IsTrackedAsRunning(application.GetTargetPath(), request.arguments)) {
    return nullptr;
  }
  return windows.front()->GetHandle();
}

/// A tracked process counts only when it was started with other arguments: an equal start is meant to be a second
/// instance. Processes of the same target that have ended are forgotten on the way.
bool Launcher::IsTrackedAsRunning(const std::wstring& target, const std::wstring& arguments) {
  for (auto entry = launchedProcesses_.begin(); entry != launchedProcesses_.end();) {
    const LaunchedProcess& launched = entry->second;
    const bool sameTarget = launched.target == target;
    if (sameTarget && WaitForSingleObject(launched.process.get(), 0) != WAIT_TIMEOUT) {
      entry = launchedProcesses_.erase(entry);
      continue;
    }
    if (sameTarget && launched.arguments != arguments) return true;
    ++entry;
  }
  return false;
}

std::uint32_t Launcher::StartPlain(PendingStart& start, const LaunchRequest& request) {
  Log(LogLevel::Detail, L"Launching application '%s'\n", start.target.c_str());
  const bool track = HasFlag(request, QUARRY_LAUNCH_TRACK_PROCESSES);
  if (track) start.request.fMask |= SEE_MASK_NOCLOSEPROCESS;
  if (!Execute(start.request)) return QUARRY_LAUNCH_FAILED;
  UniqueKernelHandle process(start.request.hProcess);
  if (track && process) {
    HANDLE key = process.get();
    launchedProcesses_.insert_or_assign(key, LaunchedProcess{std::move(process), start.target, request.arguments});
  }
  return QUARRY_LAUNCH_OK;
}

std::uint32_t Launcher::StartWithItems(PendingStart& start, const LaunchRequest& request) {
  std::optional<LaunchItems> items = ReadLaunchParameters(request.parameterCount, request.parameters,
                                                          HasFlag(request, QUARRY_LAUNCH_ALLOW_LOCAL_FILES));
  if (!items) return QUARRY_LAUNCH_REFUSED;
  if (!items->files.empty() || !items->urls.empty()) return OpenFilesAndUrls(start, std::move(*items));

  start.UseParameters(request.arguments.empty() ? items->commandLine : request.arguments + L" " + items->commandLine);
  Log(LogLevel::Detail, L"Launching application with custom command line '%s'\n", start.parameters.c_str());
  return Execute(start.request) ? QUARRY_LAUNCH_OK : QUARRY_LAUNCH_FAILED;
}

std::uint32_t Launcher::OpenFilesAndUrls(PendingStart& start, LaunchItems items) const {
  if (IsDriveRedirectionDisabled()) return QUARRY_LAUNCH_DRIVES_DISABLED;
  std::uint32_t timeout = kDefaultFileOpenTimeout;
  if (settings_.ReadDword(L"Config", L"RemoteFileOpenTimeoutMs", timeout) != ERROR_SUCCESS) {
    timeout = kDefaultFileOpenTimeout;
  }
  std::uint32_t result = QUARRY_LAUNCH_OK;
  if (!items.urls.empty()) result = start.OpenItems(items.urls, OpenItemKind::Url);

  const ULONGLONG deadline = GetTickCount64() + timeout;
  for (ULONGLONG lookUntil = std::numeric_limits<ULONGLONG>::max();; lookUntil = deadline) {  // all get a first look
    const std::vector<std::wstring> ready = TakeExisting(items.files, lookUntil);
    if (!ready.empty()) result = std::max(result, start.OpenItems(ready, OpenItemKind::File));
    if (items.files.empty()) return result;
    Sleep(kLookInterval);
    if (GetTickCount64() > deadline) break;
  }
  ReportMissing(items.files);
  return QUARRY_LAUNCH_FILES_MISSING;
}

}  // namespace quarry
