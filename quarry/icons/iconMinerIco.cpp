#include "quarry/icons/iconMinerIco.h"

#include "quarry/diagnostics/log.h"
#include "quarry/icons/iconDirectory.h"
#include "quarry/icons/imageHeader.h"

#include "lib/misc/fileBytes.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace quarry {

namespace {

using Directory = IconDirectory<IcoEntry>;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint16_t kIconType = 1;
constexpr int kMostImages = 100;

/// The bytes that a directory of as many images as are taken has.
std::optional<Bytes> ReadDirectory(HANDLE file) {
  return ReadFileAt(file, 0, sizeof(IconDirectoryHeader) + kMostImages * sizeof(IcoEntry));
}

bool IsPlausibleEntry(HANDLE file, const IcoEntry& entry) {
  LARGE_INTEGER fileSize{};
  const auto start = ReadFileAt(file, entry.imageOffset, kImageHeaderSize);
  if (!start || GetFileSizeEx(file, &fileSize) == FALSE) return false;
  const auto room = static_cast<std::uint64_t>(fileSize.QuadPart) - entry.imageOffset;
  return IsPlausibleImage(*start, std::min<std::uint64_t>(entry.imageSize, room));
}

/// LoadImageW believes what the images tell of themselves, and takes the one that comes closest to the size: none of
/// those that the directory has for this size may lie.
bool CanBeLoaded(HANDLE file, const MinedIcon& icon) {
  const std::optional<Bytes> bytes = ReadDirectory(file);
  if (!bytes) return false;
  const Directory directory(*bytes);
  for (int position = 0; position < directory.WholeCount(); ++position) {
    const IcoEntry entry = directory.EntryAt(position);
    if (entry.width == icon.width && entry.height == icon.height && !IsPlausibleEntry(file, entry)) return false;
  }
  return directory.WholeCount() > 0 && directory.WholeCount() == directory.ClaimedCount();
}

}  // namespace

bool IconMinerIco::Init(const std::wstring& path, std::int32_t /*index*/) {
  file_ = OpenDiskFile(path, FILE_SHARE_READ);
  if (!file_) {
    Log(LogLevel::Error, L"Failed to load file, error %d\n", GetLastError());
    return false;
  }
  const std::optional<Bytes> bytes = ReadDirectory(file_.get());
  if (!bytes || bytes->size() < sizeof(IconDirectoryHeader) + sizeof(IcoEntry)) {
    Log(LogLevel::Error, L"Failed to read icon directory from %s, error = %d\n", path.c_str(), GetLastError());
    return false;
  }
  const Directory directory(*bytes);
  const IconDirectoryHeader header = directory.Header();
  if (header.reserved != 0 || header.type != kIconType || header.count > kMostImages) {
    Log(LogLevel::Error, L"Icon file %s contains corrupt icon directory (not an ico file?)\n", path.c_str());
    return false;
  }
  Log(LogLevel::Detail, L"Found %d icons in the icon file\n", header.count);
  if (header.count == 0) return false;

  for (int position = 0; position < directory.WholeCount(); ++position) {
    const IcoEntry entry = directory.EntryAt(position);
    icons_.push_back({entry.width, entry.height, entry.bitCount});
  }
  if (directory.WholeCount() < header.count) {
    Log(LogLevel::Error, L"ReadFile failed err=%ld\n", GetLastError());
    return false;
  }
  path_ = path;
  initialized_ = true;
  return true;
}

UniqueIcon IconMinerIco::LoadIconOf(const MinedIcon& icon) const {
  if (!CheckInitialized()) return {};
  if (!CanBeLoaded(file_.get(), icon)) {
    SetLastError(ERROR_INVALID_DATA);
    return {};
  }
  return UniqueIcon(static_cast<HICON>(LoadImageW(nullptr, path_.c_str(), IMAGE_ICON, static_cast<int>(icon.width),
                                                  static_cast<int>(icon.height), LR_LOADFROMFILE)));
}

}  // namespace quarry
