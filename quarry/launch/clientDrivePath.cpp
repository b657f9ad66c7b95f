#include "quarry/launch/clientDrivePath.h"

#include "quarry/diagnostics/log.h"

#include <windows.h>

#include <cwchar>
#include <optional>

namespace quarry {

namespace {

constexpr wchar_t kSharePrefix[] = L"\\\\tsclient\\";
constexpr std::size_t kSharePrefixLength = std::size(kSharePrefix) - 1;
constexpr UINT kGb18030 = 54936;

std::wstring WithoutQuotes(const std::wstring& path) {
  if (path.empty() || path.front() != L'"') return path;
  const bool closed = path.size() > 1 && path.back() == L'"';
  return path.substr(1, path.size() - (closed ? 2 : 1));
}

/// Best fits turn look-alikes into backslashes, which would make further folders of a name. Code pages that hold every
/// character take no flags (Microsoft Learn, WideCharToMultiByte).
DWORD ConversionFlags() {
  const UINT codePage = GetACP();
  return codePage == CP_UTF8 || codePage == kGb18030 ? 0 : WC_NO_BEST_FIT_CHARS;
}

/// The text in the system's ANSI code page and back; nothing when the system refuses.
std::optional<std::wstring> ThroughAnsiCodePage(const std::wstring& text) {
  if (text.empty()) return text;
  const int length = static_cast<int>(text.size());
  const DWORD flags = ConversionFlags();
  const int ansiLength = WideCharToMultiByte(CP_ACP, flags, text.data(), length, nullptr, 0, nullptr, nullptr);
  if (ansiLength <= 0) return std::nullopt;
  std::string ansi(static_cast<std::size_t>(ansiLength), '\0');
  if (WideCharToMultiByte(CP_ACP, flags, text.data(), length, ansi.data(), ansiLength, nullptr, nullptr) !=
      ansiLength) {
    return std::nullopt;
  }
  const int wideLength = MultiByteToWideChar(CP_ACP, 0, ansi.data(), ansiLength, nullptr, 0);
  if (wideLength <= 0) return std::nullopt;
  std::wstring wide(static_cast<std::size_t>(wideLength), L'\0');
  if (MultiByteToWideChar(CP_ACP, 0, ansi.data(), ansiLength, wide.data(), wideLength) != wideLength) {
    return std::nullopt;
  }
  return wide;
}

std::wstring SanitizeName(const std::wstring& name) {
  if (std::optional<std::wstring> sanitized = ThroughAnsiCodePage(name)) return *sanitized;
  const DWORD error = GetLastError();
  Log(LogLevel::Error, L"Failed to sanitize folder name '%s' with error %u.\n", name.c_str(), error);
  return name;
}

}  // namespace

bool IsClientDrivePath(const std::wstring& path) {
  const wchar_t* const start = path.c_str() + (!path.empty() && path.front() == L'"' ? 1 : 0);
  return _wcsnicmp(start, kSharePrefix, kSharePrefixLength) == 0;
}

std::wstring SanitizeClientDrivePath(const std::wstring& path) {
  const std::wstring plain = WithoutQuotes(path);
  std::wstring sanitized = plain.substr(0, kSharePrefixLength);
  for (std::size_t start = kSharePrefixLength;;) {
    const std::size_t end = plain.find(L'\\', start);
    sanitized += SanitizeName(plain.substr(start, end - start));
    if (end == std::wstring::npos) return sanitized;
    sanitized += L'\\';
    start = end + 1;
  }
}

}  // namespace quarry
