#pragma once

#include <optional>
#include <string>

namespace linkmaker {

/// What a shortcut file is to hold. Members left empty are not written into it.
struct Shortcut {
  std::wstring linkPath = {};  ///< Full path of the .lnk file. Its folder must exist.
  std::wstring target = {};
  std::wstring arguments = {};
  std::wstring description = {};
  std::wstring workingDirectory = {};
  std::optional<std::wstring> iconLocation = {};  ///< an empty one is written too
  int iconIndex = 0;
};

/// Writes `shortcut` through the shell, replacing a file that is there already. Initialises COM on this thread for the
/// length of the call. Returns false when the shell refuses any part of it.
bool WriteShortcut(const Shortcut& shortcut);

}  // namespace linkmaker
