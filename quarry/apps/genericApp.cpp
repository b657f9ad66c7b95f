#include "quarry/apps/genericApp.h"

namespace quarry {

GenericApp::GenericApp(IconBoss* /*iconBoss*/, const std::wstring& path) : AbstractApp(path) {}

}  // namespace quarry
