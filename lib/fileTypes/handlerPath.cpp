#include "lib/fileTypes/handlerPath.h"

#include "lib/appUtil/executableSearch.h"
#include "lib/fileTypes/lowerCase.h"
#include "lib/misc/platformHandles.h"
#include "lib/misc/remoteServers.h"
#include "lib/unicode/unicode.h"

#include <windows.h>

#include <shellapi.h>
#include <shlwapi.h>

namespace {

bool IsFile(const std::wstring& path) {
  return RemoteServer_Access(path, [&] { return PathFileExistsW(path.c_str()) != FALSE; }) &&
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
  std::wstring longPath(MAX_PATH, L'\0');
  DWORD length = 0;
  const auto get = [&] {
    length = GetLongPathNameW(path.c_str(), longPath.data(), static_cast<DWORD>(longPath.size()));
    return length != 0;
  };
  if (!RemoteServer_Access(path, get)) return std::nullopt;
  if (length >= longPath.size()) {  // the size that it takes
    longPath.resize(length);
    if (!get() || length >= longPath.size()) return std::nullopt;
  }
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
