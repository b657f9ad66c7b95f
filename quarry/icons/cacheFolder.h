#pragma once

#include <string>

namespace quarry {

class Config;

/// The folder for the PNG files, made when it is missing: the configured one, else the built-in one. Empty, with
/// messages, when neither can be made.
std::wstring ChooseCacheFolder(const Config& config);

}  // namespace quarry
