#pragma once

#include <windows.h>

/// The SID of an access-control entry whose layout has it behind the mask; null for other layouts and for a SID that
/// does not fit. Microsoft Learn, ACE_HEADER: the allowed, denied, audit and callback entries share that layout.
PSID SidOfAce(ACE_HEADER* header);
