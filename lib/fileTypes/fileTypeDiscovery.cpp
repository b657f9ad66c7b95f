#include "lib/fileTypes/fileTypeDiscovery.h"

#include "lib/appUtil/allocationGuard.h"
#include "lib/fileTypes/buildBudget.h"
#include "lib/fileTypes/declaredTypes.h"
#include "lib/fileTypes/fileTypeRecord.h"
#include "lib/fileTypes/lookupCaches.h"
#include "lib/fileTypes/lowerCase.h"
#include "lib/fileTypes/registryText.h"
#include "lib/misc/logEntry.h"
#include "lib/misc/osVersion.h"
#include "lib/misc/tickCount.h"
#include "lib/misc/win32uRegistry.h"

#include <boost/make_shared.hpp>

#include <unordered_map>

namespace {

using ApplicationTable = std::unordered_map<std::string, std::vector<ConstFileTypeInfoPtr>>;

constexpr char kBuildGlobalApplicationList[] = "AppUtil_BuildGlobalApplicationList";

constexpr std::uint32_t kCacheLifetimeMilliseconds = 60 * 60 * 1000;

ApplicationTable& GlobalApplications() {
  static ApplicationTable table;
  return table;
}

void ClearOldCaches() {
  static std::uint32_t clearedAt = 0;  // never
  const std::uint32_t now = TickCount_Now32();
  if (clearedAt != 0 && now - clearedAt < kCacheLifetimeMilliseconds) return;
  LogEntry(kBuildGlobalApplicationList, "Clearing the global app caches.\n");
  AppUtilFileTypeCaches().Clear();
  clearedAt = now;
}

bool IsProtocol(const std::string& className) {
  UniqueRegistryKey key;
  return WinReg_OpenKey(HKEY_CLASSES_ROOT, className, KEY_READ, key) == ERROR_SUCCESS &&
         AppUtilRegistryValueSize(key.get(), L"URL Protocol").has_value();
}

/// The extensions and, when asked for, the protocols among the classes of this host.
FileTypeList EnumerateTypes(std::uint32_t flags) {
  FileTypeList types;
  DWORD count = 0;
  if (RegQueryInfoKeyW(HKEY_CLASSES_ROOT, nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr, nullptr,
                       nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
    return types;
  }
  std::wstring buffer(kWinRegKeyNameCapacity, L'\0');
  for (DWORD index = 0; index < count; ++index) {
    DWORD length = kWinRegKeyNameCapacity;
    if (RegEnumKeyExW(HKEY_CLASSES_ROOT, index, buffer.data(), &length, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      continue;
    }
    const std::string name = Unicode_Utf8FromWide({buffer.data(), length});
    if (name.starts_with('.')) types.push_back(boost::make_shared<FileTypeInfoWin32>(name, 0u));
    if ((flags & kFileTypesProtocols) != 0 && IsProtocol(name)) {
      types.push_back(boost::make_shared<FileTypeInfoWin32>(name, 1u));
    }
  }
  return types;
}

void AddDeclaredTypes(std::uint32_t flags, FileTypeList& types) {
  if (Os_GetGeneration() >= kOsGenerationVista) {
    AppUtilAddCapabilities(types);
  } else if ((flags & kFileTypesProtocols) != 0) {
    AppUtilAddBrowsers(types);
    AppUtilAddMailClients(types);
  }
}

ApplicationTable FileByHandler(const FileTypeList& types) {
  ApplicationTable table;
  for (const FileTypeInfoPtr& type : types) {
    for (const std::string& path : type->handlerPaths) {
      std::vector<ConstFileTypeInfoPtr>& records = table[path];
      // A record's own entries follow one another, so the last one is the only one to look at.
      if (records.empty() || records.back() != type) records.emplace_back(type);
    }
  }
  return table;
}

}  // namespace

void AppUtil_BuildGlobalApplicationList(std::uint32_t flags) {
  ClearOldCaches();
  AppUtilFileTypeCaches().unresolvedNames.clear();
  const BuildBudget budget;
  FileTypeList types = EnumerateTypes(flags);
  for (const FileTypeInfoPtr& type : types) {
    AppUtilGuardAllocation(kFileTypesSource, __LINE__, [&] { type->Load(flags); });
  }
  AddDeclaredTypes(flags, types);
  GlobalApplications() = FileByHandler(types);
}

std::vector<ConstFileTypeInfoPtr> AppUtil_FindFileTypes(const std::string& applicationPath) {
  const std::optional<std::string> path = AppUtil_ToLowerUtf8(applicationPath);
  if (!path) return {};
  const auto entry = GlobalApplications().find(*path);
  return entry == GlobalApplications().end() ? std::vector<ConstFileTypeInfoPtr>() : entry->second;
}
