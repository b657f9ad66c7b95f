#pragma once

#include "quarry/icons/iconMiner.h"

#include "lib/misc/platformHandles.h"

#include <cstdint>
#include <string>

namespace quarry {

/// Mines an ICO file. A width or height byte of 0, which stands for 256 there, is listed as 0.
class IconMinerIco : public IconMiner {
 public:
  UniqueIcon LoadIconOf(const MinedIcon& icon) const override;
  bool Init(const std::wstring& path, std::int32_t index) override;

 private:
  std::wstring path_;
  UniqueFile file_;  // held, so that what was looked at is what is loaded
  ObjectCount count_{"IconMinerIco"};
};

}  // namespace quarry
