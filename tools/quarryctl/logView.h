#pragma once

#include "tools/quarryctl/output.h"
#include "tools/quarryctl/progress.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace quarryctl {

/// The reader of the library's messages: shows them on the error stream, level by level as the administrator asks,
/// feeds the progress line, and passes them on to who listens. It outlives the library.
class LogView {
 public:
  /// Shows the levels below `shownLevels` (0 shows nothing, 4 everything).
  LogView(Output& err, unsigned shownLevels);
  LogView(const LogView&) = delete;
  LogView& operator=(const LogView&) = delete;

  /// Takes a message of the library.
  void Receive(std::uint32_t level, std::wstring_view message);

 private:
  friend class LogListener;

  Output& err_;
  unsigned shownLevels_;
  Progress progress_;
  std::function<void(std::uint32_t level, std::wstring_view message)> listener_;
};

/// Hears every message of the library, shown or not, for as long as it exists. A log has one listener at a time.
class LogListener {
 public:
  /// `hear` gets the messages without their line ends.
  LogListener(LogView& log, std::function<void(std::uint32_t level, std::wstring_view message)> hear);
  ~LogListener() { log_.listener_ = nullptr; }
  LogListener(const LogListener&) = delete;
  LogListener& operator=(const LogListener&) = delete;

 private:
  LogView& log_;
};

/// A message as it is shown: one line, without its end, that begins with the name of its level.
std::string FormatLogLine(std::uint32_t level, std::wstring_view message);

}  // namespace quarryctl
