#include "tools/quarryctl/applicationIcons.h"

namespace quarryctl {

std::vector<ApplicationWithIcons> WithIcons(std::span<const QuarryApplicationInfo> applications,
                                            const Library& library) {
  std::vector<ApplicationWithIcons> result;
  result.reserve(applications.size());
  for (const QuarryApplicationInfo& application : applications) {
    result.push_back({application, library.GetIcons(application)});
  }
  return result;
}

}  // namespace quarryctl
