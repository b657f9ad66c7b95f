#pragma once

#include "quarry/icons/iconMiner.h"

#include "lib/misc/platformHandles.h"

namespace quarry {

/// Mines one icon group of a program or DLL, which it keeps mapped as data. The files are hostile until proven
/// otherwise: nothing outside of the mapping is read, whatever counts and sizes the file claims.
///
/// A file that cannot be mapped is not told apart from this process's own program, whose icons are then mined.
class IconMinerExe : public IconMiner {
 public:
  UniqueIcon LoadIconOf(const MinedIcon& icon) const override;
  /// For `index` see GroupIconName.
  bool Init(const std::wstring& path, std::int32_t index) override;

 private:
  bool CanBeLoaded(const wchar_t* groupName, int width, int height) const;

  std::int32_t index_ = 0;
  UniqueModule module_;
  std::wstring path_;
  ObjectCount count_{"IconMinerExe"};
};

}  // namespace quarry
