#pragma once

#include "quarry/icons/iconMiner.h"

#include <vector>

namespace quarry {

/// Keeps one icon of each size, in the order of `icons`: the one with the most bits per pixel, the first of several.
/// Icons without an area are left out.
std::vector<MinedIcon> ReduceToUniqueSizes(const std::vector<MinedIcon>& icons);

}  // namespace quarry
