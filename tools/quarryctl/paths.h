#pragma once

#include <string>

namespace quarryctl {

/// `path` as seen from the current folder, made absolute (Microsoft Learn: GetFullPathNameW). Unchanged when the
/// platform refuses it.
std::wstring AbsolutePath(const std::wstring& path);

/// Full path of the quarry.dll that lies beside this program, so that nothing else can be loaded in its place.
std::wstring LibraryPath();

/// Whether there is a file, not a folder.
bool IsFile(const std::wstring& path);

}  // namespace quarryctl
