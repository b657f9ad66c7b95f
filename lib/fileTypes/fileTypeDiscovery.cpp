#include "lib/fileTypes/fileTypeDiscovery.h"

#include "lib/appUtil/allocationGuard.h"
#include "lib/fileTypes/buildBudget.h"
#include "lib/fileTypes/buildMemory.h"
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

/// The names of this host's classes: extensions, protocols and prog IDs.
std::vector<std::string> EnumerateClasses() {
  std::vector<std::string> names;
  DWORD count = 0;
  if (RegQueryInfoKeyW(HKEY_CLASSES_ROOT, nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr, nullptr,
                       nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
    return names;
  }
  std::wstring buffer(kWinRegKeyNameCapacity, L'\0');
  for (DWORD index = 0; index < count; ++index) {
    DWORD length = kWinRegKeyNameCapacity;
    if (RegEnumKeyExW(HKEY_CLASSES_ROOT, index, buffer.data(), &length, nullptr, nullptr, nullptr, nullptr) ==
        ERROR_SUCCESS) {
      names.push_back(Unicode_Utf8FromWide({buffer.data(), length}));
    }
  }
  return names;
}

/// Adds a record that is filled from the class's key, empty when that could not be opened.
void AddType(const std::string& name, std::uint32_t isProtocol, HKEY key, std::uint32_t flags, FileTypeList& types) {
  const auto type = boost::make_shared<FileTypeInfoWin32>(name, isProtocol);
  types.push_back(type);
  if (key != nullptr) AppUtilGuardAllocation(kFileTypesSource, __LINE__, [&] { type->LoadFrom(key, flags); });
}

/// Adds the class as an extension and, when protocols are asked for, as a protocol, where it is one.
void AddTypesOfClass(const std::string& name, std::uint32_t flags, FileTypeList& types) {
  const bool isExtension = name.starts_with('.');
  const bool mayBeProtocol = (flags & kFileTypesProtocols) != 0;
  if (!isExtension && !mayBeProtocol) return;
  UniqueRegistryKey key;
  WinReg_OpenKey(HKEY_CLASSES_ROOT, name, KEY_READ, key);
  if (isExtension) AddType(name, 0, key.get(), flags, types);
  if (mayBeProtocol && key && AppUtilHasRegistryValue(key.get(), L"URL Protocol")) {
    AddType(name, 1, key.get(), flags, types);
  }
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
  const BuildMemory memory;
  FileTypeList types;
  for (const std::string& name : EnumerateClasses()) AddTypesOfClass(name, flags, types);
  AddDeclaredTypes(flags, types);
  GlobalApplications() = FileByHandler(types);
}

std::vector<ConstFileTypeInfoPtr> AppUtil_FindFileTypes(const std::string& applicationPath) {
  const std::optional<std::string> path = AppUtil_ToLowerUtf8(applicationPath);
  if (!path) return {};
  const auto entry = GlobalApplications().find(*path);
  return entry == GlobalApplications().end() ? std::vector<ConstFileTypeInfoPtr>() : entry->second;
}
