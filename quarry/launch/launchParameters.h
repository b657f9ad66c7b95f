#pragma once

#include "quarry/launch/launchRequest.h"

#include <optional>
#include <string>
#include <vector>

namespace quarry {

/// What the custom parameters of a launch ask for.
struct LaunchItems {
  std::vector<std::wstring> files;  ///< paths; those on client drives may still have to appear
  std::vector<std::wstring> urls;
  std::wstring commandLine;  ///< the last one given
};

/// Reads the custom parameters of a request that has some, in order, and has each file and URL judged (AcceptItem).
/// Nothing, with a message, as soon as one is refused, too long or of no known type.
std::optional<LaunchItems> ReadLaunchParameters(const LaunchRequest& request);

}  // namespace quarry
