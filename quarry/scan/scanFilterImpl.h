#pragma once

#include "quarry/diagnostics/objectCounters.h"
#include "quarry/scan/scanFilter.h"

namespace quarry {

/// What a filter consists of besides its name.
struct FilterLists {
  std::vector<std::wstring> paths = {};     ///< the folders to scan
  std::vector<std::wstring> excludes = {};  ///< the black list; a name that matches both lists is rejected
  std::vector<std::wstring> includes = {};  ///< the white list; empty accepts every name
};

/// A filter by lists of file-name patterns ("*" and "?", in any letter case).
class ScanFilterImpl : public ScanFilter {
 public:
  ScanFilterImpl(std::wstring name, FilterLists lists);

  /// Replace a whole list, of a filter that is not yet shared.
  void SetIncludes(const std::vector<std::wstring>& patterns) { lists_.includes = patterns; }
  void SetExcludes(const std::vector<std::wstring>& patterns) { lists_.excludes = patterns; }

  const std::wstring& GetName() const override { return name_; }
  const std::vector<std::wstring>& GetPaths() const override { return lists_.paths; }
  bool Accepts(const std::wstring& path) const override;

 private:
  std::wstring name_;
  FilterLists lists_;
  ObjectCount count_{"ScanFilterImpl"};
};

}  // namespace quarry
