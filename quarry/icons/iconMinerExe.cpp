#include "quarry/icons/iconMinerExe.h"

#include "quarry/diagnostics/log.h"
#include "quarry/icons/groupIconName.h"
#include "quarry/icons/imageHeader.h"
#include "quarry/icons/mappedResource.h"

#include "lib/misc/fileBytes.h"
#include "lib/misc/resourceTree.h"

#include <shlwapi.h>

namespace quarry {

namespace {

std::uint64_t SizeFrom(std::uint8_t byte) { return byte == 0 ? 256 : byte; }

/// As data. Null, with the platform's error, when there is no such file on a disk.
HMODULE LoadAsData(const std::wstring& path, UniqueFile& source) {
  // A name without a folder is searched for by the platform, in the system's folders first.
  if (PathIsRelativeW(path.c_str()) == FALSE) {
    source = OpenDiskFile(path, FILE_SHARE_READ);
    if (!source) return nullptr;
  }
  return LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
}

}  // namespace

bool IconMinerExe::Init(const std::wstring& path, std::int32_t index) {
  index_ = index;
  const HMODULE module = LoadAsData(path, source_);
  // A file that cannot be loaded gives null (Microsoft Learn, LoadLibraryExW), which goes on to the message about the
  // missing resource that administrators know. No module has this value; were it given, it must not be read.
  if (module == INVALID_HANDLE_VALUE) {
    Log(LogLevel::Error, L"Failed to load file, error %d\n", GetLastError());
    return false;
  }
  module_.attach(module);

  const HRSRC resource = FindGroup();
  if (resource != nullptr) group_ = IconDirectory<GroupEntry>(MappedBytesOf(module, resource));
  if (resource != nullptr && !group_.HasHeader()) SetLastError(ERROR_INVALID_DATA);
  if (!group_.HasHeader()) {
    Log(LogLevel::Error, L"Failed to find RT_GROUP_ICON resource in %s, error = %d\n", path.c_str(), GetLastError());
    return false;
  }
  Log(LogLevel::Detail, L"Found %d icons in the executable\n", group_.ClaimedCount());
  for (int position = 0; position < group_.WholeCount(); ++position) {
    const GroupEntry entry = group_.EntryAt(position);
    const MinedIcon icon{SizeFrom(entry.width), SizeFrom(entry.height), entry.bitCount};
    Log(LogLevel::Detail, L"Found icon %d x %d x %d\n", static_cast<int>(icon.width), static_cast<int>(icon.height),
        static_cast<int>(icon.bitCount));
    icons_.push_back(icon);
  }
  initialized_ = true;
  return true;
}

HRSRC IconMinerExe::FindGroup() const {
  const auto types = {LOWORD(RT_GROUP_ICON), LOWORD(RT_ICON)};
  if (source_ && !IsSoundResourceTree(source_.get(), types)) {
    SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
    return nullptr;
  }
  const GroupIconName name(module_.get(), index_);
  return FindResourceW(module_.get(), name.Get(), RT_GROUP_ICON);
}

UniqueIcon IconMinerExe::LoadIconOf(const MinedIcon& icon) const {
  if (!CheckInitialized()) return {};
  const auto width = static_cast<int>(icon.width);
  const auto height = static_cast<int>(icon.height);
  if (!CanBeLoaded(width, height)) {
    SetLastError(ERROR_INVALID_DATA);
    return {};
  }
  const GroupIconName name(module_.get(), index_);
  return UniqueIcon(static_cast<HICON>(LoadImageW(module_.get(), name.Get(), IMAGE_ICON, width, height, 0)));
}

// LoadImageW believes the group's count and what the image tells of itself. It picks the image as
// LookupIconIdFromDirectoryEx does (Microsoft Learn), so what it is going to read can be looked at first. What it does
// not find it reports by itself.
bool IconMinerExe::CanBeLoaded(int width, int height) const {
  if (group_.WholeCount() < group_.ClaimedCount()) return false;
  auto* const directory = const_cast<BYTE*>(group_.Bytes().data());
  const int id = LookupIconIdFromDirectoryEx(directory, TRUE, width, height, LR_DEFAULTCOLOR);
  const HRSRC image = id != 0 ? FindResourceW(module_.get(), MAKEINTRESOURCEW(id), RT_ICON) : nullptr;
  if (image == nullptr) return true;
  const std::span<const std::uint8_t> bytes = WholeResource(module_.get(), image);
  return IsPlausibleImage(bytes, bytes.size());
}

}  // namespace quarry
