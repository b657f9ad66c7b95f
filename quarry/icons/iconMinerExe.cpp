#include "quarry/icons/iconMinerExe.h"

#include "quarry/diagnostics/log.h"
#include "quarry/icons/groupIconName.h"
#include "quarry/icons/imageHeader.h"
#include "quarry/icons/mappedResource.h"

#include <algorithm>
#include <cstring>
#include <span>

namespace quarry {

namespace {

#pragma pack(push, 1)
struct GroupHeader {
  std::uint16_t reserved;
  std::uint16_t type;
  std::uint16_t count;
};
struct GroupEntry {
  std::uint8_t width;
  std::uint8_t height;
  std::uint8_t colorCount;
  std::uint8_t reserved;
  std::uint16_t planes;
  std::uint16_t bitCount;
  std::uint32_t imageSize;
  std::uint16_t iconId;
};
#pragma pack(pop)
static_assert(sizeof(GroupHeader) == 6 && sizeof(GroupEntry) == 14, "the layout of an icon group");

template <typename Part>
Part PartAt(std::span<const std::uint8_t> bytes, std::size_t offset) {
  Part part;
  std::memcpy(&part, bytes.data() + offset, sizeof(part));
  return part;
}

/// An icon group as far as it lies inside its module's mapping.
class Group {
 public:
  explicit Group(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  bool HasHeader() const { return bytes_.size() >= sizeof(GroupHeader); }
  int ClaimedCount() const { return PartAt<GroupHeader>(bytes_, 0).count; }
  int WholeCount() const {
    const std::size_t room = (bytes_.size() - sizeof(GroupHeader)) / sizeof(GroupEntry);
    return static_cast<int>(std::min<std::size_t>(room, static_cast<std::size_t>(ClaimedCount())));
  }
  GroupEntry EntryAt(int position) const {
    return PartAt<GroupEntry>(bytes_, sizeof(GroupHeader) + sizeof(GroupEntry) * static_cast<std::size_t>(position));
  }
  /// For the platform's functions, which take the claimed count for true.
  BYTE* Data() const { return const_cast<BYTE*>(bytes_.data()); }

 private:
  std::span<const std::uint8_t> bytes_;
};

std::uint64_t SizeFrom(std::uint8_t byte) { return byte == 0 ? 256 : byte; }

}  // namespace

bool IconMinerExe::Init(const std::wstring& path, std::int32_t index) {
  index_ = index;
  const HMODULE module =
      LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
  if (module == INVALID_HANDLE_VALUE) {
    Log(LogLevel::Error, L"Failed to load file, error %d\n", GetLastError());
    return initialized_;
  }
  module_.attach(module);

  const GroupIconName name(module, index);
  const HRSRC resource = FindResourceW(module, name.Get(), RT_GROUP_ICON);
  const Group group(resource != nullptr ? MappedBytesOf(module, resource) : std::span<const std::uint8_t>());
  if (resource != nullptr && !group.HasHeader()) SetLastError(ERROR_INVALID_DATA);
  if (!group.HasHeader()) {
    Log(LogLevel::Error, L"Failed to find RT_GROUP_ICON resource in %s, error = %d\n", path.c_str(), GetLastError());
    return initialized_;
  }
  Log(LogLevel::Detail, L"Found %d icons in the executable\n", group.ClaimedCount());
  for (int position = 0; position < group.WholeCount(); ++position) {
    const GroupEntry entry = group.EntryAt(position);
    const MinedIcon icon{SizeFrom(entry.width), SizeFrom(entry.height), entry.bitCount};
    Log(LogLevel::Detail, L"Found icon %d x %d x %d\n", static_cast<int>(icon.width), static_cast<int>(icon.height),
        static_cast<int>(icon.bitCount));
    icons_.push_back(icon);
  }
  path_ = path;
  initialized_ = true;
  return true;
}

UniqueIcon IconMinerExe::LoadIconOf(const MinedIcon& icon) const {
  if (!CheckInitialized()) return {};
  const auto width = static_cast<int>(icon.width);
  const auto height = static_cast<int>(icon.height);
  const GroupIconName name(module_.get(), index_);
  if (!CanBeLoaded(name.Get(), width, height)) {
    SetLastError(ERROR_INVALID_DATA);
    return {};
  }
  return UniqueIcon(static_cast<HICON>(LoadImageW(module_.get(), name.Get(), IMAGE_ICON, width, height, 0)));
}

// LoadImageW believes the group's count and what the image tells of itself. It picks the image as
// LookupIconIdFromDirectoryEx does (Microsoft Learn), so what it is going to read can be looked at first. What it does
// not find it reports by itself.
bool IconMinerExe::CanBeLoaded(const wchar_t* groupName, int width, int height) const {
  const HRSRC groupResource = FindResourceW(module_.get(), groupName, RT_GROUP_ICON);
  if (groupResource == nullptr) return true;
  const Group group(MappedBytesOf(module_.get(), groupResource));
  if (!group.HasHeader() || group.WholeCount() < group.ClaimedCount()) return false;
  const int id = LookupIconIdFromDirectoryEx(group.Data(), TRUE, width, height, LR_DEFAULTCOLOR);
  const HRSRC image = id != 0 ? FindResourceW(module_.get(), MAKEINTRESOURCEW(id), RT_ICON) : nullptr;
  return image == nullptr || IsPlausibleImage(WholeResource(module_.get(), image));
}

}  // namespace quarry
