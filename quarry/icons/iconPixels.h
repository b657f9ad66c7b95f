#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace quarry {

/// The colours of an icon: rows from top to bottom, 4 bytes a pixel (blue, green, red, alpha).
struct IconPixels {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> bytes;
};

/// Reads the pixels of `icon`. Nothing, with a message, when the platform refuses them.
std::optional<IconPixels> ReadPixels(HICON icon);

/// The pixels of `icon` with alphas that say the same as its mask: opaque or transparent. Nothing when the platform
/// refuses the mask.
std::optional<IconPixels> WithMaskAsAlpha(HICON icon, IconPixels pixels);

}  // namespace quarry
