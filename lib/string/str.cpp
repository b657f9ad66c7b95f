#include "lib/string/str.h"

#include <cstdio>
#include <cwchar>

namespace {

// The names with an underscore are the runtime's own functions on every toolchain; some of them take %s of the standard
// names' wide functions as a narrow string.
int Measure(const wchar_t* format, va_list arguments) { return _vscwprintf(format, arguments); }
int Measure(const char* format, va_list arguments) { return _vscprintf(format, arguments); }
int Write(wchar_t* buffer, std::size_t capacity, const wchar_t* format, va_list arguments) {
  return _vsnwprintf(buffer, capacity, format, arguments);
}
int Write(char* buffer, std::size_t capacity, const char* format, va_list arguments) {
  return _vsnprintf(buffer, capacity, format, arguments);
}

template <typename Char>
std::basic_string<Char> Formatted(const Char* format, va_list arguments) {
  va_list counting;
  va_copy(counting, arguments);
  const int length = Measure(format, counting);
  va_end(counting);
  if (length <= 0) return {};

  // Room for the terminator too: the runtime's functions differ in whether they write it when the text just fits.
  std::basic_string<Char> text(static_cast<std::size_t>(length) + 1, Char{});
  const int written = Write(text.data(), text.size(), format, arguments);
  text.resize(written < 0 ? 0 : static_cast<std::size_t>(written));
  return text;
}

}  // namespace

std::wstring Str_FormatWide(const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::wstring text = Formatted(format, arguments);
  va_end(arguments);
  return text;
}

std::wstring Str_VFormatWide(const wchar_t* format, va_list arguments) { return Formatted(format, arguments); }

std::string Str_Format(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::string text = Formatted(format, arguments);
  va_end(arguments);
  return text;
}

std::string Str_VFormat(const char* format, va_list arguments) { return Formatted(format, arguments); }

std::vector<std::wstring> Str_Split(std::wstring_view text, wchar_t separator) {
  std::vector<std::wstring> pieces;
  while (!text.empty()) {
    const std::size_t end = text.find(separator);
    const std::wstring_view piece = text.substr(0, end);
    if (!piece.empty()) pieces.emplace_back(piece);
    if (end == std::wstring_view::npos) break;
    text.remove_prefix(end + 1);
  }
  return pieces;
}
