#pragma once

#include <string>

namespace quarry {

class Config;

/// The folder for the PNG files, made when it is missing: the configured one, else the built-in one. Empty, with
/// messages, when neither can be made. In a privileged process others than administrators can have no hand in it: what
/// it makes is protected, and a folder that they own or can write to is refused, as is one behind a reparse point.
std::wstring ChooseCacheFolder(const Config& config);

}  // namespace quarry
