#pragma once

#include "tools/quarryctl/scanTrail.h"

#include <string>
#include <vector>

namespace quarryctl {

/// The entries of a scan that `question` asks for: all when it is empty; those that hold it in their name, path or
/// target; or, when it is a path, that entry and what lies below it. A path that the scan never met gets an entry that
/// says why.
std::vector<TrailEntry> Answer(const ScanTrail& trail, const std::wstring& question);

}  // namespace quarryctl
