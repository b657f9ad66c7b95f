#pragma once

#include "quarry/diagnostics/objectCounters.h"

#include "lib/misc/platformHandles.h"

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quarry {

/// The two keys that a value can come from: SOFTWARE\Policies\`root` and SOFTWARE\`root`.
enum class RegistryBranch { Policy, Ordinary };

/// Reads values of the local machine's registry below SOFTWARE\`root`. With `policyFirst` each read is tried below
/// SOFTWARE\Policies\`root` before, so that a group policy overrides the ordinary value.
class Registry {
 public:
  Registry(std::wstring root, bool policyFirst);
  virtual ~Registry() = default;

  /// Reads a REG_DWORD. Returns a Windows error code: 0 when `out` was set, 2 when the value is missing under every
  /// key (which is silent), 13 when it is of another type. Other errors are logged and returned. `out` stays as it was
  /// on failure, as does `branch`, which may be null: it tells where the value was found.
  LSTATUS ReadDword(const std::wstring& subkey, const std::wstring& valueName, std::uint32_t& out,
                    RegistryBranch* branch = nullptr) const;

  /// The same for a REG_SZ, cut at its first NUL whether or not it has one.
  LSTATUS ReadString(const std::wstring& subkey, const std::wstring& valueName, std::wstring& out,
                     RegistryBranch* branch = nullptr) const;

  /// Tells whether the key exists under one of the paths. With `checkAcl` every one that exists must also be writable
  /// by administrators only, since each can supply values.
  bool IsKeyAdminOnly(const std::wstring& subkey, bool checkAcl) const;

 private:
  friend class RegistryKeys;

  std::wstring root_;
  bool policyFirst_;
  ObjectCount count_{"Registry"};
};

/// The keys of one subkey, each opened when it is first asked for and kept open: for several values at a time. A key
/// that cannot be opened is logged for each value.
class RegistryKeys {
 public:
  /// `registry` is asked for its names only.
  RegistryKeys(const Registry& registry, const std::wstring& subkey);

  /// As those of Registry.
  LSTATUS ReadDword(const std::wstring& valueName, std::uint32_t& out, RegistryBranch* branch = nullptr);
  LSTATUS ReadString(const std::wstring& valueName, std::wstring& out, RegistryBranch* branch = nullptr);

 private:
  struct Key {
    std::wstring path;
    std::optional<LSTATUS> opened;
    UniqueRegistryKey handle;
  };

  static LSTATUS Read(Key& key, const std::wstring& valueName, DWORD type, std::vector<BYTE>& data);
  LSTATUS ReadPolicyFirst(const std::wstring& valueName, DWORD type, std::vector<BYTE>& data, RegistryBranch* branch);

  bool policyFirst_;
  Key policy_;
  Key ordinary_;
};

}  // namespace quarry
