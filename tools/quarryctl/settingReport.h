#pragma once

#include "quarry/config/settingTable.h"

#include "tools/quarryctl/json.h"

#include <optional>
#include <string>
#include <vector>

namespace quarryctl {

/// One of the library's settings as the registry has it. UTF-8.
struct SettingReport {
  std::string name;
  Json value;                              ///< what counts: true or false, a number, or a text
  const char* from;                        ///< "policy", "ordinary" or "default"
  std::optional<std::string> text = {};    ///< as it is written down; nothing for the default
  std::optional<std::string> hidden = {};  ///< the ordinary value that a policy overrides
  std::vector<std::string> problems = {};  ///< what an administrator cannot have meant
};

/// All of them, read by the library's code in the order of its table.
std::vector<SettingReport> ReportSettings();

}  // namespace quarryctl
