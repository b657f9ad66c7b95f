#pragma once

#include <algorithm>
#include <string_view>
#include <type_traits>

// The check, when the tree is compiled, that a message's format fits its arguments. Compilers have an attribute for
// this, but none for wide formats, and GCC's for narrow ones refuses, with -Wpedantic, what the platform's formatter
// takes and the messages need: "%I64u", "%hs", "%p" with a window, "%u" with a DWORD.

namespace format_detail {

enum class ArgumentKind { None, Number32, Number64, NarrowText, WideText, Pointer, Unknown };

template <typename Argument>
constexpr ArgumentKind KindOf() {
  static_assert(std::is_integral_v<Argument> || std::is_pointer_v<Argument>,
                "a format takes numbers and pointers: pass text by c_str()");
  if constexpr (std::is_integral_v<Argument>) {
    return sizeof(Argument) > 4 ? ArgumentKind::Number64 : ArgumentKind::Number32;
  } else {
    if (std::is_convertible_v<Argument, const char*>) return ArgumentKind::NarrowText;
    return std::is_convertible_v<Argument, const wchar_t*> ? ArgumentKind::WideText : ArgumentKind::Pointer;
  }
}

/// Cuts the next conversion off the format, with all that stands before it, and tells what it takes: None at the end.
template <typename Char>
constexpr ArgumentKind CutConversion(std::basic_string_view<Char>& rest) {
  const auto cutOneOf = [&rest](std::string_view characters) {
    const auto isNext = [&rest](char character) { return rest.starts_with(static_cast<Char>(character)); };
    if (!std::any_of(characters.begin(), characters.end(), isNext)) return false;
    rest.remove_prefix(1);
    return true;
  };
  do {
    rest.remove_prefix(std::min(rest.find(Char{'%'}), rest.size()));
    if (rest.empty()) return ArgumentKind::None;
    rest.remove_prefix(1);
  } while (cutOneOf("%"));

  while (cutOneOf("-+ #0123456789.")) {
  }
  const bool is64 = cutOneOf("I") && cutOneOf("6") && cutOneOf("4");
  const bool isWide = cutOneOf("l") || (sizeof(Char) == sizeof(wchar_t) && !rest.starts_with(Char{'h'}));
  cutOneOf("h");
  if (cutOneOf("duxX")) return is64 ? ArgumentKind::Number64 : ArgumentKind::Number32;
  if (cutOneOf("s")) return isWide ? ArgumentKind::WideText : ArgumentKind::NarrowText;
  return cutOneOf("p") ? ArgumentKind::Pointer : ArgumentKind::Unknown;
}

}  // namespace format_detail

/// Whether a format of Str_Format or Str_FormatWide has one conversion for each argument, in order and of its kind.
template <typename Char, typename... Arguments>
constexpr bool FormatFits(std::basic_string_view<Char> format) {
  return ((format_detail::CutConversion(format) == format_detail::KindOf<Arguments>()) && ...) &&
         format_detail::CutConversion(format) == format_detail::ArgumentKind::None;
}

/// A format, written as a literal, that does not compile when it does not fit these arguments.
template <typename Char, typename... Arguments>
class CheckedFormat {
 public:
  // NOLINTNEXTLINE(google-explicit-constructor): the literal is passed as it stands
  consteval CheckedFormat(const Char* text) : text_(text) {
    if (!FormatFits<Char, Arguments...>(text)) throw "the format does not fit the arguments";
  }
  const Char* get() const noexcept { return text_; }

 private:
  const Char* text_;
};
