#include "quarry/config/worldWritable.h"

#include "quarry/diagnostics/log.h"

#include "lib/misc/accessEntry.h"
#include "lib/misc/platformHandles.h"

#include <aclapi.h>

namespace quarry {

namespace {

bool GrantsAddFile(const ACE_HEADER* header) {
  return header->AceType == ACCESS_ALLOWED_ACE_TYPE &&
         (reinterpret_cast<const ACCESS_ALLOWED_ACE*>(header)->Mask & FILE_ADD_FILE) != 0;
}

}  // namespace

std::optional<bool> IsWorldWritable(const std::wstring& folderPath) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  const DWORD status = GetNamedSecurityInfoW(folderPath.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                             nullptr, nullptr, nullptr, &descriptor);
  const UniqueLocal<void> descriptorOwner(descriptor);
  if (status != ERROR_SUCCESS) {
    Log(LogLevel::Error, L"Failed to get directory security, error %ld\n", status);
    return std::nullopt;
  }

  BYTE world[SECURITY_MAX_SID_SIZE];
  DWORD worldSize = sizeof(world);
  if (CreateWellKnownSid(WinWorldSid, nullptr, world, &worldSize) == FALSE) {
    Log(LogLevel::Error, L"Failed to create SID for WinWorldSid, error %ld\n", GetLastError());
    return std::nullopt;
  }

  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  PACL dacl = nullptr;
  if (GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted) == FALSE) {
    Log(LogLevel::Error, L"Error getting DACL from security descriptor: %ld\n", GetLastError());
    return std::nullopt;
  }
  if (present == FALSE || dacl == nullptr) {
    Log(LogLevel::Error, L"Security descriptor has no DACL present\n");
    return false;
  }
  return IsDaclWorldWritable(dacl, world);
}

std::optional<bool> IsDaclWorldWritable(PACL dacl, PSID world) {
  ACL_SIZE_INFORMATION information{};
  if (GetAclInformation(dacl, &information, sizeof(information), AclSizeInformation) == FALSE) {
    Log(LogLevel::Error, L"Error getting DACL size information: %ld\n", GetLastError());
    return std::nullopt;
  }
  for (DWORD index = 0; index < information.AceCount; ++index) {
    void* ace = nullptr;
    if (GetAce(dacl, index, &ace) == FALSE) {
      Log(LogLevel::Error, L"Error getting ACE %d from DACL: %ld (skipped)\n", index, GetLastError());
      continue;
    }
    auto* const header = static_cast<ACE_HEADER*>(ace);
    PSID sid = SidOfAce(header);
    if (sid != nullptr && EqualSid(sid, world) != FALSE) return GrantsAddFile(header);
  }
  return false;
}

}  // namespace quarry
