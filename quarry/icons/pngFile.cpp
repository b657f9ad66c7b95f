#include "quarry/icons/pngFile.h"

#include "quarry/diagnostics/log.h"

#include "lib/misc/fileBytes.h"
#include "lib/misc/platformHandles.h"

#include <objbase.h>
#include <shlwapi.h>
#include <wrl/client.h>

#include <cstring>
#include <cwchar>
#include <iterator>
#include <utility>

namespace quarry {

namespace {

using Gdiplus::Status;
using Microsoft::WRL::ComPtr;
namespace Flat = Gdiplus::DllExports;

constexpr INT kBytesPerPixel = 4;

/// A new file that is deleted unless it gets its final name. All goes through one handle, so that nobody can put
/// another file in its place on the way.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::wstring& path)
      : file_(CreateFileW(path.c_str(), GENERIC_WRITE | DELETE, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                          CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr)) {}
  ~TemporaryFile() {
    FILE_DISPOSITION_INFO deletion{TRUE};
    if (file_) SetFileInformationByHandle(file_.get(), FileDispositionInfo, &deletion, sizeof(deletion));
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  /// Flushed, because a computer that loses its power can come back with the file's name and none of its bytes.
  bool Write(const std::vector<std::uint8_t>& bytes) const {
    DWORD written = 0;
    return file_ &&
           WriteFile(file_.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) != FALSE &&
           written == bytes.size() && FlushFileBuffers(file_.get()) != FALSE;
  }
  /// False when there is something of that name.
  bool MoveTo(const std::wstring& path) {
    const std::size_t size = path.size() * sizeof(wchar_t);
    std::vector<std::uint64_t> memory((sizeof(FILE_RENAME_INFO) + size) / sizeof(std::uint64_t) + 1);
    auto* const information = reinterpret_cast<FILE_RENAME_INFO*>(memory.data());
    information->FileNameLength = static_cast<DWORD>(size);
    std::memcpy(information->FileName, path.c_str(), size);
    if (SetFileInformationByHandle(file_.get(), FileRenameInfo, information,
                                   static_cast<DWORD>(sizeof(FILE_RENAME_INFO) + size)) == FALSE) {
      return false;
    }
    file_.reset();
    return true;
  }

 private:
  UniqueFile file_;
};

/// A name that nobody can have taken before, and none that the cache is read back by. Empty when the system has none.
std::wstring TemporaryPathBeside(const std::wstring& path) {
  GUID number{};
  wchar_t text[64] = {};
  if (FAILED(CoCreateGuid(&number)) || StringFromGUID2(number, text, static_cast<int>(std::size(text))) == 0) return {};
  return path.substr(0, path.find_last_of(L'\\') + 1) + L'~' + text + L".tmp";
}

/// GDI+ reads from the pixels for as long as the bitmap lives, and never writes to them here.
Status MakeBitmap(const IconPixels& pixels, UniqueGdiPlusBitmap& bitmap) {
  return Flat::GdipCreateBitmapFromScan0(pixels.width, pixels.height, kBytesPerPixel * pixels.width,
                                         PixelFormat32bppARGB, const_cast<BYTE*>(pixels.bytes.data()), bitmap.put());
}

Status Encode(Gdiplus::GpBitmap* bitmap, const CLSID& encoder, std::vector<std::uint8_t>& bytes) {
  ComPtr<IStream> stream;
  if (FAILED(CreateStreamOnHGlobal(nullptr, TRUE, stream.GetAddressOf()))) return Gdiplus::OutOfMemory;
  const Status status = Flat::GdipSaveImageToStream(bitmap, stream.Get(), &encoder, nullptr);
  if (status != Gdiplus::Ok) return status;
  ULARGE_INTEGER size{};
  if (FAILED(IStream_Size(stream.Get(), &size)) || FAILED(IStream_Reset(stream.Get()))) return Gdiplus::GenericError;
  bytes.resize(static_cast<std::size_t>(size.QuadPart));
  return SUCCEEDED(IStream_Read(stream.Get(), bytes.data(), static_cast<ULONG>(bytes.size()))) ? Gdiplus::Ok
                                                                                               : Gdiplus::GenericError;
}

Status WriteWhole(const std::wstring& path, Gdiplus::GpBitmap* bitmap, const CLSID& encoder) {
  std::vector<std::uint8_t> bytes;
  const Status status = Encode(bitmap, encoder, bytes);
  if (status != Gdiplus::Ok) return status;
  TemporaryFile file(TemporaryPathBeside(path));
  return (file.Write(bytes) && file.MoveTo(path)) || IsThere(path) ? Gdiplus::Ok : Gdiplus::Win32Error;
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
  std::optional<std::vector<std::uint8_t>> bytes = ReadRegularFile(path);
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
