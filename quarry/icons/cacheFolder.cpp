#include "quarry/icons/cacheFolder.h"

#include "quarry/config/config.h"
#include "quarry/diagnostics/log.h"
#include "quarry/paths/pathParts.h"

#include "lib/misc/platformHandles.h"
#include "lib/misc/trustedPath.h"

#include <windows.h>

#include <sddl.h>
#include <shlobj.h>

namespace quarry {

namespace {

// For those that a privileged process makes: administrators and the system everything, users reading, nothing inherited
// (Microsoft Learn, "Security Descriptor String Format").
constexpr wchar_t kFolderRights[] = L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FRFX;;;BU)";

std::wstring CommonDataFolder() {
  wchar_t folder[MAX_PATH];
  const HRESULT result = SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, folder);
  return result == S_OK ? std::wstring(folder) : std::wstring();
}

std::wstring DefaultCacheFolder(const std::wstring& commonData) {
  if (commonData.empty()) return {};
  return JoinPath(JoinPath(JoinPath(commonData, L"Velkor"), L"Velkor Quarry"), L"IconCache");
}

/// Makes the folder and what is missing above it. The platform's error; ERROR_DIRECTORY when it is there and no folder.
int MakeFolder(const std::wstring& folder, SECURITY_ATTRIBUTES* rights) {
  const int error = SHCreateDirectoryExW(nullptr, folder.c_str(), rights);
  if (error != ERROR_ALREADY_EXISTS) return error;
  const DWORD found = GetFileAttributesW(folder.c_str());
  return found == INVALID_FILE_ATTRIBUTES || (found & FILE_ATTRIBUTE_DIRECTORY) != 0 ? ERROR_SUCCESS : ERROR_DIRECTORY;
}

/// The same, each of its own folders with rights that keep all others out.
int MakeProtectedFolder(const std::wstring& folder, const std::wstring& commonData) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (ConvertStringSecurityDescriptorToSecurityDescriptorW(kFolderRights, SDDL_REVISION_1, &descriptor, nullptr) ==
      FALSE) {
    return static_cast<int>(GetLastError());
  }
  const UniqueLocal<void> descriptorOwner(descriptor);
  SECURITY_ATTRIBUTES rights{sizeof(rights), descriptor, FALSE};
  // One by one: the shell's function gives the rights to the last one only.
  int error = ERROR_SUCCESS;
  for (const std::wstring& part : FoldersBelow(commonData, folder)) {
    if (error == ERROR_SUCCESS) error = MakeFolder(part, &rights);
  }
  return error;
}

bool TryCacheFolder(const std::wstring& folder, const std::wstring& commonData) {
  if (folder.empty()) return false;
  Log(LogLevel::Detail, L"Trying PNG cache folder \"%s\"\n", folder.c_str());
  const bool isPrivileged = IsPrivilegedProcess();
  const int error = isPrivileged ? MakeProtectedFolder(folder, commonData) : MakeFolder(folder, nullptr);
  if (error != ERROR_SUCCESS) {
    Log(LogLevel::Error, L"Invalid PNG cache folder \"%s\", error %ld\n", folder.c_str(), static_cast<long>(error));
    return false;
  }
  // An ordinary user's folder is that user's matter.
  const auto distrust = isPrivileged ? FindDistrustOnPath(commonData, folder) : std::nullopt;
  if (distrust) {
    Log(LogLevel::Error, L"Untrusted PNG cache folder \"%s\": \"%s\" (owner %s) %s\n", folder.c_str(),
        distrust->path.c_str(), distrust->owner.c_str(), distrust->reason.c_str());
    return false;
  }
  Log(LogLevel::Detail, L"Using PNG cache folder \"%s\"\n", folder.c_str());
  return true;
}

}  // namespace

std::wstring ChooseCacheFolder(const Config& config) {
  const std::wstring commonData = CommonDataFolder();
  for (const std::wstring& folder : {config.GetString(Setting::IconCacheDir), DefaultCacheFolder(commonData)}) {
    if (TryCacheFolder(folder, commonData)) return folder;
  }
  Log(LogLevel::Error, L"Unable to create any PNG cache folder!\n");
  return {};
}

}  // namespace quarry
