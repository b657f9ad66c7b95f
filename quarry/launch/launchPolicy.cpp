#include "quarry/launch/launchPolicy.h"

#include "quarry/config/registry.h"
#include "quarry/diagnostics/log.h"
#include "quarry/launch/clientDrivePath.h"

#include <windows.h>

#include <shlwapi.h>
#include <wininet.h>

#include <algorithm>
#include <cstdint>
#include <cwchar>
#include <iterator>
#include <utility>

namespace quarry {

namespace {

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

enum class Place { ClientDrive, Network, Url, Local };

/// Where an item leads, and what of it is opened.
struct Destination {
  Place place;
  std::wstring text;
};

/// A URL of the scheme "file" is only another spelling of the path that it names, however often the scheme is repeated:
/// what is behind it is never a URL again.
Destination DestinationOf(const std::wstring& value) {
  const bool isFileUrl = IsFileUrl(value);
  std::wstring text = value;
  while (IsFileUrl(text)) text = PathOfFileUrl(text);
  if (IsClientDrivePath(text)) return {Place::ClientDrive, std::move(text)};
  if (IsNetworkPath(text)) return {Place::Network, std::move(text)};
  if (!isFileUrl && PathIsURLW(text.c_str()) != FALSE) return {Place::Url, std::move(text)};
  return {Place::Local, std::move(text)};
}

std::wstring WithCarriedNames(const std::wstring& path) {
  std::wstring sanitized = SanitizeClientDrivePath(path);
  if (sanitized != path) {
    Log(LogLevel::Detail, L"Sanitized share path '%s' -> '%s'.\n", path.c_str(), sanitized.c_str());
  }
  return sanitized;
}

/// Whether a program is, or may be, a batch file: cmd.exe reads the command line of one before the runtime's parser
/// does, and by other rules.
bool MayBeBatchFile(const std::wstring& program) {
  // A shortcut that was not resolved may lead to one.
  constexpr const wchar_t* kExtensions[] = {L".bat", L".cmd", L".lnk"};
  const wchar_t* const extension = PathFindExtensionW(program.c_str());
  return std::any_of(std::begin(kExtensions), std::end(kExtensions),
                     [extension](const wchar_t* batch) { return _wcsicmp(extension, batch) == 0; });
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

}  // namespace

bool IsDriveRedirectionDisabled() {
  Log(LogLevel::Detail, L"Check Policies for Client Drive Redirection\n");
  const Registry policies(L"Policies\\Microsoft\\Windows NT\\Terminal Services", false);
  std::uint32_t disabled = 0;
  if (policies.ReadDword(L"", L"fDisableCdm", disabled) != ERROR_SUCCESS || disabled == 0) return false;
  Log(LogLevel::Warning, L"Client Drive Redirection is disabled by policy\n");
  return true;
}

std::optional<AcceptedItem> AcceptItem(const std::wstring& value, bool allowLocalFiles) {
  Destination destination = DestinationOf(value);
  switch (destination.place) {
    case Place::ClientDrive:
      return AcceptedItem{OpenItemKind::File, WithCarriedNames(destination.text)};
    case Place::Network:
      Log(LogLevel::Error,
          L"The network path '%s' is not related to Client Drive Redirection and thus is not allowed to be opened.\n",
          value.c_str());
      return std::nullopt;
    case Place::Url:
      return AcceptedItem{OpenItemKind::Url, std::move(destination.text)};
    case Place::Local:
      if (allowLocalFiles) return AcceptedItem{OpenItemKind::File, std::move(destination.text)};
      Log(LogLevel::Error, L"Opening the local file path '%s' is not allowed by administrator policy.\n",
          value.c_str());
      return std::nullopt;
  }
  return std::nullopt;
}

std::optional<std::wstring> ArgumentFor(const std::wstring& program, const std::wstring& item) {
  if (!MayBeBatchFile(program)) {
    const bool isPlain = !item.empty() && item.find_first_of(L" \t\"") == std::wstring::npos;
    return isPlain ? item : QuoteArgument(item);
  }
  // Between quotes cmd.exe still ends the quotes and the line, and replaces variables.
  if (item.find_first_of(L"\"%\r\n") == std::wstring::npos) return QuoteArgument(item);
  SetLastError(ERROR_BAD_ARGUMENTS);
  return std::nullopt;
}

// The shell takes paths of the classic length only (Microsoft Learn, "Maximum Path Length Limitation"); what it does
// with longer ones is better not tried in the host's process.
bool IsFitForShell(const std::wstring& path) {
  if (path.size() < MAX_PATH) return true;
  SetLastError(ERROR_FILENAME_EXCED_RANGE);
  return false;
}

}  // namespace quarry
