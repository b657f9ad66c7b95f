#include "lib/string/str.h"

#include <cstdio>
#include <cwchar>

std::wstring Str_FormatWide(const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::wstring text = Str_VFormatWide(format, arguments);
  va_end(arguments);
  return text;
}

std::wstring Str_VFormatWide(const wchar_t* format, va_list arguments) {
  // The names with an underscore are the runtime's own functions on every toolchain; the standard names take %s as a
  // narrow string with some of them.
  va_list counting;
  va_copy(counting, arguments);
  const int length = _vscwprintf(format, counting);
  va_end(counting);
  if (length <= 0) return {};

  // Room for the terminator too: the runtime's functions differ in whether they write it when the text just fits.
  std::wstring text(static_cast<std::size_t>(length) + 1, L'\0');
  const int written = _vsnwprintf(text.data(), text.size(), format, arguments);
  text.resize(written < 0 ? 0 : static_cast<std::size_t>(written));
  return text;
}

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
