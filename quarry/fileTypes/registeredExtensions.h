#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace quarry {

/// One file type that an application is registered to open.
class Extension {
 public:
  virtual std::wstring GetName() const = 0;         ///< extension with its leading dot, or a protocol's name
  virtual std::wstring GetDescription() const = 0;  ///< friendly name under which the application handles the type
  virtual ~Extension() = default;
};

using ExtensionPtr = std::shared_ptr<const Extension>;

/// The file types of one application, in the order of their names.
class RegisteredExtensions {
 public:
  virtual std::uint64_t GetCount() const = 0;
  virtual const std::vector<ExtensionPtr>& GetEntries() const = 0;
  virtual ~RegisteredExtensions() = default;
};

using RegisteredExtensionsPtr = std::shared_ptr<const RegisteredExtensions>;

}  // namespace quarry
