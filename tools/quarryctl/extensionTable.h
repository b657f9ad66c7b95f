#pragma once

#include "quarry/quarry.h"

#include <span>
#include <string>

namespace quarryctl {

/// File types as a table with one row each and a line with their number.
std::string FormatExtensionTable(std::span<const QuarryExtensionEntry> extensions, std::size_t width);

}  // namespace quarryctl
