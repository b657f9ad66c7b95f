#include "quarry/apps/versionInfo.h"

#include "quarry/diagnostics/log.h"

#include "lib/misc/versionBlock.h"

#include <windows.h>

#include <cstdint>

namespace quarry {

VersionStrings ReadVersionInfo(const std::wstring& path) {
  const VersionResource resource = ReadVersionResource(path);
  if (!resource.block) {
    if (resource.failed == VersionCall::Size && resource.error == ERROR_RESOURCE_TYPE_NOT_FOUND) {
      Log(LogLevel::Warning, L"No VersionInfo in %s\n", path.c_str());
    } else {
      Log(LogLevel::Warning, L"Failed to load VersionInfo from %s, error %ld\n", path.c_str(), resource.error);
    }
    return {};
  }

  // Some tools write strings without a translation table: these are looked for in the usual language all the same.
  const VersionBlock& block = *resource.block;
  std::uint32_t tableSize = 0;
  if (block.Find(L"\\VarFileInfo\\Translation", tableSize) == nullptr) {
    Log(LogLevel::Warning, L"Failed to get VarFileInfo\\Translation from %s, error %ld\n", path.c_str(),
        GetLastError());
  }
  constexpr wchar_t kUsEnglishLatin1[] = L"040904e4";
  const std::wstring languageCodePage = block.FirstLanguageCodePage().value_or(kUsEnglishLatin1);

  VersionStrings strings;
  strings.productName = QueryVersionString(block, languageCodePage, L"ProductName");
  strings.productVersion = QueryVersionString(block, languageCodePage, L"ProductVersion");
  strings.comments = QueryVersionString(block, languageCodePage, L"Comments");
  strings.companyName = QueryVersionString(block, languageCodePage, L"CompanyName");
  strings.fileDescription = QueryVersionString(block, languageCodePage, L"FileDescription");
  strings.fileVersion = QueryVersionString(block, languageCodePage, L"FileVersion");
  return strings;
}

}  // namespace quarry
