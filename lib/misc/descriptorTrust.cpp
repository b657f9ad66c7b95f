#include "lib/misc/descriptorTrust.h"

#include "lib/misc/accessEntry.h"

#include <algorithm>

namespace {

// What the common application-data folder lets users do in every folder that inherits from it.
constexpr ACCESS_MASK kAdding = FILE_ADD_FILE | FILE_ADD_SUBDIRECTORY | FILE_WRITE_EA | FILE_WRITE_ATTRIBUTES;
constexpr ACCESS_MASK kExchanging = FILE_DELETE_CHILD | DELETE | WRITE_DAC | WRITE_OWNER | GENERIC_WRITE | GENERIC_ALL;

/// NT SERVICE\TrustedInstaller, which owns the system's own folders.
PSID TrustedInstaller() {
  static struct {
    SID sid;
    DWORD more[5];
  } installer = {
      {SID_REVISION, SECURITY_SERVICE_ID_RID_COUNT, SECURITY_NT_AUTHORITY, {SECURITY_SERVICE_ID_BASE_RID}},
      {956008885, 3418522649, 1831038044, 1853292631, 2271478464},
  };
  return &installer.sid;
}

bool IsTrusted(PSID sid, PSID ownUser) {
  return IsWellKnownSid(sid, WinBuiltinAdministratorsSid) != FALSE || IsWellKnownSid(sid, WinLocalSystemSid) != FALSE ||
         EqualSid(sid, TrustedInstaller()) != FALSE || (ownUser != nullptr && EqualSid(sid, ownUser) != FALSE);
}

bool StandsForOwner(PSID sid) {
  return IsWellKnownSid(sid, WinCreatorOwnerSid) != FALSE || IsWellKnownSid(sid, WinCreatorOwnerRightsSid) != FALSE;
}

Distrust JudgeEntry(ACE_HEADER* header, PSID ownUser) {
  switch (header->AceType) {
    case ACCESS_DENIED_ACE_TYPE:
    case ACCESS_DENIED_OBJECT_ACE_TYPE:
    case ACCESS_DENIED_CALLBACK_ACE_TYPE:
    case ACCESS_DENIED_CALLBACK_OBJECT_ACE_TYPE:
      return Distrust::None;
    case ACCESS_ALLOWED_ACE_TYPE:
    case ACCESS_ALLOWED_CALLBACK_ACE_TYPE:
      break;
    default:
      return Distrust::ForeignWriter;
  }
  PSID sid = SidOfAce(header);
  if (sid == nullptr) return Distrust::ForeignWriter;
  if (IsTrusted(sid, ownUser) || StandsForOwner(sid)) return Distrust::None;
  const ACCESS_MASK mask = reinterpret_cast<const ACCESS_ALLOWED_ACE*>(header)->Mask;
  if ((mask & (kAdding | kExchanging)) == 0) return Distrust::None;
  const bool inherited = (header->AceFlags & INHERITED_ACE) != 0;
  return inherited && (mask & kExchanging) == 0 ? Distrust::InheritedWriter : Distrust::ForeignWriter;
}

Distrust JudgeDacl(PACL dacl, PSID ownUser) {
  if (dacl == nullptr) return Distrust::ForeignWriter;  // everything is allowed to everybody
  if (IsValidAcl(dacl) == FALSE) return Distrust::Unreadable;
  Distrust worst = Distrust::None;
  for (DWORD index = 0; index < dacl->AceCount; ++index) {
    void* ace = nullptr;
    if (GetAce(dacl, index, &ace) == FALSE) return Distrust::Unreadable;
    worst = std::max(worst, JudgeEntry(static_cast<ACE_HEADER*>(ace), ownUser));
  }
  return worst;
}

}  // namespace

const wchar_t* ReasonFor(Distrust distrust) {
  switch (distrust) {
    case Distrust::None:
      return L"trusted";
    case Distrust::InheritedWriter:
    case Distrust::ForeignWriter:
      return L"others than administrators may write to it";
    case Distrust::ForeignOwner:
      return L"it belongs to others than administrators";
    case Distrust::ReparsePoint:
      return L"it is a reparse point";
    case Distrust::Unreadable:
      break;
  }
  return L"its rights cannot be read";
}

Distrust JudgeDescriptor(PSECURITY_DESCRIPTOR descriptor, PSID ownUser) {
  PSID owner = nullptr;
  PACL dacl = nullptr;
  BOOL defaulted = FALSE;
  BOOL present = FALSE;
  if (GetSecurityDescriptorOwner(descriptor, &owner, &defaulted) == FALSE ||
      GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted) == FALSE) {
    return Distrust::Unreadable;
  }
  if (owner == nullptr || !IsTrusted(owner, ownUser)) return Distrust::ForeignOwner;
  return JudgeDacl(present != FALSE ? dacl : nullptr, ownUser);
}
