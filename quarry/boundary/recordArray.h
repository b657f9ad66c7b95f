#pragma once

#include "quarry/boundary/records.h"

#include "lib/misc/platformHandles.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace quarry {

/// An array of records while it is being built: frees the records filled so far unless it is handed out.
template <typename Record>
class RecordArray {
 public:
  /// Throws std::bad_alloc when there is no memory for `capacity` records. A capacity of 0 still has a block.
  explicit RecordArray(std::size_t capacity)
      : block_(static_cast<Record*>(std::calloc(std::max<std::size_t>(capacity, 1), sizeof(Record)))) {
    if (block_ == nullptr) throw std::bad_alloc();
  }
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
