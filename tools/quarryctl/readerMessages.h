#pragma once

#include <string>
#include <vector>

namespace quarryctl {

/// Hears what the library's readers report that this program has been linked with (settings, filters, rule files), not
/// the DLL's, for as long as it exists. There is one at a time.
class ReaderMessages {
 public:
  ReaderMessages();
  ~ReaderMessages();
  ReaderMessages(const ReaderMessages&) = delete;
  ReaderMessages& operator=(const ReaderMessages&) = delete;

  /// The messages since the last call, without line ends: of quarry/ the warnings and errors, of lib/ all, without the
  /// reporting function's name. UTF-8.
  static std::vector<std::string> Take();
};

}  // namespace quarryctl
