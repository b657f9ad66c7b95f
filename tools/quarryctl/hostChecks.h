#pragma once

#include "tools/quarryctl/commandContext.h"

#include <string>
#include <vector>

namespace quarryctl {

enum class CheckStatus { Ok, Warning, Error };

/// What one look at the host has shown. UTF-8.
struct HostCheck {
  std::string name;
  CheckStatus status = CheckStatus::Ok;
  std::string text = {};    ///< what was seen
  std::string remedy = {};  ///< what to do, or where to read; empty where all is well
};

/// Opens the library as a host does and looks at what it, its readers and the platform tell. Takes as long as the build
/// of the file types.
std::vector<HostCheck> CheckHost(const CommandContext& context);

}  // namespace quarryctl
