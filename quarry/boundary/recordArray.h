#pragma once

#include "quarry/boundary/records.h"

#include "lib/misc/platformHandles.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace quarry {

/// Memory of the runtime heap for `count` zeros of a type. Throws std::bad_alloc when there is none; a count of 0 has a
/// block as well.
template <typename T>
UniqueMalloc<T> AllocateZeroed(std::size_t count) {
  UniqueMalloc<T> block(static_cast<T*>(std::calloc(std::max<std::size_t>(count, 1), sizeof(T))));
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

/// An array of records while it is being built: frees the records filled so far unless it is handed out.
template <typename Record>
class RecordArray {
 public:
  /// Throws std::bad_alloc when there is no memory for `capacity` records.
  explicit RecordArray(std::size_t capacity) : block_(AllocateZeroed<Record>(capacity)) {}
  ~RecordArray() {
    for (std::size_t index = 0; block_ != nullptr && index < count_; ++index) FreeStrings(block_.get()[index]);
  }
  RecordArray(const RecordArray&) = delete;
  RecordArray& operator=(const RecordArray&) = delete;

  /// Fills the next record from `source` and returns it.
  template <typename Source>
  Record& Append(const Source& source) {
    Record& record = block_.get()[count_];
    FillRecord(record, source);
    ++count_;
    return record;
  }

  /// Hands the block and all it holds to the caller.
  [[nodiscard]] Record* Release() noexcept { return block_.release(); }

 private:
  UniqueMalloc<Record> block_;
  std::size_t count_ = 0;
};

}  // namespace quarry
