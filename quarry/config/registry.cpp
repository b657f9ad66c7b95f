#include "quarry/config/registry.h"

#include "quarry/diagnostics/log.h"
#include "quarry/paths/pathParts.h"

#include "lib/misc/platformHandles.h"

#include <aclapi.h>

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

  data.resize(size);
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
  return !checkAcl || Registry::CheckKeyAdminOnly(key.get(), keyPath) ? KeyState::Passes : KeyState::Fails;
}

UniqueSid AdministratorsSid(const std::wstring& keyName) {
  UniqueSid sid;
  SID_IDENTIFIER_AUTHORITY authority = SECURITY_NT_AUTHORITY;
  if (AllocateAndInitializeSid(&authority, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0, 0, 0,
                               sid.put()) == FALSE) {
    Log(LogLevel::Error, L"AllocateAndInitializeSid failed with error %d\n", GetLastError());
    if (!sid) Log(LogLevel::Error, L"Key %ls: Couldn't get local admin SID\n", keyName.c_str());
    return {};
  }
  return sid;
}

bool EntryPasses(const EXPLICIT_ACCESSW& entry, PSID administrators, const std::wstring& keyName) {
  if (entry.grfAccessMode == NOT_USED_ACCESS) {
    Log(LogLevel::Error, L"Key %ls: Key permission entry had Invalid ACCESS_MODE 0\n", keyName.c_str());
    return false;
  }
  if (entry.grfAccessMode != GRANT_ACCESS || (entry.grfAccessPermissions & KEY_SET_VALUE) == 0) return true;
  if (entry.Trustee.TrusteeForm != TRUSTEE_IS_SID) {
    Log(LogLevel::Error, L"Key %ls: Non-SID ACL entry given write permissions\n", keyName.c_str());
    return false;
  }
  // With TRUSTEE_IS_SID the name is the SID (Microsoft Learn, TRUSTEE_W).
  if (EqualSid(reinterpret_cast<PSID>(entry.Trustee.ptstrName), administrators) == FALSE) {
    Log(LogLevel::Error, L"Key %ls: Non-admin ACL entry given write permissions\n", keyName.c_str());
    return false;
  }
  return true;
}

}  // namespace

Registry::Registry(std::wstring root, bool policyFirst) : root_(std::move(root)), policyFirst_(policyFirst) {}

template <typename Read>
LSTATUS Registry::ReadPolicyFirst(const std::wstring& subkey, Read read) const {
  if (policyFirst_ && read(KeyPath(L"SOFTWARE\\Policies", root_, subkey)) == ERROR_SUCCESS) return ERROR_SUCCESS;
  return read(KeyPath(L"SOFTWARE", root_, subkey));
}

LSTATUS Registry::ReadDword(const std::wstring& subkey, const std::wstring& valueName, std::uint32_t& out) const {
  return ReadPolicyFirst(subkey, [&](const std::wstring& keyPath) {
    std::vector<BYTE> data;
    const LSTATUS status = ReadValue(keyPath, valueName, REG_DWORD, data);
    if (status == ERROR_SUCCESS) std::memcpy(&out, data.data(), sizeof(out));
    return status;
  });
}

LSTATUS Registry::ReadString(const std::wstring& subkey, const std::wstring& valueName, std::wstring& out) const {
  return ReadPolicyFirst(subkey, [&](const std::wstring& keyPath) {
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

bool Registry::CheckKeyAdminOnly(HKEY key, const std::wstring& keyName) {
  const UniqueSid administrators = AdministratorsSid(keyName);
  if (!administrators) return false;

  PACL dacl = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  const DWORD status =
      GetSecurityInfo(key, SE_REGISTRY_KEY, DACL_SECURITY_INFORMATION, nullptr, nullptr, &dacl, nullptr, &descriptor);
  const UniqueLocal<void> descriptorOwner(descriptor);
  if (status != ERROR_SUCCESS) {
    Log(LogLevel::Error, L"Key %ls: Couldn't get security info for key\n", keyName.c_str());
    return false;
  }
  return IsDaclAdminOnly(dacl, administrators.get(), keyName);
}

bool IsDaclAdminOnly(PACL dacl, PSID administrators, const std::wstring& keyName) {
  ULONG count = 0;
  EXPLICIT_ACCESSW* entries = nullptr;
  const DWORD status = dacl == nullptr ? ERROR_INVALID_ACL : GetExplicitEntriesFromAclW(dacl, &count, &entries);
  const UniqueLocal<EXPLICIT_ACCESSW> entriesOwner(entries);
  if (status != ERROR_SUCCESS) {
    Log(LogLevel::Error, L"Key %ls: Couldn't get security entries for key\n", keyName.c_str());
    return false;
  }
  for (ULONG index = 0; index < count; ++index) {
    if (!EntryPasses(entries[index], administrators, keyName)) return false;
  }
  return true;
}

}  // namespace quarry
