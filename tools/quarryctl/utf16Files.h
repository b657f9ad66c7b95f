#pragma once

#include <string>
#include <string_view>

namespace quarryctl {

/// The text in UTF-16 with its byte-order mark, as the platform's profile functions, its registry editor and its
/// remote-desktop client read it.
std::string Utf16Bytes(std::wstring_view text);

/// The text as a quoted string of a registry file. Line breaks have no form there.
std::wstring RegistryText(std::wstring_view text);

}  // namespace quarryctl
