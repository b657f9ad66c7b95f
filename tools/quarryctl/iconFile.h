#pragma once

#include "quarry/quarry.h"

#include "tools/quarryctl/library.h"

#include <string>

namespace quarryctl {

/// An ICO file with the pictures of an application, a record of `library`, of at most 256 pixels, as PNGs. Empty when
/// it has none.
std::string FormatIconFile(const QuarryApplicationInfo& application, Library& library);

}  // namespace quarryctl
