#pragma once

#include "quarry/diagnostics/objectCounters.h"
#include "quarry/icons/iconHandles.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace quarry {

/// One image that an icon source offers, as its directory tells.
struct MinedIcon {
  std::uint64_t width = 0;     ///< pixels
  std::uint64_t height = 0;    ///< pixels
  std::uint64_t bitCount = 0;  ///< bits per pixel
};

/// Lists the images of one icon source and loads them by size. Failures are logged and give false, zeros or null.
class IconMiner {
 public:
  virtual ~IconMiner() = default;
  IconMiner(const IconMiner&) = delete;
  IconMiner& operator=(const IconMiner&) = delete;

  /// Loads the image of the size of `icon`; its bit count plays no part. Null when it cannot be loaded, with the
  /// platform's error in GetLastError.
  virtual UniqueIcon LoadIconOf(const MinedIcon& icon) const = 0;
  /// Opens the source at `path` and lists its images. `index` picks one icon of a source that holds several.
  virtual bool Init(const std::wstring& path, std::int32_t index) = 0;

  std::size_t GetIconCount() const;
  /// The image at `position`, which must be below the count.
  MinedIcon GetMinedIcon(std::size_t position) const;

  /// Makes the miner that fits the file at `path` by its extension (lower-case only), or by its content when it has
  /// none. Null, with a message, when there is no such miner or the file cannot be mined.
  static std::unique_ptr<IconMiner> Open(const std::wstring& path, std::int32_t index);

 protected:
  IconMiner() = default;

  /// Whether Init has succeeded; logs when it has not. Open hands out no other miners, but the kinds can be made
  /// without it.
  bool CheckInitialized() const;

  bool initialized_ = false;
  std::vector<MinedIcon> icons_;

 private:
  ObjectCount count_{"IconMiner"};
};

}  // namespace quarry
