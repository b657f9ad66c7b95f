#include "lib/fileTypes/lowerCase.h"

#include "lib/misc/logEntry.h"
#include "lib/misc/osVersion.h"
#include "lib/unicode/unicode.h"

#include <windows.h>

#include <cstdint>
#include <new>

namespace {

constexpr char kToLowerUtf16[] = "AppUtil_ToLowerUtf16";

/// Microsoft Learn, "Locale Identifiers": LOCALE_INVARIANT came with Windows XP.
LCID LocaleForLowerCase() {
  return Os_GetGeneration() <= kOsGenerationWindows2000 ? LOCALE_SYSTEM_DEFAULT : LOCALE_INVARIANT;
}

/// The length, with the terminator, that is written to `lower`; of a null one that it takes. 0 on failure.
int MapToLower(const std::wstring& text, wchar_t* lower, int capacity) {
  const int length = LCMapStringW(LocaleForLowerCase(), LCMAP_LOWERCASE, text.c_str(), -1, lower, capacity);
  if (length == 0) LogEntry(kToLowerUtf16, "LCMapString error %#x.\n", GetLastError());
  return length;
}

}  // namespace

std::optional<std::wstring> AppUtil_ToLowerUtf16(const std::wstring& text) {
  const int length = MapToLower(text, nullptr, 0);
  if (length == 0) return std::nullopt;
  std::wstring lower(static_cast<std::size_t>(length), L'\0');
  if (MapToLower(text, lower.data(), length) == 0) return std::nullopt;
  lower.pop_back();  // the terminator
  return lower;
}

std::optional<std::string> AppUtil_ToLowerUtf8(const std::string& text) {
  try {
    const std::optional<std::wstring> lower = AppUtil_ToLowerUtf16(Unicode_WideFromUtf8(text));
    if (!lower) return std::nullopt;
    return Unicode_Utf8FromWide(*lower);
  } catch (const std::bad_alloc&) {
    LogEntry(kToLowerUtf16, "Failed to alloc %I64u bytes.\n", std::uint64_t{sizeof(wchar_t)} * (text.size() + 1));
    return std::nullopt;
  }
}
