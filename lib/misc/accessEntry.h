#pragma once

#include <windows.h>

/// The SID of an entry whose layout has it behind the mask; null for other layouts and for a SID that does not fit. The
/// entries for allowing, denying and auditing, with and without a callback, share that layout.
PSID SidOfAce(ACE_HEADER* header);
