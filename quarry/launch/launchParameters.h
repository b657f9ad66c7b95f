#pragma once

#include "quarry/quarry.h"

#include <cstdint>
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

/// Reads the custom parameters in order and checks each path against the policy: files on client drives and URLs are
/// accepted, other network paths never, local paths only with `allowLocalFiles`. Nothing, with a message, as soon as
/// one is refused or of no known type.
std::optional<LaunchItems> ReadLaunchParameters(std::int32_t count, const QuarryLaunchParameter* parameters,
                                                bool allowLocalFiles);

}  // namespace quarry
