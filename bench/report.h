#pragma once

#include <string>
#include <vector>

#include "bench/measure.h"

namespace quarry::bench {

/// A table in Markdown, a row for each path, and below it the paths whose times are not to be judged by.
std::string TableOf(const std::vector<Result>& results);

/// The same for machines, with the calls by function.
std::string JsonOf(const std::vector<Result>& results);

}  // namespace quarry::bench
