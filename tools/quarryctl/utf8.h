#pragma once

#include <string>
#include <string_view>

namespace quarryctl {

/// Converts between the library's UTF-16 and the UTF-8 that this tool works in and writes. Ill-formed input becomes
/// U+FFFD; a text that is empty or longer than INT_MAX units gives an empty one.
std::string Utf8FromWide(std::wstring_view text);
std::wstring WideFromUtf8(std::string_view text);

}  // namespace quarryctl
