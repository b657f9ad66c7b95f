#pragma once

#include "lib/seamlyFilter/filter.h"

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <optional>

// The answers that were found, by window handle.

/// How many answers are kept: as many windows as a session can have at once (Microsoft Learn, "User Objects").
constexpr std::size_t kMaxCachedWindows = 65536;

/// The answer that is known for `window`, if any. Marks it as used.
std::optional<SeamlyFilterMatch> SeamlyFilterFindInCache(HWND window);

/// Keeps an answer; one that is known already stays. A full cache first gives up the answers that were not used since
/// it last was full.
void SeamlyFilterAddToCache(HWND window, const SeamlyFilterMatch& match);

/// Forgets all answers.
void SeamlyFilterPurgeCache();
