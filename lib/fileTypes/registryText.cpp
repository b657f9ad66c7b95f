#include "lib/fileTypes/registryText.h"

#include "lib/misc/logEntry.h"
#include "lib/unicode/unicode.h"

#include <array>
#include <cwchar>
#include <string_view>

namespace {

// Most names and commands are shorter.
constexpr std::size_t kUsualUnits = 256;

// Room behind a value: for half a unit at its end, and for the end that Wine (8.0) writes behind one of one byte.
constexpr std::size_t kUnitsBehind = 2;

std::optional<std::wstring> TextOf(DWORD type, const wchar_t* data, std::size_t bytes) {
  if (type != REG_SZ && type != REG_EXPAND_SZ) return std::nullopt;
  return std::wstring(data, wcsnlen(data, bytes / sizeof(wchar_t)));
}

LSTATUS QueryValue(HKEY key, const std::wstring& name, DWORD& type, wchar_t* data, DWORD& bytes) {
  return RegQueryValueExW(key, name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(data), &bytes);
}

}  // namespace

RegistryText AppUtilQueryRegistryText(HKEY key, const std::wstring& valueName, DWORD maxBytes) {
  std::array<wchar_t, kUsualUnits + kUnitsBehind> usual{};
  DWORD type = REG_NONE;
  DWORD size = kUsualUnits * sizeof(wchar_t);
  const LSTATUS status = QueryValue(key, valueName, type, usual.data(), size);
  if (status != ERROR_SUCCESS && status != ERROR_MORE_DATA) return {};
  if (size > maxBytes) return {true, std::nullopt};
  if (status == ERROR_SUCCESS) return {true, TextOf(type, usual.data(), size)};
  std::wstring large(size / sizeof(wchar_t) + kUnitsBehind, L'\0');
  if (QueryValue(key, valueName, type, large.data(), size) != ERROR_SUCCESS) return {true, std::nullopt};
  return {true, TextOf(type, large.data(), size)};
}

std::optional<std::wstring> AppUtilReadRegistryText(HKEY key, const std::wstring& valueName, DWORD maxBytes) {
  return AppUtilQueryRegistryText(key, valueName, maxBytes).text;
}

bool AppUtilHasRegistryValue(HKEY key, const std::wstring& valueName) {
  return RegQueryValueExW(key, valueName.c_str(), nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}

std::optional<std::string> AppUtilReadEnumeratedText(const WinRegValue& value, REGSAM view, const char* function) {
  if (value.data) {
    const std::optional<std::wstring> text =
        TextOf(value.type, reinterpret_cast<const wchar_t*>(value.data->data()), value.data->size());
    return text ? std::optional(Unicode_Utf8FromWide(*text)) : std::nullopt;
  }
  UniqueRegistryKey key;
  if (WinReg_OpenKey(value.rootKey, value.path, KEY_QUERY_VALUE | view, key) != ERROR_SUCCESS) {
    LogEntry(function, "Unable to open key with path %s\n", value.path.c_str());
    return std::nullopt;
  }
  return AppUtilReadRegistryValue(key.get(), value.name);
}

std::optional<std::string> AppUtilReadRegistryValue(HKEY key, const std::string& valueName) {
  const RegistryText value = AppUtilQueryRegistryText(key, Unicode_WideFromUtf8(valueName));
  if (!value.exists) {
    LogEntry(__func__, "Unable to obtain key size of registry value %s\n", valueName.c_str());
    return std::nullopt;
  }
  if (!value.text) {
    LogEntry(__func__, "Unable to query value of regValue %s\n", valueName.c_str());
    return std::nullopt;
  }
  return Unicode_Utf8FromWide(*value.text);
}
