#pragma once

#include <string>

namespace quarryctl {

/// `path` as seen from the current folder, made absolute (Microsoft Learn: GetFullPathNameW). Unchanged when the
/// platform refuses it.
std::wstring AbsolutePath(const std::wstring& path);

/// Full path of the folder that this program lies in, without a trailing backslash. Empty when it cannot be told.
std::wstring ProgramFolder();

}  // namespace quarryctl
