#include "lib/misc/sourceFile.h"

#include "lib/misc/fileBytes.h"

#include <windows.h>

#include <shlwapi.h>

namespace {

constexpr wchar_t kDefaultExtension[] = L".dll";

std::wstring FindOnSearchPath(const std::wstring& name) {
  wchar_t found[MAX_PATH] = {};
  const DWORD length = SearchPathW(nullptr, name.c_str(), kDefaultExtension, MAX_PATH, found, nullptr);
  return length != 0 && length < MAX_PATH ? std::wstring(found) : name;
}

}  // namespace

SourceFile OpenSourceFile(const std::wstring& path) {
  SourceFile source;
  source.path = PathIsRelativeW(path.c_str()) != FALSE ? FindOnSearchPath(path) : path;
  source.file = OpenDiskFile(source.path, FILE_SHARE_READ);
  if (source.file || GetLastError() != ERROR_FILE_NOT_FOUND || *PathFindExtensionW(path.c_str()) != L'\0') {
    return source;
  }
  source.path += kDefaultExtension;
  source.file = OpenDiskFile(source.path, FILE_SHARE_READ);
  return source;
}
