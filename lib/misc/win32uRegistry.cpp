#include "lib/misc/win32uRegistry.h"

#include "lib/unicode/unicode.h"

namespace {

void KeepFirst(LSTATUS& kept, LSTATUS result) {
  if (kept == ERROR_SUCCESS) kept = result;
}

/// One value as RegEnumValueW gives it, with its data where that is short.
struct EnumeratedValue {
  std::wstring name = std::wstring(kWinRegValueNameCapacity, L'\0');
  DWORD nameLength = 0;
  DWORD type = REG_NONE;
  std::wstring data = std::wstring(kWinRegVisitedDataBytes / sizeof(wchar_t) + 2, L'\0');
  DWORD dataSize = 0;
  bool isLong = false;

  LSTATUS Get(HKEY key, DWORD index) {
    auto* const bytes = reinterpret_cast<BYTE*>(data.data());
    nameLength = kWinRegValueNameCapacity;
    dataSize = kWinRegVisitedDataBytes;
    const LSTATUS status = RegEnumValueW(key, index, name.data(), &nameLength, nullptr, &type, bytes, &dataSize);
    isLong = status == ERROR_MORE_DATA;
    if (!isLong) return status;
    nameLength = kWinRegValueNameCapacity;
    return RegEnumValueW(key, index, name.data(), &nameLength, nullptr, &type, nullptr, nullptr);
  }
  std::optional<std::span<const std::uint8_t>> Data() const {
    if (isLong) return std::nullopt;
    return std::span(reinterpret_cast<const std::uint8_t*>(data.data()), dataSize);
  }
};

}  // namespace

LSTATUS WinReg_OpenKey(HKEY rootKey, const std::string& path, REGSAM access, UniqueRegistryKey& key) {
  return RegOpenKeyExW(rootKey, Unicode_WideFromUtf8(path).c_str(), 0, access, key.put());
}

LSTATUS WinReg_EnumerateSubkeys(HKEY rootKey, const std::string& path, const WinRegSubkeyVisitor& visit) {
  UniqueRegistryKey key;
  LSTATUS status = WinReg_OpenKey(rootKey, path, KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS, key);
  if (status != ERROR_SUCCESS) return status;
  DWORD count = 0;
  DWORD longestClass = 0;  // class names have no documented limit
  status = RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, &count, nullptr, &longestClass, nullptr, nullptr,
                            nullptr, nullptr, nullptr);
  if (status != ERROR_SUCCESS) return status;

  LSTATUS kept = ERROR_SUCCESS;
  bool proceed = true;
  std::wstring name(kWinRegKeyNameCapacity, L'\0');
  std::wstring className(static_cast<std::size_t>(longestClass) + 1, L'\0');
  for (DWORD index = 0; index < count && proceed; ++index) {
    DWORD nameLength = kWinRegKeyNameCapacity;
    DWORD classLength = longestClass + 1;
    FILETIME lastWriteTime{};
    status = RegEnumKeyExW(key.get(), index, name.data(), &nameLength, nullptr, className.data(), &classLength,
                           &lastWriteTime);
    if (status == ERROR_NO_MORE_ITEMS) break;  // a subkey went away since they were counted
    if (status != ERROR_SUCCESS) {
      KeepFirst(kept, status);
      break;
    }
    const std::string nameUtf8 = Unicode_Utf8FromWide({name.data(), nameLength});
    const std::string classUtf8 = Unicode_Utf8FromWide({className.data(), classLength});
    KeepFirst(kept, visit({rootKey, path, nameUtf8, classUtf8, lastWriteTime}, proceed));
  }
  return kept;
}

LSTATUS WinReg_EnumerateValues(HKEY rootKey, const std::string& path, REGSAM extraAccess,
                               const WinRegValueVisitor& visit) {
  UniqueRegistryKey key;
  LSTATUS status = WinReg_OpenKey(rootKey, path, KEY_QUERY_VALUE | extraAccess, key);
  if (status != ERROR_SUCCESS) return status;
  DWORD count = 0;
  status = RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &count, nullptr, nullptr,
                            nullptr, nullptr);
  if (status != ERROR_SUCCESS) return status;

  LSTATUS kept = ERROR_SUCCESS;
  bool proceed = true;
  EnumeratedValue value;
  for (DWORD index = 0; index < count && proceed; ++index) {
    status = value.Get(key.get(), index);
    if (status == ERROR_NO_MORE_ITEMS) break;  // a value went away since they were counted
    if (status != ERROR_SUCCESS) {
      KeepFirst(kept, status);
      break;
    }
    const std::string nameUtf8 = Unicode_Utf8FromWide({value.name.data(), value.nameLength});
    KeepFirst(kept, visit({rootKey, path, nameUtf8, value.type, value.Data()}, proceed));
  }
  return kept;
}
