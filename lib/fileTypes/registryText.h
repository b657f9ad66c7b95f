#pragma once

#include <windows.h>

#include <limits>
#include <optional>
#include <string>

// Reading names and commands that any program may have written: values need not be terminated, nor be texts, nor short.

/// The bytes of a value of whatever type; nothing when it is absent. The empty name is the default value.
std::optional<DWORD> AppUtilRegistryValueSize(HKEY key, const std::wstring& valueName);

/// A value's text as written (REG_SZ or REG_EXPAND_SZ), up to its first NUL or its end. Nothing when it is absent, of
/// another type or longer than `size` bytes.
std::optional<std::wstring> AppUtilReadRegistryTextOfSize(HKEY key, const std::wstring& valueName, DWORD size);

/// The same for a value whose size is not known, but at most `maxBytes`.
std::optional<std::wstring> AppUtilReadRegistryText(HKEY key, const std::wstring& valueName,
                                                    DWORD maxBytes = std::numeric_limits<DWORD>::max());

/// The text of a key's default value. Nothing when the key or the value is not there.
std::optional<std::wstring> AppUtilReadRegistryDefault(HKEY rootKey, const std::string& path);

/// A value's text in UTF-8. Nothing, with a message, when it cannot be read.
std::optional<std::string> AppUtilReadRegistryValue(HKEY key, const std::string& valueName);
