#pragma once

#include <string>

namespace quarryctl {

/// A line each for this program, for the quarry.dll beside it and for the system as the library sees it.
std::string VersionText();

}  // namespace quarryctl
