#include "lib/appUtil/executableSearch.h"

#include "lib/misc/logEntry.h"
#include "lib/unicode/unicode.h"

#include <windows.h>

#include <shlwapi.h>

#include <algorithm>
#include <array>

namespace {

std::optional<std::wstring> FindOnSearchPath(const std::wstring& name) {
  // The platform finds the first folder of the search path under the empty name, and works in a buffer of MAX_PATH.
  std::array<wchar_t, MAX_PATH> buffer{};
  if (name.empty() || name.size() >= buffer.size()) return std::nullopt;
  std::copy(name.begin(), name.end(), buffer.begin());
  if (PathFindOnPathW(buffer.data(), nullptr) == FALSE) return std::nullopt;
  return std::wstring(buffer.data());
}

}  // namespace

std::optional<std::wstring> AppUtilExpandEnvironment(const std::wstring& text) {
  const DWORD size = ExpandEnvironmentStringsW(text.c_str(), nullptr, 0);
  if (size == 0) return std::nullopt;
  std::wstring expanded(size, L'\0');
  const DWORD written = ExpandEnvironmentStringsW(text.c_str(), expanded.data(), size);
  if (written == 0 || written > size) return std::nullopt;
  expanded.resize(written - 1);
  return expanded;
}

std::optional<std::wstring> AppUtilFindExecutable(const std::wstring& path, const char* function) {
  if (PathIsRelativeW(path.c_str()) == FALSE) return path;
  std::optional<std::wstring> found = FindOnSearchPath(path);
  if (!found) LogEntry(function, "executable not found: \"%s\"", Unicode_Utf8FromWide(path).c_str());
  return found;
}
