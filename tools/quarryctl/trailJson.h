#pragma once

#include "tools/quarryctl/json.h"
#include "tools/quarryctl/scanTrail.h"

#include <vector>

namespace quarryctl {

/// An array with an object for each entry.
Json JsonFrom(const std::vector<TrailEntry>& entries);

}  // namespace quarryctl
