#include "quarry/icons/pngFile.h"

#include "quarry/diagnostics/log.h"
#include "quarry/icons/temporaryFile.h"

#include "lib/misc/fileBytes.h"
#include "lib/misc/pathTrust.h"
#include "lib/misc/platformHandles.h"

#include <wrl/client.h>

#include <cwchar>
#include <utility>

namespace quarry {

namespace {

using Gdiplus::Status;
namespace Flat = Gdiplus::DllExports;

constexpr INT kBytesPerPixel = 4;

/// GDI+ reads from the pixels for as long as the bitmap lives, and never writes to them here.
Status MakeBitmap(const IconPixels& pixels, UniqueGdiPlusBitmap& bitmap) {
  return Flat::GdipCreateBitmapFromScan0(pixels.width, pixels.height, kBytesPerPixel * pixels.width,
                                         PixelFormat32bppARGB, const_cast<BYTE*>(pixels.bytes.data()), bitmap.put());
}

/// The picture as a PNG file would hold it, in a stream of its own.
Status Encode(Gdiplus::GpBitmap* bitmap, const CLSID& encoder, std::vector<std::uint8_t>& png) {
  Microsoft::WRL::ComPtr<IStream> stream;
  if (FAILED(CreateStreamOnHGlobal(nullptr, TRUE, &stream))) return Gdiplus::OutOfMemory;
  const Status status = Flat::GdipSaveImageToStream(bitmap, stream.Get(), &encoder, nullptr);
  if (status != Gdiplus::Ok) return status;
  STATSTG statistics{};
  const LARGE_INTEGER start{};
  if (FAILED(stream->Stat(&statistics, STATFLAG_NONAME)) || FAILED(stream->Seek(start, STREAM_SEEK_SET, nullptr))) {
    return Gdiplus::GenericError;
  }
  png.resize(statistics.cbSize.LowPart);
  ULONG count = 0;
  const HRESULT result = stream->Read(png.data(), statistics.cbSize.LowPart, &count);
  return SUCCEEDED(result) && count == png.size() ? Gdiplus::Ok : Gdiplus::GenericError;
}

Status WriteWhole(const std::wstring& path, Gdiplus::GpBitmap* bitmap, const CLSID& encoder) {
  std::vector<std::uint8_t> png;
  const Status status = Encode(bitmap, encoder, png);
  if (status != Gdiplus::Ok) return status;
  TemporaryFile file(path);
  return (file.Write(png) && file.MoveTo(path)) || IsThere(path) ? Gdiplus::Ok : Gdiplus::Win32Error;
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

bool IsPngTrusted(HANDLE file, const std::wstring& path, const PathTrust& trust) {
  const PathJudgement judgement = trust.JudgeFile(file);
  if (judgement.IsTrusted()) return true;
  Log(LogLevel::Warning, L"Untrusted PNG file %s, owner %s: %s\n", path.c_str(), judgement.owner.c_str(),
      ReasonFor(judgement.distrust));
  return false;
}

std::vector<std::uint8_t> ReadPng(const std::wstring& path, const PathTrust& trust) {
  const UniqueFile file = OpenRegularFile(path, kShareAll);
  if (file && !IsPngTrusted(file.get(), path, trust)) return {};
  std::optional<std::vector<std::uint8_t>> bytes = file ? ReadAllOf(file.get()) : std::nullopt;
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
