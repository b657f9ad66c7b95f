#pragma once

#include "quarry/quarry.h"

#include <cstdint>
#include <string>

namespace quarry {

/// What a host asks for when it starts an application.
struct LaunchRequest {
  std::wstring path;
  std::uint32_t flags = 0;  ///< QUARRY_LAUNCH_ bits
  std::wstring arguments;
  std::wstring workingDirectory;
  std::int32_t parameterCount = 0;
  const QuarryLaunchParameter* parameters = nullptr;

  bool Has(std::uint32_t flag) const { return (flags & flag) != 0; }
};

}  // namespace quarry
