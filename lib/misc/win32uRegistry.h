#pragma once

#include "lib/misc/platformHandles.h"

#include <windows.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

// The registry with UTF-8 key and value names.

/// Room for the longest name of a key or a value and its terminator. Source: Microsoft Learn, "Registry Element Size
/// Limits".
constexpr DWORD kWinRegKeyNameCapacity = 255 + 1;
constexpr DWORD kWinRegValueNameCapacity = 16383 + 1;

/// The longest data of a value that comes with its name.
constexpr DWORD kWinRegVisitedDataBytes = 1024;

/// Opens `rootKey`\`path`. Returns the platform's error code, 0 when `key` was set.
LSTATUS WinReg_OpenKey(HKEY rootKey, const std::string& path, REGSAM access, UniqueRegistryKey& key);

/// What a visitor is told of one subkey.
struct WinRegSubkey {
  HKEY rootKey;                  ///< the root key that was passed in
  const std::string& path;       ///< the path that was passed in
  const std::string& name;       ///< the subkey's name
  const std::string& className;  ///< the subkey's class, mostly empty
  FILETIME lastWriteTime;
};

/// What a visitor is told of one value.
struct WinRegValue {
  HKEY rootKey;             ///< the root key that was passed in
  const std::string& path;  ///< the path that was passed in
  const std::string& name;  ///< the value's name; empty for the default value
  DWORD type;               ///< REG_SZ, REG_NONE, ...
  /// Its data as it stands, aligned for UTF-16; nothing when that is longer than kWinRegVisitedDataBytes.
  std::optional<std::span<const std::uint8_t>> data;
};

/// Visitors return a Windows error code and may set `proceed` (true when they are called) to false to stop.
using WinRegSubkeyVisitor = std::function<LSTATUS(const WinRegSubkey& subkey, bool& proceed)>;
using WinRegValueVisitor = std::function<LSTATUS(const WinRegValue& value, bool& proceed)>;

/// Calls `visit` for each subkey of `rootKey`\`path`. Returns the error of opening or enumerating the key, else the
/// first non-zero result of a visitor (later subkeys are visited all the same), else 0.
LSTATUS WinReg_EnumerateSubkeys(HKEY rootKey, const std::string& path, const WinRegSubkeyVisitor& visit);

/// The same for values. `extraAccess` (0, KEY_WOW64_32KEY or KEY_WOW64_64KEY) selects the registry view.
LSTATUS WinReg_EnumerateValues(HKEY rootKey, const std::string& path, REGSAM extraAccess,
                               const WinRegValueVisitor& visit);
