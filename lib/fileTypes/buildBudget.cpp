#include "lib/fileTypes/buildBudget.h"

#include "lib/misc/tickCount.h"

#include <optional>

namespace {

std::optional<std::uint32_t> g_started;

}  // namespace

BuildBudget::BuildBudget() { g_started = TickCount_Now32(); }

BuildBudget::~BuildBudget() { g_started.reset(); }

bool BuildBudget::IsSpent() { return g_started && TickCount_Now32() - *g_started >= kMilliseconds; }
