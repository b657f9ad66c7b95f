#include "quarry/paths/pathParts.h"

#include "quarry/diagnostics/log.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cwchar>
#include <iterator>

namespace quarry {

namespace {

// Microsoft Learn, _wsplitpath_s: _MAX_DIR, _MAX_FNAME and _MAX_EXT count the terminator.
constexpr std::size_t kDirectoryLimit = 256;
constexpr std::size_t kFileNameLimit = 256;
constexpr std::size_t kExtensionLimit = 256;

}  // namespace

PathParts SplitPath(const std::wstring& path) {
  // The buffers take whatever the path holds and the limits are looked at afterwards: a buffer that is too small would
  // call the runtime's invalid-parameter handler, which ends the process.
  const std::size_t capacity = path.size() + 1;
  wchar_t drive[3];
  std::wstring directory(capacity, L'\0');
  std::wstring baseName(capacity, L'\0');
  std::wstring extension(capacity, L'\0');
  errno_t error = _wsplitpath_s(path.c_str(), drive, 3, directory.data(), capacity, baseName.data(), capacity,
                                extension.data(), capacity);
  directory.resize(wcsnlen(directory.c_str(), capacity));
  baseName.resize(wcsnlen(baseName.c_str(), capacity));
  extension.resize(wcsnlen(extension.c_str(), capacity));
  if (error == 0 && (directory.size() >= kDirectoryLimit || baseName.size() >= kFileNameLimit ||
                     extension.size() >= kExtensionLimit)) {
    error = ERANGE;
  }
  if (error != 0) {
    Log(LogLevel::Error, L"Failed to parse path \"%s\", error %d\n", path.c_str(), error);
    return {};
  }

  if (!extension.empty()) extension.erase(0, 1);
  std::wstring fileName = extension.empty() ? baseName : baseName + L'.' + extension;
  return {true, drive, std::move(directory), std::move(fileName), std::move(baseName), std::move(extension)};
}

std::wstring JoinPath(const std::wstring& folder, const std::wstring& name) {
  if (folder.empty()) return name;
  if (name.empty() || folder.back() == L'\\') return folder + name;
  return folder + L'\\' + name;
}

std::wstring CollapseBackslashes(const std::wstring& path) {
  if (path.empty()) return path;
  std::wstring collapsed = path.substr(0, 1);
  std::unique_copy(path.begin() + 1, path.end(), std::back_inserter(collapsed),
                   [](wchar_t left, wchar_t right) { return left == L'\\' && right == L'\\'; });
  return collapsed;
}

}  // namespace quarry
