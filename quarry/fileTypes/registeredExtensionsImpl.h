#pragma once

#include "quarry/diagnostics/objectCounters.h"
#include "quarry/fileTypes/registeredExtensions.h"

namespace quarry {

/// What the last build of the file-type database says of one application, copied: a later build does not change it.
class RegisteredExtensionsImpl : public RegisteredExtensions {
 public:
  /// Takes the types of the application at `path`; of a shortcut, whose extension must be written "lnk", those of its
  /// target. None for an application that is not found there.
  explicit RegisteredExtensionsImpl(const wchar_t* path);

  std::uint64_t GetCount() const override { return count_; }
  const std::vector<ExtensionPtr>& GetEntries() const override { return entries_; }

 private:
  std::vector<ExtensionPtr> entries_;
  std::uint64_t count_;
  ObjectCount objectCount_{"RegisteredExtensionsImpl"};
};

}  // namespace quarry
