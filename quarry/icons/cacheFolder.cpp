#include "quarry/icons/cacheFolder.h"

#include "quarry/config/config.h"
#include "quarry/diagnostics/log.h"
#include "quarry/paths/pathParts.h"

#include "lib/string/str.h"

#include <windows.h>

#include <shlobj.h>

#include <algorithm>
#include <cwchar>

namespace quarry {

namespace {

constexpr std::size_t kMostDigits = 63;

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

/// Reads a dash and the number behind it, and moves `text` past both.
std::optional<int> ParseDashedNumber(const wchar_t*& text) {
  if (*text != L'-') return std::nullopt;
  wchar_t* end = nullptr;
  const long number = std::wcstol(text + 1, &end, 10);
  if (end == text + 1 || number < 0) return std::nullopt;
  text = end;
  return static_cast<int>(number);
}

}  // namespace

std::wstring ChooseCacheFolder(const Config& config) {
  for (const std::wstring& folder : {config.GetString(Setting::IconCacheDir), DefaultCacheFolder()}) {
    if (TryCacheFolder(folder)) return folder;
  }
  Log(LogLevel::Error, L"Unable to create any PNG cache folder!\n");
  return {};
}

std::wstring FormatPngName(const PngName& png) {
  return Str_FormatWide(L"%s-%d-%d.png", png.name.c_str(), png.width, png.height);
}

std::optional<PngName> ParsePngName(const std::wstring& fileName) {
  const std::size_t digits = std::min(fileName.find_first_not_of(L"0123456789abcdef"), fileName.size());
  if (digits == 0 || digits > kMostDigits) return std::nullopt;
  const wchar_t* rest = fileName.c_str() + digits;
  const std::optional<int> width = ParseDashedNumber(rest);
  const std::optional<int> height = width ? ParseDashedNumber(rest) : std::nullopt;
  if (!height) return std::nullopt;
  return PngName{fileName.substr(0, digits), *width, *height};
}

}  // namespace quarry
