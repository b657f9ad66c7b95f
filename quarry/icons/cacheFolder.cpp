#include "quarry/icons/cacheFolder.h"

#include "quarry/config/config.h"
#include "quarry/diagnostics/log.h"
#include "quarry/paths/pathParts.h"

#include <windows.h>

#include <shlobj.h>

namespace quarry {

namespace {

std::wstring DefaultCacheFolder() {
  wchar_t folder[MAX_PATH];
  if (SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, folder) != S_OK) return {};
  return JoinPath(JoinPath(JoinPath(folder, L"Velkor"), L"Velkor Quarry"), L"IconCache");
}

bool TryCacheFolder(const std::wstring& folder) {
  if (folder.empty()) return false;
  Log(LogLevel::Detail, L"Trying PNG cache folder \"%s\"\n", folder.c_str());
  const int error = SHCreateDirectoryExW(nullptr, folder.c_str(), nullptr);
  if (error != ERROR_SUCCESS && error != ERROR_ALREADY_EXISTS) {
    Log(LogLevel::Error, L"Invalid PNG cache folder \"%s\", error %ld\n", folder.c_str(), static_cast<long>(error));
    return false;
  }
  Log(LogLevel::Detail, L"Using PNG cache folder \"%s\"\n", folder.c_str());
  return true;
}

}  // namespace

std::wstring ChooseCacheFolder(const Config& config) {
  for (const std::wstring& folder : {config.GetString(Setting::IconCacheDir), DefaultCacheFolder()}) {
    if (TryCacheFolder(folder)) return folder;
  }
  Log(LogLevel::Error, L"Unable to create any PNG cache folder!\n");
  return {};
}

}  // namespace quarry
