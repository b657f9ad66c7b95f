#pragma once

#include "quarry/icons/iconMiner.h"

namespace quarry {

/// Mines an ICO file. A width or height byte of 0, which stands for 256 there, is listed as 0.
class IconMinerIco : public IconMiner {
 public:
  UniqueIcon LoadIconOf(const MinedIcon& icon) const override;
  bool Init(const std::wstring& path, std::int32_t index) override;

 private:
  std::wstring path_;
  ObjectCount count_{"IconMinerIco"};
};

}  // namespace quarry
