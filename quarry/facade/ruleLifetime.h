#pragma once

#include "lib/seamlyFilter/filter.h"

namespace quarry {

/// Keeps the window filter rules loaded: they come with the first of these objects in the process and go with the last.
class RuleLifetime {
 public:
  RuleLifetime();
  ~RuleLifetime();
  RuleLifetime(const RuleLifetime&) = delete;
  RuleLifetime& operator=(const RuleLifetime&) = delete;

  /// Tells the host what was left out when this object loaded the rules: it is made before the host can be told.
  void Report() const;

 private:
  SkippedRules skipped_;
};

}  // namespace quarry
