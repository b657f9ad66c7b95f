#include "quarry/launch/launchParameters.h"

#include "quarry/diagnostics/log.h"
#include "quarry/launch/clientDrivePath.h"

#include <windows.h>

#include <shlwapi.h>
#include <wininet.h>

#include <algorithm>
#include <cwchar>

namespace quarry {

namespace {

const wchar_t* OrEmpty(const wchar_t* text) { return text != nullptr ? text : L""; }

bool IsType(const std::wstring& type, const wchar_t* name) { return _wcsicmp(type.c_str(), name) == 0; }

/// The platform's URL functions take INTERNET_MAX_URL_LENGTH characters; the scheme stands within them.
bool IsFileUrl(const std::wstring& value) {
  return UrlIsW(value.substr(0, INTERNET_MAX_URL_LENGTH).c_str(), URLIS_FILEURL) != FALSE;
}

/// One that cannot be turned into a path is judged as the path behind its scheme.
std::wstring PathOfFileUrl(const std::wstring& url) {
  std::wstring path(url.size() + MAX_PATH, L'\0');
  auto length = static_cast<DWORD>(path.size());
  if (url.size() > INTERNET_MAX_URL_LENGTH || FAILED(PathCreateFromUrlW(url.c_str(), path.data(), &length, 0))) {
    return url.substr(url.find(L':') + 1);
  }
  path.resize(wcsnlen(path.c_str(), path.size()));
  return path;
}

/// The platform's test looks for backslashes; the file system takes slashes as well.
bool IsNetworkPath(std::wstring path) {
  std::replace(path.begin(), path.end(), L'/', L'\\');
  return PathIsNetworkPathW(path.c_str()) != FALSE;
}

void AcceptClientDrivePath(const std::wstring& path, LaunchItems& items) {
  std::wstring sanitized = SanitizeClientDrivePath(path);
  if (sanitized != path) {
    Log(LogLevel::Detail, L"Sanitized share path '%s' -> '%s'.\n", path.c_str(), sanitized.c_str());
  }
  items.files.push_back(std::move(sanitized));
}

/// Accepts a file or URL into `items`; false, with a message, when the policy refuses it. A URL of the scheme "file" is
/// only another spelling of the path that it names, however often the scheme is repeated.
bool AcceptPath(const std::wstring& value, bool allowLocalFiles, LaunchItems& items) {
  const bool isFileUrl = IsFileUrl(value);
  std::wstring path = value;
  while (IsFileUrl(path)) path = PathOfFileUrl(path);
  if (IsClientDrivePath(path)) {
    AcceptClientDrivePath(path, items);
    return true;
  }
  if (IsNetworkPath(path)) {
    Log(LogLevel::Error,
        L"The network path '%s' is not related to Client Drive Redirection and thus is not allowed to be opened.\n",
        value.c_str());
    return false;
  }
  if (!isFileUrl && PathIsURLW(path.c_str()) != FALSE) {
    items.urls.push_back(path);
    return true;
  }
  if (!allowLocalFiles) {
    Log(LogLevel::Error, L"Opening the local file path '%s' is not allowed by administrator policy.\n", value.c_str());
    return false;
  }
  items.files.push_back(path);
  return true;
}

}  // namespace

std::optional<LaunchItems> ReadLaunchParameters(std::int32_t count, const QuarryLaunchParameter* parameters,
                                                bool allowLocalFiles) {
  if (parameters == nullptr) {
    Log(LogLevel::Error, L"Expecting customized parameters but none found\n");
    return std::nullopt;
  }
  LaunchItems items;
  for (std::int32_t index = 0; index < count; ++index) {
    const std::wstring type = OrEmpty(parameters[index].type);
    const std::wstring value = OrEmpty(parameters[index].value);
    Log(LogLevel::Detail, L"Param: %d, Type: '%s', Value: '%s'\n", index + 1, type.c_str(), value.c_str());
    if (IsType(type, L"appCommandLine")) {
      items.commandLine = value;
    } else if (IsType(type, L"file-path") || IsType(type, L"url")) {
      if (!AcceptPath(value, allowLocalFiles, items)) return std::nullopt;
    } else {
      Log(LogLevel::Error, L"Invalid custom parameter file type: '%s'\n", type.c_str());
      return std::nullopt;
    }
  }
  return items;
}

}  // namespace quarry
