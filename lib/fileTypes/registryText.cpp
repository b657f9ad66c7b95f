#include "lib/fileTypes/registryText.h"

#include "lib/misc/logEntry.h"
#include "lib/misc/win32uRegistry.h"
#include "lib/unicode/unicode.h"

#include <cwchar>

std::optional<DWORD> AppUtilRegistryValueSize(HKEY key, const std::wstring& valueName) {
  DWORD size = 0;
  if (RegQueryValueExW(key, valueName.c_str(), nullptr, nullptr, nullptr, &size) != ERROR_SUCCESS) return std::nullopt;
  return size;
}

std::optional<std::wstring> AppUtilReadRegistryTextOfSize(HKEY key, const std::wstring& valueName, DWORD size) {
  // Units more, so that half a unit at the end has room, and the end that Wine (8.0) writes behind a value of one byte.
  std::wstring text(size / sizeof(wchar_t) + 2, L'\0');
  DWORD type = REG_NONE;
  if (RegQueryValueExW(key, valueName.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(text.data()), &size) !=
      ERROR_SUCCESS) {
    return std::nullopt;
  }
  if (type != REG_SZ && type != REG_EXPAND_SZ) return std::nullopt;
  text.resize(wcsnlen(text.c_str(), size / sizeof(wchar_t)));
  return text;
}

std::optional<std::wstring> AppUtilReadRegistryText(HKEY key, const std::wstring& valueName, DWORD maxBytes) {
  const std::optional<DWORD> size = AppUtilRegistryValueSize(key, valueName);
  if (!size || *size > maxBytes) return std::nullopt;
  return AppUtilReadRegistryTextOfSize(key, valueName, *size);
}

std::optional<std::wstring> AppUtilReadRegistryDefault(HKEY rootKey, const std::string& path) {
  UniqueRegistryKey key;
  if (WinReg_OpenKey(rootKey, path, KEY_READ, key) != ERROR_SUCCESS) return std::nullopt;
  return AppUtilReadRegistryText(key.get(), L"");
}

std::optional<std::string> AppUtilReadRegistryValue(HKEY key, const std::string& valueName) {
  const std::wstring wideName = Unicode_WideFromUtf8(valueName);
  const std::optional<DWORD> size = AppUtilRegistryValueSize(key, wideName);
  if (!size) {
    LogEntry(__func__, "Unable to obtain key size of registry value %s\n", valueName.c_str());
    return std::nullopt;
  }
  const std::optional<std::wstring> text = AppUtilReadRegistryTextOfSize(key, wideName, *size);
  if (!text) {
    LogEntry(__func__, "Unable to query value of regValue %s\n", valueName.c_str());
    return std::nullopt;
  }
  return Unicode_Utf8FromWide(*text);
}
