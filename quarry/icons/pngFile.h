#pragma once

#include "quarry/icons/gdiPlus.h"
#include "quarry/icons/iconPixels.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class PathTrust;

namespace quarry {

/// The installed PNG encoder, to be asked for while GDI+ is in use. With no message when the encoders cannot be listed.
std::optional<CLSID> FindPngEncoder();

/// Whether there is anything at `path`.
bool IsThere(const std::wstring& path);

/// Whether the open file, which is the PNG file at `path`, was not planted by others. False with a message.
bool IsPngTrusted(HANDLE file, const std::wstring& path, const PathTrust& trust);

/// The bytes of the PNG file at `path`; empty, with a message, when it cannot be read or trusted. Links are not
/// followed.
std::vector<std::uint8_t> ReadPng(const std::wstring& path, const PathTrust& trust);

/// Where the picture of a PNG file comes from.
enum class PngSource {
  Pixels,  ///< the pixels, alpha included
  Icon,    ///< the icon itself, whose mask tells what is transparent
};

/// Writes a PNG file. It is there in whole or not at all: it is written under another name in the same folder and then
/// moved into place; when someone else has been quicker, their file stays. Win32Error when a file operation failed.
Gdiplus::Status WritePng(const std::wstring& path, HICON icon, const IconPixels& pixels, PngSource source,
                         const CLSID& encoder);

}  // namespace quarry
