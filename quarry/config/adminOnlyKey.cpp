#include "quarry/config/adminOnlyKey.h"

#include "quarry/diagnostics/log.h"

#include "lib/misc/platformHandles.h"

#include <aclapi.h>

namespace quarry {

namespace {

UniqueSid AdministratorsSid(const std::wstring& keyName) {
  UniqueSid sid;
  SID_IDENTIFIER_AUTHORITY authority = SECURITY_NT_AUTHORITY;
  if (AllocateAndInitializeSid(&authority, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0, 0, 0,
                               sid.put()) == FALSE) {
    Log(LogLevel::Error, L"AllocateAndInitializeSid failed with error %d\n", GetLastError());
    Log(LogLevel::Error, L"Key %ls: Couldn't get local admin SID\n", keyName.c_str());
    return {};
  }
  return sid;
}

/// An entry that is not understood must not pass. GetExplicitEntriesFromAclW is not documented to give the access mode
/// 0; trustees that are no SIDs are those of object entries (Microsoft Learn, TRUSTEE_FORM).
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

bool CheckKeyAdminOnly(HKEY key, const std::wstring& keyName) {
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
