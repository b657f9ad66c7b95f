#include "lib/misc/tickCount.h"

namespace {

TickSource currentSource = GetTickCount64;

}  // namespace

std::uint64_t TickCount_Now() { return currentSource(); }

std::uint32_t TickCount_Now32() { return static_cast<std::uint32_t>(currentSource()); }

void TickCount_SetSource(TickSource source) noexcept { currentSource = source != nullptr ? source : GetTickCount64; }
