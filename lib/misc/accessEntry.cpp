#include "lib/misc/accessEntry.h"

#include <cstddef>
#include <cstdint>

// Microsoft Learn, ACE_HEADER: sizes are multiples of four, so what begins elsewhere stands behind a damaged entry.
PSID SidOfAce(ACE_HEADER* header) {
  if (reinterpret_cast<std::uintptr_t>(header) % alignof(DWORD) != 0) return nullptr;
  switch (header->AceType) {
    case ACCESS_ALLOWED_ACE_TYPE:
    case ACCESS_DENIED_ACE_TYPE:
    case SYSTEM_AUDIT_ACE_TYPE:
    case ACCESS_ALLOWED_CALLBACK_ACE_TYPE:
    case ACCESS_DENIED_CALLBACK_ACE_TYPE:
      break;
    default:
      return nullptr;
  }
  constexpr std::size_t kSidOffset = offsetof(ACCESS_ALLOWED_ACE, SidStart);
  constexpr std::size_t kSidHeaderSize = offsetof(SID, SubAuthority);
  if (header->AceSize < kSidOffset + kSidHeaderSize) return nullptr;
  PSID sid = reinterpret_cast<BYTE*>(header) + kSidOffset;
  const bool fits = IsValidSid(sid) != FALSE && kSidOffset + GetLengthSid(sid) <= header->AceSize;
  return fits ? sid : nullptr;
}
