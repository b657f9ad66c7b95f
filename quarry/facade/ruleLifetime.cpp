#include "quarry/facade/ruleLifetime.h"

#include "lib/seamlyFilter/filter.h"

#include <atomic>
#include <cstdint>

namespace quarry {

namespace {

std::atomic<std::int64_t> startCount = 0;

void Release() {
  if (startCount.fetch_sub(1) == 1) SeamlyFilter_Close();
}

}  // namespace

RuleLifetime::RuleLifetime() {
  if (startCount.fetch_add(1) != 0) return;
  try {
    SeamlyFilter_LoadRules(nullptr);
  } catch (...) {
    Release();  // no destructor will do it
    throw;
  }
}

RuleLifetime::~RuleLifetime() { Release(); }

}  // namespace quarry
