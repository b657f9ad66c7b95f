#include "lib/misc/tickCount.h"

namespace {

TickSource currentSource = nullptr;  // the system's

}  // namespace

std::uint64_t TickCount_Now() { return currentSource != nullptr ? currentSource() : GetTickCount64(); }

std::uint32_t TickCount_Now32() { return static_cast<std::uint32_t>(TickCount_Now()); }

void TickCount_SetSource(TickSource source) noexcept { currentSource = source; }
