#pragma once

#include <optional>
#include <string>

namespace quarry {

/// Whether a path names a shortcut, by its extension in any letter case.
bool IsShortcut(const std::wstring& path);

/// The file that a shortcut names, whether there is such a file and whether it is an application or not. Nothing when
/// it names none.
std::optional<std::wstring> ShortcutTarget(const std::wstring& path);

}  // namespace quarry
