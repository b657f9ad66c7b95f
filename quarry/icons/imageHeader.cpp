#include "quarry/icons/imageHeader.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

namespace quarry {

namespace {

// An icon shows 256 pixels a side; some tools put larger pictures behind that, which the platform has to decode in
// whole.
constexpr std::int64_t kLongestSide = 1024;
constexpr std::array<std::uint8_t, 8> kPngSignature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
constexpr std::size_t kPngWidthOffset = 16;  // in the IHDR chunk, which comes first
constexpr std::size_t kPngHeightOffset = 20;

bool IsSide(std::int64_t pixels) { return pixels >= 1 && pixels <= kLongestSide; }

bool IsDepth(int bitCount) {
  constexpr int kDepths[] = {1, 4, 8, 16, 24, 32};
  return std::find(std::begin(kDepths), std::end(kDepths), bitCount) != std::end(kDepths);
}

std::uint32_t BigEndianAt(std::span<const std::uint8_t> bytes, std::size_t offset) {
  std::uint32_t value = 0;
  for (const std::uint8_t byte : bytes.subspan(offset, sizeof(value))) value = value << 8 | byte;
  return value;
}

bool IsPng(std::span<const std::uint8_t> bytes) {
  return bytes.size() >= kPngSignature.size() && std::equal(kPngSignature.begin(), kPngSignature.end(), bytes.begin());
}

bool IsPlausiblePng(std::span<const std::uint8_t> bytes) {
  return bytes.size() >= kPngHeightOffset + sizeof(std::uint32_t) && IsSide(BigEndianAt(bytes, kPngWidthOffset)) &&
         IsSide(BigEndianAt(bytes, kPngHeightOffset));
}

std::uint64_t PaletteSize(const BITMAPINFOHEADER& header) {
  const bool hasMasks = header.biCompression == BI_BITFIELDS && header.biSize == sizeof(BITMAPINFOHEADER);
  const std::uint64_t colors = header.biBitCount <= 8 ? std::uint64_t{1} << header.biBitCount : 0;
  return (header.biClrUsed != 0 ? header.biClrUsed : colors) * sizeof(RGBQUAD) + (hasMasks ? 3 * sizeof(DWORD) : 0);
}

// The height counts the picture and its mask.
bool IsPlausibleBitmap(const BITMAPINFOHEADER& header, std::uint64_t size) {
  if (header.biSize < sizeof(BITMAPINFOHEADER) || header.biSize > sizeof(BITMAPV5HEADER) || !IsSide(header.biWidth) ||
      !IsSide(header.biHeight / 2) || !IsDepth(header.biBitCount) ||
      (header.biCompression != BI_RGB && header.biCompression != BI_BITFIELDS)) {
    return false;
  }
  const std::uint64_t stride = (static_cast<std::uint64_t>(header.biWidth) * header.biBitCount + 31) / 32 * 4;
  const std::uint64_t rows = static_cast<std::uint64_t>(header.biHeight / 2) * stride;
  return header.biSize + PaletteSize(header) + rows <= size;
}

}  // namespace

bool IsPlausibleImage(std::span<const std::uint8_t> start, std::uint64_t size) {
  if (IsPng(start)) return IsPlausiblePng(start);
  BITMAPINFOHEADER header{};
  static_assert(sizeof(header) == kImageHeaderSize);
  if (start.size() < sizeof(header)) return false;
  std::memcpy(&header, start.data(), sizeof(header));
  return IsPlausibleBitmap(header, size);
}

}  // namespace quarry
