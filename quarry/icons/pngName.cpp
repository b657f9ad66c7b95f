#include "quarry/icons/pngName.h"

#include "lib/string/str.h"

#include <algorithm>
#include <cwchar>

namespace quarry {

namespace {

constexpr std::size_t kMostDigits = 63;

/// Reads a dash and the number behind it, and moves `text` past both.
std::optional<int> ParseDashedNumber(const wchar_t*& text) {
  if (*text != L'-') return std::nullopt;
  wchar_t* end = nullptr;
  const long number = std::wcstol(text + 1, &end, 10);
  // A sign would do for the number: in "ab--1-2.png" it is taken for bad form, as no picture has such a side.
  if (end == text + 1 || number < 0) return std::nullopt;
  text = end;
  return static_cast<int>(number);
}

}  // namespace

std::wstring FormatPngName(const PngName& png) {
  return Str_FormatWide(L"%s-%d-%d.png", png.name.c_str(), png.width, png.height);
}

std::optional<PngName> ParsePngName(const std::wstring& fileName) {
  const std::size_t digits = std::min(fileName.find_first_not_of(L"0123456789abcdef"), fileName.size());
  if (digits == 0 || digits > kMostDigits) return std::nullopt;
  const wchar_t* rest = fileName.c_str() + digits;
  const std::optional<int> width = ParseDashedNumber(rest);
  const std::optional<int> height = width ? ParseDashedNumber(rest) : std::nullopt;
  if (!height) return std::nullopt;
  return PngName{fileName.substr(0, digits), *width, *height};
}

}  // namespace quarry
