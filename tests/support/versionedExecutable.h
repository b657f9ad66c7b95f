#pragma once

#include <windows.h>

#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace quarry::test {

/// A version resource, to be written as it stands, whether it makes sense or not.
struct VersionResource {
  struct Translation {
    std::uint16_t language;
    std::uint16_t codePage;
  };
  struct StringTable {
    std::wstring key;  ///< "040904e4"
    std::vector<std::pair<std::wstring, std::wstring>> strings;
  };
  bool hasTranslations = true;  ///< false leaves the translation table out, not only empty
  std::vector<Translation> translations;
  std::vector<StringTable> tables;
  bool hasNumbers = true;         ///< false leaves the fixed block out
  std::uint64_t fileVersion = 0;  ///< 16 bits each of major, minor, build and revision
};

/// The bytes of the resource (Microsoft Learn, VS_VERSIONINFO).
std::vector<std::uint8_t> VersionResourceBytes(const VersionResource& version);

/// Puts one resource into an executable, in the neutral language. `type` and `name` as for UpdateResourceW. These throw
/// std::system_error when the platform refuses.
void PutResource(const std::wstring& path, LPCWSTR type, LPCWSTR name, std::span<const std::uint8_t> bytes);
/// Puts a version resource into an executable.
void PutVersion(const std::wstring& path, const VersionResource& version);

}  // namespace quarry::test
