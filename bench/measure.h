#pragma once

#include <map>
#include <string>
#include <vector>

#include "bench/path.h"

namespace quarry::bench {

/// The cost of one more item.
struct Cost {
  double calls = 0;         ///< that leave the process
  double microseconds = 0;  ///< median
  double spread = 0;        ///< half the distance between the quartiles, in microseconds
  std::map<std::string, double> callsByFunction;
};

struct Result {
  std::string name;
  int few = 0;
  int many = 0;
  Cost library;
  Cost naive;
  Cost best;
  double bytes = 0;  ///< heap that one more item takes in what the library hands out
  double noise = 0;  ///< how far the naive way, measured twice in turn, is from itself: 0 on a quiet machine
};

/// From here on the machine, not the code, decides about times.
constexpr double kMostNoise = 0.1;

/// Keeps this process on one processor, so that times do not depend on where it runs.
void PinToOneCore();

/// Runs the ways in turn, so that what disturbs the machine disturbs all of them.
Result Measure(const Path& path, int rounds);

}  // namespace quarry::bench
