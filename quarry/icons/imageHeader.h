#pragma once

#include <cstdint>
#include <span>

namespace quarry {

/// Whether the header that an icon's image begins with describes a picture that an icon can be: a PNG file's, or a
/// bitmap's without surprising depth or compression, of at most 4096 pixels a side. The platform multiplies these
/// numbers to find its way through the image. `bytes` is the image, as far as it is there.
bool IsPlausibleImage(std::span<const std::uint8_t> bytes);

}  // namespace quarry
