#pragma once

#include <optional>
#include <string>

namespace quarry {

/// What the name of a PNG file in the cache tells.
struct PngName {
  std::wstring name;  ///< lower-case hexadecimal digits
  int width;          ///< pixels
  int height;         ///< pixels
};

/// The file's name: "NAME-WIDTH-HEIGHT.png".
std::wstring FormatPngName(const PngName& png);

/// Reads such a name back; nothing when it is another's. The digits are at most 63.
std::optional<PngName> ParsePngName(const std::wstring& fileName);

}  // namespace quarry
