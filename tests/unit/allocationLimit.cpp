#include "tests/unit/allocationLimit.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();
std::size_t limit = kNoLimit;

}  // namespace

// In a file of their own: compilers look through these where they see them, and take the pair for a mistake.
void* operator new(std::size_t size) {
  void* const block = size > limit ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t /*size*/) noexcept { std::free(block); }

namespace quarry::test {

AllocationLimit::AllocationLimit(std::size_t bytes) { limit = bytes; }
AllocationLimit::~AllocationLimit() { limit = kNoLimit; }

}  // namespace quarry::test
