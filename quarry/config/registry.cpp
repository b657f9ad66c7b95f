#include "quarry/config/registry.h"

#include "quarry/config/adminOnlyKey.h"
#include "quarry/diagnostics/log.h"
#include "quarry/paths/pathParts.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <utility>

namespace quarry {

namespace {

std::wstring KeyPath(const wchar_t* branch, const std::wstring& root, const std::wstring& subkey) {
  return JoinPath(JoinPath(branch, root), subkey);
}

void LogOpenFailure(const std::wstring& keyPath, LSTATUS status) {
  if (status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND) return;
  Log(LogLevel::Error, L"Failed to open registry key %s, error %ld\n", keyPath.c_str(), status);
}

LSTATUS OpenKey(const std::wstring& keyPath, REGSAM access, UniqueRegistryKey& key) {
  return RegOpenKeyExW(HKEY_LOCAL_MACHINE, keyPath.c_str(), 0, access, key.put());
}

/// Reads the bytes of one value, which must be of `expectedType`.
LSTATUS ReadValue(HKEY key, const std::wstring& keyPath, const std::wstring& valueName, DWORD expectedType,
                  std::vector<BYTE>& data) {
  const std::wstring fullName = JoinPath(keyPath, valueName);
  // Nearly every value fits. Wine (8.0) ends a text behind its data and computes for a value of one byte that there is
  // room for that: the buffer has four bytes at least.
  constexpr DWORD kUsualSize = 512;
  data.resize(kUsualSize);
  DWORD type = REG_NONE;
  DWORD size = kUsualSize;
  LSTATUS status = RegQueryValueExW(key, valueName.c_str(), nullptr, &type, data.data(), &size);
  if (status != ERROR_SUCCESS && status != ERROR_MORE_DATA) {
    if (status != ERROR_FILE_NOT_FOUND) {
      Log(LogLevel::Error, L"Failed to query registry value %s, error %ld\n", fullName.c_str(), status);
    }
    return status;
  }
  if (type != expectedType) {
    Log(LogLevel::Error, L"Wrong registry type %d (expected %d) for %s\n", type, expectedType, fullName.c_str());
    return ERROR_INVALID_DATA;
  }
  if (status == ERROR_MORE_DATA) {
    data.resize(std::max(size, kUsualSize));
    status = RegQueryValueExW(key, valueName.c_str(), nullptr, &type, data.data(), &size);
  }
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
  LogOpenFailure(keyPath, status);
  if (status == ERROR_FILE_NOT_FOUND) return KeyState::Missing;
  if (status != ERROR_SUCCESS) return KeyState::Fails;
  return !checkAcl || CheckKeyAdminOnly(key.get(), keyPath) ? KeyState::Passes : KeyState::Fails;
}

}  // namespace

Registry::Registry(std::wstring root, bool policyFirst) : root_(std::move(root)), policyFirst_(policyFirst) {}

LSTATUS Registry::ReadDword(const std::wstring& subkey, const std::wstring& valueName, std::uint32_t& out,
                            RegistryBranch* branch) const {
  return RegistryKeys(*this, subkey).ReadDword(valueName, out, branch);
}

LSTATUS Registry::ReadString(const std::wstring& subkey, const std::wstring& valueName, std::wstring& out,
                             RegistryBranch* branch) const {
  return RegistryKeys(*this, subkey).ReadString(valueName, out, branch);
}

RegistryKeys::RegistryKeys(const Registry& registry, const std::wstring& subkey) : policyFirst_(registry.policyFirst_) {
  if (policyFirst_) policy_.path = KeyPath(L"SOFTWARE\\Policies", registry.root_, subkey);
  ordinary_.path = KeyPath(L"SOFTWARE", registry.root_, subkey);
}

LSTATUS RegistryKeys::Read(Key& key, const std::wstring& valueName, DWORD type, std::vector<BYTE>& data) {
  if (!key.opened) key.opened = OpenKey(key.path, KEY_QUERY_VALUE, key.handle);
  LogOpenFailure(key.path, *key.opened);
  return *key.opened == ERROR_SUCCESS ? ReadValue(key.handle.get(), key.path, valueName, type, data) : *key.opened;
}

LSTATUS RegistryKeys::ReadPolicyFirst(const std::wstring& valueName, DWORD type, std::vector<BYTE>& data,
                                      RegistryBranch* branch) {
  const bool isPolicy = policyFirst_ && Read(policy_, valueName, type, data) == ERROR_SUCCESS;
  const LSTATUS status = isPolicy ? ERROR_SUCCESS : Read(ordinary_, valueName, type, data);
  if (status == ERROR_SUCCESS && branch != nullptr) {
    *branch = isPolicy ? RegistryBranch::Policy : RegistryBranch::Ordinary;
  }
  return status;
}

LSTATUS RegistryKeys::ReadDword(const std::wstring& valueName, std::uint32_t& out, RegistryBranch* branch) {
  std::vector<BYTE> data;
  const LSTATUS status = ReadPolicyFirst(valueName, REG_DWORD, data, branch);
  if (status == ERROR_SUCCESS) std::memcpy(&out, data.data(), sizeof(out));
  return status;
}

LSTATUS RegistryKeys::ReadString(const std::wstring& valueName, std::wstring& out, RegistryBranch* branch) {
  std::vector<BYTE> data;
  const LSTATUS status = ReadPolicyFirst(valueName, REG_SZ, data, branch);
  if (status != ERROR_SUCCESS) return status;
  std::wstring text(data.size() / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), data.data(), text.size() * sizeof(wchar_t));
  text.resize(wcsnlen(text.c_str(), text.size()));
  out = std::move(text);
  return status;
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
