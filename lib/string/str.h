#pragma once

#include <cstdarg>
#include <string>
#include <string_view>
#include <vector>

/// Formats as the platform's wide formatter does: `%s` names a wide string, `%hs` a narrow one, `%I64u` a 64-bit
/// number. The result is as long as the text needs; a format that the formatter refuses gives the empty string.
/// Source: Microsoft Learn, "Format specification syntax: printf and wprintf functions" (_vscwprintf, _vsnwprintf).
std::wstring Str_FormatWide(const wchar_t* format, ...);
std::wstring Str_VFormatWide(const wchar_t* format, va_list arguments);

/// The same with the narrow formatter: `%s` names a narrow string, `%S` and `%ls` a wide one.
/// Source: Microsoft Learn, "Format specification syntax: printf and wprintf functions" (_vscprintf, _vsnprintf).
std::string Str_Format(const char* format, ...);
std::string Str_VFormat(const char* format, va_list arguments);

/// Cuts `text` at each `separator` and keeps the non-empty pieces in order, untrimmed.
std::vector<std::wstring> Str_Split(std::wstring_view text, wchar_t separator);
