#pragma once

#include "quarry/icons/icon.h"

#include <cstdint>
#include <memory>
#include <string>

namespace quarry {

/// An application of the host, found by a scan or made from a path. Immutable, so it can be read from any thread.
class Application {
 public:
  virtual ~Application() = default;
  virtual std::wstring GetPath() const = 0;       ///< full path it was made from
  virtual std::wstring GetFileName() const = 0;   ///< with extension
  virtual std::wstring GetBaseName() const = 0;   ///< without extension
  virtual std::wstring GetExtension() const = 0;  ///< without the dot
  virtual std::wstring GetProductName() const = 0;
  virtual std::wstring GetProductVersion() const = 0;
  virtual std::wstring GetFileDescription() const = 0;
  virtual std::wstring GetFileVersion() const = 0;
  virtual std::wstring GetComments() const = 0;
  virtual std::wstring GetCompanyName() const = 0;
  virtual std::uint64_t GetIconCount() const = 0;
  virtual IconPtr GetIcon(std::uint64_t index) const = 0;  ///< empty when `index` is not below the count
  virtual std::wstring GetTargetPath() const = 0;          ///< what is started for it
  /// False when a launch always starts a new instance instead of bringing a running one forward.
  virtual bool CanReuseRunningInstance() const = 0;
};

using ApplicationPtr = std::shared_ptr<const Application>;

}  // namespace quarry
