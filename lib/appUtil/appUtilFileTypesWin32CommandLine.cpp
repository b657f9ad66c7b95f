#include "lib/appUtil/appUtilFileTypesWin32CommandLine.h"

#include "lib/appUtil/executableSearch.h"
#include "lib/appUtil/lowerCase.h"
#include "lib/misc/platformHandles.h"
#include "lib/unicode/unicode.h"

#include <windows.h>

#include <shellapi.h>
#include <shlwapi.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <string_view>

namespace {

// A server that is down costs the better part of a minute at each access, and its programs stand behind many types.
using ServerNames = std::set<std::wstring, Unicode_LessIgnoreCase>;

ServerNames& UnreachableServers() {
  static ServerNames servers;
  return servers;
}

/// The server of a network path that names a share as well; empty for any other path.
std::wstring_view ServerOf(std::wstring_view path) {
  if (!path.starts_with(L"\\\\")) return {};
  path.remove_prefix(2);
  const std::size_t end = path.find(L'\\');
  return end == std::wstring_view::npos ? std::wstring_view() : path.substr(0, end);
}

bool IsOnUnreachableServer(const std::wstring& path) {
  const std::wstring_view server = ServerOf(path);
  return !server.empty() && UnreachableServers().contains(server);
}

void RememberUnreachable(const std::wstring& path, DWORD error) {
  // Not ERROR_BAD_NET_NAME: what is taken for the share can be the first word of its name.
  static constexpr DWORD kServerErrors[] = {ERROR_REM_NOT_LIST,        ERROR_BAD_NETPATH,     ERROR_UNEXP_NET_ERR,
                                            ERROR_NETNAME_DELETED,     ERROR_BAD_DEV_TYPE,    ERROR_SEM_TIMEOUT,
                                            ERROR_NETWORK_UNREACHABLE, ERROR_HOST_UNREACHABLE};
  const std::wstring_view server = ServerOf(path);
  if (server.empty()) return;
  if (std::find(std::begin(kServerErrors), std::end(kServerErrors), error) == std::end(kServerErrors)) return;
  UnreachableServers().emplace(server);
}

bool IsFile(const std::wstring& path) {
  if (IsOnUnreachableServer(path)) return false;
  if (PathFileExistsW(path.c_str()) != FALSE) return PathIsDirectoryW(path.c_str()) == FALSE;
  RememberUnreachable(path, GetLastError());
  return false;
}

/// Puts the program of an unquoted command line in quotes: the shortest part of the line up to a space that is a file.
std::optional<std::wstring> QuoteExecutable(const std::wstring& commandLine) {
  if (commandLine.starts_with(L'"')) return std::nullopt;
  for (std::size_t end = commandLine.find(L' ');; end = commandLine.find(L' ', end + 1)) {
    const std::wstring candidate = commandLine.substr(0, end);
    const std::optional<std::wstring> path = AppUtilExpandEnvironment(candidate);
    // Microsoft Learn, PathFileExistsW: paths are of maximum length MAX_PATH, and here they only get longer.
    if (!path || path->size() >= MAX_PATH) return std::nullopt;
    if (IsFile(*path)) return L'"' + candidate + L'"' + commandLine.substr(candidate.size());
    if (end == std::wstring::npos) return std::nullopt;
  }
}

/// The program as the command line names it.
std::optional<std::wstring> ExecutableOf(const std::wstring& commandLine) {
  const std::optional<std::wstring> quoted = commandLine.starts_with(L'"') ? commandLine : QuoteExecutable(commandLine);
  if (!quoted) return std::nullopt;
  int count = 0;
  const UniqueLocal<wchar_t*> arguments(CommandLineToArgvW(quoted->c_str(), &count));
  if (!arguments || count < 1) return std::nullopt;
  return std::wstring(arguments.get()[0]);
}

std::optional<std::wstring> LongPathOf(const std::wstring& path) {
  if (IsOnUnreachableServer(path)) return std::nullopt;
  const DWORD size = GetLongPathNameW(path.c_str(), nullptr, 0);
  if (size == 0) {
    RememberUnreachable(path, GetLastError());
    return std::nullopt;
  }
  std::wstring longPath(size, L'\0');
  const DWORD length = GetLongPathNameW(path.c_str(), longPath.data(), size);
  if (length == 0 || length >= size) return std::nullopt;
  longPath.resize(length);
  return longPath;
}

}  // namespace

std::optional<std::string> AppUtilHandlerPathOf(const std::wstring& commandLine, const char* function) {
  const std::optional<std::wstring> executable = ExecutableOf(commandLine);
  if (!executable) return std::nullopt;
  const std::optional<std::wstring> expanded = AppUtilExpandEnvironment(*executable);
  if (!expanded) return std::nullopt;
  const std::optional<std::wstring> path = AppUtilFindExecutable(*expanded, function);
  if (!path) return std::nullopt;
  const std::optional<std::wstring> longPath = LongPathOf(*path);
  if (!longPath) return std::nullopt;
  const std::optional<std::wstring> lower = AppUtil_ToLowerUtf16(*longPath);
  if (!lower) return std::nullopt;
  return Unicode_Utf8FromWide(*lower);
}

void AppUtilForgetUnreachableServers() { UnreachableServers().clear(); }
