#pragma once

#include <string>
#include <string_view>

/// Conversions never fail: each ill-formed part of the text (a byte sequence that is not UTF-8, a lone surrogate)
/// becomes U+FFFD. A text of more than a third of 2^31 units, which ICU cannot count, gives the empty string.
std::wstring Unicode_WideFromUtf8(std::string_view text);
std::string Unicode_Utf8FromWide(std::wstring_view text);

/// Default full case folding, the same for all languages: "ß" becomes "ss", "İ" becomes "i" with a dot above, "ı"
/// stays. Source: The Unicode Standard, CaseFolding.txt, statuses C and F. Limits and ill-formed text as with the
/// conversions.
std::wstring Unicode_FoldCase(std::wstring_view text);
std::string Unicode_FoldCase(std::string_view utf8);

/// Compares the folded texts by code points: negative, 0 or positive as `left` comes before, with or after `right`.
/// Only the first 2^31 - 1 units of a text count.
int Unicode_CompareIgnoreCase(std::wstring_view left, std::wstring_view right);
int Unicode_CompareIgnoreCase(std::string_view leftUtf8, std::string_view rightUtf8);

bool Unicode_EqualIgnoreCase(std::wstring_view left, std::wstring_view right);
bool Unicode_EqualIgnoreCase(std::string_view leftUtf8, std::string_view rightUtf8);

/// The order of Unicode_CompareIgnoreCase for ordered containers, which can then be asked with views and literals too.
struct Unicode_LessIgnoreCase {
  using is_transparent = void;
  bool operator()(std::wstring_view left, std::wstring_view right) const {
    return Unicode_CompareIgnoreCase(left, right) < 0;
  }
  bool operator()(std::string_view leftUtf8, std::string_view rightUtf8) const {
    return Unicode_CompareIgnoreCase(leftUtf8, rightUtf8) < 0;
  }
};
