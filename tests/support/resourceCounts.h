#pragma once

#include <cstddef>
#include <functional>

namespace quarry::test {

/// What this process holds at a moment.
struct ResourceCounts {
  std::size_t handles = 0;     ///< kernel handles
  std::size_t gdiObjects = 0;  ///< bitmaps, device contexts and the like
  std::size_t heapBytes = 0;   ///< bytes in use on all heaps

  static ResourceCounts Now();
};

/// How much more of each there is, negative for less.
struct ResourceGrowth {
  std::ptrdiff_t handles = 0;
  std::ptrdiff_t gdiObjects = 0;
  std::ptrdiff_t heapBytes = 0;
};
ResourceGrowth operator-(const ResourceCounts& after, const ResourceCounts& before);

/// What `operation` leaves behind when it runs `times` times. It is first run twice uncounted, because the platform
/// keeps what a first use loads.
ResourceGrowth GrowthOf(const std::function<void()>& operation, int times = 10);

}  // namespace quarry::test
