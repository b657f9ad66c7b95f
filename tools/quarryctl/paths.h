#pragma once

#include <string>

namespace quarryctl {

/// `path` as seen from the current folder, made absolute (Microsoft Learn: GetFullPathNameW). Unchanged when the
/// platform refuses it.
std::wstring AbsolutePath(const std::wstring& path);

/// The same, but a path that begins with an environment variable or one of the library's own tokens, such as
/// "%CommonStartMenu%", stays as it is: the library expands it.
std::wstring AbsoluteApplicationPath(const std::wstring& path);

/// Full path of the folder that this program lies in, without a trailing backslash. Empty when it cannot be told.
std::wstring ProgramFolder();

/// For the check of an option that names a file: what is wrong with `path`, or nothing.
std::string RefuseEmptyName(const std::string& path);

}  // namespace quarryctl
