#pragma once

#include "quarry/diagnostics/objectCounters.h"
#include "quarry/scan/scanFilter.h"

namespace quarry {

/// A filter by lists of file-name patterns ("*" and "?", in any letter case).
class ScanFilterImpl : public ScanFilter {
 public:
  ScanFilterImpl(std::wstring name, std::vector<std::wstring> paths);

  /// The white list; empty accepts every name.
  void SetIncludes(const std::vector<std::wstring>& patterns) { includes_ = patterns; }
  /// The black list; a name that matches both lists is rejected.
  void SetExcludes(const std::vector<std::wstring>& patterns) { excludes_ = patterns; }

  const std::wstring& GetName() const override { return name_; }
  const std::vector<std::wstring>& GetPaths() const override { return paths_; }
  bool Accepts(const std::wstring& path) const override;

 private:
  std::wstring name_;
  std::vector<std::wstring> paths_;
  std::vector<std::wstring> includes_;
  std::vector<std::wstring> excludes_;
  ObjectCount count_{"ScanFilterImpl"};
};

/// Builds a filter from lists written as one string each, cut at ";".
ScanFilterPtr MakeFilter(const std::wstring& name, const std::wstring& pathsString, const std::wstring& excludesString,
                         const std::wstring& includesString);

/// Builds the filter of a scan that was asked for with a path. Hosts rely on what it has always done: the path is not
/// put into the filter, which so accepts every file and has nothing to scan.
ScanFilterPtr MakeSinglePathFilter(const std::wstring& name, const std::wstring& path);

/// Fills an empty list with the built-in filters; a list that holds any is left as it is.
void EnsureDefaultFilters(ScanFilterList& list);

}  // namespace quarry
