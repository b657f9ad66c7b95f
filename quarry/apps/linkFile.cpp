#include "quarry/apps/linkFile.h"

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace quarry {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kHeaderSize = 0x4C;

// [MS-SHLLINK] 2.1.1, LinkFlags.
constexpr std::uint32_t kHasIdList = 0x01;
constexpr std::uint32_t kHasLinkInfo = 0x02;
constexpr std::uint32_t kHasRelativePath = 0x08;
constexpr std::uint32_t kHasWorkingFolder = 0x10;
constexpr std::uint32_t kIsUnicode = 0x80;

/// Little-endian; 0 beyond the end.
std::uint32_t NumberAt(Bytes bytes, std::size_t offset, std::size_t size) {
  std::uint32_t number = 0;
  for (std::size_t index = 0; index < size && offset + index < bytes.size(); ++index) {
    number |= std::uint32_t{bytes[offset + index]} << (8 * index);
  }
  return number;
}
std::uint32_t WordAt(Bytes bytes, std::size_t offset) { return NumberAt(bytes, offset, sizeof(std::uint16_t)); }
std::uint32_t LongAt(Bytes bytes, std::size_t offset) { return NumberAt(bytes, offset, sizeof(std::uint32_t)); }

/// A NUL-terminated narrow text begins at `offset` and ends inside.
bool HoldsText(Bytes bytes, std::size_t offset) {
  return offset < bytes.size() &&
         std::find(bytes.begin() + static_cast<std::ptrdiff_t>(offset), bytes.end(), 0) != bytes.end();
}

bool IsSoundHeader(Bytes file) {
  constexpr std::uint8_t kClass[] = {0x01, 0x14, 0x02, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};
  return file.size() >= kHeaderSize && LongAt(file, 0) == kHeaderSize &&
         std::equal(std::begin(kClass), std::end(kClass), file.begin() + sizeof(std::uint32_t));
}

/// Items of at least their own size's size, closed by an empty one.
bool IsSoundIdList(Bytes list) {
  std::size_t offset = 0;
  while (offset + sizeof(std::uint16_t) <= list.size()) {
    const std::size_t size = WordAt(list, offset);
    if (size == 0) return true;
    if (size < sizeof(std::uint16_t)) return false;
    offset += size;
  }
  return false;
}

/// [MS-SHLLINK] 2.3.1: a volume's label lies behind its header, as far as the volume's own size reaches.
bool IsSoundVolume(Bytes info, std::size_t offset) {
  constexpr std::size_t kVolumeHeader = 0x10;
  if (offset > info.size() || info.size() - offset < kVolumeHeader) return false;
  const std::size_t size = LongAt(info, offset);
  return size >= kVolumeHeader && size <= info.size() - offset &&
         HoldsText(info.subspan(offset, size), LongAt(info, offset + 0x0C));
}

/// [MS-SHLLINK] 2.3: what the flags say is there lies inside.
bool IsSoundLinkInfo(Bytes info) {
  constexpr std::size_t kInfoHeader = 0x1C;
  constexpr std::uint32_t kHasVolume = 1;
  constexpr std::uint32_t kHasNetwork = 2;
  if (info.size() < kInfoHeader) return false;
  const std::uint32_t flags = LongAt(info, 0x08);
  if ((flags & kHasVolume) != 0 && (!IsSoundVolume(info, LongAt(info, 0x0C)) || !HoldsText(info, LongAt(info, 0x10)))) {
    return false;
  }
  const std::size_t network = LongAt(info, 0x14);
  return ((flags & kHasNetwork) == 0 || (network < info.size() && LongAt(info, network) <= info.size() - network)) &&
         HoldsText(info, LongAt(info, 0x18));
}

/// Takes `size` bytes off the front; none when there are fewer.
bool Skip(Bytes& rest, std::size_t size) {
  if (size > rest.size()) return false;
  rest = rest.subspan(size);
  return true;
}

/// [MS-SHLLINK] 2.4: name, relative path, working folder, arguments and icon's place, each with its count of
/// characters.
bool AreSoundTexts(Bytes rest, std::uint32_t flags) {
  constexpr std::uint32_t kTexts[] = {0x04, kHasRelativePath, kHasWorkingFolder, 0x20, 0x40};
  const std::size_t unit = (flags & kIsUnicode) != 0 ? sizeof(wchar_t) : sizeof(char);
  for (const std::uint32_t text : kTexts) {
    if ((flags & text) == 0) continue;
    const std::size_t count = WordAt(rest, 0);
    const bool isPath = text == kHasRelativePath || text == kHasWorkingFolder;
    if ((isPath && count > MAX_PATH) || !Skip(rest, sizeof(std::uint16_t) + count * unit)) return false;
  }
  return true;
}

}  // namespace

bool IsSoundLink(std::span<const std::uint8_t> bytes) {
  if (!IsSoundHeader(bytes)) return false;
  const std::uint32_t flags = LongAt(bytes, 0x14);
  Bytes rest = bytes.subspan(kHeaderSize);
  if ((flags & kHasIdList) != 0) {
    const std::size_t size = WordAt(rest, 0);
    if (!Skip(rest, sizeof(std::uint16_t)) || size > rest.size() || !IsSoundIdList(rest.first(size))) return false;
    rest = rest.subspan(size);
  }
  if ((flags & kHasLinkInfo) != 0) {
    const std::size_t size = LongAt(rest, 0);
    if (size > rest.size() || !IsSoundLinkInfo(rest.first(size))) return false;
    rest = rest.subspan(size);
  }
  return AreSoundTexts(rest, flags);
}

}  // namespace quarry
