#include "quarry/apps/executable.h"

#include "quarry/icons/iconBoss.h"

namespace quarry {

Executable::Executable(IconBoss* iconBoss, const std::wstring& path)
    : AbstractApp(path), version_(ReadVersionInfo(path)) {
  if (iconBoss != nullptr) SetIcons(iconBoss->GetIconsFromFile(path, 0));
}

}  // namespace quarry
