#include "lib/fileTypes/handlerPath.h"

#include "lib/appUtil/executableSearch.h"
#include "lib/fileTypes/lowerCase.h"
#include "lib/misc/platformHandles.h"
#include "lib/misc/tickCount.h"
#include "lib/unicode/unicode.h"

#include <windows.h>

#include <shellapi.h>
#include <shlwapi.h>

#include <algorithm>
#include <cstdint>
#include <cwchar>
#include <set>

namespace {

// A server that is down costs the better part of a minute at each access, and its programs stand behind many types: one
// that takes this long to fail is not asked again. Whatever the error: there are many for a server that is not there.
constexpr std::uint64_t kSlowFailureMilliseconds = 2000;

// Servers by their names, mapped drives by their root folders.
using ServerNames = std::set<std::wstring, Unicode_LessIgnoreCase>;

ServerNames& UnreachableServers() {
  static ServerNames servers;
  return servers;
}

/// The server that an access to the path asks; empty for a local path.
/// Source: Microsoft Learn, "Naming Files, Paths, and Namespaces".
std::wstring ServerOf(std::wstring path) {
  std::replace(path.begin(), path.end(), L'/', L'\\');
  if (path.starts_with(L"\\\\?\\") || path.starts_with(L"\\\\.\\")) {
    path.erase(0, 4);
    if (_wcsnicmp(path.c_str(), L"UNC\\", 4) == 0) path.replace(0, 3, L"\\");
  }
  if (path.starts_with(L"\\\\")) return path.substr(2, path.find(L'\\', 2) - 2);
  const std::wstring drive = path.substr(0, path.find(L'\\') + 1);
  return drive.ends_with(L":\\") && GetDriveTypeW(drive.c_str()) == DRIVE_REMOTE ? drive : std::wstring();
}

/// Does `access` to a path, unless its server is known not to answer, and tells whether it succeeded.
template <typename Access>
bool AccessPath(const std::wstring& path, Access access) {
  const std::wstring server = ServerOf(path);
  if (server.empty()) return access();
  if (UnreachableServers().contains(server)) return false;
  const std::uint64_t started = TickCount_Now();
  if (access()) return true;
  if (TickCount_Now() - started >= kSlowFailureMilliseconds) UnreachableServers().insert(server);
  return false;
}

bool IsFile(const std::wstring& path) {
  return AccessPath(path, [&] { return PathFileExistsW(path.c_str()) != FALSE; }) &&
         PathIsDirectoryW(path.c_str()) == FALSE;
}

/// Puts the program of an unquoted command line in quotes: the shortest part of the line up to a space that is a file.
std::optional<std::wstring> QuoteExecutable(const std::wstring& commandLine) {
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
  DWORD size = 0;
  const auto measure = [&] {
    size = GetLongPathNameW(path.c_str(), nullptr, 0);
    return size != 0;
  };
  if (!AccessPath(path, measure)) return std::nullopt;
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
