#include "quarry/config/registry.h"

#include "quarry/config/adminOnlyKey.h"
#include "quarry/diagnostics/log.h"
#include "quarry/paths/pathParts.h"

#include "lib/misc/platformHandles.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <vector>

namespace quarry {

namespace {

std::wstring KeyPath(const wchar_t* branch, const std::wstring& root, const std::wstring& subkey) {
  return JoinPath(JoinPath(branch, root), subkey);
}

LSTATUS OpenKey(const std::wstring& keyPath, REGSAM access, UniqueRegistryKey& key) {
  const LSTATUS status = RegOpenKeyExW(HKEY_LOCAL_MACHINE, keyPath.c_str(), 0, access, key.put());
  if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) {
    Log(LogLevel::Error, L"Failed to open registry key %s, error %ld\n", keyPath.c_str(), status);
  }
  return status;
}

/// Reads the bytes of one value, which must be of `expectedType`.
LSTATUS ReadValue(const std::wstring& keyPath, const std::wstring& valueName, DWORD expectedType,
                  std::vector<BYTE>& data) {
  UniqueRegistryKey key;
  LSTATUS status = OpenKey(keyPath, KEY_QUERY_VALUE, key);
  if (status != ERROR_SUCCESS) return status;

  const std::wstring fullName = JoinPath(keyPath, valueName);
  DWORD type = REG_NONE;
  DWORD size = 0;
  status = RegQueryValueExW(key.get(), valueName.c_str(), nullptr, &type, nullptr, &size);
  if (status != ERROR_SUCCESS) {
    if (status != ERROR_FILE_NOT_FOUND) {
      Log(LogLevel::Error, L"Failed to query registry value %s, error %ld\n", fullName.c_str(), status);
    }
    return status;
  }
  if (type != expectedType) {
    Log(LogLevel::Error, L"Wrong registry type %d (expected %d) for %s\n", type, expectedType, fullName.c_str());
    return ERROR_INVALID_DATA;
  }

  // Wine (8.0) ends a text behind its data and computes for a value of one byte that there is room for that.
  constexpr DWORD kSmallestBuffer = 4;
  data.resize(std::max(size, kSmallestBuffer));
  status = RegQueryValueExW(key.get(), valueName.c_str(), nullptr, &type, data.data(), &size);
  // The value can have been replaced between the two queries, and a number can be stored with any length.
  const bool damaged =
      type != expectedType || size > data.size() || (expectedType == REG_DWORD && size != sizeof(DWORD));
  if (status == ERROR_SUCCESS && damaged) status = ERROR_INVALID_DATA;
  if (status != ERROR_SUCCESS) {
    Log(LogLevel::Error, L"Failed to get registry value %s, error %ld\n", fullName.c_str(), status);
    return status;
  }
  data.resize(size);
  return ERROR_SUCCESS;
}

/// What was found at one key path.
enum class KeyState { Missing, Passes, Fails };

KeyState InspectKey(const std::wstring& keyPath, bool checkAcl) {
  UniqueRegistryKey key;
  const REGSAM access = checkAcl ? KEY_QUERY_VALUE | READ_CONTROL : KEY_QUERY_VALUE;
  const LSTATUS status = OpenKey(keyPath, access, key);
  if (status == ERROR_FILE_NOT_FOUND) return KeyState::Missing;
  if (status != ERROR_SUCCESS) return KeyState::Fails;
  return !checkAcl || CheckKeyAdminOnly(key.get(), keyPath) ? KeyState::Passes : KeyState::Fails;
}

}  // namespace

Registry::Registry(std::wstring root, bool policyFirst) : root_(std::move(root)), policyFirst_(policyFirst) {}

template <typename Read>
LSTATUS Registry::ReadPolicyFirst(const std::wstring& subkey, RegistryBranch* branch, Read read) const {
  const bool isPolicy = policyFirst_ && read(KeyPath(L"SOFTWARE\\Policies", root_, subkey)) == ERROR_SUCCESS;
  const LSTATUS status = isPolicy ? ERROR_SUCCESS : read(KeyPath(L"SOFTWARE", root_, subkey));
  if (status == ERROR_SUCCESS && branch != nullptr) {
    *branch = isPolicy ? RegistryBranch::Policy : RegistryBranch::Ordinary;
  }
  return status;
}

LSTATUS Registry::ReadDword(const std::wstring& subkey, const std::wstring& valueName, std::uint32_t& out,
                            RegistryBranch* branch) const {
  return ReadPolicyFirst(subkey, branch, [&](const std::wstring& keyPath) {
    std::vector<BYTE> data;
    const LSTATUS status = ReadValue(keyPath, valueName, REG_DWORD, data);
    if (status == ERROR_SUCCESS) std::memcpy(&out, data.data(), sizeof(out));
    return status;
  });
}

LSTATUS Registry::ReadString(const std::wstring& subkey, const std::wstring& valueName, std::wstring& out,
                             RegistryBranch* branch) const {
  return ReadPolicyFirst(subkey, branch, [&](const std::wstring& keyPath) {
    std::vector<BYTE> data;
    const LSTATUS status = ReadValue(keyPath, valueName, REG_SZ, data);
    if (status != ERROR_SUCCESS) return status;
    std::wstring text(data.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), data.data(), text.size() * sizeof(wchar_t));
    text.resize(wcsnlen(text.c_str(), text.size()));
    out = std::move(text);
    return status;
  });
}

bool Registry::IsKeyAdminOnly(const std::wstring& subkey, bool checkAcl) const {
  const KeyState policy =
      policyFirst_ ? InspectKey(KeyPath(L"SOFTWARE\\Policies", root_, subkey), checkAcl) : KeyState::Missing;
  if (checkAcl && policy == KeyState::Fails) return false;
  if (!checkAcl && policy == KeyState::Passes) return true;
  const KeyState ordinary = InspectKey(KeyPath(L"SOFTWARE", root_, subkey), checkAcl);
  return ordinary == KeyState::Passes || (ordinary == KeyState::Missing && policy == KeyState::Passes);
}

}  // namespace quarry
