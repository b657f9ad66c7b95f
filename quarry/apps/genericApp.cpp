#include "quarry/apps/genericApp.h"

#include "quarry/icons/iconBoss.h"

namespace quarry {

GenericApp::GenericApp(IconBoss* iconBoss, const std::wstring& path) : AbstractApp(path) {
  if (iconBoss == nullptr) return;
  if (IconPtr icon = iconBoss->GetIconForExtension(GetExtension())) SetIcons({std::move(icon)});
}

}  // namespace quarry
