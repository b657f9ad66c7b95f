#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

// The directory that tells what images an icon has, in a program's resources and in an ICO file (Microsoft Learn,
// "Icons in Win32").

namespace quarry {

#pragma pack(push, 1)
struct IconDirectoryHeader {
  std::uint16_t reserved;
  std::uint16_t type;
  std::uint16_t count;
};
/// What both kinds of entry begin with.
struct IconEntry {
  std::uint8_t width;
  std::uint8_t height;
  std::uint8_t colorCount;
  std::uint8_t reserved;
  std::uint16_t planes;
  std::uint16_t bitCount;
  std::uint32_t imageSize;
};
struct GroupEntry : IconEntry {
  std::uint16_t iconId;
};
struct IcoEntry : IconEntry {
  std::uint32_t imageOffset;
};
#pragma pack(pop)
static_assert(sizeof(IconDirectoryHeader) == 6 && sizeof(GroupEntry) == 14 && sizeof(IcoEntry) == 16,
              "the layout of an icon's directory");

/// A directory as far as its bytes are there. Without a whole header it is as good as one of zeros.
template <typename Entry>
class IconDirectory {
 public:
  explicit IconDirectory(std::span<const std::uint8_t> bytes = {}) : bytes_(bytes) {}

  bool HasHeader() const { return bytes_.size() >= sizeof(IconDirectoryHeader); }
  IconDirectoryHeader Header() const { return HasHeader() ? PartAt<IconDirectoryHeader>(0) : IconDirectoryHeader{}; }
  int ClaimedCount() const { return Header().count; }
  int WholeCount() const {
    if (!HasHeader()) return 0;
    const std::size_t room = (bytes_.size() - sizeof(IconDirectoryHeader)) / sizeof(Entry);
    return static_cast<int>(std::min<std::size_t>(room, Header().count));
  }
  /// The entry at `position`, which must be below the count of whole ones.
  Entry EntryAt(int position) const {
    return PartAt<Entry>(sizeof(IconDirectoryHeader) + sizeof(Entry) * static_cast<std::size_t>(position));
  }
  std::span<const std::uint8_t> Bytes() const { return bytes_; }

 private:
  template <typename Part>
  Part PartAt(std::size_t offset) const {
    Part part;
    std::memcpy(&part, bytes_.data() + offset, sizeof(part));
    return part;
  }

  std::span<const std::uint8_t> bytes_;
};

}  // namespace quarry
