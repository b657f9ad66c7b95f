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

}  // namespace

std::size_t DisplayWidth(std::string_view utf8) {
  const std::wstring text = Unicode_WideFromUtf8(utf8);
  std::size_t width = 0;
  for (std::size_t index = 0; index < text.size();) {
    UChar32 character = 0;
    U16_NEXT(text.data(), index, text.size(), character);
    width += CharacterWidth(character);
  }
  return width;
}

}  // namespace quarryctl
