#pragma once

#include "lib/misc/win32uRegistry.h"

#include <windows.h>

#include <limits>
#include <optional>
#include <string>

// Reading names and commands that any program may have written: values need not be terminated, nor be texts, nor short.

/// A value that should be a text.
struct RegistryText {
  bool exists = false;  ///< a value of whatever type
  /// As written (REG_SZ or REG_EXPAND_SZ), up to its first NUL or its end. Nothing for a value of another type, and for
  /// one that is longer than was asked for.
  std::optional<std::wstring> text;
};

/// Reads a value of at most `maxBytes`. The empty name is the default value.
RegistryText AppUtilQueryRegistryText(HKEY key, const std::wstring& valueName,
                                      DWORD maxBytes = std::numeric_limits<DWORD>::max());

/// The text alone: nothing also when there is no such value.
std::optional<std::wstring> AppUtilReadRegistryText(HKEY key, const std::wstring& valueName,
                                                    DWORD maxBytes = std::numeric_limits<DWORD>::max());

/// Whether there is such a value, of whatever type.
bool AppUtilHasRegistryValue(HKEY key, const std::wstring& valueName);

/// The text of a value that is being enumerated, in UTF-8, as a key that is opened with `view` has it. Nothing, with a
/// message of `function`, when it cannot be read.
std::optional<std::string> AppUtilReadEnumeratedText(const WinRegValue& value, REGSAM view, const char* function);

/// A value's text in UTF-8. Nothing, with a message, when it cannot be read.
std::optional<std::string> AppUtilReadRegistryValue(HKEY key, const std::string& valueName);
