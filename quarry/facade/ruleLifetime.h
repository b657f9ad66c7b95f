#pragma once

namespace quarry {

/// Keeps the window filter rules loaded: they come with the first of these objects in the process and go with the last.
class RuleLifetime {
 public:
  RuleLifetime();
  ~RuleLifetime();
  RuleLifetime(const RuleLifetime&) = delete;
  RuleLifetime& operator=(const RuleLifetime&) = delete;
};

}  // namespace quarry
