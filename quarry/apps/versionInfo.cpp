#include "quarry/apps/versionInfo.h"

#include "quarry/diagnostics/log.h"

#include "lib/misc/versionBlock.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace quarry {

VersionStrings ReadVersionInfo(const std::wstring& path) {
  DWORD ignored = 0;
  const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &ignored);
  if (size == 0) {
    const DWORD error = GetLastError();
    if (error == ERROR_RESOURCE_TYPE_NOT_FOUND) {
      Log(LogLevel::Warning, L"No VersionInfo in %s\n", path.c_str());
    } else {
      Log(LogLevel::Warning, L"Failed to load VersionInfo from %s, error %ld\n", path.c_str(), error);
    }
    return {};
  }
  // A buffer that is smaller than the resource receives its beginning (Microsoft Learn, GetFileVersionInfoW).
  std::vector<std::uint8_t> resource(std::min<std::size_t>(size, VersionBlock::kLongestResource));
  if (GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(resource.size()), resource.data()) == FALSE) {
    Log(LogLevel::Warning, L"Failed to load VersionInfo from %s, error %ld\n", path.c_str(), GetLastError());
    return {};
  }

  // Some tools write strings without a translation table: these are looked for in the usual language all the same.
  const VersionBlock block(resource);
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
