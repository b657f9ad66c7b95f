#include "quarry/icons/iconSizes.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <utility>

namespace quarry {

std::vector<MinedIcon> ReduceToUniqueSizes(const std::vector<MinedIcon>& icons) {
  using Size = std::pair<std::uint64_t, std::uint64_t>;
  std::map<Size, std::size_t> bestPositions;
  for (std::size_t position = 0; position < icons.size(); ++position) {
    const MinedIcon& icon = icons[position];
    if (icon.width == 0 || icon.height == 0) continue;
    const auto [best, isFirst] = bestPositions.try_emplace(Size(icon.width, icon.height), position);
    if (!isFirst && icon.bitCount > icons[best->second].bitCount) best->second = position;
  }

  std::vector<std::size_t> positions;
  std::transform(bestPositions.begin(), bestPositions.end(), std::back_inserter(positions),
                 [](const auto& best) { return best.second; });
  std::sort(positions.begin(), positions.end());
  std::vector<MinedIcon> reduced;
  std::transform(positions.begin(), positions.end(), std::back_inserter(reduced),
                 [&](std::size_t position) { return icons[position]; });
  return reduced;
}

}  // namespace quarry
