#pragma once

#include "tools/quarryctl/scanMessage.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace quarryctl {

/// The errors and warnings of the library's log by their kinds.
class LogSummary {
 public:
  /// Takes the text of a message without its line end.
  void Observe(std::uint32_t level, std::wstring_view text);

  /// A line for each kind, with what to do about it or where to read; few, whatever the log holds.
  std::string Format() const;

 private:
  struct Group {
    unsigned count = 0;
    std::string first;  ///< what the first message is about, or all of it
  };

  std::map<ScanMessageKind, Group> groups_;
  bool uncheckedLast_ = false;
};

}  // namespace quarryctl
