#pragma once

#include "lib/misc/platformHandles.h"

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>

/// A version resource as the platform's version functions read it, with zeros behind it as far as its own lengths can
/// lead those functions, so that a resource whose lengths lie is never read beyond what this block owns.
class VersionBlock {
 public:
  /// No entry begins behind this many bytes, whatever the resource's lengths say.
  static constexpr std::size_t kLongestResource = std::size_t{4} * 65536;

  /// Copies the resource; what lies beyond the reach of its 16-bit lengths is dropped.
  explicit VersionBlock(std::span<const std::uint8_t> resource);

  /// One entry of VerQueryValueW: null where the block has none or where it does not lie within the resource.
  /// `length` is what the platform says, in the entry's own unit.
  const void* Find(const std::wstring& subBlock, std::uint32_t& length) const;

  /// The beginning of an entry as one of the platform's structures; nothing when there is no entry of that length.
  template <typename Structure>
  std::optional<Structure> Read(const std::wstring& subBlock) const {
    std::uint32_t length = 0;
    const void* const entry = Find(subBlock, length);
    Structure copy{};
    if (entry == nullptr || std::min<std::size_t>(length, BytesFrom(entry)) < sizeof(copy)) return std::nullopt;
    std::memcpy(&copy, entry, sizeof(copy));
    return copy;
  }

  /// How many bytes of the resource lie at and behind `entry`.
  std::size_t BytesFrom(const void* entry) const;

  /// Language and code page that the translation table names first, as string tables are named ("040904e4").
  std::optional<std::wstring> FirstLanguageCodePage() const;

 private:
  std::size_t size_;
  UniqueVirtual<std::uint8_t> bytes_;
};

/// The platform's two calls for a file's version resource.
enum class VersionCall { Size, Content };

/// The version resource of a file or, without a block, the call that failed and its error.
struct VersionResource {
  std::optional<VersionBlock> block;
  VersionCall failed = VersionCall::Size;
  DWORD error = ERROR_SUCCESS;
};

/// Reads the version resource of the file at `path`.
/// Source: Microsoft Learn, GetFileVersionInfoSizeW and GetFileVersionInfoW.
VersionResource ReadVersionResource(const std::wstring& path);

/// The text of one string of the table `languageCodePage` (such as "040904e4"), nothing when it is missing.
std::optional<std::wstring> FindVersionString(const VersionBlock& block, const std::wstring& languageCodePage,
                                              const std::wstring& key);
/// The same, empty when it is missing.
std::wstring QueryVersionString(const VersionBlock& block, const std::wstring& languageCodePage,
                                const std::wstring& key);
