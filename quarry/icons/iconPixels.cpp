#include "quarry/icons/iconPixels.h"

#include "quarry/diagnostics/log.h"
#include "quarry/icons/iconHandles.h"

namespace quarry {

namespace {

constexpr std::size_t kBytesPerPixel = 4;

/// The icon's bitmaps; nothing, with the last error, when the platform does not give them.
std::optional<IconBitmaps> BitmapsOf(HICON icon) {
  ICONINFO info{};
  if (GetIconInfo(icon, &info) == FALSE) return std::nullopt;
  return IconBitmaps{UniqueBitmap(info.hbmMask), UniqueBitmap(info.hbmColor)};
}

bool CopyPixels(HBITMAP bitmap, IconPixels& pixels) {
  if (pixels.width <= 0 || pixels.height <= 0) return false;
  pixels.bytes.resize(kBytesPerPixel * static_cast<std::size_t>(pixels.width) *
                      static_cast<std::size_t>(pixels.height));
  BITMAPINFO format{};
  format.bmiHeader.biSize = sizeof(format.bmiHeader);
  format.bmiHeader.biWidth = pixels.width;
  format.bmiHeader.biHeight = -pixels.height;  // top-down rows
  format.bmiHeader.biPlanes = 1;
  format.bmiHeader.biBitCount = 32;
  format.bmiHeader.biCompression = BI_RGB;
  const UniqueScreenDc screen(GetDC(nullptr));
  return screen && GetDIBits(screen.get(), bitmap, 0, static_cast<UINT>(pixels.height), pixels.bytes.data(), &format,
                             DIB_RGB_COLORS) == pixels.height;
}

}  // namespace

std::optional<IconPixels> ReadPixels(HICON icon) {
  const std::optional<IconBitmaps> bitmaps = BitmapsOf(icon);
  if (!bitmaps) {
    Log(LogLevel::Error, L"GetIconInfo failed err=%ld\n", GetLastError());
    return std::nullopt;
  }
  BITMAP bitmap{};
  if (GetObjectW(bitmaps->color.get(), sizeof(bitmap), &bitmap) == 0) {
    Log(LogLevel::Error, L"GetObject failed\n");
    return std::nullopt;
  }
  IconPixels pixels{bitmap.bmWidth, bitmap.bmHeight, {}};
  if (!CopyPixels(bitmaps->color.get(), pixels)) {
    Log(LogLevel::Error, L"GetDIBits failed!\n");
    return std::nullopt;
  }
  return pixels;
}

std::optional<IconPixels> WithMaskAsAlpha(HICON icon, IconPixels pixels) {
  const std::optional<IconBitmaps> bitmaps = BitmapsOf(icon);
  IconPixels mask{pixels.width, pixels.height, {}};
  if (!bitmaps || !CopyPixels(bitmaps->mask.get(), mask)) return std::nullopt;
  for (std::size_t position = 0; position < mask.bytes.size(); position += kBytesPerPixel) {
    const bool isTransparent = mask.bytes[position] != 0;  // white in the mask
    pixels.bytes[position + kBytesPerPixel - 1] = isTransparent ? 0 : 0xFF;
  }
  return pixels;
}

}  // namespace quarry
