#pragma once

#include "lib/misc/platformHandles.h"

#include <cstdint>
#include <span>
#include <string>

namespace quarry {

/// The strings of a version resource that an application shows, each empty where the resource does not hold it.
struct VersionStrings {
  std::wstring productName;
  std::wstring productVersion;
  std::wstring comments;
  std::wstring companyName;
  std::wstring fileDescription;
  std::wstring fileVersion;
};

/// Reads the strings of the file at `path`, in the language that its translation table names first. A file without a
/// readable version resource is logged and gives empty strings.
VersionStrings ReadVersionInfo(const std::wstring& path);

/// A version resource as the platform's version functions read it, with zeros behind it as far as its own lengths can
/// lead those functions, so that a resource whose lengths lie is never read beyond what this block owns.
class VersionBlock {
 public:
  /// Copies the resource; what lies beyond the reach of its 16-bit lengths is dropped.
  explicit VersionBlock(std::span<const std::uint8_t> resource);

  /// One entry of VerQueryValueW: null where the block has none or where it does not lie within the resource.
  /// `length` is what the platform says, in the entry's own unit.
  const void* Find(const std::wstring& subBlock, std::uint32_t& length) const;

  /// How many bytes of the resource lie at and behind `entry`.
  std::size_t BytesFrom(const void* entry) const;

 private:
  std::size_t size_;
  UniqueVirtual<std::uint8_t> bytes_;
};

/// The text of one string of the table `languageCodePage` (such as "040904e4"), empty when it is missing.
std::wstring QueryVersionString(const VersionBlock& block, const std::wstring& languageCodePage,
                                const std::wstring& key);

}  // namespace quarry
