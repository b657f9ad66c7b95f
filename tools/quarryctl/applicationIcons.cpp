#include "tools/quarryctl/applicationIcons.h"

namespace quarryctl {

std::vector<ApplicationWithIcons> WithIcons(std::span<const QuarryApplicationInfo> applications, Library& library) {
  std::vector<ApplicationWithIcons> result;
  result.reserve(applications.size());
  for (const QuarryApplicationInfo& application : applications) {
    result.push_back({application, GetIcons(library, application)});
  }
  return result;
}

}  // namespace quarryctl
