#include "tools/quarryctl/jsonFile.h"

#include "lib/misc/fileBytes.h"
#include "lib/unicode/unicode.h"

#include <windows.h>

#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

namespace quarryctl {
namespace {

/// `bytes` as UTF-8.
std::string TextFrom(const std::vector<std::uint8_t>& bytes) {
  if (bytes.size() < 2 || bytes[0] != 0xFF || bytes[1] != 0xFE) return {bytes.begin(), bytes.end()};
  std::wstring text(bytes.size() / sizeof(wchar_t) - 1, L'\0');
  std::memcpy(text.data(), bytes.data() + sizeof(wchar_t), text.size() * sizeof(wchar_t));
  return Unicode_Utf8FromWide(text);
}

}  // namespace

JsonFile ReadJsonFile(const std::wstring& path) {
  const std::string name = Unicode_Utf8FromWide(path);
  const std::optional<std::vector<std::uint8_t>> bytes = ReadWholeFile(path);
  if (!bytes) return {{}, "cannot read " + name + ", error " + std::to_string(GetLastError())};
  Json json = Json::parse(TextFrom(*bytes), nullptr, false);
  if (json.is_discarded()) return {{}, name + " holds no JSON"};
  return {std::move(json), {}};
}

}  // namespace quarryctl
