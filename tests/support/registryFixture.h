#pragma once

#include <windows.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace quarry::test {

inline constexpr wchar_t kSettingsKey[] = L"SOFTWARE\\Velkor, Inc.\\Velkor Quarry";
inline constexpr wchar_t kFilterKey[] = L"SOFTWARE\\Velkor, Inc.\\Velkor Tarn\\Velkor Seamly\\Filters";
inline constexpr wchar_t kPolicyKey[] = L"SOFTWARE\\Policies\\Velkor, Inc.\\Velkor Quarry";

/// A key that a test makes, empty at first even when an earlier run left it behind, and that is removed with all below
/// it and with the keys above it that had to be made. Throws std::system_error when the registry refuses.
class RegistryFixture {
 public:
  /// `view` is 0, KEY_WOW64_32KEY or KEY_WOW64_64KEY.
  explicit RegistryFixture(std::wstring path, HKEY root = HKEY_LOCAL_MACHINE, REGSAM view = 0);
  ~RegistryFixture();
  RegistryFixture(const RegistryFixture&) = delete;
  RegistryFixture& operator=(const RegistryFixture&) = delete;

  /// `subkey` is empty for the key itself; a missing one is made.
  void SetString(std::wstring_view subkey, const std::wstring& name, const std::wstring& text) const;
  void SetDword(std::wstring_view subkey, const std::wstring& name, std::uint32_t number) const;
  void SetRaw(std::wstring_view subkey, const std::wstring& name, DWORD type,
              std::span<const std::uint8_t> bytes) const;
  void MakeSubkey(std::wstring_view subkey) const;
  void RemoveValue(std::wstring_view subkey, const std::wstring& name) const;
  void RemoveSubkey(const std::wstring& subkey) const;
  /// Removes all values and subkeys.
  void Clear() const;
  /// Replaces the DACL by that of a security descriptor string.
  void SetDacl(std::wstring_view subkey, const std::wstring& sddl) const;

 private:
  std::wstring PathOf(std::wstring_view subkey) const;

  HKEY root_;
  REGSAM view_;
  std::wstring path_;
  std::wstring topmostMade_;
};

}  // namespace quarry::test
