#include "tools/quarryctl/paths.h"

#include <windows.h>

namespace quarryctl {
namespace {

// Microsoft Learn, "Maximum Path Length Limitation": the longest path of the wide functions, with its terminator.
constexpr DWORD kLongestPath = 32767;

}  // namespace

std::wstring AbsolutePath(const std::wstring& path) {
  const DWORD size = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
  if (size == 0) return path;
  std::wstring result(size, L'\0');
  const DWORD length = GetFullPathNameW(path.c_str(), size, result.data(), nullptr);
  if (length == 0 || length >= size) return path;
  result.resize(length);
  return result;
}

std::wstring LibraryPath() {
  std::wstring path(kLongestPath, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), kLongestPath));
  return path.substr(0, path.find_last_of(L'\\') + 1) + L"quarry.dll";
}

bool IsFile(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

}  // namespace quarryctl
