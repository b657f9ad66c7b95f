#pragma once

#include <memory>
#include <string>
#include <vector>

namespace quarry {

/// Where to look for applications, and which of the files found there count.
class ScanFilter {
 public:
  virtual ~ScanFilter() = default;
  virtual const std::wstring& GetName() const = 0;
  /// The folders to scan, in order. They may hold environment variables and the Start-menu tokens.
  virtual const std::vector<std::wstring>& GetPaths() const = 0;
  /// Tells, by its name alone, whether the file at `path` counts.
  virtual bool Accepts(const std::wstring& path) const = 0;
};

using ScanFilterPtr = std::shared_ptr<const ScanFilter>;
using ScanFilterList = std::vector<ScanFilterPtr>;

}  // namespace quarry
