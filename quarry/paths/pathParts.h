#pragma once

#include <string>

namespace quarry {

/// A path in its parts. All five stay empty when the path could not be split.
struct PathParts {
  bool parsed = false;
  std::wstring drive;      ///< such as "C:"; empty for a UNC path
  std::wstring directory;  ///< with leading and trailing backslash
  std::wstring fileName;   ///< with its extension
  std::wstring baseName;   ///< without the extension
  std::wstring extension;  ///< without its dot
};

/// Splits `path` as the runtime's _wsplitpath_s does. A directory, base name or extension of more than 255 characters
/// cannot be split: that is logged and gives empty parts.
PathParts SplitPath(const std::wstring& path);

/// Joins two parts of a path with one backslash; an empty part adds nothing.
std::wstring JoinPath(const std::wstring& folder, const std::wstring& name);

/// Makes one backslash of every run of them behind the first character, so that a UNC path keeps its first two.
std::wstring CollapseBackslashes(const std::wstring& path);

}  // namespace quarry
