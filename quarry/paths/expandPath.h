#pragma once

#include <string>

namespace quarry {

/// Expands the environment variables in `path`, then the first "%CommonStartMenu%" (all users' Start menu) and the
/// first "%DefaultStartMenu%" (the default user's), both spelled exactly so. A Start menu that the system does not name
/// is left out. A path that the variables expand past 259 characters is returned as it stands.
std::wstring ExpandPath(const std::wstring& path);

}  // namespace quarry
