#pragma once

#include "lib/misc/platformHandles.h"

#include <cstdint>
#include <span>
#include <string>

namespace quarry {

/// A new file of an unpredictable name ("~...tmp") that gets its final name once it is whole, and is deleted otherwise.
/// All goes through the one handle that made it: nobody can put another file in its place on the way.
class TemporaryFile {
 public:
  /// Makes it in the folder of `finalPath`. Whether that went well shows when it is written to.
  explicit TemporaryFile(const std::wstring& finalPath);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  /// Writes the bytes through to the disk: without that a computer that loses its power can come back with the file's
  /// final name and none of its bytes. False when there is no file, or no room for it.
  bool Write(std::span<const std::uint8_t> bytes);
  /// Gives it the name `finalPath`, which must be free.
  bool MoveTo(const std::wstring& finalPath);

 private:
  UniqueFile file_;
  bool moved_ = false;
};

}  // namespace quarry
