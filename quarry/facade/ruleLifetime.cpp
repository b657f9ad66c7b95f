#include "quarry/facade/ruleLifetime.h"

#include "lib/seamlyFilter/seamlyFilter.h"

#include <atomic>
#include <cstdint>

namespace quarry {

namespace {

std::atomic<std::int64_t> startCount = 0;

}  // namespace

RuleLifetime::RuleLifetime() {
  if (startCount.fetch_add(1) == 0) SeamlyFilter_LoadRules(nullptr);
}

RuleLifetime::~RuleLifetime() {
  if (startCount.fetch_sub(1) == 1) SeamlyFilter_Close();
}

}  // namespace quarry
