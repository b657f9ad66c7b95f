#pragma once

#include <cstdint>

/// The time that one build may spend on lists that any user's program can fill: each of them has a limit, but there can
/// be many. Lives as long as the build; there is one at a time.
class BuildBudget {
 public:
  BuildBudget();
  ~BuildBudget();
  BuildBudget(const BuildBudget&) = delete;
  BuildBudget& operator=(const BuildBudget&) = delete;

  /// Whether a build is going on that has taken so long that the rest of its lists is left out.
  static bool IsSpent();

  static constexpr std::uint32_t kMilliseconds = 60'000;
};
