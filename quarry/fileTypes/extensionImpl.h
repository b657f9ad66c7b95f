#pragma once

#include "quarry/diagnostics/objectCounters.h"
#include "quarry/fileTypes/registeredExtensions.h"

#include <utility>

namespace quarry {

/// A name and a description that do not change any more.
class ExtensionImpl : public Extension {
 public:
  ExtensionImpl(std::wstring name, std::wstring description)
      : name_(std::move(name)), description_(std::move(description)) {}

  std::wstring GetName() const override { return name_; }
  std::wstring GetDescription() const override { return description_; }

 private:
  std::wstring name_;
  std::wstring description_;
  ObjectCount count_{"ExtensionImpl"};
};

}  // namespace quarry
