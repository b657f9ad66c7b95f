#include "quarry/icons/iconMinerExe.h"

#include "quarry/diagnostics/log.h"
#include "quarry/icons/groupIconName.h"
#include "quarry/icons/imageHeader.h"
#include "quarry/icons/mappedResource.h"

#include "lib/misc/resourceTree.h"

namespace quarry {

namespace {

using Bytes = std::vector<std::uint8_t>;

// Many times what a picture of the longest side that is taken needs.
constexpr std::size_t kLargestImage = std::size_t{64} << 20;

std::uint64_t SizeFrom(std::uint8_t byte) { return byte == 0 ? 256 : byte; }

constexpr std::size_t DirectorySize(int count) {
  return sizeof(IconDirectoryHeader) + sizeof(GroupEntry) * static_cast<std::size_t>(count);
}

/// As much of the directory as there is, for all the entries that it claims.
Bytes CopyDirectory(HMODULE module, HRSRC resource) {
  constexpr int kUsually = 64;
  Bytes bytes = CopyResourceStart(module, resource, DirectorySize(kUsually));
  const int count = IconDirectory<GroupEntry>(bytes).ClaimedCount();
  return count <= kUsually ? bytes : CopyResourceStart(module, resource, DirectorySize(count));
}

}  // namespace

bool IconMinerExe::Init(const std::wstring& path, std::int32_t index) {
  index_ = index;
  source_ = OpenSourceFile(path);
  const HMODULE module = source_.file ? LoadLibraryExW(source_.path.c_str(), nullptr,
                                                       LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE)
                                      : nullptr;
  // A file that cannot be loaded gives null (Microsoft Learn, LoadLibraryExW), which goes on to the message about the
  // missing resource that administrators know. No module has this value; were it given, it must not be read.
  if (module == INVALID_HANDLE_VALUE) {
    Log(LogLevel::Error, L"Failed to load file, error %d\n", GetLastError());
    return false;
  }
  module_.attach(module);

  const HRSRC resource = FindGroup();
  if (resource != nullptr) groupBytes_ = CopyDirectory(module, resource);
  group_ = IconDirectory<GroupEntry>(groupBytes_);
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
  if (source_.file && !IsSoundResourceTree(source_.file.get(), types)) {
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
  if (!module_) {
    const GroupIconName name(nullptr, index_);
    return UniqueIcon(static_cast<HICON>(LoadImageW(nullptr, name.Get(), IMAGE_ICON, width, height, 0)));
  }
  Bytes image = CopyImage(width, height);
  if (image.empty()) return {};
  constexpr DWORD kVersion = 0x00030000;  // the only one that there is
  return UniqueIcon(CreateIconFromResourceEx(image.data(), static_cast<DWORD>(image.size()), TRUE, kVersion, width,
                                             height, LR_DEFAULTCOLOR));
}

// LookupIconIdFromDirectoryEx believes the directory's count, and CreateIconFromResourceEx what the image tells of
// itself. They pick and make the icon as LoadImageW does (Microsoft Learn, "Using Icons").
std::vector<std::uint8_t> IconMinerExe::CopyImage(int width, int height) const {
  if (group_.WholeCount() == group_.ClaimedCount()) {
    auto* const directory = const_cast<BYTE*>(groupBytes_.data());
    const int id = LookupIconIdFromDirectoryEx(directory, TRUE, width, height, LR_DEFAULTCOLOR);
    const HRSRC resource = FindResourceW(module_.get(), MAKEINTRESOURCEW(id), RT_ICON);
    if (resource == nullptr) return {};
    Bytes image = CopyResource(module_.get(), resource, kLargestImage);
    if (IsPlausibleImage(image, image.size())) return image;
  }
  SetLastError(ERROR_INVALID_DATA);
  return {};
}

}  // namespace quarry
