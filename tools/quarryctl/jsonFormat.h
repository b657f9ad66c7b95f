#pragma once

#include "quarry/quarry.h"

#include "tools/quarryctl/library.h"

#include <span>
#include <string>

namespace quarryctl {

/// One application as a JSON object with every field of the record under its name. Ends with a line end.
std::string FormatJson(const QuarryApplicationInfo& application);

/// The same with the further field "icons": an array of icon objects, null where an icon could not be stored.
std::string FormatJson(const ApplicationWithIcons& application);

/// Applications as a JSON array of such objects, in their order. Ends with a line end.
std::string FormatJson(std::span<const ApplicationWithIcons> applications);

/// One icon as a JSON object with every field of the record under its name. Ends with a line end.
std::string FormatJson(const QuarryIconInfo& icon);

}  // namespace quarryctl
