#pragma once

#include <windows.h>

namespace quarry::test {

/// With QUARRY_GUARDED_HEAP=1 in the environment, from the first call for a module on: what the module allocates
/// through its run time ends at an unreadable page and is unreadable once it is freed, so that each access beyond
/// faults at once. A write into the up to 15 bytes that align a block, and a block freed twice, end the process with a
/// message. For runs by hand and for hours: an allocation takes two pages at least, and freed ones are never used
/// again.
void GuardHeapOf(HMODULE module);

}  // namespace quarry::test
