#include "quarry/apps/executable.h"

namespace quarry {

Executable::Executable(IconBoss* /*iconBoss*/, const std::wstring& path)
    : AbstractApp(path), version_(ReadVersionInfo(path)) {}

}  // namespace quarry
