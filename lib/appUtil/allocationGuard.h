#pragma once

#include "lib/misc/logEntry.h"

#include <new>

/// Does `work`; memory that runs out in it costs that work alone and is reported with its place, because these
/// functions never raise.
template <typename Work>
void AppUtilGuardAllocation(const char* source, int line, Work work) {
  try {
    work();
  } catch (const std::bad_alloc&) {
    LogEntry_Fault("MEM_ALLOC", source, line);
  }
}
