#include "lib/fileTypes/declaredTypes.h"

#include "lib/appUtil/allocationGuard.h"
#include "lib/fileTypes/fileTypeRecord.h"
#include "lib/fileTypes/registryText.h"
#include "lib/misc/logEntry.h"

#include <boost/make_shared.hpp>

#include <optional>
#include <string>

namespace {

constexpr const char* kBrowserKeys[] = {"FirefoxURL", "SafariURL", "Applications\\Opera.exe",
                                        "Applications\\iexplore.exe", "ChromeHTML"};
constexpr const char* kBrowserProtocols[] = {"http", "https"};

bool CanOpen(HKEY rootKey, const std::string& path, REGSAM access) {
  UniqueRegistryKey key;
  return WinReg_OpenKey(rootKey, path, access, key) == ERROR_SUCCESS;
}

void LogUnopened(const char* function, const std::string& path) {
  LogEntry(function, "Unable to open key with path %s\n", path.c_str());
}

bool IsText(const WinRegValue& value, const char* function) {
  if (value.type == REG_SZ) return true;
  LogEntry(function, "Key type %d is not REG_SZ\n", value.type);
  return false;
}

void AddApplicationsFromSoftwareClientsMailCB(const WinRegSubkey& client, FileTypeList& types) {
  const std::string path = client.path + '\\' + client.name + R"(\Protocols\mailto\shell\open\command)";
  UniqueRegistryKey key;
  if (WinReg_OpenKey(client.rootKey, path, KEY_QUERY_VALUE, key) != ERROR_SUCCESS) {
    LogUnopened(__func__, path);
    return;
  }
  const std::optional<std::wstring> command = AppUtilReadRegistryText(key.get(), L"");
  if (!command) return;
  const auto record = boost::make_shared<FileTypeInfoWin32>("mailto", 1u);
  record->AddApplicationWithCommandLine(*command);
  types.push_back(record);
}

/// One declared type: the value's name is an extension or protocol, its data the prog ID that opens it.
void AddApplicationsFromCapabilitiesHelper(const WinRegValue& value, std::uint32_t isProtocol, REGSAM view,
                                           FileTypeList& types) {
  if (value.name.empty()) return;  // the key's default value declares no type
  if (!IsText(value, __func__)) return;
  const std::optional<std::string> progId = AppUtilReadEnumeratedText(value, view, __func__);
  if (!progId) return;
  const auto record = boost::make_shared<FileTypeInfoWin32>(value.name, isProtocol);
  record->AddHandlerForName(*progId);
  types.push_back(record);
}

/// One application: the value's data is the path of its capabilities.
void AddApplicationsFromCapabilitiesAssociationsListCB(const WinRegValue& value, FileTypeList& types) {
  static constexpr struct {
    const char* key;
    std::uint32_t isProtocol;
    REGSAM view;
  } kLists[] = {
      {"\\FileAssociations", 0, 0},
      {"\\URLAssociations", 1, 0},
      {"\\FileAssociations", 0, KEY_WOW64_32KEY},
      {"\\URLAssociations", 1, KEY_WOW64_32KEY},
  };
  if (!IsText(value, __func__)) return;
  const std::optional<std::string> capabilities = AppUtilReadEnumeratedText(value, 0, __func__);
  if (!capabilities) return;
  for (const auto& list : kLists) {
    const std::string path = *capabilities + list.key;
    if (!CanOpen(HKEY_LOCAL_MACHINE, path, KEY_QUERY_VALUE | list.view)) {
      LogUnopened(__func__, path);
      continue;
    }
    WinReg_EnumerateValues(HKEY_LOCAL_MACHINE, path, list.view, [&](const WinRegValue& type, bool& /*proceed*/) {
      AddApplicationsFromCapabilitiesHelper(type, list.isProtocol, list.view, types);
      return ERROR_SUCCESS;
    });
  }
}

}  // namespace

void AppUtilAddBrowsers(FileTypeList& types) {
  for (const char* const browser : kBrowserKeys) {
    if (!CanOpen(HKEY_CLASSES_ROOT, browser, KEY_READ)) continue;
    for (const char* const protocol : kBrowserProtocols) {
      // Messages name the browser while its command is read.
      const auto record = boost::make_shared<FileTypeInfoWin32>(browser, 1u);
      record->AddOpenCommand(browser);
      record->typeName = protocol;
      types.push_back(record);
    }
  }
}

void AppUtilAddMailClients(FileTypeList& types) {
  WinReg_EnumerateSubkeys(HKEY_LOCAL_MACHINE, "Software\\Clients\\Mail",
                          [&](const WinRegSubkey& client, bool& /*proceed*/) {
                            AppUtilGuardAllocation(kFileTypesSource, __LINE__,
                                                   [&] { AddApplicationsFromSoftwareClientsMailCB(client, types); });
                            return ERROR_SUCCESS;
                          });
}

void AppUtilAddCapabilities(FileTypeList& types) {
  WinReg_EnumerateValues(HKEY_LOCAL_MACHINE, "Software\\RegisteredApplications", 0,
                         [&](const WinRegValue& application, bool& /*proceed*/) {
                           AppUtilGuardAllocation(kFileTypesSource, __LINE__, [&] {
                             AddApplicationsFromCapabilitiesAssociationsListCB(application, types);
                           });
                           return ERROR_SUCCESS;
                         });
}
