#include "tools/quarryctl/displayWidth.h"

#include "lib/unicode/unicode.h"

#include <unicode/uchar.h>
#include <unicode/utf16.h>

#include <cstdint>
#include <string>

namespace quarryctl {
namespace {

// The one format character that terminals draw.
constexpr UChar32 kSoftHyphen = 0x00AD;

bool TakesNoColumn(UChar32 character) {
  constexpr std::uint32_t kCategories = U_GC_MN_MASK | U_GC_ME_MASK | U_GC_CF_MASK;
  if ((U_MASK(u_charType(character)) & kCategories) != 0) return character != kSoftHyphen;
  // The Unicode Standard, "Conjoining Jamo Behavior": vowels and final consonants share the first consonant's square.
  const int syllablePart = u_getIntPropertyValue(character, UCHAR_HANGUL_SYLLABLE_TYPE);
  return syllablePart == U_HST_VOWEL_JAMO || syllablePart == U_HST_TRAILING_JAMO;
}

std::size_t CharacterWidth(UChar32 character) {
  if (TakesNoColumn(character)) return 0;
  // Unicode Standard Annex #11, "East Asian Width": these two are drawn in a square.
  const int width = u_getIntPropertyValue(character, UCHAR_EAST_ASIAN_WIDTH);
  return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

/// Calls `take` with each character and the columns it takes.
template <typename Take>
void ForEachCharacter(std::wstring_view text, Take take) {
  for (std::size_t index = 0; index < text.size();) {
    const std::size_t start = index;
    UChar32 character = 0;
    U16_NEXT(text.data(), index, text.size(), character);
    take(text.substr(start, index - start), CharacterWidth(character));
  }
}

}  // namespace

std::size_t DisplayWidth(std::string_view utf8) {
  std::size_t width = 0;
  ForEachCharacter(Unicode_WideFromUtf8(utf8), [&width](std::wstring_view, std::size_t columns) { width += columns; });
  return width;
}

std::string FitWidth(std::string_view utf8, std::size_t columns) {
  const std::size_t width = DisplayWidth(utf8);
  if (width <= columns) return std::string(utf8);
  const std::size_t headEnd = (columns - 1) / 2;
  const std::size_t tailStart = width - (columns - 1 - headEnd);
  std::wstring head;
  std::wstring tail;
  std::size_t column = 0;
  ForEachCharacter(Unicode_WideFromUtf8(utf8), [&](std::wstring_view character, std::size_t taken) {
    if (column + taken <= headEnd) {
      head += character;
    } else if (column >= tailStart) {
      tail += character;
    }
    column += taken;
  });
  return Unicode_Utf8FromWide(head + L'\u2026' + tail);
}

}  // namespace quarryctl
