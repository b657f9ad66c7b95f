#pragma once

#include <cstddef>

namespace quarry::test {

/// Lets every C++ allocation of more than `bytes` fail while it lives, in a program with allocationLimit.cpp.
class AllocationLimit {
 public:
  explicit AllocationLimit(std::size_t bytes);
  ~AllocationLimit();
  AllocationLimit(const AllocationLimit&) = delete;
  AllocationLimit& operator=(const AllocationLimit&) = delete;
};

}  // namespace quarry::test
