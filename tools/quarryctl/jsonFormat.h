#pragma once

#include "quarry/quarry.h"

#include <span>
#include <string>

namespace quarryctl {

/// One application as a JSON object with every field of the record under its name. Ends with a line end.
std::string FormatJson(const QuarryApplicationInfo& application);

/// Applications as a JSON array of such objects, in their order. Ends with a line end.
std::string FormatJson(std::span<const QuarryApplicationInfo> applications);

}  // namespace quarryctl
