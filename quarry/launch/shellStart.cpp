#include "quarry/launch/shellStart.h"

#include "quarry/diagnostics/log.h"
#include "quarry/launch/launchPolicy.h"

#include <shellapi.h>

namespace quarry {

namespace {

bool IsFolder(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

const wchar_t* OrNull(const std::optional<std::wstring>& text) { return text ? text->c_str() : nullptr; }

/// Reports the last error.
void ReportFailure() { Log(LogLevel::Error, L"ShellExecuteEx failed, error = %ld\n", GetLastError()); }

}  // namespace

std::optional<ShellStart> ShellStart::Prepare(const LaunchRequest& request, std::wstring target) {
  ShellStart start(request, std::move(target));
  if (!request.arguments.empty()) {
    Log(LogLevel::Detail, L"Launch parameters: %s\n", request.arguments.c_str());
    start.parameters_ = request.arguments;
  }
  if (!request.workingDirectory.empty()) {
    if (!IsFolder(request.workingDirectory)) {
      Log(LogLevel::Error, L"Launch directory %s is not valid\n", request.workingDirectory.c_str());
      return std::nullopt;
    }
    Log(LogLevel::Detail, L"Launch directory: %s\n", request.workingDirectory.c_str());
    start.workingDirectory_ = request.workingDirectory;
  }
  if (request.Has(QUARRY_LAUNCH_MAXIMIZE)) {
    Log(LogLevel::Detail, L"Launch maximized: true\n");
    start.showCommand_ = SW_SHOWMAXIMIZED;
  }
  return start;
}

bool ShellStart::Run() {
  SHELLEXECUTEINFOW request{};
  request.cbSize = sizeof(request);
  request.fMask = SEE_MASK_DOENVSUBST | SEE_MASK_FLAG_NO_UI | (keepsProcess_ ? SEE_MASK_NOCLOSEPROCESS : 0);
  request.lpVerb = L"open";
  request.lpFile = path_.c_str();
  request.lpParameters = OrNull(parameters_);
  request.lpDirectory = OrNull(workingDirectory_);
  request.nShow = showCommand_;
  if (!IsFitForShell(path_) || ShellExecuteExW(&request) == FALSE) {
    ReportFailure();
    return false;
  }
  process_.attach(request.hProcess);
  return true;
}

bool ShellStart::RunWith(std::optional<std::wstring> argument) {
  if (!argument) {
    ReportFailure();
    return false;
  }
  parameters_ = std::move(argument);
  return Run();
}

}  // namespace quarry
