#pragma once

#include "tools/quarryctl/output.h"

#include <cstdint>
#include <string_view>

namespace quarryctl {

/// One line on a terminal that counts what a scan has done so far. Silent when the stream is not a terminal, and for
/// the first moments, so that short scans do not flicker.
class Progress {
 public:
  explicit Progress(Output& err);

  /// Counts what the library's message tells.
  void Observe(std::wstring_view message);
  /// Takes the line off the terminal, if it is there.
  void Erase();

 private:
  void Draw();

  Output& err_;
  std::uint64_t nextDrawAt_;
  std::size_t drawnWidth_ = 0;
  unsigned folders_ = 0;
  unsigned applications_ = 0;
};

}  // namespace quarryctl
