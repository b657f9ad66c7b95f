#include "quarry/icons/iconBoss.h"

#include "quarry/diagnostics/log.h"
#include "quarry/diagnostics/timers.h"
#include "quarry/icons/cacheFolder.h"
#include "quarry/icons/hash.h"
#include "quarry/icons/iconImpl.h"
#include "quarry/icons/iconPixels.h"
#include "quarry/icons/iconSizes.h"
#include "quarry/icons/pngFile.h"
#include "quarry/icons/pngName.h"
#include "quarry/paths/pathParts.h"

#include "lib/misc/fileBytes.h"
#include "lib/misc/platformHandles.h"

#include <shellapi.h>

#include <optional>
#include <utility>

namespace quarry {

namespace {

// What callers are told, whatever the source's depth was.
constexpr std::uint64_t kReportedDepth = 24;
constexpr std::uint64_t kAlphaBitCount = 32;
// As many as an ICO file may have. A planted program can offer 65,535 sizes, each a PNG file to be stored.
constexpr std::size_t kMostSizes = 100;

std::vector<MinedIcon> MinedIconsOf(const IconMiner& miner) {
  std::vector<MinedIcon> icons(miner.GetIconCount());
  for (std::size_t position = 0; position < icons.size(); ++position) icons[position] = miner.GetMinedIcon(position);
  return icons;
}

UniqueIcon ShellIconFor(const std::wstring& extension) {
  SHFILEINFOW info{};
  const std::wstring name = L"Fake." + extension;
  if (SHGetFileInfoW(name.c_str(), FILE_ATTRIBUTE_NORMAL, &info, sizeof(info),
                     SHGFI_ICON | SHGFI_USEFILEATTRIBUTES | SHGFI_SHELLICONSIZE) == 0) {
    return {};
  }
  return UniqueIcon(info.hIcon);
}

/// Makes sure that the PNG file is there. False, with a message, when it cannot be written.
bool ProvidePng(const std::wstring& path, HICON icon, const IconPixels& pixels, bool hasAlpha, const CLSID& encoder) {
  if (IsThere(path)) {
    Log(LogLevel::Detail, L"Found existing PNG file %s\n", path.c_str());
    return true;
  }
  Log(LogLevel::Detail, L"Creating new PNG file %s\n", path.c_str());
  const TimingScope timing(L"Bitmap::Save");
  const Gdiplus::Status status = WritePng(path, icon, pixels, hasAlpha ? PngSource::Pixels : PngSource::Icon, encoder);
  if (status != Gdiplus::Ok) {
    Log(LogLevel::Error, L"Failed to save PNG file %s, error %d\n", path.c_str(), static_cast<int>(status));
    return false;
  }
  Log(LogLevel::Detail, L"Saved PNG file %s\n", path.c_str());
  return true;
}

IconPtr MakeRecord(const PngName& png, const std::wstring& path) {
  return std::make_shared<IconImpl>(static_cast<std::uint64_t>(png.width), static_cast<std::uint64_t>(png.height),
                                    kReportedDepth, png.name, path);
}

}  // namespace

std::unique_ptr<IconBoss> IconBoss::Create(const Config& config) {
  std::unique_ptr<IconBoss> boss(new IconBoss(config));
  return boss->Init() ? std::move(boss) : nullptr;
}

bool IconBoss::Init() {
  const Gdiplus::GdiplusStartupInput input;
  if (Gdiplus::GdiplusStartup(gdiPlus_.put(), &input, nullptr) != Gdiplus::Ok) return false;
  const std::optional<CLSID> encoder = FindPngEncoder();
  if (!encoder) return false;
  pngEncoder_ = *encoder;
  folder_ = ChooseCacheFolder(config_, trust_);
  if (folder_.empty()) return false;
  ReloadCache();
  return true;
}

IconList IconBoss::GetIconsFromFile(const std::wstring& path, std::int32_t index) {
  const TimingScope timing(L"IconBoss::GetIconsFromFile");
  Log(LogLevel::Detail, L"Getting icons from \"%s\", index %d\n", path.c_str(), index);
  const std::unique_ptr<IconMiner> miner = IconMiner::Open(path, index);
  if (miner == nullptr) {
    Log(LogLevel::Warning, L"No IconMiner, therefore no icons for %s\n", path.c_str());
    return {};
  }
  const std::vector<MinedIcon> mined = MinedIconsOf(*miner);
  Log(LogLevel::Detail, L"Miner found %d icons\n", static_cast<int>(mined.size()));
  std::vector<MinedIcon> chosen = ReduceToUniqueSizes(mined);
  Log(LogLevel::Detail, L"Reduced to %d uniquely sized icons\n", static_cast<int>(chosen.size()));
  if (chosen.size() > kMostSizes) {
    Log(LogLevel::Warning, L"Too many sizes in %s, only the first %d are taken\n", path.c_str(),
        static_cast<int>(kMostSizes));
    chosen.resize(kMostSizes);
  }

  IconList icons;
  for (const MinedIcon& icon : chosen) MineIcon(*miner, icon, icons);
  return icons;
}

void IconBoss::MineIcon(const IconMiner& miner, const MinedIcon& icon, IconList& icons) {
  const auto width = static_cast<int>(icon.width);
  const auto height = static_cast<int>(icon.height);
  UniqueIcon handle = miner.LoadIconOf(icon);
  if (!handle) {
    Log(LogLevel::Error, L"Failed to load %dx%d icon, error = %d\n", width, height, GetLastError());
    return;
  }
  icons.push_back(StoreIcon(handle.get(), icon.bitCount == kAlphaBitCount));
  if (DestroyIcon(handle.release()) == FALSE) {
    Log(LogLevel::Detail, L"Failed to destroy %dx%d icon, error = %d\n", width, height, GetLastError());
  }
}

IconPtr IconBoss::StoreIcon(HICON icon, bool hasAlpha) {
  const std::optional<IconPixels> pixels = ReadPixels(icon);
  if (!pixels) return nullptr;
  const PngName png{Hash::MD5(pixels->bytes), pixels->width, pixels->height};
  if (png.name.empty()) {
    Log(LogLevel::Error, L"Failed to hash pixels for bitmap\n");
    return nullptr;
  }
  const std::wstring path = JoinPath(folder_, FormatPngName(png));
  if (!ProvidePng(path, icon, *pixels, hasAlpha, pngEncoder_)) return nullptr;

  IconPtr& record = iconsByName_[png.name];
  if (record != nullptr) {
    Log(LogLevel::Detail, L"IconBoss: using cached icon %s\n", png.name.c_str());
    return record;
  }
  record = MakeRecord(png, path);
  Log(LogLevel::Detail, L"IconBoss: cached icon %s\n", png.name.c_str());
  return record;
}

IconPtr IconBoss::GetIconForExtension(const std::wstring& extension) {
  const auto known = iconsByExtension_.find(extension);
  if (known != iconsByExtension_.end() && known->second != nullptr) return known->second;
  const UniqueIcon handle = ShellIconFor(extension);
  if (!handle) return nullptr;
  IconPtr icon = StoreIcon(handle.get(), false);
  iconsByExtension_.emplace(extension, icon);
  return icon;
}

IconPtr IconBoss::GetIcon(const std::wstring& name) const {
  const auto found = iconsByName_.find(name);
  return found != iconsByName_.end() ? found->second : nullptr;
}

void IconBoss::ReloadCache() {
  const TimingScope timing(L"IconBoss::ReloadCache");
  const std::wstring pattern = JoinPath(folder_, L"*-*-*.png");
  WIN32_FIND_DATAW file{};
  const UniqueFind find(FindFirstFileExW(pattern.c_str(), FindExInfoStandard, &file, FindExSearchNameMatch, nullptr,
                                         FIND_FIRST_EX_LARGE_FETCH));
  if (!find) {
    const DWORD error = GetLastError();
    if (error != ERROR_FILE_NOT_FOUND) {
      Log(LogLevel::Warning, L"Failed to initialize search of cache %s, error %d\n", pattern.c_str(), error);
    }
    Log(LogLevel::Notable, L"No icons in cache folder %s\n", folder_.c_str());
    return;
  }
  do {
    constexpr DWORD kNoFile = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    if ((file.dwFileAttributes & kNoFile) == 0) EnterFile(file.cFileName);
  } while (FindNextFileW(find.get(), &file) != FALSE);
  Log(LogLevel::Notable, L"Read %d icons from cache folder %s\n", static_cast<int>(iconsByName_.size()),
      folder_.c_str());
}

void IconBoss::EnterFile(const std::wstring& fileName) {
  const std::optional<PngName> png = ParsePngName(fileName);
  if (!png) {
    Log(LogLevel::Warning, L"Badly formed PNG file name in %s: %s (skipped)\n", folder_.c_str(), fileName.c_str());
    return;
  }
  const std::wstring path = JoinPath(folder_, fileName);
  if (IsOwnFile(path)) iconsByName_.try_emplace(png->name, MakeRecord(*png, path));
}

/// What was planted before the folder was closed to others is still there.
bool IconBoss::IsOwnFile(const std::wstring& path) const {
  if (!trust_.IsNeeded()) return true;
  const UniqueFile file = OpenRegularFile(path, kShareAll);
  return IsPngTrusted(file.get(), path, trust_);
}

std::vector<std::uint8_t> IconBoss::ReadIcon(const Icon& icon) const { return ReadPng(icon.GetPath(), trust_); }

}  // namespace quarry
