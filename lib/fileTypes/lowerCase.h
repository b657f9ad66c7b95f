#pragma once

#include <optional>
#include <string>

/// `text` in lower case by the rules of no language. Nothing, with a message, when the platform refuses. Memory that
/// runs out is the caller's to report. Source: Microsoft Learn, LCMapStringW with LCMAP_LOWERCASE.
std::optional<std::wstring> AppUtil_ToLowerUtf16(const std::wstring& text);

/// The same for UTF-8. Nothing, with a message, when memory runs out too.
std::optional<std::string> AppUtil_ToLowerUtf8(const std::string& text);
