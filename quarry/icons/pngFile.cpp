#include "quarry/icons/pngFile.h"

#include "quarry/diagnostics/log.h"

#include "lib/misc/fileBytes.h"
#include "lib/misc/platformHandles.h"
#include "lib/string/str.h"

#include <cwchar>
#include <utility>

namespace quarry {

namespace {

using Gdiplus::Status;
namespace Flat = Gdiplus::DllExports;

constexpr INT kBytesPerPixel = 4;

/// A file that is deleted unless it was moved to its final place.
class TemporaryFile {
 public:
  explicit TemporaryFile(std::wstring path) : path_(std::move(path)) {}
  ~TemporaryFile() {
    if (!path_.empty()) DeleteFileW(path_.c_str());
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::wstring& Path() const { return path_; }
  /// Without this a computer that loses its power can come back with the moved file's name and none of its bytes.
  bool Flush() const {
    const UniqueFile file(CreateFileW(path_.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    return file && FlushFileBuffers(file.get()) != FALSE;
  }
  bool MoveTo(const std::wstring& path) {
    if (MoveFileExW(path_.c_str(), path.c_str(), 0) == FALSE) return false;
    path_.clear();
    return true;
  }

 private:
  std::wstring path_;
};

// The name of no other process's file, also not of one on another machine that shares the folder, and none that the
// cache is read back by.
std::wstring TemporaryPathBeside(const std::wstring& path) {
  LARGE_INTEGER now{};
  QueryPerformanceCounter(&now);
  return path.substr(0, path.find_last_of(L'\\') + 1) +
         Str_FormatWide(L"~%lx%I64x.tmp", GetCurrentProcessId(), now.QuadPart);
}

/// GDI+ reads from the pixels for as long as the bitmap lives, and never writes to them here.
Status MakeBitmap(const IconPixels& pixels, UniqueGdiPlusBitmap& bitmap) {
  return Flat::GdipCreateBitmapFromScan0(pixels.width, pixels.height, kBytesPerPixel * pixels.width,
                                         PixelFormat32bppARGB, const_cast<BYTE*>(pixels.bytes.data()), bitmap.put());
}

Status WriteWhole(const std::wstring& path, Gdiplus::GpBitmap* bitmap, const CLSID& encoder) {
  TemporaryFile file(TemporaryPathBeside(path));
  const Status status = Flat::GdipSaveImageToFile(bitmap, file.Path().c_str(), &encoder, nullptr);
  if (status != Gdiplus::Ok) return status;
  return (file.Flush() && file.MoveTo(path)) || IsThere(path) ? Gdiplus::Ok : Gdiplus::Win32Error;
}

Status WriteWhole(const std::wstring& path, const IconPixels& pixels, const CLSID& encoder) {
  UniqueGdiPlusBitmap bitmap;
  const Status status = MakeBitmap(pixels, bitmap);
  return status == Gdiplus::Ok ? WriteWhole(path, bitmap.get(), encoder) : status;
}

}  // namespace

bool IsThere(const std::wstring& path) { return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

std::optional<CLSID> FindPngEncoder() {
  UINT count = 0;
  UINT size = 0;
  if (Flat::GdipGetImageEncodersSize(&count, &size) != Gdiplus::Ok) return std::nullopt;
  // The texts that the entries point to follow behind them in the same block.
  std::vector<Gdiplus::ImageCodecInfo> encoders(size / sizeof(Gdiplus::ImageCodecInfo) + 1);
  if (Flat::GdipGetImageEncoders(count, size, encoders.data()) != Gdiplus::Ok) return std::nullopt;
  for (UINT index = 0; index < count; ++index) {
    if (std::wcscmp(encoders[index].MimeType, L"image/png") == 0) return encoders[index].Clsid;
  }
  Log(LogLevel::Error, L"Failed to load PNG converter!\n");
  return std::nullopt;
}

std::vector<std::uint8_t> ReadPng(const std::wstring& path) {
  std::optional<std::vector<std::uint8_t>> bytes = ReadWholeFile(path);
  if (!bytes) Log(LogLevel::Error, L"Failed to read icon file %s\n", path.c_str());
  return std::move(bytes).value_or(std::vector<std::uint8_t>());
}

Status WritePng(const std::wstring& path, HICON icon, const IconPixels& pixels, PngSource source,
                const CLSID& encoder) {
  if (source == PngSource::Pixels) return WriteWhole(path, pixels, encoder);
  // GDI+ as Wine has it (8.0) takes every icon for a square: it writes past the end of a buffer when one is taller than
  // wide, and loses rows when it is wider.
  if (pixels.height != pixels.width) {
    const std::optional<IconPixels> masked = WithMaskAsAlpha(icon, pixels);
    return masked ? WriteWhole(path, *masked, encoder) : Gdiplus::GenericError;
  }
  UniqueGdiPlusBitmap bitmap;
  const Status status = Flat::GdipCreateBitmapFromHICON(icon, bitmap.put());
  return status == Gdiplus::Ok ? WriteWhole(path, bitmap.get(), encoder) : status;
}

}  // namespace quarry
