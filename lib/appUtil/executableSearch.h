#pragma once

#include <optional>
#include <string>

/// `text` with its environment variables expanded, of any length. Nothing when the platform refuses.
/// Source: Microsoft Learn, ExpandEnvironmentStringsW.
std::optional<std::wstring> AppUtilExpandEnvironment(const std::wstring& text);

/// The path of a program: an absolute one as it stands, whether there is such a file or not, a relative one as it is
/// found in the folders of the search path. Nothing, with a message in the name of `function`, when it is not found.
/// Source: Microsoft Learn, PathFindOnPathW.
std::optional<std::wstring> AppUtilFindExecutable(const std::wstring& path, const char* function);
