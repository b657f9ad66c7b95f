#include "lib/unicode/unicode.h"

#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace {

static_assert(sizeof(wchar_t) == sizeof(UChar), "wide strings must be UTF-16");

constexpr UChar32 kReplacement = 0xFFFD;
constexpr std::size_t kMaxLength = std::numeric_limits<std::int32_t>::max();
// No conversion or folding makes more than three units of one.
constexpr std::size_t kMaxSourceLength = kMaxLength / 3;

UChar* Units(wchar_t* buffer) { return reinterpret_cast<UChar*>(buffer); }
/// Never null, not for a default view either: ICU's comparison refuses null and then finds everything equal.
const UChar* Units(std::wstring_view text) { return text.empty() ? u"" : reinterpret_cast<const UChar*>(text.data()); }

std::int32_t Length(std::size_t length) { return static_cast<std::int32_t>(std::min(length, kMaxLength)); }

/// Calls `convert(buffer, capacity, status)`, one of ICU's functions that tell the length that they need, once for the
/// length and once for the text.
template <typename Char, typename Convert>
std::basic_string<Char> Converted(std::size_t sourceLength, const Convert& convert) {
  if (sourceLength > kMaxSourceLength) return {};
  UErrorCode status = U_ZERO_ERROR;
  const std::int32_t length = convert(nullptr, 0, &status);
  if (status != U_BUFFER_OVERFLOW_ERROR) return {};  // empty
  std::basic_string<Char> result(static_cast<std::size_t>(length), Char{});
  status = U_ZERO_ERROR;
  convert(result.data(), length, &status);
  return result;
}

bool IsAscii(char character) { return static_cast<unsigned char>(character) < 0x80; }

int FoldedAscii(char character) { return character >= 'A' && character <= 'Z' ? character - 'A' + 'a' : character; }

}  // namespace

std::wstring Unicode_WideFromUtf8(std::string_view text) {
  return Converted<wchar_t>(text.size(), [&](wchar_t* buffer, std::int32_t capacity, UErrorCode* status) {
    std::int32_t length = 0;
    u_strFromUTF8WithSub(Units(buffer), capacity, &length, text.data(), Length(text.size()), kReplacement, nullptr,
                         status);
    return length;
  });
}

std::string Unicode_Utf8FromWide(std::wstring_view text) {
  return Converted<char>(text.size(), [&](char* buffer, std::int32_t capacity, UErrorCode* status) {
    std::int32_t length = 0;
    u_strToUTF8WithSub(buffer, capacity, &length, Units(text), Length(text.size()), kReplacement, nullptr, status);
    return length;
  });
}

std::wstring Unicode_FoldCase(std::wstring_view text) {
  return Converted<wchar_t>(text.size(), [&](wchar_t* buffer, std::int32_t capacity, UErrorCode* status) {
    return u_strFoldCase(Units(buffer), capacity, Units(text), Length(text.size()), U_FOLD_CASE_DEFAULT, status);
  });
}

std::string Unicode_FoldCase(std::string_view utf8) {
  return Unicode_Utf8FromWide(Unicode_FoldCase(Unicode_WideFromUtf8(utf8)));
}

int Unicode_CompareIgnoreCase(std::wstring_view left, std::wstring_view right) {
  UErrorCode status = U_ZERO_ERROR;
  return u_strCaseCompare(Units(left), Length(left.size()), Units(right), Length(right.size()),
                          U_FOLD_CASE_DEFAULT | U_COMPARE_CODE_POINT_ORDER, &status);
}

int Unicode_CompareIgnoreCase(std::string_view leftUtf8, std::string_view rightUtf8) {
  const std::size_t common = std::min(leftUtf8.size(), rightUtf8.size());
  std::size_t index = 0;
  // Names are ASCII nearly always; only the first other character calls for a conversion.
  for (; index < common && IsAscii(leftUtf8[index]) && IsAscii(rightUtf8[index]); ++index) {
    const int difference = FoldedAscii(leftUtf8[index]) - FoldedAscii(rightUtf8[index]);
    if (difference != 0) return difference;
  }
  return Unicode_CompareIgnoreCase(Unicode_WideFromUtf8(leftUtf8.substr(index)),
                                   Unicode_WideFromUtf8(rightUtf8.substr(index)));
}

bool Unicode_EqualIgnoreCase(std::wstring_view left, std::wstring_view right) {
  return Unicode_CompareIgnoreCase(left, right) == 0;
}

bool Unicode_EqualIgnoreCase(std::string_view leftUtf8, std::string_view rightUtf8) {
  return Unicode_CompareIgnoreCase(leftUtf8, rightUtf8) == 0;
}
