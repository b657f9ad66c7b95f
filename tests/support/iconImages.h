#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace quarry::test {

/// One image of an icon: what its directory entry tells and what lies behind it.
struct IconImage {
  int width = 0;
  int height = 0;
  int bitCount = 0;
  std::vector<std::uint8_t> bytes;
  /// What it shows: rows from top to bottom, 0xAARRGGBB, 0 where it is transparent.
  std::vector<std::uint32_t> picture = {};
};

/// An image of the classic kind with 8, 24 or 32 bits a pixel, whose picture depends on `variant`. The left half is
/// opaque. The right half is transparent by the mask, and in an image of 32 bits, where the mask does not count, by
/// alphas from 1 to 254.
IconImage MakeImage(unsigned width, unsigned height, int bitCount, unsigned variant = 0);

/// An ICO file of these images. The directory tells `count` of them when that is not negative.
std::vector<std::uint8_t> IcoFile(const std::vector<IconImage>& images, int count = -1);

/// Puts a group of icons into an executable, under a number (MAKEINTRESOURCEW) or a name. The images take the numbers
/// from `firstId` on, where one without bytes is the first once more; the directory tells `count` of them when that is
/// not negative.
void PutIconGroup(const std::wstring& path, LPCWSTR name, const std::vector<IconImage>& images, int firstId = 1,
                  int count = -1);

}  // namespace quarry::test
