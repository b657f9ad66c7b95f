#pragma once

#include "tools/quarryctl/output.h"
#include "tools/quarryctl/progress.h"

#include <cstdint>
#include <string>
#include <vector>

namespace quarryctl {

/// The reader of the library's messages: shows them on the error stream, level by level as the administrator asks,
/// keeps those that explain a refusal where asked to, and feeds the progress line. Only one exists at a time.
class LogView {
 public:
  /// Shows the levels below `shownLevels` (0 shows nothing, 4 everything).
  LogView(Output& err, unsigned shownLevels);
  ~LogView();
  LogView(const LogView&) = delete;
  LogView& operator=(const LogView&) = delete;

  /// The callback for Quarry_Init. Does nothing while no LogView exists, so it may be called for as long as the
  /// library is loaded.
  static void Receive(std::uint32_t level, const wchar_t* message) noexcept;

  /// From now on keeps the messages up to QUARRY_LOG_NOTABLE.
  void KeepLines() { keepsLines_ = true; }
  /// Each as one line that begins with the name of its level.
  const std::vector<std::string>& KeptLines() const { return keptLines_; }
  /// How many warnings were not shown.
  unsigned HiddenWarnings() const { return hiddenWarnings_; }
  /// Takes the progress line off the terminal before anything else is written there.
  void EndProgress() { progress_.Erase(); }

 private:
  void Add(std::uint32_t level, std::wstring_view message);

  static LogView* current_;

  Output& err_;
  unsigned shownLevels_;
  Progress progress_;
  bool keepsLines_ = false;
  std::vector<std::string> keptLines_;
  unsigned hiddenWarnings_ = 0;
};

}  // namespace quarryctl
