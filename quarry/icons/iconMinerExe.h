#pragma once

#include "quarry/icons/iconDirectory.h"
#include "quarry/icons/iconMiner.h"

#include "lib/misc/platformHandles.h"
#include "lib/misc/sourceFile.h"

#include <cstdint>
#include <string>
#include <vector>

namespace quarry {

/// Mines one icon group of a program or DLL, which it keeps open and mapped as data. The files are hostile until proven
/// otherwise: nothing outside of the mapping is read, whatever counts and sizes the file claims, and what is judged is
/// copied before.
///
/// A file that cannot be mapped leaves no module, which the platform takes for this process's own program when it lists
/// icons and for itself when it loads one (Microsoft Learn, FindResourceW and LoadImageW): such a file has at most the
/// host's sizes with the system's pictures.
class IconMinerExe : public IconMiner {
 public:
  UniqueIcon LoadIconOf(const MinedIcon& icon) const override;
  /// For `index` see GroupIconName.
  bool Init(const std::wstring& path, std::int32_t index) override;

 private:
  /// Null, with the platform's error, when there is none.
  HRSRC FindGroup() const;
  /// The image that comes closest to the size. Empty, with the error, when there is none or it lies.
  std::vector<std::uint8_t> CopyImage(int width, int height) const;

  std::int32_t index_ = 0;
  SourceFile source_;
  UniqueModule module_;
  std::vector<std::uint8_t> groupBytes_;
  IconDirectory<GroupEntry> group_;  // inside groupBytes_
  ObjectCount count_{"IconMinerExe"};
};

}  // namespace quarry
