#include "quarry/icons/cacheFolder.h"

#include "quarry/config/config.h"
#include "quarry/diagnostics/log.h"
#include "quarry/paths/pathParts.h"

#include "lib/misc/pathTrust.h"
#include "lib/misc/platformHandles.h"

#include <windows.h>

#include <shlobj.h>

namespace quarry {

namespace {

/// The common application-data folder, or empty.
std::wstring CommonFolder() {
  wchar_t folder[MAX_PATH];
  const HRESULT result = SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, folder);
  return result == S_OK ? folder : std::wstring();
}

std::wstring DefaultCacheFolder(const std::wstring& commonFolder) {
  if (commonFolder.empty()) return {};
  return JoinPath(JoinPath(JoinPath(commonFolder, L"Velkor"), L"Velkor Quarry"), L"IconCache");
}

/// Makes the folder where there is none. Returns the platform's error.
DWORD ProvideFolder(const std::wstring& folder, const PathTrust& trust) {
  const UniqueLocal<void> rights = trust.IsNeeded() ? NewFolderDescriptor() : nullptr;
  if (trust.IsNeeded() && !rights) return ERROR_NOT_ENOUGH_MEMORY;
  const SECURITY_ATTRIBUTES security{sizeof(security), rights.get(), FALSE};
  const int error = SHCreateDirectoryExW(nullptr, folder.c_str(), rights ? &security : nullptr);
  if (error != ERROR_SUCCESS && error != ERROR_ALREADY_EXISTS) return static_cast<DWORD>(error);
  // A file of that name is there already, too.
  const DWORD attributes = GetFileAttributesW(folder.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) return GetLastError();
  return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? ERROR_SUCCESS : ERROR_DIRECTORY;
}

bool IsFolderTrusted(const JudgedFolder& folder, const PathTrust& trust) {
  const PathJudgement judgement = trust.JudgeFolder(folder);
  if (judgement.takenOver) {
    Log(LogLevel::Warning, L"Only administrators may write to PNG cache folder \"%s\" from now on\n",
        folder.path.c_str());
  }
  if (judgement.IsTrusted()) return true;
  Log(LogLevel::Error, L"Untrusted PNG cache folder \"%s\", owner %s: %s\n", folder.path.c_str(),
      judgement.owner.c_str(), ReasonFor(judgement.distrust));
  return false;
}

/// A folder is made only once the one above it is trusted: it could be planted to lead elsewhere.
bool TryCacheFolder(const std::wstring& folder, const std::wstring& commonFolder, const PathTrust& trust) {
  if (folder.empty()) return false;
  Log(LogLevel::Detail, L"Trying PNG cache folder \"%s\"\n", folder.c_str());
  for (const JudgedFolder& part : trust.FoldersToJudge(folder, commonFolder)) {
    const DWORD error = ProvideFolder(part.path, trust);
    if (error != ERROR_SUCCESS) {
      Log(LogLevel::Error, L"Invalid PNG cache folder \"%s\", error %ld\n", folder.c_str(), static_cast<long>(error));
      return false;
    }
    if (!IsFolderTrusted(part, trust)) return false;
  }
  Log(LogLevel::Detail, L"Using PNG cache folder \"%s\"\n", folder.c_str());
  return true;
}

}  // namespace

std::wstring ChooseCacheFolder(const Config& config, const PathTrust& trust) {
  const std::wstring commonFolder = CommonFolder();
  for (const std::wstring& folder : {config.GetString(Setting::IconCacheDir), DefaultCacheFolder(commonFolder)}) {
    if (TryCacheFolder(folder, commonFolder, trust)) return folder;
  }
  Log(LogLevel::Error, L"Unable to create any PNG cache folder!\n");
  return {};
}

}  // namespace quarry
