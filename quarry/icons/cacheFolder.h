#pragma once

#include <string>

class PathTrust;

namespace quarry {

class Config;

/// The folder for the PNG files, made when it is missing: the configured one, else the built-in one. Empty, with
/// messages, when neither can be made or trusted.
std::wstring ChooseCacheFolder(const Config& config, const PathTrust& trust);

}  // namespace quarry
