#pragma once

#include "tools/quarryctl/output.h"

#include <cstdint>
#include <string_view>

namespace quarryctl {

/// One line on a terminal that tells how far the library is: what a scan has counted so far, or how long something else
/// takes. Silent when the stream is not a terminal, and for the first second, so that what is quick does not flicker.
class Progress {
 public:
  explicit Progress(Output& err);

  /// Counts what the library's message tells.
  void Observe(std::wstring_view message);

 private:
  void Draw();

  Output& err_;
  std::uint64_t startedAt_;
  std::uint64_t nextDrawAt_;
  unsigned folders_ = 0;
  unsigned applications_ = 0;
};

}  // namespace quarryctl
