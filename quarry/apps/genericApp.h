#pragma once

#include "quarry/apps/abstractApp.h"

namespace quarry {

/// A script, console snap-in or archive that the shell can open.
class GenericApp : public AbstractApp {
 public:
  GenericApp(IconBoss* iconBoss, const std::wstring& path);
};

}  // namespace quarry
