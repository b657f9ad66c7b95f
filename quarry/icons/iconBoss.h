#pragma once

#include "quarry/config/config.h"
#include "quarry/diagnostics/objectCounters.h"
#include "quarry/icons/gdiPlus.h"
#include "quarry/icons/icon.h"
#include "quarry/icons/iconMiner.h"

#include "lib/misc/pathTrust.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace quarry {

using IconList = std::vector<IconPtr>;

/// The icon cache: turns icons into PNG files in one folder, each named by what it shows, so that the same picture is
/// stored once, and knows the records of all files there. It only grows; files are never deleted.
class IconBoss {
 public:
  /// Null, with messages, when GDI+ has no PNG encoder or no cache folder can be made. `config` must outlive it.
  static std::unique_ptr<IconBoss> Create(const Config& config);
  virtual ~IconBoss() = default;
  IconBoss(const IconBoss&) = delete;
  IconBoss& operator=(const IconBoss&) = delete;

  /// The icons of a program, DLL or ICO file, one of each size. `index` picks an icon of a file that holds several. An
  /// icon that could be loaded but not stored is an empty entry.
  IconList GetIconsFromFile(const std::wstring& path, std::int32_t index);

  /// The icon that the shell shows for files with this extension (without its dot), or empty.
  IconPtr GetIconForExtension(const std::wstring& extension);

  /// The record of that name, or empty. Touches no file.
  IconPtr GetIcon(const std::wstring& name) const;

  /// The bytes of an icon's PNG file; empty, with a message, when it cannot be read or trusted.
  std::vector<std::uint8_t> ReadIcon(const Icon& icon) const;

  /// Enters the files of the cache folder into the index.
  void ReloadCache();

 private:
  explicit IconBoss(const Config& config) : config_(config) {}
  bool Init();
  void EnterFile(const std::wstring& fileName);
  bool IsOwnFile(const std::wstring& path) const;
  void MineIcon(const IconMiner& miner, const MinedIcon& icon, IconList& icons);
  IconPtr StoreIcon(HICON icon, bool hasAlpha);

  UniqueGdiPlus gdiPlus_;
  CLSID pngEncoder_{};
  PathTrust trust_;
  const Config& config_;
  std::wstring folder_;
  std::map<std::wstring, IconPtr> iconsByName_;
  std::map<std::wstring, IconPtr> iconsByExtension_;
  ObjectCount count_{"IconBoss"};
};

}  // namespace quarry
