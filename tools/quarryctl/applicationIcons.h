#pragma once

#include "quarry/quarry.h"

#include "tools/quarryctl/library.h"

#include <span>
#include <vector>

namespace quarryctl {

/// An application with its icons.
struct ApplicationWithIcons {
  const QuarryApplicationInfo& application;
  IconRecords icons;
};

/// In the order of `applications`, which must outlive the result.
std::vector<ApplicationWithIcons> WithIcons(std::span<const QuarryApplicationInfo> applications, Library& library);

}  // namespace quarryctl
