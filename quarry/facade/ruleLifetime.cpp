#include "quarry/facade/ruleLifetime.h"

#include "quarry/diagnostics/log.h"

#include "lib/seamlyFilter/filter.h"

#include <atomic>
#include <cstdint>

namespace quarry {

namespace {

std::atomic<std::int64_t> startCount = 0;

void Release() {
  if (startCount.fetch_sub(1) == 1) SeamlyFilter_Close();
}

void WarnOf(const RulesLeftOut& leftOut) {
  if (leftOut.empty()) return;
  const Distrust& first = leftOut.front();
  Log(LogLevel::Warning, L"Left out %d window rule files or folders, the first is \"%s\" (owner %s), which %s\n",
      static_cast<int>(leftOut.size()), first.path.c_str(), first.owner.c_str(), first.reason.c_str());
}

}  // namespace

RuleLifetime::RuleLifetime() {
  if (startCount.fetch_add(1) != 0) return;
  try {
    WarnOf(SeamlyFilter_LoadRules(nullptr));
  } catch (...) {
    Release();  // no destructor will do it
    throw;
  }
}

RuleLifetime::~RuleLifetime() { Release(); }

}  // namespace quarry
