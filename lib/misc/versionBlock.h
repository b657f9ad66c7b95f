#pragma once

#include "lib/misc/platformHandles.h"

#include <cstddef>
#include <cstdint>
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

  /// How many bytes of the resource lie at and behind `entry`.
  std::size_t BytesFrom(const void* entry) const;

  /// Language and code page that the translation table names first, as string tables are named ("040904e4").
  std::optional<std::wstring> FirstLanguageCodePage() const;

 private:
  std::size_t size_;
  UniqueVirtual<std::uint8_t> bytes_;
};

/// The text of one string of the table `languageCodePage` (such as "040904e4"), nothing when it is missing.
std::optional<std::wstring> FindVersionString(const VersionBlock& block, const std::wstring& languageCodePage,
                                              const std::wstring& key);
/// The same, empty when it is missing.
std::wstring QueryVersionString(const VersionBlock& block, const std::wstring& languageCodePage,
                                const std::wstring& key);
