#pragma once

#include <cstddef>
#include <functional>
#include <ostream>

namespace quarry::test {

/// What this process holds at a moment, or how much more of it than before.
struct ResourceCounts {
  std::ptrdiff_t handles = 0;     ///< kernel handles
  std::ptrdiff_t gdiObjects = 0;  ///< bitmaps, device contexts and the like
  std::ptrdiff_t heapBytes = 0;   ///< bytes in use on all heaps

  static ResourceCounts Now();
  bool operator==(const ResourceCounts&) const = default;
};
ResourceCounts operator-(const ResourceCounts& after, const ResourceCounts& before);
void PrintTo(const ResourceCounts& counts, std::ostream* out);

/// What `operation` leaves behind when it runs `times` times. It is first run uncounted a few times, because the
/// platform keeps what a first use loads.
ResourceCounts GrowthOf(const std::function<void()>& operation, int times = 20);

/// How often a test does what it does over and over: seldom, or as often as a run for hours wants it, which
/// QUARRY_SOAK=1 in the environment asks for.
int Rounds(int brief, int soak);

}  // namespace quarry::test
