#include "lib/seamlyFilter/seamlyFilterData.h"

#include "lib/appUtil/appUtilWin32.h"
#include "lib/misc/logEntry.h"
#include "lib/misc/versionBlock.h"
#include "lib/unicode/unicode.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <vector>

namespace {

constexpr char kGetData[] = "SeamlyFilterGetData";
constexpr std::size_t kMaxText = 780;  // bytes, terminator included

/// Cut between two characters.
std::string BoundedUtf8(const std::wstring& text) {
  std::string utf8 = Unicode_Utf8FromWide(text);
  if (utf8.size() < kMaxText) return utf8;
  std::size_t length = kMaxText - 1;
  while (length > 0 && (static_cast<unsigned char>(utf8[length]) & 0xC0) == 0x80) --length;
  utf8.resize(length);
  return utf8;
}

/// Empty, with a message, for a file without a readable version resource.
std::vector<std::uint8_t> ReadVersionResource(const wchar_t* path, HWND window) {
  DWORD ignored = 0;
  const DWORD size = GetFileVersionInfoSizeW(path, &ignored);
  if (size == 0) {
    LogEntry("%s: unable to get version info size of window 0x%p (err=%u).\n", kGetData, window, GetLastError());
    return {};
  }
  // A buffer that is smaller than the resource receives its beginning (Microsoft Learn, GetFileVersionInfoW).
  std::vector<std::uint8_t> resource(std::min<std::size_t>(size, VersionBlock::kLongestResource));
  if (GetFileVersionInfoW(path, 0, static_cast<DWORD>(resource.size()), resource.data()) == FALSE) {
    LogEntry("%s: GetFileVersionInfo failed for window 0x%p (err=%u).\n", kGetData, window, GetLastError());
    return {};
  }
  return resource;
}

bool ReadNumbers(const VersionBlock& block, SeamlyFilterData& data) {
  std::uint32_t length = 0;
  const void* const root = block.Find(L"\\", length);
  VS_FIXEDFILEINFO info{};
  if (root == nullptr || std::min<std::size_t>(length, block.BytesFrom(root)) < sizeof(info)) return false;
  std::memcpy(&info, root, sizeof(info));
  data.major = HIWORD(info.dwFileVersionMS);
  data.minor = LOWORD(info.dwFileVersionMS);
  data.build = HIWORD(info.dwFileVersionLS);
  data.revision = LOWORD(info.dwFileVersionLS);
  return true;
}

void ReadNames(const VersionBlock& block, HWND window, SeamlyFilterData& data) {
  const std::optional<std::wstring> languageCodePage = block.FirstLanguageCodePage();
  if (!languageCodePage) {
    LogEntry("%s: unable to get process translation data of window 0x%p (err=%u).\n", kGetData, window, GetLastError());
    return;
  }
  data.company = BoundedUtf8(QueryVersionString(block, *languageCodePage, L"CompanyName"));
  if (data.company.empty()) {
    LogEntry("%s: unable to get company name of window 0x%p (err=%u).\n", kGetData, window, GetLastError());
  }
  data.product = BoundedUtf8(QueryVersionString(block, *languageCodePage, L"ProductName"));
  if (data.product.empty()) {
    LogEntry("%s: unable to get product name of window 0x%p (err=%u).\n", kGetData, window, GetLastError());
  }
}

void ReadVersion(const wchar_t* path, HWND window, SeamlyFilterData& data) {
  const std::vector<std::uint8_t> resource = ReadVersionResource(path, window);
  if (resource.empty()) return;
  const VersionBlock block(resource);
  if (!ReadNumbers(block, data)) {
    LogEntry("%s: unable to get version info of window 0x%p (err=%u).\n", kGetData, window, GetLastError());
  }
  ReadNames(block, window, data);
}

}  // namespace

std::optional<SeamlyFilterData> SeamlyFilterGetData(HWND window) {
  // Microsoft Learn, WNDCLASSEXW: a class name has at most 256 characters.
  wchar_t className[256 + 1] = {};
  if (GetClassNameW(window, className, static_cast<int>(std::size(className))) == 0) {
    LogEntry("%s: unable to classname of window 0x%p (err=%u)\n", kGetData, window, GetLastError());
    return std::nullopt;
  }
  SeamlyFilterData data;
  data.className = BoundedUtf8(className);
  const UniqueMalloc<wchar_t> path = System_GetImageFilePathForWindow(window);
  if (path != nullptr && *path != L'\0') ReadVersion(path.get(), window, data);
  return data;
}
