#pragma once

#include <windows.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>

/// What rules can ask of a window. The texts are UTF-8 of at most 779 bytes.
struct SeamlyFilterData {
  std::string company;  ///< of the version resource of its program, like all that follows but the class name
  std::string product;
  std::string className;
  std::uint16_t major = 0;
  std::uint16_t minor = 0;
  std::uint16_t build = 0;
  std::uint16_t revision = 0;
};

/// A window with what whoever asks knows of it already. What is empty is asked for when it is needed.
struct SeamlyFilterWindow {
  HWND handle = nullptr;
  std::wstring className;
  std::wstring imagePath;  ///< of the process that owns the window
};

/// The programs of the windows of one enumeration, by path: the file of each is looked at once.
using SeamlyFilterPrograms = std::map<std::wstring, SeamlyFilterData>;

/// Nothing when not even the class name can be read; what the program's version resource does not tell stays empty.
/// Does not wait for the window's message loop.
std::optional<SeamlyFilterData> SeamlyFilterGetData(const SeamlyFilterWindow& window, SeamlyFilterPrograms& programs);

/// Forgets what was read of programs' files.
void SeamlyFilterForgetPrograms();
