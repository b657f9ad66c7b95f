#pragma once

#include "tests/support/hostTest.h"

#include <cstddef>
#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace quarry::test {

/// The same numbers for the same seed, everywhere.
class Random {
 public:
  explicit Random(std::uint32_t seed) : engine_(seed) {}
  /// From 0 to `limit` - 1; `limit` is 1 at least.
  std::size_t Below(std::size_t limit) { return engine_() % limit; }
  bool OneIn(std::size_t count) { return Below(count) == 0; }
  template <typename T>
  const T& Of(const std::vector<T>& choice) {
    return choice[Below(choice.size())];
  }

 private:
  std::mt19937 engine_;
};

/// A file to be damaged, and where its tables are, which three of four changes meet.
struct Model {
  Bytes bytes;
  std::size_t tablesStart = 0;
  std::size_t tablesEnd = 0;
};

/// The model with up to eight changes: a cut end, a block from elsewhere, extreme numbers, flipped bits.
Bytes Damaged(const Model& model, Random& random);

/// Up to `most` pieces one after the other; now and then one is repeated as often as it takes to be too long.
std::wstring Text(const std::vector<std::wstring>& pieces, std::size_t most, Random& random);

}  // namespace quarry::test
