#include "quarry/facade/ruleLifetime.h"

#include "quarry/diagnostics/log.h"

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
    skipped_ = SeamlyFilter_LoadRules(nullptr);
  } catch (...) {
    Release();  // no destructor will do it
    throw;
  }
}

RuleLifetime::~RuleLifetime() { Release(); }

void RuleLifetime::Report() const {
  if (skipped_.count == 0) return;
  Log(LogLevel::Warning, L"Window filter rules left out: %s (%d in all)\n", skipped_.first.c_str(), skipped_.count);
}

}  // namespace quarry
