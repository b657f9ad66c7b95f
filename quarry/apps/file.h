#pragma once

#include "quarry/apps/application.h"
#include "quarry/diagnostics/objectCounters.h"
#include "quarry/paths/pathParts.h"

#include <string>

namespace quarry {

/// A file on disk, identified by its path.
class File : public Application {
 public:
  explicit File(const std::wstring& path) : path_(path), parts_(SplitPath(path)) {}

  std::wstring GetPath() const override { return path_; }
  std::wstring GetFileName() const override { return parts_.fileName; }
  std::wstring GetBaseName() const override { return parts_.baseName; }
  std::wstring GetExtension() const override { return parts_.extension; }

 private:
  std::wstring path_;
  PathParts parts_;
  ObjectCount count_{"File"};
};

}  // namespace quarry
