#pragma once

#include <string>

namespace quarryctl {

/// The version in the properties of the file at `path`, or why there is none.
std::string VersionOfFile(const std::wstring& path);

/// A line each for this program, for the quarry.dll beside it and for the system as the library sees it.
std::string VersionText();

}  // namespace quarryctl
