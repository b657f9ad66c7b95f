#include "tools/quarryctl/utf16Files.h"

namespace quarryctl {

std::string Utf16Bytes(std::wstring_view text) {
  std::wstring marked = L"\xFEFF";
  marked += text;
  return {reinterpret_cast<const char*>(marked.data()), marked.size() * sizeof(wchar_t)};
}

std::wstring RegistryText(std::wstring_view text) {
  std::wstring quoted = L"\"";
  for (const wchar_t character : text) {
    if (character == L'"' || character == L'\\') quoted += L'\\';
    quoted += character;
  }
  return quoted + L'"';
}

}  // namespace quarryctl
