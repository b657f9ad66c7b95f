#pragma once

#include <windows.h>

#include <shtypes.h>

#include <string>

namespace quarry {

/// The path of a known folder (Microsoft Learn: SHGetKnownFolderPath, which takes `user` as its hToken). Empty when the
/// system does not name it.
std::wstring KnownFolder(const KNOWNFOLDERID& folder, HANDLE user = nullptr);

}  // namespace quarry
