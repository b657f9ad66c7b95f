#include "quarry/icons/iconMinerIco.h"

#include "quarry/diagnostics/log.h"
#include "quarry/icons/imageHeader.h"

#include "lib/misc/fileBytes.h"
#include "lib/misc/platformHandles.h"

#include <cstring>
#include <span>
#include <vector>

namespace quarry {

namespace {

#pragma pack(push, 1)
struct IcoHeader {
  std::uint16_t reserved;
  std::uint16_t type;
  std::uint16_t count;
};
struct IcoEntry {
  std::uint8_t width;
  std::uint8_t height;
  std::uint8_t colorCount;
  std::uint8_t reserved;
  std::uint16_t planes;
  std::uint16_t bitCount;
  std::uint32_t imageSize;
  std::uint32_t imageOffset;
};
struct IcoStart {
  IcoHeader header;
  IcoEntry firstEntry;
};
#pragma pack(pop)
static_assert(sizeof(IcoStart) == 22 && sizeof(IcoEntry) == 16, "the layout of an ICO file");

constexpr std::uint16_t kIconType = 1;
constexpr std::uint16_t kMostImages = 100;

template <typename Part>
bool ReadPart(HANDLE file, Part& part) {
  DWORD length = 0;
  return ReadFile(file, &part, sizeof(part), &length, nullptr) != FALSE && length == sizeof(part);
}

MinedIcon MinedFrom(const IcoEntry& entry) { return {entry.width, entry.height, entry.bitCount}; }

template <typename Part>
Part PartAt(std::span<const std::uint8_t> bytes, std::size_t offset) {
  Part part{};
  if (offset + sizeof(part) <= bytes.size()) std::memcpy(&part, bytes.data() + offset, sizeof(part));
  return part;
}

/// LoadImageW believes what the images tell of themselves, and takes the one that comes closest to the size: none of
/// those that the directory has for this size may lie.
bool CanBeLoaded(std::span<const std::uint8_t> file, const MinedIcon& icon) {
  const int count = PartAt<IcoHeader>(file, 0).count;
  for (int position = 0; position < count; ++position) {
    const auto entry =
        PartAt<IcoEntry>(file, sizeof(IcoHeader) + sizeof(IcoEntry) * static_cast<std::size_t>(position));
    if (entry.width != icon.width || entry.height != icon.height) continue;
    if (entry.imageOffset >= file.size() || !IsPlausibleImage(file.subspan(entry.imageOffset))) return false;
  }
  return count > 0;
}

}  // namespace

bool IconMinerIco::Init(const std::wstring& path, std::int32_t /*index*/) {
  const UniqueFile file(
      CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) {
    Log(LogLevel::Error, L"Failed to load file, error %d\n", GetLastError());
    return initialized_;
  }
  IcoStart start{};
  if (!ReadPart(file.get(), start)) {
    Log(LogLevel::Error, L"Failed to read icon directory from %s, error = %d\n", path.c_str(), GetLastError());
    return initialized_;
  }
  const IcoHeader& header = start.header;
  if (header.reserved != 0 || header.type != kIconType || header.count > kMostImages) {
    Log(LogLevel::Error, L"Icon file %s contains corrupt icon directory (not an ico file?)\n", path.c_str());
    return initialized_;
  }
  Log(LogLevel::Detail, L"Found %d icons in the icon file\n", header.count);
  if (header.count == 0) return initialized_;

  icons_.push_back(MinedFrom(start.firstEntry));
  for (int position = 1; position < header.count; ++position) {
    IcoEntry entry{};
    if (!ReadPart(file.get(), entry)) {
      Log(LogLevel::Error, L"ReadFile failed err=%ld\n", GetLastError());
      return initialized_;
    }
    icons_.push_back(MinedFrom(entry));
  }
  path_ = path;
  initialized_ = true;
  return true;
}

UniqueIcon IconMinerIco::LoadIconOf(const MinedIcon& icon) const {
  if (!CheckInitialized()) return {};
  const auto file = ReadWholeFile(path_);
  if (!file) return {};
  if (!CanBeLoaded(*file, icon)) {
    SetLastError(ERROR_INVALID_DATA);
    return {};
  }
  return UniqueIcon(static_cast<HICON>(LoadImageW(nullptr, path_.c_str(), IMAGE_ICON, static_cast<int>(icon.width),
                                                  static_cast<int>(icon.height), LR_LOADFROMFILE)));
}

}  // namespace quarry
