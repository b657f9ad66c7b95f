#include "tools/quarryctl/utf8.h"

#include <windows.h>

#include <climits>

namespace quarryctl {

std::string Utf8FromWide(std::wstring_view text) {
  if (text.empty() || text.size() > INT_MAX) return {};
  const int count = static_cast<int>(text.size());
  const int needed = WideCharToMultiByte(CP_UTF8, 0, text.data(), count, nullptr, 0, nullptr, nullptr);
  if (needed <= 0) return {};
  std::string result(static_cast<std::size_t>(needed), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), count, result.data(), needed, nullptr, nullptr);
  return result;
}

std::wstring WideFromUtf8(std::string_view text) {
  if (text.empty() || text.size() > INT_MAX) return {};
  const int count = static_cast<int>(text.size());
  const int needed = MultiByteToWideChar(CP_UTF8, 0, text.data(), count, nullptr, 0);
  if (needed <= 0) return {};
  std::wstring result(static_cast<std::size_t>(needed), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), count, result.data(), needed);
  return result;
}

}  // namespace quarryctl
