#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Converts between UTF-8 and a character set, which is named by any of the names that ICU's converter table has for it
/// ("windows-1252", "cp1252", "latin1"; only letters, without case, and digits matter). Gives nothing when the
/// character set is not supported, when the source is ill-formed and when a character has no counterpart.
std::optional<std::string> Codeset_ToUtf8(std::string_view bytes, const char* codeset);
std::optional<std::string> Codeset_FromUtf8(std::string_view utf8, const char* codeset);

/// Whether there is a converter, with its table, of this name.
bool Codeset_IsSupported(const char* name);
