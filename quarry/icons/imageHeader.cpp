#include "quarry/icons/imageHeader.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

namespace quarry {

namespace {

constexpr std::int64_t kLongestSide = 4096;
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

// The height counts the picture and its mask.
bool IsPlausibleBitmap(const BITMAPINFOHEADER& header) {
  return header.biSize >= sizeof(BITMAPINFOHEADER) && header.biSize <= sizeof(BITMAPV5HEADER) &&
         IsSide(header.biWidth) && IsSide(header.biHeight / 2) && IsDepth(header.biBitCount) &&
         (header.biCompression == BI_RGB || header.biCompression == BI_BITFIELDS);
}

}  // namespace

bool IsPlausibleImage(std::span<const std::uint8_t> bytes) {
  if (IsPng(bytes)) return IsPlausiblePng(bytes);
  BITMAPINFOHEADER header{};
  if (bytes.size() < sizeof(header)) return false;
  std::memcpy(&header, bytes.data(), sizeof(header));
  return IsPlausibleBitmap(header);
}

}  // namespace quarry
