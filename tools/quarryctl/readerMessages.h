#pragma once

#include <string>
#include <vector>

namespace quarryctl {

/// Hears what the library's readers report that this program has been linked with, not the DLL's, for as long as it
/// exists. There is one at a time.
class ReaderMessages {
 public:
  ReaderMessages();
  ~ReaderMessages();
  ReaderMessages(const ReaderMessages&) = delete;
  ReaderMessages& operator=(const ReaderMessages&) = delete;

  /// The warnings and errors since the last call, without line ends. UTF-8.
  static std::vector<std::string> Take();
};

}  // namespace quarryctl
