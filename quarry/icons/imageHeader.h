#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace quarry {

/// How much of an image IsPlausibleImage looks at.
constexpr std::size_t kImageHeaderSize = 40;

/// Whether the header that an icon's image begins with describes a picture that an icon can be: a PNG file's of at most
/// 1024 pixels a side, or a bitmap's without surprising depth or compression whose colours lie within the image. The
/// platform multiplies these numbers to find its way through the image. `start` is the image's beginning, as far as it
/// is there, and `size` the bytes of the whole image.
bool IsPlausibleImage(std::span<const std::uint8_t> start, std::uint64_t size);

}  // namespace quarry
